#!/usr/bin/env bash
# Times converting a 60-minute album image of 15 tracks as one file, and split
# by its cue sheet into 15 MP3s at -j 1 and -j 2, in the same run, and prints
# the ratios. Splitting costs a seek per track (FLAC seeks exactly) and 15
# LAME set-ups; at -j 2 the tracks convert side by side.
#
#   bash benchmarks/album-image.sh [BUILD_DIR] [MINUTES]
#
# Times are wall-clock seconds of sonabrik-cli, the best of two runs each;
# the machine is shared, so read the ratios, not the absolute numbers.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
minutes=${2:-60}
cli=$build/Classes/sonabrik-cli
[ -x "$cli" ] || { echo "build $cli first" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" TMPDIR="$work/tmp"
mkdir -p "$HOME" "$TMPDIR" "$work/whole" "$work/split"

# Music-like content of a length that is no whole number of CD frames.
seconds=$((minutes * 60))
sox -R -D -V1 -n -r 44100 -c 2 -b 16 -t wav - synth "$seconds.013" sine 100-8000 pinknoise gain -6 |
    flac -s --fast -o "$work/whole/image.flac" -
ln "$work/whole/image.flac" "$work/split/image.flac"
{
    echo 'PERFORMER "Benchmark"'
    echo 'TITLE "Album image"'
    echo 'FILE "image.flac" WAVE'
    for i in $(seq 0 14); do
        at=$((i * seconds / 15))
        printf '  TRACK %02d AUDIO\n    TITLE "Track %d"\n    INDEX 01 %02d:%02d:%02d\n' \
            $((i + 1)) $((i + 1)) $((at / 60)) $((at % 60)) $((i * 7 % 75))
    done
} > "$work/split/image.cue"

# best_of_two JOBS PATH: the lower wall time of two conversions.
best_of_two() {
    local best=""
    for _ in 1 2; do
        rm -rf "$work/out"
        local start end t
        start=$(date +%s.%N)
        "$cli" convert -j "$1" -f cbr:128 -o "$work/out" "$2" >/dev/null
        end=$(date +%s.%N)
        t=$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%.2f", b - a }')
        if [ -z "$best" ] || awk -v a="$t" -v b="$best" 'BEGIN { exit !(a < b) }'; then best=$t; fi
    done
    echo "$best"
}

whole=$(best_of_two 1 "$work/whole/image.flac")
split1=$(best_of_two 1 "$work/split/image.cue")
split2=$(best_of_two 2 "$work/split/image.cue")
tracks=$(ls "$work/out" | wc -l)
echo "a ${minutes}-minute image, 15 tracks (${tracks} MP3s written when split)"
echo "whole, -j 1:  ${whole} s"
echo "split, -j 1:  ${split1} s  ($(awk -v a="$split1" -v b="$whole" 'BEGIN { printf "%.3f", a / b }') x whole; target <= 1.10)"
echo "split, -j 2:  ${split2} s  ($(awk -v a="$split2" -v b="$whole" 'BEGIN { printf "%.3f", a / b }') x whole; target < 1)"
