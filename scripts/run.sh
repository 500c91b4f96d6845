#!/usr/bin/env bash
# Installs what is missing, builds Sonabrik and runs its main job: converts
# the files and folders given to MP3 (into the output folder of the
# preferences, ~/Music/Sonabrik unless changed), or, with no paths, a small
# demo set of generated sources of several formats into build/demo-output.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$root/build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$root/build" -j "$(nproc)" --target sonabrik-cli demo-sources

cli="$root/build/Classes/sonabrik-cli"
if [ $# -eq 0 ]; then
    echo "Converting the demo sources in $root/build/demo-sources into $root/build/demo-output"
    exec "$cli" convert --keep-structure --overwrite replace -o "$root/build/demo-output" "$root/build/demo-sources"
fi
exec "$cli" convert "$@"
