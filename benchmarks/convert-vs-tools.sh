#!/usr/bin/env bash
# Times "sonabrik-cli convert -j 2" with the default format (VBR V2, LAME
# quality 2) on 16 one-minute stereo FLAC files, beside the reference tools
# doing the same two at a time, and beside the bound of the work itself:
#
#   peers:  flac -dc | lame --noreplaygain -V 2 -q 2
#           ffmpeg -c:a libmp3lame -q:a 2 -compression_level 2
#   bound:  lame --noreplaygain -V 2 -q 2 on the same audio as WAV files,
#           plus flac -d decoding the FLAC files (each two at a time)
#
#   bash benchmarks/convert-vs-tools.sh [BUILD_DIR]
#
# Wall times, the best of three runs each; the machine is shared, so read
# the ratios of one run, not the absolute numbers.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
cli=$build/Classes/sonabrik-cli
[ -x "$cli" ] || { echo "build $cli first (cmake --build $build --target sonabrik-cli)" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/flac" "$work/wav" "$work/home"

# Music-like content, different in every file, with a fixed seed.
for i in $(seq -w 1 16); do
    sox -R -D -V1 -n -r 44100 -c 2 -b 16 "$work/wav/track$i.wav" \
        synth 60 sine $((100 + 10#$i * 20))-$((4000 + 10#$i * 100)) pinknoise gain -6
    flac -s -f -5 -o "$work/flac/track$i.flac" "$work/wav/track$i.wav"
done

# wall COMMAND...: seconds of the best of three runs, outputs cleared each
# time. A run that fails or does not make its 16 files stops the benchmark:
# a time of work not done would flatter whoever did not do it.
wall() {
    local best=""
    for _ in 1 2 3; do
        rm -rf "$work/out" && mkdir -p "$work/out"
        local start end t made
        start=$(date +%s.%N)
        if ! "$@" > "$work/log" 2>&1; then
            echo "$1 failed:" >&2
            cat "$work/log" >&2
            exit 1
        fi
        end=$(date +%s.%N)
        made=$(find "$work/out" -type f \( -name '*.mp3' -o -name '*.wav' \) | wc -l)
        if [ "$made" -ne 16 ]; then
            echo "$1 made $made files instead of 16" >&2
            exit 1
        fi
        t=$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%.3f", b - a }')
        if [ -z "$best" ] || awk -v a="$t" -v b="$best" 'BEGIN { exit !(a < b) }'; then best=$t; fi
    done
    echo "$best"
}

sonabrik() {
    HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" XDG_DATA_HOME="$work/home/.local/share" \
        "$cli" convert -j 2 -o "$work/out" "$work/flac"
}
flac_lame() {
    printf '%s\n' "$work"/flac/*.flac | xargs -P 2 -I{} sh -c \
        'flac -s -dc "$1" | lame --quiet --noreplaygain -V 2 -q 2 - "$2/$(basename "$1" .flac).mp3"' _ {} "$work/out"
}
ffmpeg_lame() {
    printf '%s\n' "$work"/flac/*.flac | xargs -P 2 -I{} sh -c \
        'ffmpeg -nostdin -v error -y -i "$1" -c:a libmp3lame -q:a 2 -compression_level 2 "$2/$(basename "$1" .flac).mp3"' \
        _ {} "$work/out"
}
lame_only() {
    printf '%s\n' "$work"/wav/*.wav | xargs -P 2 -I{} sh -c \
        'lame --quiet --noreplaygain -V 2 -q 2 "$1" "$2/$(basename "$1" .wav).mp3"' _ {} "$work/out"
}
flac_decode() {
    printf '%s\n' "$work"/flac/*.flac | xargs -P 2 -I{} sh -c \
        'flac -s -d -f -o "$2/$(basename "$1" .flac).wav" "$1"' _ {} "$work/out"
}

t_sonabrik=$(wall sonabrik)
t_flac_lame=$(wall flac_lame)
t_ffmpeg=$(wall ffmpeg_lame)
t_lame=$(wall lame_only)
t_decode=$(wall flac_decode)
t_bound=$(awk -v a="$t_lame" -v b="$t_decode" 'BEGIN { printf "%.3f", a + b }')

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.3f", a / b }'; }
echo "16 one-minute stereo FLAC files, two at a time, VBR V2 -q 2 (wall seconds, best of three)"
printf '  %-34s %8s\n' "sonabrik-cli convert -j 2" "$t_sonabrik"
printf '  %-34s %8s\n' "flac -dc | lame" "$t_flac_lame"
printf '  %-34s %8s\n' "ffmpeg libmp3lame" "$t_ffmpeg"
printf '  %-34s %8s  (lame on WAV %s + flac -d %s)\n' "bound of the work" "$t_bound" "$t_lame" "$t_decode"
echo "ratios:"
echo "  sonabrik / bound            $(ratio "$t_sonabrik" "$t_bound")   (target <= 1.03)"
echo "  sonabrik / flac|lame        $(ratio "$t_sonabrik" "$t_flac_lame")   (target < 1)"
echo "  sonabrik / ffmpeg           $(ratio "$t_sonabrik" "$t_ffmpeg")   (target < 1)"
