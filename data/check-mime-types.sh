#!/usr/bin/env bash
# Fails when the desktop file's MimeType list misses a type that the
# desktop's MIME database gives to an extension the queue takes, so that
# "Open With Sonabrik" is offered for every such file.
set -euo pipefail
desktop_file=$1
root=$(cd "$(dirname "$0")/.." && pwd)
globs=/usr/share/mime/globs2
if [ ! -r "$globs" ]; then
    echo "skipped: no MIME database at $globs"
    exit 0
fi

# The queue's extensions, as the intake lists them.
extensions=$(sed -n '/kAcceptedExtensions{/,/};/p' "$root/Classes/app/FileIntake.cpp" |
             grep -o '"[a-z0-9]*"' | tr -d '"')
count=$(echo "$extensions" | wc -l)
if [ "$count" -ne 70 ]; then
    echo "expected 70 extensions in FileIntake.cpp, found $count"
    exit 1
fi
offered=";$(sed -n 's/^MimeType=//p' "$desktop_file")"

missing=0
for extension in $extensions; do
    # globs2 lines: weight:type:pattern
    types=$(awk -F: -v pattern="*.$extension" 'tolower($3) == pattern { print $2 }' "$globs" | sort -u)
    [ -z "$types" ] && continue
    found=no
    for type in $types; do
        case "$offered" in *";$type;"*) found=yes ;; esac
    done
    if [ $found = no ]; then
        echo "no MIME type of .$extension is offered (the database says: $(echo $types))"
        missing=1
    fi
done
exit $missing
