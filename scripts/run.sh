#!/usr/bin/env bash
# Installs what is missing, builds Sonabrik and runs its main job.
#
# With a display ($DISPLAY or $WAYLAND_DISPLAY): opens the desktop program
# with the files and folders given already queued (a small demo set of
# generated sources when none are given); press Encode to convert them.
#
# Without a display: converts the files and folders given to MP3 with
# sonabrik-cli (into the output folder of the preferences, ~/Music/Sonabrik
# unless changed), or, with no paths, the demo set into build/demo-output.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$root/build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$root/build" -j "$(nproc)" --target sonabrik sonabrik-cli demo-sources

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    if [ $# -eq 0 ]; then
        set -- "$root/build/demo-sources"
    fi
    exec "$root/build/Classes/sonabrik" "$@"
fi

cli="$root/build/Classes/sonabrik-cli"
if [ $# -eq 0 ]; then
    echo "Converting the demo sources in $root/build/demo-sources into $root/build/demo-output"
    exec "$cli" convert --keep-structure --overwrite replace -o "$root/build/demo-output" "$root/build/demo-sources"
fi
exec "$cli" convert "$@"
