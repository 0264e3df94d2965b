// What a processor must have for the kernels of AVX-512. Included by dispatch.cpp and its test alone.
#pragma once

#include "kernels/dispatch.h"

namespace zelk::kernels {

// What runs before the C library and any sanitizer are ready touches no memory but its own stack.
#define ZELK_RESOLVER                                                                                                  \
    __attribute__((no_sanitize("address"), no_sanitize("undefined"), no_sanitize("thread"),                            \
                   no_profile_instrument_function, no_stack_protector))

// What a processor tells of itself by CPUID, and of the registers that the system saves.
struct Processor {
    unsigned int leaf1Ecx;
    unsigned int leaf7Ebx;
    unsigned int leaf7Ecx;
    unsigned int savedState; // XCR0
};

ZELK_RESOLVER constexpr InstructionSet bestOf(Processor processor) {
    constexpr unsigned int leaf1Ecx = 1U << 23U; // POPCNT
    constexpr unsigned int leaf7Ebx =
        1U << 3U | 1U << 8U | 1U << 16U | 1U << 17U | 1U << 30U | 1U << 31U; // BMI1, BMI2, F, DQ, BW, VL
    constexpr unsigned int leaf7Ecx = 1U << 1U | 1U << 6U;                   // VBMI, VBMI2
    constexpr unsigned int savedState = 0xE6U;                               // XMM, YMM, masks, ZMM
    const bool found = (processor.leaf1Ecx & leaf1Ecx) == leaf1Ecx && (processor.leaf7Ebx & leaf7Ebx) == leaf7Ebx &&
                       (processor.leaf7Ecx & leaf7Ecx) == leaf7Ecx && (processor.savedState & savedState) == savedState;
    return found ? InstructionSet::Avx512 : InstructionSet::Portable;
}

} // namespace zelk::kernels
