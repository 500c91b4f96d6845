#!/usr/bin/env bash
# Makes the small demo set that scripts/run.sh converts when given no paths:
# a few seconds of tagged audio in several formats, in nested folders.
#
#   bash scripts/make-demo-sources.sh OUTPUT_DIR
set -euo pipefail

out=${1:?usage: make-demo-sources.sh OUTPUT_DIR}
rm -rf "$out"
mkdir -p "$out/North of Tidewater" "$out/Singles"
cd "$out"

tone() { sox -D -V1 -n -r 44100 -c 2 -b 16 "$1" synth 3 sine "$2" sine "$3" gain -6 fade 0.1 3 0.3; }
tone a.wav 330 440
tone b.wav 392 523
tone c.wav 262 330
tone d.wav 294 370

flac -s -f -T TITLE="Lantern Road" -T ARTIST="The Quiet Orchards" -T ALBUM="North of Tidewater" \
    -T TRACKNUMBER=1 -T TRACKTOTAL=2 -T DATE=1969 -o "North of Tidewater/01 Lantern Road.flac" a.wav
oggenc -Q -q 4 -t "Harbour Lights" -a "The Quiet Orchards" -l "North of Tidewater" -N 2 -d 1969 \
    -o "North of Tidewater/02 Harbour Lights.ogg" b.wav
opusenc --quiet --title "Paper Kites" --artist "Mira Vale" c.wav "Singles/Paper Kites.opus"
cp d.wav "Singles/Morning Ferry.wav"
rm -f a.wav b.wav c.wav d.wav
