#!/usr/bin/env bash
# Times converting a 60-minute album image of 15 tracks as one file, and split
# by its cue sheet into 15 MP3s at -j 1 and -j 2, in the same run, and prints
# the ratios. Splitting costs a seek per track (FLAC seeks exactly) and 15
# LAME set-ups; at -j 2 the tracks convert side by side.
#
#   bash benchmarks/album-image.sh [BUILD_DIR] [MINUTES]
#
# Times are wall-clock and CPU seconds of sonabrik-cli, the best of two runs
# each; the machine is shared, so read the ratios, not the absolute numbers.
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
sox -R -D -V1 -n -r 44100 -c 2 -b 16 "$work/image.wav" synth "$seconds.013" sine 100-8000 pinknoise gain -6
flac -s --fast -o "$work/whole/image.flac" "$work/image.wav"
rm "$work/image.wav"
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

# run JOBS PATH: "wall cpu" seconds of one conversion (CPU: user + system of
# the program and its threads, as the kernel accounts them).
run() {
    rm -rf "$work/out"
    python3 "$root/benchmarks/best-of-five.py" --runs 1 --wall "$cli" convert -j "$1" -f cbr:128 -o "$work/out" "$2"
}

# Whole and split take turns, two rounds, and each keeps its best wall time
# (and its best CPU time): a machine whose load drifts weighs on all alike.
best() { awk -v a="$1" -v b="$2" 'BEGIN { print (b == "" || a + 0 < b + 0) ? a : b }'; }
whole_wall="" whole_cpu="" split1_wall="" split1_cpu="" split2_wall=""
for _ in 1 2; do
    read -r wall cpu < <(run 1 "$work/whole/image.flac")
    whole_wall=$(best "$wall" "$whole_wall") whole_cpu=$(best "$cpu" "$whole_cpu")
    read -r wall cpu < <(run 1 "$work/split/image.cue")
    split1_wall=$(best "$wall" "$split1_wall") split1_cpu=$(best "$cpu" "$split1_cpu")
    read -r wall cpu < <(run 2 "$work/split/image.cue")
    split2_wall=$(best "$wall" "$split2_wall")
done
tracks=$(ls "$work/out" | wc -l)
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.3f", a / b }'; }
echo "a ${minutes}-minute image, 15 tracks (${tracks} MP3s written when split)"
echo "whole, -j 1:  ${whole_wall} s wall, ${whole_cpu} s CPU"
echo "split, -j 1:  ${split1_wall} s wall, ${split1_cpu} s CPU:" \
    "$(ratio "$split1_wall" "$whole_wall") x whole (CPU $(ratio "$split1_cpu" "$whole_cpu"); target <= 1.10)"
echo "split, -j 2:  ${split2_wall} s wall: $(ratio "$split2_wall" "$whole_wall") x whole (target < 1)"
