#!/usr/bin/env bash
# Decoding speed of Sonabrik's FLAC, Ogg, WavPack, Musepack and True Audio decoders beside the reference
# command-line decoders on the same 60-second stereo files, in multiples of
# real time per second of CPU time (user + system), which other work on a
# shared machine disturbs less than wall time. Still noisy: read ratios
# from one run.
#
# usage: benchmarks/decoders-vs-tools.sh [BUILD_DIR]   (default: build)
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
bench=$build/benchmarks/DecoderBenchmark
[ -x "$bench" ] || { echo "build $bench first (cmake --build $build --target DecoderBenchmark)" >&2; exit 1; }

audio=$(mktemp -d)
trap 'rm -rf "$audio"' EXIT
"$bench" --make-audio "$audio"

echo "=== Sonabrik's decoders (x_realtime: seconds of audio per CPU second)"
SONABRIK_BENCH_AUDIO=$audio "$bench" --benchmark_min_time=2 --benchmark_counters_tabular=true

# CPU seconds (user + system) of the fastest of five runs.
best_of_five() { python3 "$root/benchmarks/best-of-five.py" "$@"; }

echo "=== reference tools on the same files"
printf '%-34s %12s %12s\n' tool cpu_seconds x_realtime
for row in "flac -d:flac -d -s -c $audio/bench.flac" \
    "flac -d (Ogg FLAC):flac -d -s -c --ogg $audio/bench.oggflac" \
    "oggdec:oggdec -Q -o - $audio/bench.ogg" \
    "opusdec (48k):opusdec --quiet $audio/bench.opus -" \
    "opusdec (44.1k):opusdec --quiet --rate 44100 $audio/bench-44k.opus -" \
    "speexdec:speexdec $audio/bench.spx -" \
    "wvunpack:wvunpack -q -y $audio/bench.wv -o -" \
    "mpcdec:mpcdec $audio/bench.mpc /dev/null" \
    "ffmpeg (tta):ffmpeg -nostdin -v error -i $audio/bench.tta -f s16le -"; do
    name=${row%%:*}
    # shellcheck disable=SC2086
    seconds=$(best_of_five ${row#*:})
    printf '%-34s %12.4f %12.1f\n' "$name" "$seconds" "$(awk -v t="$seconds" 'BEGIN { print 60 / t }')"
done
# The module is 123.5 s long; FFmpeg renders it through libopenmpt.
seconds=$(best_of_five ffmpeg -nostdin -v error -i "$audio/bench.mod" -f s16le -ar 44100 -)
printf '%-34s %12.4f %12.1f\n' "ffmpeg (module, libopenmpt)" "$seconds" "$(awk -v t="$seconds" 'BEGIN { print 123.5 / t }')"
