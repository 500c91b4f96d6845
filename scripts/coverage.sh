#!/usr/bin/env bash
# Line coverage of Classes/ by the whole test suite: builds build-coverage/
# with gcc's --coverage at -O0, runs every test once, and prints gcovr's
# summary (the HTML report lands in build-coverage/coverage/). Threads racing
# on a counter can leave gcov a negative branch count, which gcovr skips. The test
# audio of build/ is reused when it is there. Run again after a change: the
# counters are cleared first, so the figure is always of one whole run.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
tree="$root/build-coverage"
fixtures=()
[ -d "$root/build/fixtures" ] && fixtures=(-DSONABRIK_FIXTURE_DIR="$root/build/fixtures")

cmake -S "$root" -B "$tree" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DSONABRIK_BUILD_BENCHMARKS=OFF \
    -DCMAKE_C_FLAGS=--coverage -DCMAKE_CXX_FLAGS=--coverage \
    -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage "${fixtures[@]}" >/dev/null
cmake --build "$tree" -j "$(nproc)"
find "$tree" -name '*.gcda' -delete
(cd "$tree" && ctest -j "$(nproc)" --output-on-failure) || echo "=== some tests failed; the figure below is still of the whole run"
mkdir -p "$tree/coverage"
gcovr --root "$root" --object-directory "$tree" --filter "$root/Classes/" \
    --gcov-ignore-parse-errors --exclude-unreachable-branches --print-summary \
    --html-details "$tree/coverage/index.html" | tail -3
