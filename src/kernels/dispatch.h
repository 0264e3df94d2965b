// Which instruction set the kernels use: decided once per process by the dynamic linker, or fixed by the build.
//
// The choice is a word that the linker stores while it loads the library and then write-protects, so there is no
// writable state, no first call and no jump through a table: a kernel's caller tests the word. -DZELK_KERNELS=portable
// or =avx512 makes it a constant of the build, and the other path drops out.
#pragma once

#include <cstdint>

#if !defined(ZELK_KERNELS_PORTABLE)
#define ZELK_HAS_AVX512_KERNELS
#endif

// ZELK_CHOOSE((arguments), function) calls the function of the chosen instruction set's namespace.
#if defined(ZELK_HAS_AVX512_KERNELS)
// GCOVR_EXCL_BR_START: a processor has the one or the other, and the tests of the kernels call both
#define ZELK_CHOOSE(arguments, ...)                                                                                    \
    (__builtin_expect(zelk::kernels::instructionSet() == zelk::kernels::InstructionSet::Avx512, 1)                     \
         ? zelk::kernels::avx512::__VA_ARGS__ arguments                                                                \
         : zelk::kernels::portable::__VA_ARGS__ arguments)
// GCOVR_EXCL_BR_STOP
#else
#define ZELK_CHOOSE(arguments, ...) (zelk::kernels::portable::__VA_ARGS__ arguments)
#endif

// Declares kernels in the namespace of each instruction set, for callers that choose themselves: one jump less.
#define ZELK_OF_EACH_SET(...)                                                                                          \
    namespace portable {                                                                                               \
    __VA_ARGS__                                                                                                        \
    }                                                                                                                  \
    namespace avx512 {                                                                                                 \
    __VA_ARGS__                                                                                                        \
    }

// A stage of a conversion: a function of its own, so that the registers that it saves do not burden the others.
#define ZELK_STAGE [[gnu::noinline, maybe_unused]] static

namespace zelk::kernels {

enum class InstructionSet : std::uintptr_t {
    Portable, // the baseline of the target: SSE2, NEON or none
    Avx512,   // AVX-512 F, BW, DQ, VL, VBMI, VBMI2 with BMI1, BMI2, POPCNT: server and desktop processors since 2019
};

#if defined(ZELK_KERNELS_PORTABLE)
constexpr InstructionSet instructionSet() {
    return InstructionSet::Portable;
}
#elif defined(ZELK_KERNELS_AVX512)
constexpr InstructionSet instructionSet() {
    return InstructionSet::Avx512;
}
#else
// What the resolver of an indirect function returned: in form the address of a function, in truth an InstructionSet.
extern "C" __attribute__((visibility("hidden"))) void (*const zelkResolvedInstructionSet)();

inline InstructionSet instructionSet() {
    return static_cast<InstructionSet>(reinterpret_cast<std::uintptr_t>(zelkResolvedInstructionSet));
}
#endif

} // namespace zelk::kernels
