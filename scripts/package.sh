#!/usr/bin/env bash
# Builds the Debian package build/sonabrik_VERSION_amd64.deb: installs what is
# missing, builds the programs as shipped in build/, packs them with CPack
# (dependencies computed by dpkg-shlibdeps) and runs lintian on the result.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$root/build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$root/build" -j "$(nproc)"
(cd "$root/build" && cpack -G DEB)
deb=$(ls "$root"/build/sonabrik_*_amd64.deb)
lintian --fail-on error "$deb"
echo "=== $deb"
