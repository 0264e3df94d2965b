// The stand-in for the receiver's debug library: MURN_DEBUG_LEVEL decides, standard error gets the text.
#include "zelk.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

extern "C" int murnDebugCheckLevelGetFrameAndChunk(unsigned int module, unsigned int level, void **frame, void **chunk);
extern "C" void murnDebugOutput0(void *frame, void *chunk, const char *format, ...);

namespace {

bool enabled(const char *setting, unsigned int level) {
    if (setting == nullptr) {
        unsetenv("MURN_DEBUG_LEVEL");
    } else {
        setenv("MURN_DEBUG_LEVEL", setting, 1);
    }
    int object = 0;
    void *frame = &object;
    void *chunk = &object;
    const int answer = murnDebugCheckLevelGetFrameAndChunk(1, level, &frame, &chunk);
    EXPECT_EQ(frame, nullptr);
    EXPECT_EQ(chunk, nullptr);
    return answer != 0;
}

TEST(MurnDebug, TheEnvironmentSetsTheLevel) {
    EXPECT_TRUE(enabled("4", 4));
    EXPECT_TRUE(enabled("5", 4));
    EXPECT_FALSE(enabled("3", 4));
    EXPECT_TRUE(enabled("0", 0));
    EXPECT_TRUE(enabled("99999999999999999999999", 4));
    for (const char *setting : {"", "x", "4x", "-1", " 4", "+4"}) {
        EXPECT_FALSE(enabled(setting, 4)) << setting;
    }
    EXPECT_FALSE(enabled(nullptr, 0));
}

TEST(MurnDebug, WritesFormattedTextToStandardError) {
    testing::internal::CaptureStderr();
    murnDebugOutput0(nullptr, nullptr, "%s:%d:%s(): %c\n", "source", 7, "function", 'x');
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "source:7:function(): x\n");
}

std::string tracedConversion(const char *setting) {
    setenv("MURN_DEBUG_LEVEL", setting, 1);
    testing::internal::CaptureStderr();
    const zelk::DvbConverter converter(DvbCharSetStandard, 0);
    EXPECT_EQ(converter.convertDvb8ToUtf8("\x05"
                                          "Abc",
                                          4),
              "Abc");
    return testing::internal::GetCapturedStderr();
}

TEST(MurnDebug, TheLibraryTracesThroughIt) {
    EXPECT_EQ(tracedConversion("4"), "zelkdvb_:179:convertDvb8ToUtf8(): zelk_dvbGetDvbCode the dvbcode is 9\n");
    EXPECT_EQ(tracedConversion("3"), "");
}

} // namespace
