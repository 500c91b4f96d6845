#!/usr/bin/env bash
# Installs what is missing, then builds and runs the whole test suite twice:
# once as shipped (build/) and once with AddressSanitizer and
# UndefinedBehaviorSanitizer (build-asan/). Fails when either run fails.
set -uo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
jobs=$(nproc)

bash "$root/scripts/install-deps.sh" || exit 1

build_and_test() {
    local dir=$1
    shift
    echo "=== $dir: configure and build"
    cmake -S "$root" -B "$root/$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null || return 1
    cmake --build "$root/$dir" -j "$jobs" || return 1
    echo "=== $dir: test"
    (cd "$root/$dir" && ctest -j "$jobs" --output-on-failure)
}

status=0
build_and_test build || status=1
build_and_test build-asan -DSONABRIK_SANITIZE=ON -DSONABRIK_BUILD_BENCHMARKS=OFF || status=1
if [ $status -eq 0 ]; then
    echo "=== all tests passed, as shipped and under the sanitizers"
else
    echo "=== FAILED: see above"
fi
exit $status
