#!/usr/bin/python3
"""Designs the halves of the DSD decimation filters and writes them as C++.

    design-dsd-filters.py [OUTPUT.cpp]     writes the tables (default: stdout)
    design-dsd-filters.py --check FILE     exits 1 unless FILE holds what this
                                           script writes now

Each filter is a symmetric low-pass FIR of even length 2M over the 1-bit
stream; only its half is stored, centre tap first. The half is the least-
squares solution of

    minimise   integral over the stop band of |H(f)|^2
             + integral over the pass band of |H(f) - 1|^2
    subject to h[0..3] and h[M-1] equal to the leading and last values the
               decoder has always used, and sum(h) = 0.5 (unity gain at 0 Hz),

with H(f) = 2 * sum_k h[k] cos(2 pi f (k + 1/2)), f in cycles per DSD bit.
The pass band reaches 20 kHz at DSD64 (20000 / 2822400 cycles per bit) for
every ratio; the stop band starts at three quarters of the output rate
(0.75 / decimation cycles per bit), so that what folds back at decimation
lands above the audio band and the stop band is as deep as the fixed leading
values allow. The equality-constrained problem is solved through its KKT
system on a dense frequency grid. Needs python3-numpy (Debian).
"""
import sys

import numpy as np

DSD64 = 2822400.0
PASS_EDGE = 20000.0 / DSD64

# decimation: (half taps, leading values, last value)
FILTERS = {
    8: (48, [0.09950732, 0.09562846, 0.08819647, 0.07782553], 3.130441e-08),
    16: (112, [0.05760463, 0.05691758, 0.05555983, 0.05356357], -2.369570e-08),
    32: (288, [0.02832187, 0.02824255, 0.02808432, 0.02784806], -1.699952e-08),
}


def response(half, freqs):
    k = np.arange(len(half)) + 0.5
    return 2.0 * np.cos(2.0 * np.pi * np.outer(np.atleast_1d(freqs), k)) @ half


def design(decimation):
    taps, leading, last = FILTERS[decimation]
    stop_edge = 0.75 / decimation
    k = np.arange(taps) + 0.5
    pass_grid = np.linspace(0.0, PASS_EDGE, 4000)
    stop_grid = np.linspace(stop_edge, 0.5, 40000)
    a_pass = 2.0 * np.cos(2.0 * np.pi * np.outer(pass_grid, k))
    a_stop = 2.0 * np.cos(2.0 * np.pi * np.outer(stop_grid, k))
    # Riemann sums of the two integrals: quadratic form q and linear term c.
    w_pass = PASS_EDGE / len(pass_grid)
    w_stop = (0.5 - stop_edge) / len(stop_grid)
    q = w_pass * a_pass.T @ a_pass + w_stop * a_stop.T @ a_stop
    c = w_pass * a_pass.T @ np.ones(len(pass_grid))

    rows, values = [], []
    for index, value in list(enumerate(leading)) + [(taps - 1, last)]:
        row = np.zeros(taps)
        row[index] = 1.0
        rows.append(row)
        values.append(value)
    rows.append(np.ones(taps))
    values.append(0.5)
    constraints = np.array(rows)
    n = len(values)
    kkt = np.block([[2.0 * q, constraints.T], [constraints, np.zeros((n, n))]])
    rhs = np.concatenate([2.0 * c, np.array(values)])
    half = np.linalg.solve(kkt, rhs)[:taps]
    # The solve meets the fixed values to within rounding; store them as given.
    half[: len(leading)] = leading
    half[-1] = last
    return half


def summary(decimation, half):
    """Pass-band deviation up to 20 kHz at DSD64 and the largest response
    above the stop-band edge, in dB."""
    passband = 20.0 * np.log10(np.abs(response(half, np.linspace(0.0, PASS_EDGE, 500))))
    stopband = response(half, np.linspace(0.75 / decimation, 0.5, 50000))
    peak = 20.0 * np.log10(np.max(np.abs(stopband)))
    return (f"decimation {decimation}: {2 * len(half)} taps, sum of the half {half.sum():.12f};\n"
            f"pass band {passband.min():+.5f} .. {passband.max():+.5f} dB up to 20 kHz at DSD64;\n"
            f"stop band from {0.75 / decimation * DSD64:.0f} Hz at DSD64 below {peak:.1f} dB")


def cpp_source():
    lines = [
        "// Written by scripts/design-dsd-filters.py; do not edit by hand. Run the",
        "// script to regenerate, or with --check to compare this file with a new",
        "// design. Each table is the half of a symmetric low-pass FIR, centre tap",
        "// first, summing to 0.5; see the script for how the halves are designed.",
        "",
        '#include "DSDFilterCoefficients.h"',
        "",
        "namespace DSDFilterCoefficients {",
        "",
    ]
    for decimation, (taps, _, _) in FILTERS.items():
        half = design(decimation)
        lines += [f"// {line}" for line in summary(decimation, half).split("\n")]
        lines.append("// clang-format off")
        lines.append(f"const std::array<double, {taps}> kDecimation{decimation} = {{")
        for i in range(0, taps, 3):
            lines.append("    " + " ".join(f"{v:.17g}," for v in half[i:i + 3]))
        lines.append("};")
        lines.append("// clang-format on")
        lines.append("")
    lines.append("} // namespace DSDFilterCoefficients")
    return "\n".join(lines) + "\n"


def main(argv):
    source = cpp_source()
    if len(argv) == 3 and argv[1] == "--check":
        with open(argv[2]) as f:
            same = f.read() == source
        print("up to date" if same else f"{argv[2]} differs from a new design")
        return 0 if same else 1
    if len(argv) == 2:
        with open(argv[1], "w") as f:
            f.write(source)
    else:
        sys.stdout.write(source)
    for decimation in FILTERS:
        print(summary(decimation, design(decimation)), file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
