#include "kernels/dispatch.h"

#if !defined(ZELK_KERNELS_PORTABLE) && !defined(ZELK_KERNELS_AVX512)

#include "kernels/processor.h"

#include <cpuid.h>

namespace zelk::kernels {

namespace {

using Resolved = void (*)();

Resolved resolved(InstructionSet set) {
    return reinterpret_cast<Resolved>(static_cast<std::uintptr_t>(set)); // NOLINT(performance-no-int-to-ptr)
}

} // namespace

extern "C" {

// Of C linkage because the attribute below takes its name as the assembler sees it; hidden like all that is internal.
__attribute__((used)) ZELK_RESOLVER Resolved zelkResolveInstructionSet() {
    constexpr unsigned int statesAreTold = 1U << 27U; // OSXSAVE
    unsigned int a = 0;
    unsigned int b = 0;
    unsigned int c = 0;
    unsigned int d = 0;
    unsigned int savedState = 0;
    __cpuid(0, a, b, c, d);
    if (a < 7) {
        return resolved(InstructionSet::Portable);
    }
    __cpuid(1, a, b, c, d);
    const unsigned int leaf1Ecx = c;
    if ((leaf1Ecx & statesAreTold) != 0) {
        __asm__("xgetbv" : "=a"(savedState), "=d"(d) : "c"(0));
    }
    __cpuid_count(7, 0, a, b, c, d);
    return resolved(bestOf({leaf1Ecx, b, c, savedState}));
}

void zelkInstructionSet() __attribute__((ifunc("zelkResolveInstructionSet")));

void (*const zelkResolvedInstructionSet)() = zelkInstructionSet;
}

} // namespace zelk::kernels

#endif
