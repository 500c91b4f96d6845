#pragma once
// The halves of the DSD decimation filters, one per ratio: symmetric low-pass
// FIRs over the 1-bit stream, centre tap first, each half summing to 0.5 so
// that the whole filter passes 0 Hz at unity gain. The leading and last
// values are the ones the decoder has always used; the rest was designed
// around them by scripts/design-dsd-filters.py (constrained least squares:
// flat to 20 kHz at DSD64, stop band from three quarters of the output rate),
// which writes DSDFilterCoefficients.cpp and checks it with --check.
//
// Constant data; any thread.

#include <array>

namespace DSDFilterCoefficients {

extern const std::array<double, 48> kDecimation8;   // 96 taps, output at DSD rate / 8
extern const std::array<double, 112> kDecimation16; // 224 taps, DSD rate / 16
extern const std::array<double, 288> kDecimation32; // 576 taps, DSD rate / 32

} // namespace DSDFilterCoefficients
