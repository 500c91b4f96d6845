#!/usr/bin/env python3
"""Runs a command five times, its output going to /dev/null, and prints the
CPU seconds (user + system) of its fastest run.

    python3 benchmarks/best-of-five.py [--runs N] [--wall] COMMAND [ARG...]

--runs N runs it N times instead; --wall prints the lowest wall-clock
seconds first ("wall cpu"). The CPU time is read through wait4, to the
microsecond as the kernel accounts it (GNU time prints hundredths). Exits
with a message when a run fails."""
import os
import sys
import time

args = sys.argv[1:]
runs, wall = 5, False
while args and args[0].startswith("--"):
    if args[0] == "--runs":
        runs, args = int(args[1]), args[2:]
    elif args[0] == "--wall":
        wall, args = True, args[1:]
    else:
        sys.exit("unknown option " + args[0])

best_cpu = best_wall = None
for _ in range(runs):
    start = time.monotonic()
    pid = os.posix_spawnp(args[0], args, os.environ,
                          file_actions=[(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0),
                                        (os.POSIX_SPAWN_OPEN, 2, os.devnull, os.O_WRONLY, 0)])
    _, status, usage = os.wait4(pid, 0)
    if status != 0:
        sys.exit("failed: " + " ".join(args))
    seconds = usage.ru_utime + usage.ru_stime
    elapsed = time.monotonic() - start
    best_cpu = seconds if best_cpu is None or seconds < best_cpu else best_cpu
    best_wall = elapsed if best_wall is None or elapsed < best_wall else best_wall
print(f"{best_wall:.2f} {best_cpu:.4f}" if wall else f"{best_cpu:.4f}")
