#pragma once
// Clearing the upper halves of the AVX registers on a new worker thread.
//
// Some library loaded with FFmpeg runs AVX code while the program starts and
// leaves the upper halves of the vector registers dirty. Threads created
// later inherit that state, and on such a thread every SSE instruction of
// LAME (built for SSE2) pays for a merge with the dirty halves: encoding runs
// about 5 to 10 % slower than the same LAME in a process of its own. One
// VZEROUPPER at the start of the thread clears the state.

namespace VectorState {

// Clears the upper vector state of the calling thread; does nothing on
// processors without AVX and on other architectures. Any thread.
void clearUpperHalves();

} // namespace VectorState
