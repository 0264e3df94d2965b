// Selector bytes to table codes: every first byte, every second and third byte after those that look at them.
#include "helpers/text.h"
#include "reference/dvb_model.h"
#include "zelk.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using zelk_test::bytes;

struct Selected {
    unsigned int consumed;
    int charSet;
    int code;
    int extra;

    bool operator==(const Selected &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Selected &selected) {
    return out << "consumed " << selected.consumed << ", charSet " << selected.charSet << ", code " << selected.code
               << ", extra " << selected.extra;
}

Selected select(const char *text, int charSet, int defaultCode, int defaultExtra) {
    auto set = static_cast<dvbCharSet_t>(charSet);
    DvbCode_t code{-77};
    int extra = -77;
    const unsigned int consumed =
        zelk_dvbGetDvbCode(text, &set, &code, &extra, static_cast<DvbCode_t>(defaultCode), defaultExtra);
    return {consumed, set, code, extra};
}

Selected select(const std::string &text, int charSet, int defaultCode, int defaultExtra) {
    return select(text.c_str(), charSet, defaultCode, defaultExtra);
}

void expectAsModel(const std::string &text) {
    for (const int charSet : {0, 1, 2, 6, 7, -1}) {
        for (const int defaultCode : {18, 0, 5, 19, 22, 99, -1}) {
            const zelk_test::ModelSelection model = zelk_test::modelSelect(charSet, &text, text.size(), defaultCode, 9);
            const Selected expected{model.consumed, model.charSet, model.code, model.extra};
            ASSERT_EQ(select(text, charSet, defaultCode, 9), expected) << ::testing::PrintToString(text);
        }
    }
}

TEST(DvbSelect, EveryFirstByteWithEverySecond) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const char text[] = {static_cast<char>(first), static_cast<char>(second), 'x', 0};
            expectAsModel(std::string(text, sizeof text));
        }
    }
}

TEST(DvbSelect, EveryThirdByteAfterTheThreeByteSelector) {
    for (int third = 0; third < 256; ++third) {
        for (const char second : {'\0', '\1'}) {
            const char text[] = {0x10, second, static_cast<char>(third), 0};
            expectAsModel(std::string(text, sizeof text));
        }
    }
}

TEST(DvbSelect, AnEmptyStringTakesTheDefaultAndTheStandardRegion) {
    EXPECT_EQ(select("", 2, 18, 9), (Selected{0, 1, 0, 0}));
    EXPECT_EQ(select("", 2, 7, 9), (Selected{0, 1, 7, 9}));
}

TEST(DvbSelect, ASelectorLeavesTheRegionAloneUnlessADefaultIsGiven) {
    EXPECT_EQ(select(bytes("05 41 62 63"), 2, 18, 0), (Selected{1, 2, 9, 0}));
    EXPECT_EQ(select(bytes("05 41 62 63"), 2, 0, 0), (Selected{1, 1, 9, 0}));
}

TEST(DvbSelect, TheThreeByteSelectorNamesAnIsoPart) {
    EXPECT_EQ(select(bytes("10 00 02 41"), 1, 18, 0), (Selected{3, 1, 2, 0}));
    EXPECT_EQ(select(bytes("10 00 11 41"), 1, 18, 0), (Selected{3, 1, 18, 0}));
    EXPECT_EQ(select(bytes("10 01 41 41"), 1, 18, 0), (Selected{1, 1, 18, 0}));
    EXPECT_EQ(select(bytes("10 00 00 41"), 1, 18, 0), (Selected{3, 1, 0, 0}));
}

TEST(DvbSelect, CompressedTextGivesItsEncodingType) {
    EXPECT_EQ(select(bytes("1F 05"), 1, 18, 0), (Selected{2, 1, 22, 5}));
    EXPECT_EQ(select(bytes("1F 03"), 1, 18, 0), (Selected{2, 1, 18, 3}));
    EXPECT_EQ(select(bytes("1F FF"), 1, 18, 0), (Selected{2, 1, 18, 255}));
}

TEST(DvbSelect, TheRunOfOneByteSelectorsGoesOnToItsEnd) {
    EXPECT_EQ(select(bytes("0F"), 1, 18, 0).code, DvbCodeUtf8Prepared);
    EXPECT_EQ(select(bytes("0E"), 1, 18, 0).code, DvbCodeNone);
    EXPECT_EQ(select(bytes("0D"), 1, 18, 0).code, DvbCodeReserved17);
    EXPECT_EQ(select(bytes("0C"), 1, 18, 0).code, DvbCodeIso8859_16);
}

TEST(DvbSelect, ANullStringTakesTheDefault) {
    EXPECT_EQ(select(nullptr, 3, 7, 9), (Selected{0, 1, 7, 9}));
    EXPECT_EQ(select(nullptr, 3, 18, 9), (Selected{0, 3, 0, 0}));
}

TEST(DvbSelect, TheExtraValueIsOptional) {
    dvbCharSet_t charSet = DvbCharSetStandard;
    DvbCode_t code = DvbCodeNone;
    EXPECT_EQ(zelk_dvbGetDvbCode("\x1F\x02", &charSet, &code, nullptr, DvbCodeNone, 0), 2U);
    EXPECT_EQ(code, DvbCodeCompressed);
    EXPECT_EQ(zelk_dvbGetDvbCode(nullptr, &charSet, &code, nullptr, DvbCodeNone, 0), 0U);
    EXPECT_EQ(code, DvbCodeTable00);
}

} // namespace
