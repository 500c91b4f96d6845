#!/usr/bin/env bash
# Installs what is missing, builds Sonabrik and runs its main job on the
# paths given, or on a small demo set of generated sources when none are.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$root/build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$root/build" -j "$(nproc)" --target sonabrik-cli

if [ $# -eq 0 ]; then
    demo="$root/build/demo"
    bash "$root/tests/fixtures/generate.sh" "$demo"
    set -- "$demo"/core.flac "$demo"/core.ogg "$demo"/core.opus "$demo"/core.spx "$demo"/core.oggflac \
        "$demo"/core-44k-stereo-16.wav
fi
exec "$root/build/Classes/sonabrik-cli" decoder "$@"
