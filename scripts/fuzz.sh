#!/usr/bin/env bash
# Runs the fuzzers under libFuzzer.
#
#   bash scripts/fuzz.sh [-t SECONDS] [-j PARALLEL] [FUZZER...]
#
# Builds them with clang, AddressSanitizer and UBSan in build-fuzz/ (Debian's
# clang and libclang-rt-14-dev), builds their seed folders from the generated
# test audio (build/fixtures, generated here when missing) and the real-world
# files in ../shared/fixtures/taglib, then runs each fuzzer for SECONDS
# (default 60), PARALLEL of them at a time (default 1). New inputs are kept in
# build-fuzz/corpus/<Fuzzer> and grow from run to run; crashes, hangs (10 s
# for one input) and runaway allocations are stored in
# build-fuzz/crashes/<Fuzzer>/. At the end it prints each fuzzer's executions,
# corpus size and crashes, and fails when there was a crash.
#
# A crash becomes a regression file: copy it to fuzz/regressions/<Fuzzer>/
# under a name saying what it caught, fix the code, and the test suite
# replays it from then on.
set -uo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
# Leaks inside libraries we cannot fix are named there (libcue).
export LSAN_OPTIONS="suppressions=$root/tests/support/lsan-suppressions.txt${LSAN_OPTIONS:+:$LSAN_OPTIONS}"
seconds=60
parallel=1
while getopts "t:j:" option; do
    case $option in
    t) seconds=$OPTARG ;;
    j) parallel=$OPTARG ;;
    *) sed -n '2,20p' "$0"; exit 2 ;;
    esac
done
shift $((OPTIND - 1))

build=$root/build-fuzz
echo "=== building the fuzzers in $build"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DSONABRIK_FUZZ=ON -DSONABRIK_BUILD_TESTS=OFF -DSONABRIK_BUILD_BENCHMARKS=OFF >/dev/null || exit 1
mapfile -t all < <(find "$root/fuzz/targets" -name "*Fuzzer.cpp" -printf "%f\n" | sed 's/\.cpp$//' | sort)
fuzzers=("$@")
[ ${#fuzzers[@]} -eq 0 ] && fuzzers=("${all[@]}")
cmake --build "$build" -j "$(nproc)" --target "${fuzzers[@]}" || exit 1

fixtures=$root/build/fixtures
if [ ! -d "$fixtures" ]; then
    fixtures=$build/fixtures
    [ -d "$fixtures" ] || bash "$root/tests/fixtures/generate.sh" "$fixtures" >/dev/null || exit 1
fi
python3 "$root/fuzz/seeds.py" "$fixtures" "$root/../shared/fixtures/taglib" "$build/seeds" >/dev/null || exit 1

# shellcheck disable=SC2317 # called through xargs
run_one() {
    local name=$1
    mkdir -p "$build/corpus/$name" "$build/crashes/$name" "$build/logs"
    # The first folder receives what the fuzzer finds; the seeds are only read.
    "$build/fuzz/$name" "$build/corpus/$name" "$build/seeds/$name" \
        -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$build/crashes/$name/" >"$build/logs/$name.log" 2>&1
}
# Each fuzzer's scratch files live here; libFuzzer exits without cleaning up.
scratch_base=/dev/shm
[ -d "$scratch_base" ] || scratch_base=${TMPDIR:-/tmp}
SONABRIK_FUZZ_SCRATCH=$(mktemp -d "$scratch_base/sonabrik-fuzz-run-XXXXXX") || exit 1
trap 'rm -rf "$SONABRIK_FUZZ_SCRATCH"' EXIT
export -f run_one
export build seconds SONABRIK_FUZZ_SCRATCH
echo "=== running ${#fuzzers[@]} fuzzers for $seconds s each, $parallel at a time"
printf '%s\n' "${fuzzers[@]}" | xargs -P "$parallel" -I{} bash -c 'run_one {}'

status=0
printf '%-24s %14s %8s %8s\n' fuzzer executions corpus crashes
for name in "${fuzzers[@]}"; do
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$build/logs/$name.log" | tail -1)
    mkdir -p "$build/corpus/$name" "$build/crashes/$name"
    corpus=$(find "$build/corpus/$name" -type f | wc -l)
    crashes=$(find "$build/crashes/$name" -type f | wc -l)
    printf '%-24s %14s %8s %8s\n' "$name" "${executions:-?}" "$corpus" "$crashes"
    if [ "$crashes" -gt 0 ] || ! grep -q '^stat::number_of_executed_units' "$build/logs/$name.log"; then
        status=1
        grep -m1 -E 'ERROR|SUMMARY|deadly signal' "$build/logs/$name.log" | sed 's/^/    /'
    fi
done
exit $status
