// Which characters stay with the one before them where a text is cut, beside ICU.
#include "zelk_insight.h"

#include "reference/utf8_model.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <ios>
#include <string>

namespace {

using namespace zelk_test;

// Whether a letter goes with the character, for which there is no room.
bool isCombining(const std::string &character) {
    const zelkInsightEncodeSettings settings = {DvbCharSetStandard, ZelkInsightFormTwoByte, 0};
    const std::string text = "ab" + character;
    char out[6]; // for a selector and two characters
    zelkInsightEncoded encoded{};
    zelkInsightEncode(&settings, out, sizeof out, text.data(), static_cast<int>(text.size()), &encoded);
    return encoded.used == 1;
}

// The model ends at U+FFFF.
std::string utf8(unsigned int code) {
    if (code < 0x10000) {
        return utf8EncodeModel(code);
    }
    return {static_cast<char>(0xF0 | code >> 18U), static_cast<char>(0x80 | (code >> 12U & 0x3FU)),
            static_cast<char>(0x80 | (code >> 6U & 0x3FU)), static_cast<char>(0x80 | (code & 0x3FU))};
}

// Characters that only one of the two knows say nothing: those after Unicode 15.0, or after ICU's own.
bool isKnownToBoth(UChar32 character) {
    constexpr unsigned int ourVersion = 15;
    UVersionInfo version;
    u_charAge(character, version);
    return u_charType(character) != U_UNASSIGNED &&
           (version[0] < ourVersion || (version[0] == ourVersion && version[1] == 0));
}

TEST(InsightCombining, AreTheMarksOfUnicode) {
    unsigned int marks = 0;
    for (unsigned int code = 1; code < 0x110000; ++code) {
        const auto character = static_cast<UChar32>(code);
        if ((code >= 0xD800 && code < 0xE000) || !isKnownToBoth(character)) {
            continue;
        }
        const bool isMark = (U_GET_GC_MASK(character) & U_GC_M_MASK) != 0;
        marks += isMark ? 1U : 0U;
        ASSERT_EQ(isCombining(utf8(code)), isMark) << std::hex << code;
    }
    EXPECT_GT(marks, 2000U);
}

} // namespace
