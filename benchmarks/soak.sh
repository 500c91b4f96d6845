#!/bin/bash
# A long run of sonabrik-cli over thousands of small tagged files of every
# format it decodes, a few of them broken, to show what a long run leaves
# behind: memory that grows with every converted file, temporary files, good
# files that fail, broken files reported twice or not at all.
#
#   benchmarks/soak.sh [--files N] [--build DIR] [--jobs J] [--keep]
#
#   --files N   files to convert (default 10000); 2 % of them are broken
#   --build DIR the build folder whose Classes/sonabrik-cli runs (default
#               build; build-asan runs the sanitized program)
#   --jobs J    files converted at once (default 2)
#   --keep      keep the scratch folder and say where it is
#
# The files are copies of a few dozen templates written by the encoders
# themselves (sox, flac, lame, oggenc, opusenc, speexenc, wavpack, mpcenc,
# ffmpeg), the DSD modulator of tests/fixtures and a small module written
# here. A broken file that is another format's whole file under a name the
# platform reader takes is converted (that reader goes by content): those
# are listed, not counted as faults. The program runs with a TMPDIR and HOME of the script's own, so its
# temporary folder and its preferences are the run's alone.
#
# Prints the files converted, converted from a damaged source (broken ones
# cut short or overwritten must fail or be reported so where their format
# can tell) and failed, the error-log lines of each failed
# file, peak RSS (VmHWM) as the run passes a tenth of the files (1,000 of
# 10,000) and at its end, and the temporary files left. A failed file gets
# the lines of the decoders and readers that refused it (each names the file
# or the step that failed) and exactly one line of its encode operation.
# Exits 1 when a good file failed or was named in the error log, a failed
# file does not have exactly one line of its encode operation, an output
# sampled is not an MP3 ffprobe reads, a sanitizer reported something, the
# peak grew by 20 MiB or more between the two marks (not judged for a
# sanitized program), or a temporary file was left.
set -euo pipefail

files=10000
build=build
jobs=2
keep=0
while [ $# -gt 0 ]; do
    case $1 in
    --files) files=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --jobs) jobs=$2; shift 2 ;;
    --keep) keep=1; shift ;;
    *) echo "usage: $0 [--files N] [--build DIR] [--jobs J] [--keep]" >&2; exit 2 ;;
    esac
done
here=$(cd "$(dirname "$0")/.." && pwd)
cli=$(realpath "$build/Classes/sonabrik-cli")
[ -x "$cli" ] || { echo "no $build/Classes/sonabrik-cli: build the target sonabrik-cli first" >&2; exit 2; }

work=$(mktemp -d "${TMPDIR:-/tmp}/sonabrik-soak.XXXXXX")
if [ "$keep" = 1 ]; then
    trap 'echo "scratch folder kept: $work"' EXIT
else
    trap 'rm -rf "$work"' EXIT
fi
tpl=$work/templates in=$work/in out=$work/out
mkdir -p "$tpl" "$in" "$out" "$work/tmp" "$work/home"

# ---------------------------------------------------------------- templates
ff() { ffmpeg -nostdin -hide_banner -loglevel error -y "$@"; }
sx() { sox -D -V1 "$@"; }
tags=(-metadata "title=Soak Tone" -metadata "artist=Soak Artist" -metadata "album=Soak Album"
    -metadata "track=3" -metadata "genre=Test" -metadata "date=2024")
# The encoders' chatter goes to a log of its own, shown when one fails.
exec 3>&2 2>"$work/generate.log"
trap 'exec 2>&3; echo "writing the templates failed:" >&2; tail -5 "$work/generate.log" >&2' ERR
cd "$tpl"
# Two signals: CD-like stereo, and mono at 48 kHz in 24 bits.
sx -n -r 44100 -c 2 -b 16 s.wav synth 0.2 sine 440 sine 660 gain -3
sx -n -r 48000 -c 1 -b 24 m.wav synth 0.15 sine 550 gain -3
for v in s m; do
    ff -i $v.wav "${tags[@]}" -fflags +bitexact $v.wav.wav
    ff -i $v.wav "${tags[@]}" -write_id3v2 1 $v.aiff
    ff -i $v.wav -c:a pcm_s16le $v.caf
    sx $v.wav -b 16 $v.au
    flac -s -f -T TITLE="Soak Tone" -T ARTIST="Soak Artist" -T TRACKNUMBER=3 -o $v.flac $v.wav
    flac -s -f --ogg --serial-number=1 -T TITLE="Soak Tone" -T ARTIST="Soak Artist" -o $v.oga $v.wav
    oggenc -Q --serial 1 -t "Soak Tone" -a "Soak Artist" -l "Soak Album" -N 3 -o $v.ogg $v.wav
    opusenc --quiet --serial 1 --title "Soak Tone" --artist "Soak Artist" --album "Soak Album" $v.wav $v.opus
    sx $v.wav -r 16000 -b 16 $v-16k.wav
    speexenc --quiet --title "Soak Tone" --author "Soak Artist" $v-16k.wav $v.spx
    wavpack -q -y -w "Title=Soak Tone" -w "Artist=Soak Artist" -w "Track=3" $v.wav -o $v.wv
    sx $v.wav -b 16 $v-16.wav
    mpcenc --silent --overwrite --tag "Title=Soak Tone" --artist "Soak Artist" $v-16.wav $v.mpc
    ff -i $v.wav "${tags[@]}" -c:a tta $v.tta
    ff -i $v.wav "${tags[@]}" -c:a alac $v-alac.m4a
    ff -i $v.wav "${tags[@]}" -c:a aac -b:a 96k $v-aac.m4a
    ff -i $v.wav -c:a aac -b:a 96k $v.aac
    ff -i $v.wav "${tags[@]}" -c:a wmav2 -b:a 64k $v.wma
    lame --quiet --tt "Soak Tone" --ta "Soak Artist" --tl "Soak Album" --tn 3 $v-16.wav $v.mp3
    ff -i $v.wav -ar 44100 "${tags[@]}" -c:a mp2 $v.mp2
done
# Video files: a tiny picture beside the sound.
ff -f lavfi -i testsrc=size=64x48:rate=10:duration=0.2 -i s.wav "${tags[@]}" -c:v mpeg4 -c:a aac -shortest s.mov
ff -f lavfi -i testsrc=size=64x48:rate=10:duration=0.2 -i s.wav -c:v mpeg4 -c:a mp2 -shortest s.avi
ff -f lavfi -i testsrc=size=64x48:rate=25:duration=0.2 -i s.wav -c:v mpeg1video -c:a mp2 -shortest s.mpg
# DSD (no Debian tool writes it): a tenth of a second at DSD64.
cc -O2 -std=c99 -o dsd_modulator "$here/tests/fixtures/dsd_modulator.c" -lm
for c in 1 2; do
    ./dsd_modulator dsf d$c.dsf 2822400 $c 282240 tone:1000:0.5
    ./dsd_modulator dff d$c.dff 2822400 $c 282240 tone:1000:0.5
done
# A ProTracker module of one short pattern: a note, then a pattern break at
# row 4 at speed 3, about a quarter of a second.
/usr/bin/python3 - "$here/tests/fixtures" <<'EOF'
import struct, sys
sys.path.insert(0, sys.argv[1])
from make_mod import cell, pattern, C2, G2
rows = {0: [cell(1, C2), cell(1, G2), cell(0, 0, 0xF, 3)], 4: [cell(), cell(), cell(0, 0, 0xD, 0)]}
sample = bytes([0x40] * 16 + [0xC0] * 16) * 32
header = bytearray(b"Soak Module".ljust(20, b"\0"))
header += b"square".ljust(22, b"\0") + struct.pack(">HBBHH", len(sample) // 2, 0, 48, 0, len(sample) // 2)
for _ in range(30):
    header += bytes(22) + struct.pack(">HBBHH", 0, 0, 0, 0, 1)
header += bytes([1, 127]) + bytes([0]).ljust(128, b"\0") + b"M.K."
open("soak.mod", "wb").write(bytes(header) + pattern(rows) + sample)
EOF
rm -f s.wav m.wav s-16k.wav m-16k.wav s-16.wav m-16.wav dsd_modulator
for v in s m; do mv $v.wav.wav $v.wav; done
mapfile -t templates < <(find . -maxdepth 1 -type f -printf '%f\n' | sort)
cd - >/dev/null
trap - ERR
exec 2>&3 3>&-

# ----------------------------------------------------------- the file set
# Every 50th file is broken, in one of eight ways. The broken files cycle
# through the templates, and each pass through them shifts the kinds by one,
# so that in 10,000 files every format meets four or five of the eight kinds.
/usr/bin/python3 - "$tpl" "$in" "$files" "${templates[@]}" <<'EOF'
import os, random, shutil, sys
tpl, dest, count, names = sys.argv[1], sys.argv[2], int(sys.argv[3]), sys.argv[4:]
rng = random.Random(1)
data = {n: open(os.path.join(tpl, n), "rb").read() for n in names}
ext = lambda n: n.rsplit(".", 1)[1]
kinds = ["empty", "truncated", "garbage", "wrongext", "badheader", "noise", "cut", "overwritten"]
broken = 0
with open(os.path.join(dest, "..", "broken.txt"), "w") as listing:
    for i in range(count):
        if i % 50 != 49:
            name = names[i % len(names)]
            shutil.copyfile(os.path.join(tpl, name), os.path.join(dest, "f%05d-%s" % (i, name)))
            continue
        name = names[broken % len(names)]
        kind = kinds[(broken + broken // len(names)) % len(kinds)]
        body = data[name]
        broken += 1
        if kind == "empty":
            body = b""
        elif kind == "truncated":     # cut inside the header
            body = body[:24]
        elif kind == "garbage":       # the first bytes, then noise
            body = body[:12] + rng.randbytes(6000)
        elif kind == "wrongext":      # another format's file under this name
            other = next(n for n in names[names.index(name) + 7:] + names if ext(n) != ext(name))
            body = data[other]
        elif kind == "badheader":     # the header's first bytes overwritten
            body = bytes(rng.randrange(256) for _ in range(32)) + body[32:]
        elif kind == "cut":           # cut at 60 %, inside the audio
            body = body[:len(body) * 6 // 10]
        elif kind == "overwritten":   # 4 KB of noise in the middle
            middle = len(body) // 2
            body = body[:middle] + rng.randbytes(4096) + body[middle + 4096:]
        else:                         # nothing but noise
            body = rng.randbytes(3000)
        path = os.path.join(dest, "b%05d-%s-%s" % (i, kind, name))
        open(path, "wb").write(body)
        listing.write(path + "\n")
EOF
good=$((files - $(wc -l < "$work/broken.txt")))
echo "files: $files ($good good, $(wc -l < "$work/broken.txt") broken) from ${#templates[@]} templates: ${templates[*]}"

# ----------------------------------------------------------------- the run
export TMPDIR=$work/tmp HOME=$work/home XDG_CONFIG_HOME=$work/home/.config \
    XDG_DATA_HOME=$work/home/.local/share XDG_CACHE_HOME=$work/home/.cache
# MP3 sources are decoded and encoded again like the rest, rather than
# skipped as files already of the output's type, so that the MP3 reader
# meets its broken files too.
mkdir -p "$HOME/.config/Sonabrik"
printf '[General]\nskipFilesOfSameType=false\n' >"$HOME/.config/Sonabrik/Sonabrik.conf"
mark=$((files >= 2000 ? 1000 : files / 10))
start=$(date +%s.%N)
/usr/bin/time -v -o "$work/time" "$cli" convert -j "$jobs" -o "$out" "$in" >"$work/stdout" 2>"$work/stderr" &
timer=$!
pid=
for _ in $(seq 100); do
    pid=$(pgrep -P "$timer" || true)
    [ -n "$pid" ] && break
    sleep 0.05
done
# VmHWM of the program as the run passes each tenth of the files.
# A run in which no file finishes for five minutes has hung: it is stopped
# and reported.
hwm_at_mark='' curve=() hung=0
next=$mark last=-1 since=$SECONDS
while [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; do
    finished=$(grep -c '^\[' "$work/stdout" || true)
    if [ "$finished" != "$last" ]; then
        last=$finished since=$SECONDS
    elif [ $((SECONDS - since)) -gt 300 ]; then
        hung=1
        kill "$pid" 2>/dev/null || true
        break
    fi
    if [ "$finished" -ge "$next" ]; then
        hwm=$(awk '/^VmHWM/ {print $2}' "/proc/$pid/status" 2>/dev/null || true)
        if [ -n "$hwm" ]; then
            [ -z "$hwm_at_mark" ] && hwm_at_mark=$hwm
            curve+=("$finished:$hwm")
        fi
        next=$((finished - finished % mark + mark))
    fi
    sleep 0.2
done
status=0
wait "$timer" || status=$?
seconds=$(echo "$(date +%s.%N) - $start" | bc)
peak=$(awk -F': ' '/Maximum resident set size/ {print $2}' "$work/time")

# ----------------------------------------------------------------- report
echo "sonabrik-cli exit status $status after ${seconds%.*} s"
[ "$hung" = 0 ] || echo "HUNG: no file finished for five minutes after $last files; stopped"
grep -h 'terminated by signal' "$work/time" || true
/usr/bin/python3 - "$work" "$in" "$out" "$good" <<'EOF'
import os, re, sys
work, indir, outdir, good = sys.argv[1], sys.argv[2], sys.argv[3], int(sys.argv[4])
names = set(os.listdir(indir))
broken = {os.path.basename(p) for p in open(os.path.join(work, "broken.txt")).read().split()}
results = {}
for line in open(os.path.join(work, "stdout"), encoding="utf-8", errors="replace"):
    m = re.match(r"\[\d+/\d+\] (\w+): (.*)$", line.rstrip("\n"))
    if m and os.path.basename(m.group(2)) in names:
        results[os.path.basename(m.group(2))] = m.group(1)
err = open(os.path.join(work, "stderr"), encoding="utf-8", errors="replace").read()
log = err.split("\nError log:\n", 1)[1] if "\nError log:\n" in err else ""
# Every entry starts with its date; the lines of a longer message follow it.
entries, lines_of, op_lines_of = 0, {}, {}
unnamed = 0
for line in log.split("\n"):
    if not re.match(r"\d{4}-\d\d-\d\d \d\d:", line):
        continue
    entries += 1
    found = {t.rstrip(".") for t in re.findall(r"[bf]\d{5}-[\w.-]+", line)} & names
    unnamed += not found
    for n in found:
        lines_of[n] = lines_of.get(n, 0) + 1
        # The one line of the encode operation itself; the lines before it
        # come from the decoders and readers it opened, one per layer.
        if "\tMP3 Encode Operation " in line:
            op_lines_of[n] = op_lines_of.get(n, 0) + 1
by = lambda r: {n for n, v in results.items() if v == r}
failed, done, skipped, damaged = by("FAILED"), by("done"), by("skipped"), by("DAMAGED")
# Sources cut short or overwritten in the middle, in the formats that can
# tell (a checksum, an end-of-stream page, a length in the header): each must
# fail or be reported damaged, never pass for a clean conversion. Raw PCM
# cannot tell an overwrite, nor a module a cut; LAME's MP3s count their frames.
tells = {"cut": {"flac", "oga", "ogg", "opus", "spx", "wv", "mpc", "tta", "wav", "aiff", "dsf", "dff", "mp3"},
         "overwritten": {"flac", "oga", "ogg", "opus", "spx", "wv", "tta"}}
def must_tell(n):
    m = re.match(r"b\d{5}-(cut|overwritten)-.*\.(\w+)$", n)
    return bool(m) and m.group(2) in tells[m.group(1)]
broken_clean = sorted(n for n in (done | skipped) & broken if must_tell(n))
good_damaged = sorted(damaged - broken)
good_failed = sorted(failed - broken)
good_missing = sorted(names - broken - done - skipped - failed - damaged)
broken_done = sorted((done | skipped) & broken)
broken_silent = sorted(broken - set(results))
damaged_named = sorted(n for n in damaged if lines_of.get(n, 0) < 1)
wrong_count = sorted(n for n in failed if op_lines_of.get(n, 0) != 1)
good_logged = sorted(n for n in names - broken if n in lines_of)
outputs = os.listdir(outdir)
print("converted: %d of %d good files, %d more skipped;"
      " %d broken files converted anyway" % (len(done - broken), good, len(skipped - broken), len(broken_done)))
print("failed: %d (%d broken, %d good); broken files never queued: %d"
      % (len(failed), len(failed & broken), len(good_failed), len(broken_silent)))
print("converted from a damaged source: %d (%d broken, %d good); broken files that can tell"
      " their damage passed off as clean: %d" % (len(damaged), len(damaged & broken), len(good_damaged),
                                                  len(broken_clean)))
print("error log: %d entries, %d naming no input file; failed files without exactly one line of"
      " their encode operation: %d; most lines naming one file: %d"
      % (entries, unnamed, len(wrong_count), max(lines_of.values(), default=0)))
print("outputs: %d .mp3 files, %d other files" % (sum(n.endswith(".mp3") for n in outputs),
                                                    sum(not n.endswith(".mp3") for n in outputs)))
def show(title, paths):
    if paths:
        print("  %s (%d):" % (title, len(paths)))
        for n in paths[:20]:
            print("    %s: %s, %d log lines (%d of its operation)"
                  % (n, results.get(n, "not reported"), lines_of.get(n, 0), op_lines_of.get(n, 0)))
show("good files that failed", good_failed)
show("good files never converted", good_missing)
show("good files named in the error log", good_logged)
show("failed files without exactly one line of their operation", wrong_count)
show("broken files converted", broken_done)
show("good files reported damaged", good_damaged)
show("broken files that can tell their damage passed off as clean", broken_clean)
show("damaged files without a line in the error log", damaged_named)
show("broken files never queued", broken_silent)
bad = bool(good_failed or good_missing or wrong_count or good_logged or good_damaged or broken_clean
           or damaged_named)
open(os.path.join(work, "verdict"), "w").write("bad" if bad else "ok")
EOF
if [ -s "$work/stderr" ] && grep -q 'Sanitizer\|runtime error:' "$work/stderr"; then
    echo "sanitizer reports: $(grep -c 'ERROR: .*Sanitizer\|runtime error:' "$work/stderr")"
    grep -m5 'ERROR: .*Sanitizer\|runtime error:' "$work/stderr"
    echo bad >"$work/verdict"
fi
# A sample of the outputs, read by ffprobe: each must be an MP3 stream of
# some length; those made from tagged sources carry the source's title.
mapfile -t sample < <(find "$out" -name '*.mp3' | sort | awk 'NR % 97 == 1')
unreadable=0 titled=0
for f in "${sample[@]}"; do
    read -r codec duration title < <(ffprobe -v error -show_entries stream=codec_name:format=duration:format_tags=title \
        -of default=nw=1:nk=1 "$f" | tr '\n' ' ') || true
    if [ "${codec:-}" != mp3 ] || ! awk -v d="${duration:-0}" 'BEGIN { exit !(d > 0) }'; then
        unreadable=$((unreadable + 1))
        echo "  unreadable output: $f"
    fi
    [ "${title% }" = "Soak Tone" ] && titled=$((titled + 1))
done
echo "outputs read by ffprobe: ${#sample[@]}, unreadable $unreadable, with the sources' title $titled"
[ "$unreadable" -eq 0 ] || echo bad >"$work/verdict"
left=$(find "$work/tmp" -mindepth 1 | wc -l)
echo "temporary files left: $left"
find "$work/tmp" -mindepth 1 | head -10 | sed 's/^/  /'
verdict=$(cat "$work/verdict")
if [ -n "$hwm_at_mark" ] && [ -n "$peak" ]; then
    growth=$((peak - hwm_at_mark))
    echo "peak RSS: ${hwm_at_mark} KiB at $mark files, ${peak} KiB at $files files:" \
        "growth $(awk -v g="$growth" 'BEGIN { printf "%.1f", g / 1024 }') MiB" \
        "($((growth * 1024 / (files - mark))) bytes per file)"
    echo "VmHWM as the run went (files:KiB): ${curve[*]}"
else
    # The run ended before the first mark was read (too few files).
    growth=0
    echo "peak RSS: ${peak:-?} KiB at the end; the run was too short to read it at $mark files"
fi
[ "$left" -eq 0 ] || verdict=bad
[ "$hung" = 0 ] || verdict=bad
! grep -q 'terminated by signal' "$work/time" || verdict=bad
if ldd "$cli" 2>/dev/null | grep -q libasan; then
    # AddressSanitizer holds freed memory back in its quarantine: the peak
    # then says nothing about what the program keeps.
    echo "(sanitized program: the peak RSS is not judged)"
elif [ "$growth" -ge $((20 * 1024)) ]; then
    verdict=bad
fi
echo "verdict: $verdict"
[ "$verdict" = ok ]
