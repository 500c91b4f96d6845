#!/usr/bin/env bash
# Installs what is missing, then builds and runs the test suite three times:
# the whole suite as shipped (build/) and with AddressSanitizer and
# UndefinedBehaviorSanitizer (build-asan/), then the threaded parts (the
# controller, the engine and the command-line program) with ThreadSanitizer
# (build-tsan/). Fails when any run fails. The sanitizer trees read the
# test audio build/ generated rather than generating it again.
set -uo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
jobs=$(nproc)

bash "$root/scripts/install-deps.sh" || exit 1

# build_and_test DIR "TARGETS" "CTEST OPTIONS" CMAKE OPTIONS...
# Empty TARGETS builds everything; empty CTEST OPTIONS runs every test.
build_and_test() {
    local dir=$1 targets=$2 selection=$3
    shift 3
    echo "=== $dir: configure and build"
    cmake -S "$root" -B "$root/$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null || return 1
    # shellcheck disable=SC2086 # the lists split on blanks on purpose
    cmake --build "$root/$dir" -j "$jobs" ${targets:+--target $targets} || return 1
    echo "=== $dir: test"
    # shellcheck disable=SC2086
    (cd "$root/$dir" && ctest -j "$jobs" --output-on-failure $selection)
}

# The ThreadSanitizer tree builds only the threaded programs. Two tests are
# left out, for reasons outside the program: one has a worker thread start
# /bin/rm through QProcess, whose vfork-style child shares the worker's
# memory and overwrites what the runtime knows of that thread, so every
# later report about it is noise; the full-disk test, whose temporary folder
# is a 256 kB tmpfs, sees the very first write there fail with ENOSPC when
# the program runs under the sanitizer.
tsan_targets="test_app test_engine test_cli sonabrik-cli"
tsan_skipped="EncodeOperation\.cancelledEncodeRemovesItsTemporaryFile"
tsan_skipped+="|CliFaults\.WhatDoesNotFitOnAFullDiskFailsAlone"
tsan_tests="-L ^(app|engine|cli)$ -E ^($tsan_skipped)$"

status=0
build_and_test build "" "" || status=1
build_and_test build-asan "" "" -DSONABRIK_SANITIZE=ON -DSONABRIK_BUILD_BENCHMARKS=OFF \
    -DSONABRIK_FIXTURE_DIR="$root/build/fixtures" || status=1
build_and_test build-tsan "$tsan_targets" "$tsan_tests" -DSONABRIK_TSAN=ON -DSONABRIK_BUILD_BENCHMARKS=OFF \
    -DSONABRIK_FIXTURE_DIR="$root/build/fixtures" || status=1
if [ $status -eq 0 ]; then
    echo "=== all tests passed, as shipped and under the sanitizers"
else
    echo "=== FAILED: see above"
fi
exit $status
