// Which kernels are used: fixed by the build, or on x86-64 chosen once per process by the dynamic linker.
#include "kernels/dispatch.h"

#if !defined(ZELK_KERNELS_ONLY)
#include "kernels/processor.h"
#endif

namespace zelk::kernels {

#if defined(ZELK_KERNELS_ONLY)

std::span<const Candidate> candidates() {
    static constexpr Candidate only[] = {{ZELK_KERNELS_NAME, []() { return true; }, &ZELK_KERNELS_ONLY}};
    return only;
}

#else

std::span<const Candidate> candidates() {
    static constexpr Candidate all[] = {
        {"avx512", []() { return hasAvx512(thisProcessor()); }, &avx512Kernels},
        {"avx2", []() { return hasAvx2(thisProcessor()); }, &avx2Kernels},
        {"sse41", []() { return hasSse41(thisProcessor()); }, &sse41Kernels},
        {"portable", []() { return true; }, &portableKernels},
    };
    return all;
}

// It runs while the library is relocated, so that it reads no table. Of C linkage for the name that the assembler sees,
// which is told inside of it: with -flto what stands outside of all functions may come to another part of the program.
// Not by the compiler's attribute: Clang 14 cannot link such a function with -flto.
extern "C" __attribute__((used, noinline, visibility("hidden"))) ZELK_RESOLVER const Kernels *zelkResolveKernels() {
    __asm__ volatile(".globl zelkKernels\n"
                     ".hidden zelkKernels\n"
                     ".type zelkKernels, @gnu_indirect_function\n"
                     ".set zelkKernels, zelkResolveKernels\n");
    const Processor processor = thisProcessor();
    return hasAvx512(processor)  ? &avx512Kernels
           : hasAvx2(processor)  ? &avx2Kernels
           : hasSse41(processor) ? &sse41Kernels
                                 : &portableKernels;
}

#endif

} // namespace zelk::kernels
