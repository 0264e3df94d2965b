// Which letters with marks the rule of mixed composition knows, beside ICU.
#include "zelk_insight.h"

#include "reference/utf8_model.h"

#include <gtest/gtest.h>
#include <unicode/unorm2.h>

#include <algorithm>
#include <ios>
#include <string>

namespace {

using namespace zelk_test;

bool isMixed(const std::string &text) {
    const std::string string = '\x15' + text;
    zelkInsightFault faults[16];
    const unsigned int count =
        zelkInsightLint(nullptr, string.data(), static_cast<int>(string.size()), nullptr, faults, 16);
    return std::any_of(faults, faults + std::min(count, 16U),
                       [](const zelkInsightFault &fault) { return fault.rule == ZelkInsightRuleCompositionMixed; });
}

// A letter and a mark beside a character that holds a letter with its mark: mixed where they have such a character,
// too.
TEST(InsightComposition, KnowsGreekAndCyrillic) {
    UErrorCode error = U_ZERO_ERROR;
    const UNormalizer2 *const composition = unorm2_getNFCInstance(&error);
    ASSERT_TRUE(U_SUCCESS(error));
    for (unsigned int letter = 0x0370; letter < 0x0460; ++letter) {
        for (const unsigned int mark : {0x0300U, 0x0301U, 0x0306U, 0x0308U, 0x0313U, 0x0342U}) {
            const UChar32 whole =
                unorm2_composePair(composition, static_cast<UChar32>(letter), static_cast<UChar32>(mark));
            const bool isOther = whole >= 0x0460; // such as polytonic Greek
            const std::string apart = utf8EncodeModel(letter) + utf8EncodeModel(mark);
            EXPECT_EQ(isMixed(utf8EncodeModel(0x0401) + apart), whole > 0 && !isOther)
                << std::hex << letter << ' ' << mark;
            if (whole > 0 && !isOther) {
                EXPECT_TRUE(isMixed(utf8EncodeModel(static_cast<unsigned int>(whole)) + apart)) << std::hex << whole;
            }
        }
    }
}

} // namespace
