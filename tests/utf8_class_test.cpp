// The UTF-8 classes: sizing, the carriage of UCS-2 in strings, empty and null arguments.
#include "zelk.hpp"

#include "helpers/text.h"
#include "reference/utf8_model.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

using namespace zelk_test;
using zelk::Utf8Decoder;
using zelk::Utf8Encoder;
using zelk::Utf8Utilities;

namespace {

unsigned short aToCapital(unsigned short character) {
    return character == 'a' ? 'A' : character;
}

unsigned short aToUmlaut(unsigned short character) {
    return character == 'a' ? 0xE4 : character;
}

unsigned short dropAll(unsigned short) {
    return 0;
}

// Each unit low byte first, then one zero byte of the terminator.
std::string carried(const std::vector<unsigned int> &units) {
    std::string result;
    for (const unsigned int unit : units) {
        result.push_back(static_cast<char>(unit % 256));
        result.push_back(static_cast<char>(unit / 256));
    }
    return result + '\0';
}

} // namespace

TEST(Utf8DecoderClass, CarriesUnitsLowByteFirstAndAByteOfTheTerminator) {
    EXPECT_EQ(Utf8Decoder::utf8Decode(bytes("41 C3 A9").c_str(), 3), bytes("41 00 E9 00 00"));
    EXPECT_EQ(Utf8Decoder::utf8Decode(bytes("41 C3 A9")), bytes("41 00 E9 00 00"));
    EXPECT_EQ(Utf8Decoder::utf8Decode(bytes("41 C3 A9").c_str(), 1), bytes("41 00 00"));
    for (const int length : {-1, -2, INT_MIN, INT_MAX}) {
        EXPECT_EQ(Utf8Decoder::utf8Decode(bytes("E2 82 AC").c_str(), length), bytes("AC 20 00"));
    }
}

TEST(Utf8DecoderClass, TellsNullFromEmpty) {
    EXPECT_EQ(Utf8Decoder::utf8Decode(nullptr, 5), "");
    EXPECT_EQ(Utf8Decoder::utf8Decode("", 0), std::string(1, '\0'));
    EXPECT_EQ(Utf8Decoder::utf8Decode("", -1), std::string(1, '\0'));
    EXPECT_EQ(Utf8Decoder::utf8Decode("abc", 0), std::string(1, '\0'));
    EXPECT_EQ(Utf8Decoder::utf8Decode(std::string()), "");
    EXPECT_EQ(Utf8Decoder::utf8Decode(std::string(1, '\0')), std::string(1, '\0'));
}

TEST(Utf8DecoderClass, ZeroesTheUnitOfACutOffSequence) {
    EXPECT_EQ(Utf8Decoder::utf8Decode(bytes("41 E2 82")), bytes("41 00 00 00 00"));
    EXPECT_EQ(Utf8Decoder::utf8Decode(bytes("C3")), bytes("00 00 00"));
    const std::string longText = std::string(3000, 'x') + bytes("C3");
    EXPECT_EQ(Utf8Decoder::utf8Decode(longText), Utf8Decoder::utf8Decode(std::string(3000, 'x')) + bytes("00 00"));
}

TEST(Utf8DecoderClass, GivesOneReplacementForEachRejectedByte) {
    EXPECT_EQ(Utf8Decoder::utf8Decode(bytes("F0 9F 41")), carried({0xFFFD, 0xFFFD, 0x41}));
}

TEST(Utf8EncoderClass, ReadsBackWhatTheDecoderGave) {
    std::string all;
    for (unsigned int unit = 1; unit <= 0xFFFF; ++unit) {
        all += utf8EncodeModel(unit);
    }
    EXPECT_EQ(Utf8Encoder::utf8Encode(Utf8Decoder::utf8Decode(all)), all);
    for (const char *const text : {"a", "abc", "\xC3\xA9", "a\xE2\x82\xAC"}) {
        EXPECT_EQ(Utf8Encoder::utf8Encode(Utf8Decoder::utf8Decode(std::string(text))), text);
    }
    Random random(0x41);
    for (int round = 0; round < 300; ++round) {
        std::string text;
        for (auto left = 1 + random.below(1200); left != 0; --left) { // on both sides of the stack buffer
            text += utf8EncodeModel(1 + random.below(random.chance(50) ? 0x7F : 0xFFFF));
        }
        ASSERT_EQ(Utf8Encoder::utf8Encode(Utf8Decoder::utf8Decode(text)), text);
    }
}

TEST(Utf8EncoderClass, TakesThreeLayouts) {
    EXPECT_EQ(Utf8Encoder::utf8Encode(bytes("AC 20")), bytes("E2 82 AC"));
    EXPECT_EQ(Utf8Encoder::utf8EncodeNotAlignedText(u8(bytes("20 AC")), 1), bytes("E2 82 AC"));
    EXPECT_EQ(Utf8Encoder::utf8EncodeNotAlignedInverseText(u8(bytes("AC 20")), 1), bytes("E2 82 AC"));
    const Units text = terminated({0x41, 0xE9, 0x20AC});
    EXPECT_EQ(Utf8Encoder::utf8Encode(text.data(), -1), bytes("41 C3 A9 E2 82 AC"));
    EXPECT_EQ(Utf8Encoder::utf8Encode(text.data(), 2), bytes("41 C3 A9"));
    EXPECT_EQ(Utf8Encoder::utf8Encode(Units(70000, 'x').data(), 70000), std::string(70000, 'x'));
}

TEST(Utf8EncoderClass, ReadsAnOddLengthUpToTheTerminator) {
    EXPECT_EQ(Utf8Encoder::utf8Encode(bytes("41 00 42")), "AB"); // 0x42 and the string's own terminator
    EXPECT_EQ(Utf8Encoder::utf8Encode(bytes("41")), "A");
    EXPECT_EQ(Utf8Encoder::utf8Encode(bytes("41 00 00 00 42 00")), "A");
}

TEST(Utf8EncoderClass, GivesNothingForNothing) {
    EXPECT_EQ(Utf8Encoder::utf8Encode(nullptr, 5), "");
    EXPECT_EQ(Utf8Encoder::utf8EncodeNotAlignedText(nullptr, 5), "");
    EXPECT_EQ(Utf8Encoder::utf8EncodeNotAlignedInverseText(nullptr, 5), "");
    EXPECT_EQ(Utf8Encoder::utf8Encode(std::string()), "");
    const Units text = terminated({0x41});
    EXPECT_EQ(Utf8Encoder::utf8Encode(text.data(), 0), "");
}

TEST(Utf8UtilitiesClass, CopiesQuoted) {
    EXPECT_EQ(Utf8Utilities::CopyQuoted("s\"hi\" \"yo\"", 0x22, 0x22), "hiyo");
    EXPECT_EQ(Utf8Utilities::CopyQuoted(bytes("C2 AB 41 C2 BB"), 0xAB, 0xBB), "A");
    EXPECT_EQ(Utf8Utilities::CopyQuoted("", 0x22, 0x22), "");
    EXPECT_EQ(Utf8Utilities::CopyQuoted("abc", 0x22, 0x22), "");
    EXPECT_EQ(Utf8Utilities::CopyQuoted("\"" + std::string(70000, 'x'), 0x22, 0x22), std::string(70000, 'x'));
}

TEST(Utf8UtilitiesClass, RemovesQuotesAndKeepsTheTerminatorThatFits) {
    EXPECT_EQ(Utf8Utilities::RemoveQuotes(bytes("22 61 62 22"), 0x22, 0x22), bytes("61 62 00"));
    EXPECT_EQ(Utf8Utilities::RemoveQuotes(bytes("C2 AB 61 62 C2 BB"), 0xAB, 0xBB), bytes("61 62 00"));
    EXPECT_EQ(Utf8Utilities::RemoveQuotes("ab", 0x22, 0x22), "ab");
    EXPECT_EQ(Utf8Utilities::RemoveQuotes("\"", 0x22, 0x22), std::string(1, '\0'));
    EXPECT_EQ(Utf8Utilities::RemoveQuotes("", 0x22, 0x22), "");
}

TEST(Utf8UtilitiesClass, MapsIntoABufferOfTheMappedLength) {
    EXPECT_EQ(Utf8Utilities::MapString("abc", aToCapital), "Abc");
    EXPECT_EQ(Utf8Utilities::MapString("ab", aToUmlaut), bytes("C3 A4")); // the b is stepped over
    EXPECT_EQ(Utf8Utilities::MapString("a", aToUmlaut), bytes("C3 A4"));
    EXPECT_EQ(Utf8Utilities::MapString("abc", dropAll), "");
    EXPECT_EQ(Utf8Utilities::MapString("", aToCapital), "");
    EXPECT_EQ(Utf8Utilities::MapString(bytes("41 01 42"), nullptr), "AB");
    EXPECT_EQ(Utf8Utilities::MapString(std::string(70000, 'a'), aToCapital), std::string(70000, 'A'));
}

TEST(Utf8UtilitiesClass, FiltersIntoABufferOfTheTextsLength) {
    EXPECT_EQ(Utf8Utilities::FilterString(bytes("41 09 42"), zelk_filterControlChars), "AB");
    EXPECT_EQ(Utf8Utilities::FilterString(bytes("41 09 42"), nullptr), "AB");
    EXPECT_EQ(Utf8Utilities::FilterString("xa", aToUmlaut), "x"); // no room for two bytes
    EXPECT_EQ(Utf8Utilities::FilterString("abc", dropAll), "");
    EXPECT_EQ(Utf8Utilities::FilterString("", aToCapital), "");
}

TEST(Utf8UtilitiesClass, EndsAtAZeroByteInsideTheText) {
    const std::string text("\"a\0b\"", 5);
    EXPECT_EQ(Utf8Utilities::CopyQuoted(text, 0x22, 0x22), "a");
    EXPECT_EQ(Utf8Utilities::RemoveQuotes(text, 0x22, 0x22), std::string("a\0", 2));
    EXPECT_EQ(Utf8Utilities::FilterString(text, nullptr), "\"a");
    EXPECT_EQ(Utf8Utilities::MapString(text, nullptr), "\"a");
}
