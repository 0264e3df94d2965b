#include "kernels/dispatch.h"

#if !defined(ZELK_KERNELS_PORTABLE) && !defined(ZELK_KERNELS_AVX512)

#include <cpuid.h>

// The resolver runs before the C library and any sanitizer are ready: it asks the processor itself and touches no
// memory but its own stack.
#define ZELK_RESOLVER                                                                                                  \
    __attribute__((used, no_sanitize("address"), no_sanitize("undefined"), no_sanitize("thread"),                      \
                   no_profile_instrument_function, no_stack_protector))

namespace zelk::kernels {

namespace {

using Resolved = void (*)();

Resolved resolved(InstructionSet set) {
    return reinterpret_cast<Resolved>(static_cast<std::uintptr_t>(set)); // NOLINT(performance-no-int-to-ptr)
}

} // namespace

extern "C" {

// Of C linkage because the attribute below takes its name as the assembler sees it; hidden like all that is internal.
ZELK_RESOLVER Resolved zelkResolveInstructionSet() {
    constexpr unsigned int leaf1Ecx = 1U << 27U;                                                // OSXSAVE
    constexpr unsigned int leaf7Ebx = 1U << 8U | 1U << 16U | 1U << 17U | 1U << 30U | 1U << 31U; // BMI2, F, DQ, BW, VL
    constexpr unsigned int leaf7Ecx = 1U << 1U | 1U << 6U;                                      // VBMI, VBMI2
    constexpr unsigned int savedState = 0xE6U;                                                  // XMM, YMM, masks, ZMM
    unsigned int a = 0;
    unsigned int b = 0;
    unsigned int c = 0;
    unsigned int d = 0;
    __cpuid(0, a, b, c, d);
    if (a < 7) {
        return resolved(InstructionSet::Portable);
    }
    __cpuid(1, a, b, c, d);
    if ((c & leaf1Ecx) != leaf1Ecx) {
        return resolved(InstructionSet::Portable);
    }
    unsigned int enabled = 0;
    unsigned int enabledHigh = 0;
    __asm__("xgetbv" : "=a"(enabled), "=d"(enabledHigh) : "c"(0));
    if ((enabled & savedState) != savedState) {
        return resolved(InstructionSet::Portable);
    }
    __cpuid_count(7, 0, a, b, c, d);
    const bool found = (b & leaf7Ebx) == leaf7Ebx && (c & leaf7Ecx) == leaf7Ecx;
    return resolved(found ? InstructionSet::Avx512 : InstructionSet::Portable);
}

void zelkInstructionSet() __attribute__((ifunc("zelkResolveInstructionSet")));

void (*const zelkResolvedInstructionSet)() = zelkInstructionSet;
}

} // namespace zelk::kernels

#endif
