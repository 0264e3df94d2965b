// A debug library that answers but cannot print: nothing is traced, and the conversion is what it is without one.
#include "zelk.hpp"

#include <gtest/gtest.h>

namespace {

int questions = 0;

} // namespace

extern "C" int murnDebugCheckLevelGetFrameAndChunk(unsigned int /*module*/, unsigned int /*level*/, void ** /*frame*/,
                                                   void ** /*chunk*/) {
    ++questions;
    return 1;
}

TEST(DvbHalfTrace, ConvertsWithoutAPrinter) {
    EXPECT_EQ(zelk::DvbConverter(DvbCharSetStandard, 0).convertDvb8ToUtf8("Abc", -1), "Abc");
    EXPECT_EQ(questions, 1);
}
