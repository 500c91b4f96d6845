#!/usr/bin/env bash
# Builds the Debian package of the build tree given into a folder of its
# own, unpacks it into a temporary root and checks it: the files it holds,
# its fields, one version everywhere, both programs starting from the
# unpacked root, and lintian's verdict (no error, and no warning that the
# README does not list) when lintian is present.
set -euo pipefail
build=$1
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The programs run here must not touch the user's preferences.
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config
mkdir -p "$HOME"
fail() { echo "FAIL: $*"; exit 1; }

if ! (cd "$build" && cpack -G DEB -B "$work/out" >"$work/cpack.log" 2>&1); then
    cat "$work/cpack.log"
    fail "cpack could not build the package"
fi
debs=("$work"/out/sonabrik_*_amd64.deb)
[ ${#debs[@]} -eq 1 ] && [ -f "${debs[0]}" ] || fail "expected one package, found: ${debs[*]}"
deb=${debs[0]}
dpkg-deb -x "$deb" "$work/root"
field() { dpkg-deb -f "$deb" "$1"; }
version=$(field Version)
echo "built $(basename "$deb"), $(du -k "$deb" | cut -f1) kB"

# The files, with the private module's folder as either libdir puts it.
expected="usr/bin/sonabrik
usr/bin/sonabrik-cli
usr/lib/sonabrik/libsonabrik-guiservices.so
usr/share/applications/org.sonabrik.Sonabrik.desktop
usr/share/bash-completion/completions/sonabrik-cli
usr/share/doc/sonabrik/changelog.gz
usr/share/doc/sonabrik/copyright
usr/share/icons/hicolor/scalable/apps/org.sonabrik.Sonabrik.svg
usr/share/man/man1/sonabrik-cli.1.gz
usr/share/man/man1/sonabrik.1.gz
usr/share/metainfo/org.sonabrik.Sonabrik.metainfo.xml"
actual=$(cd "$work/root" && find . ! -type d | sed -E 's|^\./||; s|^usr/lib/[^/]+-linux-gnu/sonabrik/|usr/lib/sonabrik/|' | sort)
[ "$actual" = "$expected" ] || fail "the package holds:"$'\n'"$actual"$'\n'"expected:"$'\n'"$expected"

# The fields: computed dependencies (dpkg-shlibdeps gives versioned ones, the
# FFmpeg libraries opened at run time come from their files' packages).
for name in Section:sound Priority:optional Architecture:amd64; do
    [ "$(field "${name%%:*}")" = "${name#*:}" ] || fail "${name%%:*} is $(field "${name%%:*}")"
done
depends=$(field Depends)
for library in 'libc6 (>= ' 'libqt6widgets6 (>= ' 'libmp3lame0 (>= ' 'libtag1v5' libavformat59 libavcodec59 libswresample4; do
    [[ $depends == *"$library"* ]] || fail "Depends lacks $library: $depends"
done
[[ $(field Maintainer) == *"<"*"@"*">" ]] || fail "Maintainer is $(field Maintainer)"
metainfo=$work/root/usr/share/metainfo/org.sonabrik.Sonabrik.metainfo.xml
summary=$(sed -n 's|.*<summary>\(.*\)</summary>.*|\1|p' "$metainfo")
[ "$(field Description | head -1)" = "$summary" ] || fail "the description does not start with \"$summary\""

# One version: the package, both programs, AppStream, the manual pages and
# the changelog (the About box shows the program's version).
cli_version=$("$work/root/usr/bin/sonabrik-cli" --version)
[ "$cli_version" = "sonabrik-cli $version" ] || fail "sonabrik-cli --version says \"$cli_version\""
gui_version=$(QT_QPA_PLATFORM=offscreen "$work/root/usr/bin/sonabrik" --version)
[ "$gui_version" = "Sonabrik $version" ] || fail "sonabrik --version says \"$gui_version\""
release=$(grep -o -m1 '<release version="[^"]*"' "$metainfo")
[ "$release" = "<release version=\"$version\"" ] || fail "the newest AppStream release is $release"
for page in sonabrik sonabrik-cli; do
    zcat "$work/root/usr/share/man/man1/$page.1.gz" | grep -q "^\.TH .*\"Sonabrik $version\"" ||
        fail "$page(1) does not give version $version"
done
zcat "$work/root/usr/share/doc/sonabrik/changelog.gz" | head -1 | grep -qF "sonabrik ($version)" ||
    fail "the changelog's newest entry is not $version"

# Pictures need the module the package brings, not one of a build tree.
cover=$work/cover.flac
sox -n -r 44100 -c 2 -b 16 "$work/tone.wav" synth 0.1 sine 440
convert -size 64x48 xc:red "$work/cover.png"
flac -s --picture="$work/cover.png" -o "$cover" "$work/tone.wav"
loaded=$(LD_DEBUG=files "$work/root/usr/bin/sonabrik-cli" info "$cover" 2>&1 | grep 'guiservices.*dynamically loaded' || true)
[[ $loaded == *"file=$work/root/usr/"* ]] || fail "the pictures' module came from elsewhere: $loaded"
"$work/root/usr/bin/sonabrik-cli" info "$cover" | grep -q 'albumArtwork: image/png, .*, 64x48,' || fail "the cover's size was not read"

if ! command -v lintian >/dev/null; then
    echo "lintian is not installed: its check skipped"
    exit 0
fi
lintian --fail-on error "$deb" >"$work/lintian.log" 2>&1 || { cat "$work/lintian.log"; fail "lintian found errors"; }
cat "$work/lintian.log"
# Every warning kept is listed, with its reason, in the README.
for tag in $(sed -n 's/^W: [^:]*: \([^ ]*\).*/\1/p' "$work/lintian.log" | sort -u); do
    grep -q "\`$tag\`" "$root/README.md" || fail "lintian warns of $tag, which the README does not list"
done
echo "package checked"
