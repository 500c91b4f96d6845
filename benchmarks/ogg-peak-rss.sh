#!/bin/bash
# Peak memory of one sonabrik-cli run over many small Ogg files, against a run
# over a tenth as many: whatever a converted file leaves behind shows as the
# difference, divided by the extra files.
#
#   benchmarks/ogg-peak-rss.sh [build-dir] [small-count] [large-count] [format]
#
# format is vorbis (default), opus, speex, flac (Ogg FLAC) or wav (no Ogg at
# all, to tell what every file leaves from what Ogg files leave). Prints peak RSS in KiB of
# both runs and the growth per file in bytes.
set -euo pipefail
build=${1:-build}
small=${2:-60}
large=${3:-600}
format=${4:-vorbis}
cli=$(realpath "$build/Classes/sonabrik-cli")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TMPDIR=$work/tmp HOME=$work/home XDG_CONFIG_HOME=$work/home/.config XDG_DATA_HOME=$work/home/.local/share
mkdir -p "$TMPDIR" "$HOME"

sox -D -n -r 44100 -c 2 -b 16 "$work/tone.wav" synth 0.05 sine 440
case $format in
vorbis) oggenc -Q --serial 1 -o "$work/one.ogg" "$work/tone.wav" ;;
opus) opusenc --quiet --serial 1 "$work/tone.wav" "$work/one.ogg" ;;
speex)
    sox "$work/tone.wav" -r 16000 -c 1 "$work/w16.wav"
    speexenc --quiet "$work/w16.wav" "$work/one.ogg"
    ;;
flac) flac -s --ogg --serial-number=1 -o "$work/one.ogg" "$work/tone.wav" ;;
wav) cp "$work/tone.wav" "$work/one.ogg" ;;
esac

peak() {
    local count=$1 folder=$work/in-$1
    mkdir -p "$folder"
    for ((i = 0; i < count; i++)); do
        cp "$work/one.ogg" "$folder/$(printf 'f%04d.%s' "$i" "$([ "$format" = wav ] && echo wav || echo ogg)")"
    done
    rm -rf "$work/out"
    /usr/bin/time -f %M -o "$work/rss" "$cli" convert -j 1 -o "$work/out" "$folder" >/dev/null 2>&1 || true
    [ "$(find "$work/out" -name '*.mp3' | wc -l)" -eq "$count" ] || echo "warning: not every file converted" >&2
    cat "$work/rss"
}

a=$(peak "$small")
b=$(peak "$large")
echo "$format: $small files: peak RSS ${a} KiB; $large files: ${b} KiB; growth $(((b - a) * 1024 / (large - small))) bytes per file"
