// Which instruction set the kernels use: decided once per process by the dynamic linker, or fixed by the build.
//
// The choice is an indirect function that returns a constant: the linker resolves it while it loads the library and then
// write-protects the result, so there is no writable state and no first call. -DZELK_KERNELS=portable or =avx512 makes
// it a constant of the build, and the other path drops out.
#pragma once

#if !defined(ZELK_KERNELS_PORTABLE)
#define ZELK_HAS_AVX512_KERNELS
#endif

// ZELK_CHOOSE((arguments), function) calls the function of the chosen instruction set's namespace.
#if defined(ZELK_HAS_AVX512_KERNELS)
#define ZELK_CHOOSE(arguments, ...)                                                                                    \
    (instructionSet() == InstructionSet::Avx512 ? avx512::__VA_ARGS__ arguments : portable::__VA_ARGS__ arguments)
#else
#define ZELK_CHOOSE(arguments, ...) (portable::__VA_ARGS__ arguments)
#endif

namespace zelk::kernels {

enum class InstructionSet {
    Portable, // the baseline of the target: SSE2, NEON or none
    Avx512,   // AVX-512 F, BW, DQ, VL, VBMI and VBMI2 with BMI2: server and desktop processors since 2019
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
InstructionSet instructionSet() noexcept;
#endif

} // namespace zelk::kernels
