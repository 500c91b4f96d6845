#!/usr/bin/env bash
# Decoding speed of Sonabrik's DSD decoder beside ffmpeg turning the same
# files into PCM at the same rate (DSD64 / 32 = 88200 Hz, 24-bit), on a
# 60-second stereo DSD64 tone written as DSF and DFF by the test fixtures'
# sigma-delta modulator. Also prints the decimation filters' frequency
# response. Speeds are multiples of real time per second of CPU time (user
# + system), best of five runs of each whole command; read ratios from one
# run, since a shared machine is noisy.
#
# usage: benchmarks/dsd-vs-ffmpeg.sh [BUILD_DIR]   (default: build)
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
bench=$build/benchmarks/DSDBenchmark
[ -x "$bench" ] || { echo "build $bench first (cmake --build $build --target DSDBenchmark)" >&2; exit 1; }

audio=$(mktemp -d)
trap 'rm -rf "$audio"' EXIT
cc -O2 -std=c99 -o "$audio/dsd_modulator" "$root/tests/fixtures/dsd_modulator.c" -lm
"$audio/dsd_modulator" dsf "$audio/bench.dsf" 2822400 2 $((2822400 * 60)) tone:1000:0.5
"$audio/dsd_modulator" dff "$audio/bench.dff" 2822400 2 $((2822400 * 60)) tone:1000:0.5

echo "=== frequency response"
"$bench" --response

echo "=== Sonabrik's DSD decoder inside the process (x_realtime: seconds of audio per CPU second)"
SONABRIK_BENCH_DSD=$audio "$bench" --benchmark_min_time=2 --benchmark_counters_tabular=true

# CPU seconds (user + system) of the fastest of five runs.
best_of_five() { python3 "$root/benchmarks/best-of-five.py" "$@"; }

echo "=== whole commands, 24-bit PCM at 88200 Hz to /dev/null"
printf '%-28s %12s %12s\n' command cpu_seconds x_realtime
for container in dsf dff; do
    ours=$(best_of_five "$bench" --decode "$audio/bench.$container")
    theirs=$(best_of_five ffmpeg -nostdin -v error -i "$audio/bench.$container" -f s24le -ar 88200 -)
    printf '%-28s %12.4f %12.1f\n' "Sonabrik ($container)" "$ours" "$(awk -v t="$ours" 'BEGIN { print 60 / t }')"
    printf '%-28s %12.4f %12.1f\n' "ffmpeg ($container)" "$theirs" "$(awk -v t="$theirs" 'BEGIN { print 60 / t }')"
    printf '%-28s %12s %12.2f\n' "  Sonabrik / ffmpeg speed" "" "$(awk -v a="$ours" -v b="$theirs" 'BEGIN { print b / a }')"
done
