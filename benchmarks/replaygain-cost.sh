#!/usr/bin/env bash
# What ReplayGain costs: the CPU time of converting an album of three
# one-minute 44.1 kHz stereo files (VBR V2) with sonabrik-cli, ReplayGain
# off, track, and track and album, beside the same conversion by a build
# without ReplayGain when one is given (to show that "off" costs nothing).
#
#   bash benchmarks/replaygain-cost.sh [BUILD_DIR] [BASELINE_BUILD_DIR]
#
# BUILD_DIR defaults to build/ (it must hold Classes/sonabrik-cli). Times are
# CPU seconds (user + system of the whole process, to the microsecond), the
# best of nine rounds in which the variants take turns, so that a machine
# whose load drifts weighs on all alike; read the ratios, not the seconds.
# With Valgrind there, the instructions each variant executes are counted
# too (once each, slowly): a figure the load of a shared machine does not blur.
# The program runs with its own empty settings, never the user's.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
baseline=${2:-}
cli=$build/Classes/sonabrik-cli
[ -x "$cli" ] || { echo "build $cli first (cmake --build $build --target sonabrik-cli)" >&2; exit 1; }
if [ -n "$baseline" ]; then
    [ -x "$baseline/Classes/sonabrik-cli" ] || { echo "no $baseline/Classes/sonabrik-cli" >&2; exit 1; }
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config TMPDIR=$work/tmp
mkdir -p "$HOME" "$TMPDIR" "$work/in"

# Music-like content at three levels, tagged as one album.
for gain in -3 -9 -18; do
    sox -R -D -V1 -n -r 44100 -c 2 -b 16 "$work/in.wav" synth 60 sine 100-8000 pinknoise gain "$gain"
    flac -s -f --tag=ALBUM=Bench --tag=ARTIST=Sonabrik -o "$work/in/track$gain.flac" "$work/in.wav"
done
rm -f "$work/in.wav"

# cpu PROGRAM ARGS...: the CPU seconds of one conversion into a fresh folder.
cpu() {
    rm -rf "$work/out" && mkdir -p "$work/out"
    python3 "$root/benchmarks/best-of-five.py" --runs 1 "$@" -f vbr:2 -j 1 -o "$work/out" "$work/in"
}

# instructions PROGRAM ARGS...: Valgrind's count of the instructions of one
# conversion (every thread), or nothing without Valgrind.
instructions() {
    command -v valgrind >/dev/null || return 0
    rm -rf "$work/out" && mkdir -p "$work/out"
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$@" -f vbr:2 -j 1 -o "$work/out" "$work/in" 2>&1 |
        sed -n 's/.*Collected : \([0-9]*\).*/\1/p'
}

lower() { awk -v a="$1" -v b="$2" 'BEGIN { print (b == "" || a < b) ? a : b }'; }

declare -A best
variants=(off track album)
[ -n "$baseline" ] && variants=(without "${variants[@]}")
for _ in 1 2 3 4 5 6 7 8 9; do
    for variant in "${variants[@]}"; do
        if [ "$variant" = without ]; then
            t=$(cpu "$baseline/Classes/sonabrik-cli" convert)
        else
            t=$(cpu "$cli" convert --replaygain "$variant")
        fi
        best[$variant]=$(lower "$t" "${best[$variant]:-}")
    done
done

declare -A counted
for variant in "${variants[@]}"; do
    if [ "$variant" = without ]; then
        counted[$variant]=$(instructions "$baseline/Classes/sonabrik-cli" convert)
    else
        counted[$variant]=$(instructions "$cli" convert --replaygain "$variant")
    fi
done

reference=${best[${variants[0]}]}
counted_reference=${counted[${variants[0]}]}
echo "3 x 60 s of 44.1 kHz stereo FLAC to MP3 VBR V2, CPU seconds, best of nine:"
for variant in "${variants[@]}"; do
    awk -v l="$variant" -v t="${best[$variant]}" -v r="$reference" -v n="${variants[0]}" \
        -v i="${counted[$variant]}" -v ir="$counted_reference" \
        'BEGIN { printf "  %-8s %8.4f s   %+6.2f %% against %s", l, t, 100 * (t - r) / r, n
                 if (i != "" && ir != "") printf "   %.4g instructions (%+.2f %%)", i, 100 * (i - ir) / ir
                 printf "\n" }'
done
