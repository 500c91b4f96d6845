#!/usr/bin/env bash
# Times Sonabrik's encode of a 60-second 44.1 kHz stereo WAV beside the lame
# tool on the same file with the same settings (ReplayGain analysis off in
# both), what checking a FLAC source's MD5 signature adds to converting it,
# and measures the peak memory of converting a long file.
#
#   bash benchmarks/encode-vs-lame.sh [BUILD_DIR] [LONG_MINUTES]
#
# BUILD_DIR defaults to build/ (it must hold benchmarks/sonabrik-encode-driver);
# LONG_MINUTES (default 60) is the length of the file for the memory check,
# 0 to skip it. Times are CPU seconds (user + system, to the microsecond, as
# the kernel accounts them), the best of five runs; the machine is shared, so
# read the ratios, not the absolute numbers.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
long_minutes=${2:-60}
driver=$build/benchmarks/sonabrik-encode-driver
[ -x "$driver" ] || { echo "build $driver first (cmake --build $build --target sonabrik-encode-driver)" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Music-like content: a sweep on the left, pink noise on the right, fixed seed.
sox -R -D -V1 -n -r 44100 -c 2 -b 16 "$work/in.wav" synth 60 sine 100-8000 pinknoise gain -6

# cpu_and_peak COMMAND...: prints "cpu_seconds peak_kb" of one run. (GNU
# time prints hundredths of a second, too coarse beside a 3% target.)
cpu_and_peak() {
    python3 - "$@" <<'PY'
import os, sys
# posix_spawn starts the command without copying Python's memory first, so
# the child's account holds the command alone.
pid = os.posix_spawnp(sys.argv[1], sys.argv[1:], os.environ,
                      file_actions=[(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0)])
_, status, usage = os.wait4(pid, 0)
if status != 0:
    sys.exit("failed: " + " ".join(sys.argv[1:]))
print(f"{usage.ru_utime + usage.ru_stime:.4f} {usage.ru_maxrss}")
PY
}

# best_of_five COMMAND...: the lowest CPU time of five runs.
best_of_five() {
    local best=""
    for _ in 1 2 3 4 5; do
        rm -rf "$work/out" && mkdir -p "$work/out"
        local t
        t=$(cpu_and_peak "$@" | cut -d' ' -f1)
        if [ -z "$best" ] || awk -v a="$t" -v b="$best" 'BEGIN { exit !(a < b) }'; then best=$t; fi
    done
    echo "$best"
}

# lower A B: the smaller of two times.
lower() { awk -v a="$1" -v b="$2" 'BEGIN { print (b == "" || a < b) ? a : b }'; }

# Sonabrik and lame take turns, five rounds, and each keeps its best: a
# machine whose load drifts then weighs on both alike.
compare() {
    local label=$1 driver_args=$2 lame_args=$3
    local ours="" theirs=""
    for _ in 1 2 3 4 5; do
        rm -rf "$work/out" && mkdir -p "$work/out"
        # shellcheck disable=SC2086
        ours=$(lower "$(cpu_and_peak "$driver" $driver_args "$work/in.wav" "$work/out" | cut -d' ' -f1)" "$ours")
        # shellcheck disable=SC2086
        theirs=$(lower "$(cpu_and_peak lame --quiet --noreplaygain $lame_args "$work/in.wav" "$work/out/lame.mp3" |
            cut -d' ' -f1)" "$theirs")
    done
    awk -v l="$label" -v o="$ours" -v t="$theirs" -v s="$startup" -v ls="$lame_startup" \
        'BEGIN { printf "%-10s sonabrik %7.4f s   lame %7.4f s   ratio %.3f   without the start-up %.3f\n",
                 l, o, t, o / t, (o - s) / (t - ls) }'
}

# Starting the process (loading Qt, TagLib, LAME and the decoders' libraries,
# reading the preferences) costs the same whatever it converts; it is also
# shown apart.
startup=$(best_of_five "$driver" idle)
lame_startup=$(best_of_five lame --version)
echo "60 s of 44.1 kHz stereo, CPU seconds, best of five:"
compare "VBR V2" "vbr 8" "-V 2 -q 2"
compare "CBR 192" "cbr 192" "-b 192 -q 2"
echo "start-up alone: the driver ${startup} s, lame ${lame_startup} s"

# FLAC sources: the decoder sums the decoded audio and checks the sum against
# the STREAMINFO MD5 signature, and counts whatever damage it meets. The same
# file with its signature zeroed (no signature: nothing is summed) shows what
# the check costs: less than this machine's noise between runs, so the two
# take turns, first one then the other leading, and each keeps its best of
# nine.
flac -s -f -o "$work/signed.flac" "$work/in.wav"
python3 - "$work/signed.flac" "$work/unsigned.flac" <<'PY'
import sys
data = bytearray(open(sys.argv[1], "rb").read())
data[26:42] = bytes(16)  # STREAMINFO's MD5, after "fLaC" and the block header
open(sys.argv[2], "wb").write(data)
PY
signed="" unsigned=""
for round in 1 2 3 4 5 6 7 8 9; do
    for which in $( ((round % 2)) && echo signed unsigned || echo unsigned signed); do
        rm -rf "$work/out" && mkdir -p "$work/out"
        t=$(cpu_and_peak "$driver" cbr 192 "$work/$which.flac" "$work/out" | cut -d' ' -f1)
        if [ "$which" = signed ]; then signed=$(lower "$t" "$signed"); else unsigned=$(lower "$t" "$unsigned"); fi
    done
done
awk -v s="$signed" -v u="$unsigned" -v st="$startup" \
    'BEGIN { printf "FLAC CBR 192: with its MD5 checked %7.4f s, without %7.4f s: the check costs %+.2f %% (%+.2f %% without the start-up)\n",
             s, u, 100 * (s - u) / u, 100 * (s - u) / (u - st) }'
# The same in instructions, which the machine's load does not blur
# (Valgrind's count of a whole conversion of each, when Valgrind is there).
if command -v valgrind >/dev/null; then
    instructions() {
        rm -rf "$work/out" && mkdir -p "$work/out"
        valgrind --tool=callgrind --callgrind-out-file=/dev/null "$driver" cbr 192 "$work/$1.flac" "$work/out" 2>&1 |
            sed -n 's/.*Collected : \([0-9]*\).*/\1/p'
    }
    with=$(instructions signed)
    without=$(instructions unsigned)
    awk -v s="$with" -v u="$without" \
        'BEGIN { printf "FLAC CBR 192 instructions: with its MD5 checked %.0f, without %.0f: the check adds %+.2f %%\n",
                 s, u, 100 * (s - u) / u }'
fi
# And by the profile of one conversion, where the sum is OpenSSL's: its
# library's share of the CPU samples is what the check costs, free of the
# noise between two runs (when perf may sample here).
if command -v perf >/dev/null && rm -rf "$work/out" && mkdir -p "$work/out" &&
    perf record -q -o "$work/perf.data" "$driver" cbr 192 "$work/signed.flac" "$work/out" >/dev/null 2>&1; then
    share=$(perf report -i "$work/perf.data" --stdio --sort dso 2>/dev/null | awk '/libcrypto/ { print $1 }')
    echo "FLAC CBR 192 profile: the MD5 sum (libcrypto) takes ${share:-0%} of the conversion's CPU samples"
fi
idle=$(cpu_and_peak "$driver" idle | cut -d' ' -f2)
rm -rf "$work/out" && mkdir -p "$work/out"
short_peak=$(cpu_and_peak "$driver" cbr 192 "$work/in.wav" "$work/out" | cut -d' ' -f2)
echo "peak memory: idle ${idle} KiB, 60 s file $((short_peak - idle)) KiB above idle"

if [ "$long_minutes" -gt 0 ]; then
    rm -f "$work/in.wav"
    sox -R -D -V1 -n -r 44100 -c 2 -b 16 "$work/long.wav" synth $((long_minutes * 60)) sine 100-8000 pinknoise gain -6
    rm -rf "$work/out" && mkdir -p "$work/out"
    long_peak=$(cpu_and_peak "$driver" cbr 192 "$work/long.wav" "$work/out" | cut -d' ' -f2)
    echo "peak memory: ${long_minutes} min file $((long_peak - idle)) KiB above idle"
fi
