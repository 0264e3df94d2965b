// What a processor of the x86-64 family must have for each set of kernels. Included by dispatch.cpp and its test alone.
#pragma once

#include <cpuid.h>

namespace zelk::kernels {

// What runs before the C library and any sanitizer are ready touches no memory but its own stack.
#define ZELK_RESOLVER                                                                                                  \
    __attribute__((no_sanitize("address"), no_sanitize("undefined"), no_sanitize("thread"),                            \
                   no_profile_instrument_function, no_stack_protector))

// What a processor says of itself by CPUID, and the registers that the system saves.
struct Processor {
    unsigned int leaf1Ecx;
    unsigned int leaf7Ebx;
    unsigned int leaf7Ecx;
    unsigned int savedState; // XCR0
};

ZELK_RESOLVER inline Processor thisProcessor() {
    constexpr unsigned int statesAreTold = 1U << 27U; // OSXSAVE
    // Number by number: for a whole record, Clang without optimisation calls the C library.
    unsigned int leaf1Ecx = 0;
    unsigned int leaf7Ebx = 0;
    unsigned int leaf7Ecx = 0;
    unsigned int savedState = 0;
    unsigned int a = 0;
    unsigned int b = 0;
    unsigned int c = 0;
    unsigned int d = 0;
    __cpuid(0, a, b, c, d);
    const unsigned int lastLeaf = a;
    __cpuid(1, a, b, c, d);
    leaf1Ecx = c;
    if ((leaf1Ecx & statesAreTold) != 0) {
        __asm__("xgetbv" : "=a"(savedState), "=d"(d) : "c"(0));
    }
    if (lastLeaf >= 7) {
        __cpuid_count(7, 0, a, b, c, d);
        leaf7Ebx = b;
        leaf7Ecx = c;
    }
    return {leaf1Ecx, leaf7Ebx, leaf7Ecx, savedState};
}

ZELK_RESOLVER constexpr bool hasAll(unsigned int bits, unsigned int needed) {
    return (bits & needed) == needed;
}

ZELK_RESOLVER constexpr bool hasSse41(const Processor &processor) {
    return hasAll(processor.leaf1Ecx, 1U << 9U | 1U << 19U | 1U << 23U); // SSSE3, SSE4.1, POPCNT
}

ZELK_RESOLVER constexpr bool hasAvx2(const Processor &processor) {
    return hasSse41(processor) && hasAll(processor.leaf7Ebx, 1U << 3U | 1U << 5U | 1U << 8U) && // BMI1, AVX2, BMI2
           hasAll(processor.savedState, 0x06U);                                                 // XMM, YMM
}

ZELK_RESOLVER constexpr bool hasAvx512(const Processor &processor) {
    return hasAll(processor.leaf1Ecx, 1U << 23U) && // POPCNT
           hasAll(processor.leaf7Ebx,
                  1U << 3U | 1U << 8U | 1U << 16U | 1U << 17U | 1U << 30U | 1U << 31U) && // BMI1, BMI2, F, DQ, BW, VL
           hasAll(processor.leaf7Ecx, 1U << 1U | 1U << 6U) &&                             // VBMI, VBMI2
           hasAll(processor.savedState, 0xE6U);                                           // XMM, YMM, masks, ZMM
}

} // namespace zelk::kernels
