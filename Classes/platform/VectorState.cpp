#include "VectorState.h"

namespace VectorState {

void clearUpperHalves()
{
#if defined(__x86_64__) || defined(__i386__)
    // VZEROUPPER is an AVX instruction: asking first keeps older processors
    // from faulting on it.
    static const bool hasAVX = __builtin_cpu_supports("avx");
    if (hasAVX) {
        asm volatile("vzeroupper" ::: "memory");
    }
#endif
}

} // namespace VectorState
