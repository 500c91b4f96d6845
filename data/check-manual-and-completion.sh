#!/usr/bin/env bash
# Checks the manual pages and the bash completion against the programs:
# every command, option and exit status that sonabrik-cli's --help texts
# name is in sonabrik-cli(1) and completes, and the manual names no option
# --help does not; every option of sonabrik --help is in sonabrik(1); the
# values completed for --overwrite and -f are the ones the program takes;
# file names complete to folders and exactly the extensions the queue takes.
# Usage: check-manual-and-completion.sh SONABRIK-CLI SONABRIK MAN-DIR COMPLETION
set -uo pipefail
cli=$1 gui=$2 man=$3 completion=$4
root=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config QT_QPA_PLATFORM=offscreen
mkdir -p "$HOME"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# The pages must render without a warning.
for page in sonabrik.1 sonabrik-cli.1; do
    warnings=$(groff -man -ww -z "$man/$page" 2>&1)
    [ -z "$warnings" ] || fail "$page: $warnings"
done

# Options as a --help text or a page names them (roff writes \-), leaving
# out LAME's own options that the format texts quote.
options_of() { sed -e 's/\\-/-/g' -e 's/LAME -[A-Za-z]//g' | grep -oE '(^|[ ,[(|])--?[a-z][a-z0-9-]*' | sed 's/^[ ,[(|]//' | sort -u; }

# Completion: the words offered for the command line given.
source /usr/share/bash-completion/bash_completion
source "$completion"
# Whole words, as a shell without ":" among its word breaks would insert
# them; compopt only works inside a completion the shell itself runs.
COMP_WORDBREAKS=${COMP_WORDBREAKS//:/}
compopt() { :; }
complete_words() {
    COMP_WORDS=("$@")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMP_LINE="${COMP_WORDS[*]}"
    COMP_POINT=${#COMP_LINE}
    COMPREPLY=()
    _sonabrik_cli sonabrik-cli "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}"
    printf '%s\n' "${COMPREPLY[@]}" | sort -u
}

usage=$("$cli" --help)
page=$(cat "$man/sonabrik-cli.1")
commands=$(echo "$usage" | sed -n '/^Commands:/,/^Options:/p' | sed -n 's/^  \([a-z]*\) .*/\1/p')
[ "$(echo "$commands" | wc -l)" -ge 4 ] || fail "no commands found in: $usage"
offered=$(complete_words sonabrik-cli "")
all_help=$usage
for command in $commands; do
    grep -q "^\.BR\? $command\b\|^\.BI \"\?$command\b" <<<"$page" || fail "sonabrik-cli(1) has no entry for $command"
    grep -qx "$command" <<<"$offered" || fail "$command does not complete"
    help=$("$cli" "$command" --help)
    all_help+=$'\n'$help
    # The command's own options complete after it.
    for option in $(echo "$help" | options_of); do
        complete_words sonabrik-cli "$command" "-" | grep -qx -- "$option" ||
            fail "$option does not complete after $command"
    done
done
for option in $(echo "$usage" | sed -n '/^Options:/,$p' | options_of); do
    grep -qx -- "$option" <<<"$offered" || fail "$option does not complete as the first word"
done
help_options=$(echo "$all_help" | options_of)
page_options=$(echo "$page" | options_of)
[ "$help_options" = "$page_options" ] ||
    fail "options of --help and sonabrik-cli(1) differ:"$'\n'"$(diff <(echo "$help_options") <(echo "$page_options"))"
statuses=$("$cli" convert --help | sed -n '/^Exit status/,$p' | grep -oE '\b[0-9]+\b' | sort -u)
page_statuses=$(echo "$page" | sed -n '/^\.SH EXIT STATUS/,/^\.SH/p' | sed -n 's/^\.B \([0-9]*\)$/\1/p' | sort -u)
[ -n "$statuses" ] && [ "$statuses" = "$page_statuses" ] || fail "exit statuses: --help says $statuses, the page $page_statuses"
grep -q '^\.SH FILES' <<<"$page" && grep -q 'Sonabrik\.conf' <<<"$page" || fail "sonabrik-cli(1) does not name the preferences file"
grep -q '^\.SH EXAMPLES' <<<"$page" || fail "sonabrik-cli(1) has no examples"

gui_options=$("$gui" --help | options_of)
gui_page=$(sed -n '/^\.SH OPTIONS/,/^\.SH FILES/p' "$man/sonabrik.1" | options_of)
[ -n "$gui_options" ] && [ "$gui_options" = "$gui_page" ] ||
    fail "options of sonabrik --help and sonabrik(1) differ:"$'\n'"$(diff <(echo "$gui_options") <(echo "$gui_page"))"

# Values: each one completed is accepted, and a neighbour is refused.
accepted() { "$cli" convert -o "$work/out" "$@" "$work/none.flac" >/dev/null 2>&1; [ $? -ne 2 ]; }
overwrite=$(complete_words sonabrik-cli convert --overwrite "")
[ "$(echo "$overwrite" | wc -l)" -eq 4 ] || fail "--overwrite completes to: $overwrite"
for value in $overwrite; do accepted --overwrite "$value" || fail "--overwrite $value is refused"; done
accepted --overwrite never && fail "--overwrite never is accepted"
methods=$(complete_words sonabrik-cli convert -f "")
[ "$(echo "$methods" | tr '\n' ' ')" = "abr: cbr: vbr: " ] || fail "-f completes to: $methods"
specs=()
for method in $methods; do
    for amount in $(complete_words sonabrik-cli convert -f "$method" | sed 's/.*://'); do
        specs+=("$method$amount")
    done
done
[ ${#specs[@]} -ge 30 ] || fail "only ${#specs[@]} formats complete"
extras=$(complete_words sonabrik-cli convert -f "vbr:2,")
[ "$(echo "$extras" | tr '\n' ' ')" = "vbr:2,mode= vbr:2,q= vbr:2,rate= " ] || fail "-f vbr:2, completes to: $extras"
for extra in q rate mode; do
    for spec in $(complete_words sonabrik-cli convert -f "cbr:128,$extra="); do specs+=("$spec"); done
done
for spec in "${specs[@]}"; do accepted -f "$spec" || fail "-f $spec completes but is refused"; done
accepted -f "cbr:128,mode=dual" && fail "-f cbr:128,mode=dual is accepted"
accepted -f "cbr:128,rate=44000" && fail "-f cbr:128,rate=44000 is accepted"

# File names: every extension the queue takes (as FileIntake lists them),
# in lower and upper case, and folders; nothing else.
extensions=$(sed -n '/kAcceptedExtensions{/,/};/p' "$root/Classes/app/FileIntake.cpp" | grep -o '"[a-z0-9]*"' | tr -d '"')
[ "$(echo "$extensions" | wc -l)" -eq 70 ] || fail "expected 70 extensions in FileIntake.cpp"
mkdir -p "$work/music/Album"
for extension in $extensions; do touch "$work/music/a.$extension" "$work/music/B.${extension^^}"; done
touch "$work/music/notes.txt" "$work/music/cover.jpg" "$work/music/flac"
expected=$( (echo "$work/music/Album"; for e in $extensions; do echo "$work/music/a.$e"; echo "$work/music/B.${e^^}"; done) | sort -u)
for command in convert info decoder; do
    files=$(cd / && complete_words sonabrik-cli "$command" "$work/music/")
    [ "$files" = "$expected" ] || fail "$command completes files to:"$'\n'"$(diff <(echo "$expected") <(echo "$files"))"
done
[ "$(complete_words sonabrik-cli convert -o "$work/music/")" = "$work/music/Album" ] || fail "-o completes to files"

[ $failures -eq 0 ] && echo "manual pages and completion agree with the programs"
exit $((failures > 0))
