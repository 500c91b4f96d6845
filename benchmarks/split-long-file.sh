#!/usr/bin/env bash
# Times converting one long music-like FLAC at -j 1 (one LAME instance) and at
# -j 2 (split into two parts encoded at once, then joined), in the same run,
# prints the wall-time ratio (target on a 2-core machine: -j 2 <= 0.58 x
# -j 1) and the SNR of both outputs against the source, and shows the
# lengths from which splitting pays: short files at -j 2 with and without
# --no-split.
#
#   bash benchmarks/split-long-file.sh [BUILD_DIR] [MINUTES]
#
# Times are wall-clock and CPU seconds of sonabrik-cli, the best of two runs
# each; the machine is shared, so read the ratios, not the absolute numbers.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
minutes=${2:-20}
cli=$build/Classes/sonabrik-cli
[ -x "$cli" ] || { echo "build $cli first" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" TMPDIR="$work/tmp"
mkdir -p "$HOME" "$TMPDIR"

# music SECONDS PATH: plucked notes twice a second (transients) over two
# slow sweeps and some pink noise, stereo 44.1 kHz 16-bit.
music() {
    local seconds=$1 path=$2
    sox -R -D -V1 -n -r 44100 -c 2 -b 16 "$work/notes.wav" synth 0.5 pluck 220 pluck 330 repeat $((seconds * 2 - 1))
    sox -R -D -V1 -n -r 44100 -c 2 -b 16 "$work/bed.wav" synth "$seconds" sine 100-3000 pinknoise tremolo 2 60
    sox -R -D -V1 -m -v 0.7 "$work/notes.wav" -v 0.3 "$work/bed.wav" "$path"
    rm "$work/notes.wav" "$work/bed.wav"
}

music $((minutes * 60)) "$work/source.wav"
flac -s --fast -o "$work/source.flac" "$work/source.wav"

# run OUT ARGS...: "wall cpu" seconds of one conversion into OUT.
run() {
    local out=$1
    shift
    rm -rf "$out"
    python3 "$root/benchmarks/best-of-five.py" --runs 1 --wall "$cli" convert -f vbr:2 -o "$out" "$@"
}
best() { awk -v a="$1" -v b="$2" 'BEGIN { print (b == "" || a + 0 < b + 0) ? a : b }'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.3f", a / b }'; }

# One and two jobs take turns, two rounds, each keeping its best.
one_wall="" one_cpu="" two_wall="" two_cpu=""
for _ in 1 2; do
    read -r wall cpu < <(run "$work/one" -j 1 "$work/source.flac")
    one_wall=$(best "$wall" "$one_wall") one_cpu=$(best "$cpu" "$one_cpu")
    read -r wall cpu < <(run "$work/two" -j 2 "$work/source.flac")
    two_wall=$(best "$wall" "$two_wall") two_cpu=$(best "$cpu" "$two_cpu")
done

# snr MP3: the SNR in dB of the MP3, decoded with its delay and padding
# dropped, against the source: the RMS level of the source over that of the
# difference (sox stats, over both channels).
snr() {
    ffmpeg -nostdin -v error -y -i "$1" -c:a pcm_s16le "$work/decoded.wav"
    local signal noise
    signal=$(sox "$work/source.wav" -n stats 2>&1 | awk '/^RMS lev dB/ { print $4 }')
    noise=$(sox -m -v 1 "$work/source.wav" -v -1 "$work/decoded.wav" -n stats 2>&1 | awk '/^RMS lev dB/ { print $4 }')
    awk -v s="$signal" -v n="$noise" 'BEGIN { printf "%.2f", s - n }'
}

echo "a ${minutes}-minute stereo FLAC, VBR -V 2, best of two:"
echo "-j 1 (one encoder): ${one_wall} s wall, ${one_cpu} s CPU, SNR $(snr "$work/one/source.mp3") dB"
echo "-j 2 (split):       ${two_wall} s wall, ${two_cpu} s CPU, SNR $(snr "$work/two/source.mp3") dB"
echo "wall -j 2 / -j 1: $(ratio "$two_wall" "$one_wall") (target <= 0.58); CPU $(ratio "$two_cpu" "$one_cpu")"

# Short files at -j 2, split or not: where the split starts to pay. Files
# under half a minute are never split (kMinimumSplitSeconds in
# MP3EncodeOperation.cpp), so below it both columns time one encoder.
echo "short files at -j 2, wall seconds, best of two (split / --no-split):"
for seconds in 10 20 30 45 60 90; do
    music "$seconds" "$work/short.wav"
    split_wall="" single_wall=""
    for _ in 1 2; do
        read -r wall _ < <(run "$work/s" -j 2 "$work/short.wav")
        split_wall=$(best "$wall" "$split_wall")
        read -r wall _ < <(run "$work/n" -j 2 --no-split "$work/short.wav")
        single_wall=$(best "$wall" "$single_wall")
    done
    echo "  ${seconds} s: ${split_wall} / ${single_wall} = $(ratio "$split_wall" "$single_wall")"
done
