#!/bin/bash
# Peak memory of one sonabrik-cli run over many small Ogg files, against a run
# over a tenth as many: whatever a file costs shows as the difference, divided
# by the extra files.
#
#   benchmarks/ogg-peak-rss.sh [build-dir] [small-count] [large-count] [format]
#
# format is vorbis (default), opus, speex, flac (Ogg FLAC) or wav (no Ogg at
# all, to tell what every file leaves from what Ogg files leave). Prints peak RSS in KiB of
# both runs and the growth per file in bytes, split in two: the peak once the
# queue is filled (read as the first file finishes), which grows with the rows
# the queue holds, and what the conversions add to it after that, which grows
# with whatever a converted file leaves behind. Measured on WAV and Vorbis
# with 200 and 2,000 files: a queued row costs about 1.1 KB until its file
# finishes (the operation object, its child queue and the controller's
# connection to it; the command line queues every file before the run), and
# a converted file adds 0.2 to 1 KB for the rest of the run: the run's two
# lists of output paths (0.15 KB), the rest is where the allocator put things,
# which changes from run to run with the arenas the encode threads land in.
# Nothing of it outlives the run; heaptrack finds no allocation per file
# left at exit.
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
    /usr/bin/time -f %M -o "$work/rss" "$cli" convert -j 1 -o "$work/out" "$folder" >"$work/stdout" 2>&1 &
    local timer=$! pid='' queued=''
    while [ -z "$pid" ] && kill -0 "$timer" 2>/dev/null; do
        pid=$(pgrep -P "$timer" || true)
        sleep 0.01
    done
    while [ -n "$pid" ] && [ -z "$queued" ] && kill -0 "$pid" 2>/dev/null; do
        if grep -q '^\[' "$work/stdout"; then
            queued=$(awk '/^VmHWM/ {print $2}' "/proc/$pid/status" 2>/dev/null || true)
        fi
        sleep 0.01
    done
    wait "$timer" || true
    [ "$(find "$work/out" -name '*.mp3' | wc -l)" -eq "$count" ] || echo "warning: not every file converted" >&2
    echo "${queued:-0} $(cat "$work/rss")"
}

read -r qa a < <(peak "$small")
read -r qb b < <(peak "$large")
extra=$((large - small))
echo "$format: $small files: peak RSS ${a} KiB; $large files: ${b} KiB; growth $(((b - a) * 1024 / extra)) bytes per file:" \
    "$(((qb - qa) * 1024 / extra)) by the queue, $((((b - qb) - (a - qa)) * 1024 / extra)) by the conversions"
