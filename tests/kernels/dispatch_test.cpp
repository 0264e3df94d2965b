// Which kernels are chosen: the best set that can run, and nothing else. A set that is not chosen is called by nobody,
// and no other test would notice.
#include "kernels/dispatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#if !defined(ZELK_KERNELS_ONLY) // the choice is not the build's
#include "kernels/processor.h"
#endif

using namespace zelk::kernels;

TEST(Dispatch, TakesTheFirstSupportedCandidate) {
    const auto all = candidates();
    const auto best = std::find_if(all.begin(), all.end(), [](const Candidate &set) { return set.isSupported(); });
    ASSERT_NE(best, all.end());
    EXPECT_EQ(best->kernels, &kernels()) << best->name;
}

#if !defined(ZELK_KERNELS_ONLY)

TEST(Dispatch, KnowsTheProcessor) {
    // The compiler's runtime library asks for itself; what the system does not save counts as missing.
    const bool sse41 = __builtin_cpu_supports("ssse3") != 0 && __builtin_cpu_supports("sse4.1") != 0 &&
                       __builtin_cpu_supports("popcnt") != 0;
    const bool avx2 = sse41 && __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
                      __builtin_cpu_supports("bmi2") != 0;
    const bool avx512 = __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
                        __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
                        __builtin_cpu_supports("avx512vbmi") != 0 && __builtin_cpu_supports("avx512vbmi2") != 0 &&
                        __builtin_cpu_supports("bmi") != 0 && __builtin_cpu_supports("bmi2") != 0 &&
                        __builtin_cpu_supports("popcnt") != 0;
    for (const Candidate &set : candidates()) {
        const std::string name = set.name;
        EXPECT_EQ(set.isSupported(), name == "sse41"    ? sse41
                                     : name == "avx2"   ? avx2
                                     : name == "avx512" ? avx512
                                                        : true)
            << name;
    }
}

namespace {

// The bits of the processor's manual that a set needs, each a feature of its own.
struct Needs {
    bool (*has)(const Processor &processor);
    Processor all;
};

void expectEachNeeded(const Needs &needs) {
    EXPECT_FALSE(needs.has(Processor()));
    constexpr unsigned int Processor::*words[] = {&Processor::leaf1Ecx, &Processor::leaf7Ebx, &Processor::leaf7Ecx,
                                                  &Processor::savedState};
    for (const Processor &least : {needs.all, Processor{~0U, ~0U, ~0U, ~0U}}) {
        EXPECT_TRUE(needs.has(least));
        for (unsigned int Processor::*const word : words) {
            for (unsigned int bit = 1; bit != 0; bit <<= 1U) {
                if ((needs.all.*word & bit) != 0) {
                    Processor lacking = least;
                    lacking.*word &= ~bit;
                    EXPECT_FALSE(needs.has(lacking)) << std::hex << bit;
                }
            }
        }
    }
}

} // namespace

TEST(Dispatch, NeedsEveryFeatureAndNoOther) {
    constexpr unsigned int ssse3 = 0x00000200;
    constexpr unsigned int sse41 = 0x00080000;
    constexpr unsigned int popcnt = 0x00800000;
    expectEachNeeded({hasSse41, {.leaf1Ecx = ssse3 | sse41 | popcnt, .leaf7Ebx = 0, .leaf7Ecx = 0, .savedState = 0}});
    // BMI1, AVX2, BMI2; XMM and YMM.
    expectEachNeeded(
        {hasAvx2, {.leaf1Ecx = ssse3 | sse41 | popcnt, .leaf7Ebx = 0x00000128, .leaf7Ecx = 0, .savedState = 0x06}});
    // BMI1, BMI2, AVX-512 F, DQ, BW, VL; VBMI, VBMI2; XMM, YMM, masks, ZMM and the upper ZMM.
    expectEachNeeded(
        {hasAvx512, {.leaf1Ecx = popcnt, .leaf7Ebx = 0xC0030108, .leaf7Ecx = 0x00000042, .savedState = 0xE6}});
}

#endif
