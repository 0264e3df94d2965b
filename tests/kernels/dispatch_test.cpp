// Which kernels are chosen: those for AVX-512 wherever they can run, and nowhere else. Where they are not, nothing
// calls them, and no other test would notice.
#include "kernels/processor.h"

#include <gtest/gtest.h>

#if !defined(ZELK_KERNELS_PORTABLE) && !defined(ZELK_KERNELS_AVX512) // the choice is not the build's

using zelk::kernels::bestOf;
using zelk::kernels::InstructionSet;
using zelk::kernels::Processor;

TEST(InstructionSet, IsTheBestOfThisProcessor) {
    // The compiler's runtime library asks for itself; what the system does not save counts as missing.
    const bool hasAvx512 = __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
                           __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
                           __builtin_cpu_supports("avx512vbmi") != 0 && __builtin_cpu_supports("avx512vbmi2") != 0 &&
                           __builtin_cpu_supports("bmi") != 0 && __builtin_cpu_supports("bmi2") != 0 &&
                           __builtin_cpu_supports("popcnt") != 0;
    EXPECT_EQ(zelk::kernels::instructionSet() == InstructionSet::Avx512, hasAvx512);
}

// The bits of the processor's manual: each alone is missing, and then any other.
TEST(InstructionSet, NeedsEveryFeatureAndNoOther) {
    constexpr unsigned int featureOfLeaf1 = 0x00800000;
    constexpr unsigned int featuresOfEbx[] = {0x00000008, 0x00000100, 0x00010000, 0x00020000, 0x40000000, 0x80000000};
    constexpr unsigned int featuresOfEcx[] = {0x00000002, 0x00000040};
    constexpr unsigned int states[] = {0x02, 0x04, 0x20, 0x40, 0x80}; // XMM, YMM, masks, ZMM and the upper ZMM
    constexpr Processor needed = {
        .leaf1Ecx = 0x00800000, .leaf7Ebx = 0xC0030108, .leaf7Ecx = 0x00000042, .savedState = 0xE6};
    EXPECT_EQ(bestOf(Processor()), InstructionSet::Portable);
    EXPECT_EQ(bestOf(needed), InstructionSet::Avx512);
    for (const Processor &least : {needed, Processor{~0U, ~0U, ~0U, ~0U}}) {
        EXPECT_EQ(bestOf(least), InstructionSet::Avx512);
        Processor withoutPopcnt = least;
        withoutPopcnt.leaf1Ecx &= ~featureOfLeaf1;
        EXPECT_EQ(bestOf(withoutPopcnt), InstructionSet::Portable);
        for (const unsigned int feature : featuresOfEbx) {
            Processor lacking = least;
            lacking.leaf7Ebx &= ~feature;
            EXPECT_EQ(bestOf(lacking), InstructionSet::Portable) << std::hex << feature;
        }
        for (const unsigned int feature : featuresOfEcx) {
            Processor lacking = least;
            lacking.leaf7Ecx &= ~feature;
            EXPECT_EQ(bestOf(lacking), InstructionSet::Portable) << std::hex << feature;
        }
        for (const unsigned int state : states) {
            Processor lacking = least;
            lacking.savedState &= ~state;
            EXPECT_EQ(bestOf(lacking), InstructionSet::Portable) << std::hex << state;
        }
    }
}

#endif
