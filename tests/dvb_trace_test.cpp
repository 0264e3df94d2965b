// The converter's two debug traces, recorded: this program takes the place of the receiver's debug library.
#include "helpers/text.h"
#include "zelk.hpp"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

namespace {

struct Recorder {
    bool enabled = false;
    int questions = 0;
    unsigned int module = 0;
    unsigned int level = 0;
    std::vector<std::string> lines;
};

Recorder recorder;
int frameObject;
int chunkObject;

} // namespace

extern "C" int murnDebugCheckLevelGetFrameAndChunk(unsigned int module, unsigned int level, void **frame,
                                                   void **chunk) {
    ++recorder.questions;
    recorder.module = module;
    recorder.level = level;
    *frame = &frameObject;
    *chunk = &chunkObject;
    return recorder.enabled ? 1 : 0;
}

extern "C" void murnDebugOutput0(void *frame, void *chunk, const char *format, ...) {
    EXPECT_EQ(frame, &frameObject);
    EXPECT_EQ(chunk, &chunkObject);
    char line[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    recorder.lines.emplace_back(line);
}

namespace {

using Lines = std::vector<std::string>;
using zelk::DvbConverter;
using zelk_test::bytes;

// What is traced while `action` runs.
template <class Action>
Lines traced(bool enabled, Action action) {
    recorder = {};
    recorder.enabled = enabled;
    action();
    return recorder.lines;
}

TEST(DvbTrace, TellsTheSelectedCode) {
    const DvbConverter converter(DvbCharSetStandard, 0);
    EXPECT_EQ(traced(true,
                     [&] {
                         converter.convertDvb8ToUtf8("\x05"
                                                     "Abc",
                                                     4);
                     }),
              Lines({"zelkdvb_:179:convertDvb8ToUtf8(): zelk_dvbGetDvbCode the dvbcode is 9\n"}));
    EXPECT_EQ(traced(true, [&] { converter.convertDvb8ToUtf8("Abc", -1); }),
              Lines({"zelkdvb_:179:convertDvb8ToUtf8(): zelk_dvbGetDvbCode the dvbcode is 0\n"}));
    EXPECT_EQ(traced(true, [&] { converter.convertDvb8ToUtf8(bytes("1F 05")); }),
              Lines({"zelkdvb_:179:convertDvb8ToUtf8(): zelk_dvbGetDvbCode the dvbcode is 22\n"}));
}

TEST(DvbTrace, TellsWhatIconvMade) {
    const DvbConverter converter(DvbCharSetGb2312, 0);
    const std::string text = bytes("C4 E3");
    EXPECT_EQ(traced(true, [&] { converter.convertDvb8ToUtf8(text); }),
              Lines({"zelkdvb_:179:convertDvb8ToUtf8(): zelk_dvbGetDvbCode the dvbcode is 0\n",
                     "zelkdvb_:277:IconvConvert(): convert result:  inbuf is " + text + " and outbuf  is  你\n"}));
}

TEST(DvbTrace, TheTracedInputEndsAtItsLength) {
    const DvbConverter converter(DvbCharSetStandard, 0);
    const char text[] = {'a', 'b', 'c'};
    EXPECT_EQ(traced(true, [&] { converter.IconvConvert("ascii", "utf-8", text, 3); }),
              Lines({"zelkdvb_:277:IconvConvert(): convert result:  inbuf is abc and outbuf  is  abc\n"}));
    EXPECT_EQ(traced(true, [&] { converter.IconvConvert("ascii", "utf-8", nullptr, 0); }),
              Lines({"zelkdvb_:277:IconvConvert(): convert result:  inbuf is  and outbuf  is  \n"}));
}

TEST(DvbTrace, FailuresOfIconvAreNotTraced) {
    const DvbConverter converter(DvbCharSetStandard, 0);
    EXPECT_EQ(traced(true, [&] { converter.IconvConvert("utf-8", "ascii", "\xFF", 1); }), Lines());
    EXPECT_EQ(traced(true, [&] { converter.IconvConvert("no-such-set", "ascii", "a", 1); }), Lines());
}

TEST(DvbTrace, NothingIsTracedBelowTheLevel) {
    const DvbConverter converter(DvbCharSetGb2312, 0);
    EXPECT_EQ(traced(false, [&] { converter.convertDvb8ToUtf8("Abc", 3); }), Lines());
    EXPECT_EQ(recorder.questions, 2);
    EXPECT_EQ(recorder.module, 0x5A4BU);
    EXPECT_EQ(recorder.level, 4U);
}

TEST(DvbTrace, OtherConversionsDoNotAsk) {
    const DvbConverter converter(DvbCharSetStandard, 0);
    EXPECT_EQ(traced(true,
                     [&] {
                         converter.convertDvb8ToUnicode("Abc", 3);
                         converter.preprocessDvbStringToUtf8("Abc", 3);
                         converter.convertDvb8ToUtf8(nullptr, 3);
                         converter.convertDvb8ToUtf8(std::string());
                     }),
              Lines());
    EXPECT_EQ(recorder.questions, 0);
}

} // namespace
