// The converter class and the flat wrappers: settings, sizes, the way through iconv. This program has no debug library,
// so that nothing is traced.
#include "helpers/text.h"
#include "zelk.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using zelk::DvbConverter;
using zelk_test::bytes;
using zelk_test::Random;

struct Free {
    void operator()(void *packet) const { std::free(packet); }
};
using Narrow = std::unique_ptr<CharPacket, Free>;
using Wide = std::unique_ptr<WideCharPacket, Free>;

// The units of a result, whose one byte more must be zero.
std::vector<unsigned short> unitsOf(const std::string &result) {
    EXPECT_EQ(result.size() % 2, 1U);
    EXPECT_EQ(result.back(), 0);
    std::vector<unsigned short> units(result.size() / 2);
    for (std::size_t i = 0; i < units.size(); ++i) {
        std::memcpy(&units[i], result.data() + 2 * i, 2);
    }
    return units;
}

using Units = std::vector<unsigned short>;

// ---- Settings ----

TEST(DvbConverter, KeepsFourFields) {
    EXPECT_EQ(sizeof(DvbConverter), 4 * sizeof(int));
}

TEST(DvbConverter, UnitsComeWithHalfATerminator) {
    const DvbConverter converter(DvbCharSetStandard, 0);
    const std::string result = converter.convertDvb8ToUnicode("AB", 2);
    EXPECT_EQ(result.size(), 5U);
    EXPECT_EQ(unitsOf(result), Units({'A', 'B'}));
    EXPECT_EQ(converter.convertDvb8ToUnicode("", 0), std::string(1, '\0'));
    EXPECT_EQ(converter.convertDvb8ToUnicode("AB", -1), result);
}

TEST(DvbConverter, TakesItsDefaultFromASample) {
    const std::string text = bytes("FD FE");
    const DvbConverter turkish(DvbCharSetStandard,
                               "\x05"
                               "Sample",
                               0);
    EXPECT_EQ(turkish.convertDvb8ToUtf8(text), "ış");
    const DvbConverter cyrillic(DvbCharSetIso8859_2, "\x01", 0);
    EXPECT_EQ(cyrillic.convertDvb8ToUtf8(bytes("B1")), "Б"); // a default code sets the region aside
    for (const char *sample : {"Sample", ""}) {
        const DvbConverter plain(DvbCharSetIso8859_2, sample, 0);
        EXPECT_EQ(plain.convertDvb8ToUtf8(bytes("C2 65")), "é");
    }
    const DvbConverter none(DvbCharSetIso8859_2, nullptr, 0);
    EXPECT_EQ(none.convertDvb8ToUtf8(bytes("C2 65")), "é");
}

TEST(DvbConverter, ASampleOfCompressedTextSetsItsType) {
    const DvbConverter unknownType(DvbCharSetStandard, DvbCodeCompressed, 3, 0);
    EXPECT_EQ(unknownType.convertDvb8ToUtf8("Abc", 3), "");
    const std::string compressed = bytes("1F 01 00 00 00");
    const DvbConverter first(DvbCharSetStandard, compressed.c_str(), 0);
    EXPECT_EQ(first.convertDvb8ToUtf8("   ", 3),
              DvbConverter(DvbCharSetStandard, DvbCodeCompressed, 1, 0).convertDvb8ToUtf8("   ", 3));
    EXPECT_NE(first.convertDvb8ToUtf8("   ", 3), "");
}

TEST(DvbConverter, AResetKeepsTheFlags) {
    DvbConverter converter(DvbCharSetStandard, 1);
    EXPECT_EQ(converter.convertDvb8ToUtf8(bytes("86 B1")), "\xC2\x86±");
    converter.ResetConverter(DvbCharSetStandard, DvbCodeIso8859_5, 0);
    EXPECT_EQ(converter.convertDvb8ToUtf8(bytes("86 B1")), "\xC2\x86"
                                                           "Б");
    DvbConverter without(DvbCharSetStandard, DvbCodeIso8859_5, 0, 0);
    without.ResetConverter(DvbCharSetIso8859_9Alt, DvbCodeNone, 0);
    EXPECT_EQ(without.convertDvb8ToUtf8(bytes("12 86 FD")), "ı"); // an unknown selector is read by the region
    without.ResetConverter(DvbCharSetStandard, DvbCodeCompressed, 2);
    EXPECT_EQ(without.convertDvb8ToUtf8(bytes("F5 28 80 00")), "TV"); // of the encoding type that was set
    DvbConverter fromSample(DvbCharSetStandard, "\x01", 1);
    EXPECT_EQ(fromSample.convertDvb8ToUtf8(bytes("86 B1")), "\xC2\x86"
                                                            "Б");
    fromSample.ResetConverter(DvbCharSetStandard, DvbCodeNone, 0);
    EXPECT_EQ(fromSample.convertDvb8ToUtf8(bytes("86 B1")), "\xC2\x86±");
}

TEST(DvbConverter, EmptyAndNullArguments) {
    const DvbConverter converter(DvbCharSetStandard, 0);
    EXPECT_EQ(converter.convertDvb8ToUnicode(nullptr, 4), "");
    EXPECT_EQ(converter.convertDvb8ToUtf8(nullptr, 4), "");
    EXPECT_EQ(converter.preprocessDvbStringToUtf8(nullptr, 4), "");
    EXPECT_EQ(converter.convertDvb8ToUnicode(std::string()), "");
    EXPECT_EQ(converter.convertDvb8ToUtf8(std::string()), "");
    EXPECT_EQ(converter.preprocessDvbStringToUtf8(std::string()), "");
    EXPECT_EQ(converter.convertDvb8ToUtf8("", -1), "");
    EXPECT_EQ(converter.preprocessDvbStringToUtf8("", -1), "\x1D");
}

TEST(DvbConverter, PreparesText) {
    const DvbConverter converter(DvbCharSetStandard, 0);
    const std::string once = converter.preprocessDvbStringToUtf8(bytes("05 DD 41"));
    EXPECT_EQ(once, "\x1D"
                    "İA");
    EXPECT_EQ(converter.preprocessDvbStringToUtf8(once), once);
    EXPECT_EQ(converter.convertDvb8ToUtf8(once), "İA");
}

TEST(DvbConverter, ACountTooLargeForUnitsIsTheAllocatorsError) {
    const DvbConverter converter(DvbCharSetStandard, 0);
    for (const int count : {INT_MAX, INT_MAX - 1, INT_MAX / 2}) {
        EXPECT_THROW(converter.convertDvb8ToUnicode("Abc", count), std::bad_array_new_length);
    }
}

TEST(DvbConverter, NoOldBytesShowInACutCharacter) {
    const std::string text = bytes("1D 41 E2 82");
    const DvbConverter converter(DvbCharSetStandard, 0);
    EXPECT_EQ(unitsOf(converter.convertDvb8ToUnicode(text)), Units({'A', 0}));
    const Wide packet(zelkConvertDvb8ToUnicode(DvbCharSetStandard, text.data(), 4, DvbCodeNone, 0, 0));
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->length, 2);
    EXPECT_EQ(packet->chars[1], 0);
    EXPECT_EQ(packet->chars[2], 0);
}

TEST(DvbConverter, RandomStringsComeOutAsTheFlatFunctionsGiveThem) {
    Random random(3);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (std::uint32_t left = random.below(round % 50 == 0 ? 900 : 30); left > 0; --left) {
            text += static_cast<char>(random.below(256));
        }
        const auto charSet = static_cast<dvbCharSet_t>(random.below(6));
        const auto code = static_cast<DvbCode_t>(random.below(24));
        const int extra = static_cast<int>(random.below(4));
        const unsigned int flags = random.below(2);
        const int count = static_cast<int>(text.size());
        const char *in = text.c_str();
        const DvbConverter converter(charSet, code, extra, flags);

        const int utf8Bound = zelk_dvb8ToUtf8MaxLength(in, count, code, extra);
        std::string expected(static_cast<std::size_t>(utf8Bound) + 1, '\0');
        expected.resize(zelk_dvb8ToUtf8(charSet, expected.data(), utf8Bound + 1, in, count, code, extra, flags));
        ASSERT_EQ(converter.convertDvb8ToUtf8(in, count), expected);
        const Narrow narrow(zelkConvertDvb8ToUtf8(charSet, in, count, code, extra, flags));
        ASSERT_EQ(narrow->capacity, utf8Bound + 2);
        ASSERT_EQ(std::string(narrow->chars, narrow->length), expected);
        ASSERT_EQ(narrow->chars[narrow->length], 0);

        const int ucs2Bound = zelk_dvb8ToUnicodeMaxLength(in, count, code, extra, flags);
        Units units(static_cast<std::size_t>(ucs2Bound) + 1, 0);
        units.resize(zelk_dvb8ToUnicode(charSet, units.data(), ucs2Bound + 1, in, count, code, extra, flags));
        ASSERT_EQ(unitsOf(converter.convertDvb8ToUnicode(in, count)), units);
        const Wide wide(zelkConvertDvb8ToUnicode(charSet, in, count, code, extra, flags));
        ASSERT_EQ(wide->capacity, ucs2Bound + 2);
        ASSERT_EQ(Units(wide->chars, wide->chars + wide->length), units);
        ASSERT_EQ(wide->chars[wide->length], 0);
    }
}

// ---- GB 2312 and iconv ----

TEST(DvbConverter, TheChineseRegionReadsUnmarkedTextAsGb2312) {
    const std::string text = bytes("C4 E3 BA C3 41"); // ni hao, A
    for (const int code : {18, 0}) {
        const DvbConverter converter(DvbCharSetGb2312, static_cast<DvbCode_t>(code), 0, 0);
        EXPECT_EQ(converter.convertDvb8ToUtf8(text), "你好A");
        EXPECT_EQ(converter.convertDvb8ToUtf8(text.c_str(), -1), "你好A");
        EXPECT_EQ(converter.convertDvb8ToUtf8(text.c_str(), INT_MIN), "你好A");
        EXPECT_EQ(converter.convertDvb8ToUtf8(text.c_str(), 2), "你");
        EXPECT_EQ(converter.convertDvb8ToUtf8(text.c_str(), 0), "");
        EXPECT_EQ(converter.convertDvb8ToUtf8("", -1), "");
    }
    const DvbConverter otherRegion(DvbCharSetStandard, 0);
    EXPECT_NE(otherRegion.convertDvb8ToUtf8(text), "你好A");
    const DvbConverter otherCode(DvbCharSetGb2312, DvbCodeIso8859_1, 0, 0);
    EXPECT_EQ(otherCode.convertDvb8ToUtf8(bytes("C4")), "Ä");
}

// A sample without a selector makes the region the standard one; null and a sample with a selector leave it.
TEST(DvbConverter, ASampleDecidesWhetherGb2312Stays) {
    const std::string text = bytes("C4 E3");
    EXPECT_EQ(DvbConverter(DvbCharSetGb2312, nullptr, 0).convertDvb8ToUtf8(text), "你");
    EXPECT_EQ(DvbConverter(DvbCharSetGb2312, "Sample", 0).convertDvb8ToUtf8(text), "~ª");
    EXPECT_EQ(DvbConverter(DvbCharSetGb2312, "", 0).convertDvb8ToUtf8(text), "~ª");
    const DvbConverter turkish(DvbCharSetGb2312,
                               "\x05"
                               "Sample",
                               0);
    EXPECT_EQ(turkish.convertDvb8ToUtf8(bytes("FD")), "ı");
    EXPECT_EQ(turkish.convertDvb8ToUtf8(bytes("10 00 00") + text), "\x10") << "through iconv, with its selector";
}

TEST(DvbConverter, OnlyTheDefaultTablesCodeGoesThroughIconv) {
    const DvbConverter converter(DvbCharSetGb2312, 0);
    EXPECT_EQ(converter.convertDvb8ToUtf8(bytes("13 C2 65")), "é");  // the GB 2312 selector: default table
    EXPECT_EQ(converter.convertDvb8ToUtf8(bytes("05 C4 E3")), "~ª"); // the region reads all with the default table
    EXPECT_EQ(converter.convertDvb8ToUtf8(bytes("10 00 00 C4 E3")), "\x10"); // the selector is converted too
    EXPECT_EQ(unitsOf(converter.convertDvb8ToUnicode(bytes("C2 65"))), Units({0xE9}));
}

TEST(DvbConverter, TextThatIsNotGb2312ComesBackUnchanged) {
    const DvbConverter converter(DvbCharSetGb2312, 0);
    for (const char *hex : {"C4", "41 FF 42", "C4 E3 BA"}) {
        EXPECT_EQ(converter.convertDvb8ToUtf8(bytes(hex)), bytes(hex));
    }
}

TEST(DvbConverter, IconvConvertsBetweenAnySetsAndStopsAtAZero) {
    const DvbConverter converter(DvbCharSetStandard, 0);
    EXPECT_EQ(converter.IconvConvert("iso-8859-1", "utf-8", "caf\xE9", 4), "café");
    EXPECT_EQ(converter.IconvConvert("utf-8", "iso-8859-1", "café", 5), "caf\xE9");
    EXPECT_EQ(converter.IconvConvert("utf-8", "iso-8859-1", "a\0b", 3), "a");
    EXPECT_EQ(converter.IconvConvert("utf-8", "iso-8859-1", "", 0), "");
    EXPECT_EQ(converter.IconvConvert("utf-8", "iso-8859-1", nullptr, 0), "");
}

TEST(DvbConverter, IconvFailuresGiveTheInput) {
    const DvbConverter converter(DvbCharSetStandard, 0);
    const std::string text("a\0b", 3);
    EXPECT_EQ(converter.IconvConvert("no-such-set", "utf-8", text.data(), 3), text);
    EXPECT_EQ(converter.IconvConvert("utf-8", "no-such-set", text.data(), 3), text);
    EXPECT_EQ(converter.IconvConvert("no-such-set", "utf-8", nullptr, 0), "");
    EXPECT_EQ(converter.IconvConvert("utf-8", "iso-8859-1", "\xFF\xFE", 2), "\xFF\xFE");
}

TEST(DvbConverter, IconvHasAFixedRoom) {
    const DvbConverter converter(DvbCharSetStandard, 0);
    const std::string quarters(6, '\xBC'); // each becomes five bytes; the room is three a byte and ten
    EXPECT_EQ(converter.IconvConvert("iso-8859-1", "ascii//TRANSLIT", quarters.data(), 5), " 1/4  1/4  1/4  1/4  1/4 ");
    EXPECT_EQ(converter.IconvConvert("iso-8859-1", "ascii//TRANSLIT", quarters.data(), 6), quarters);
}

TEST(DvbConverter, IconvOfANullTextWithALengthIsTheStringsError) {
    const DvbConverter converter(DvbCharSetStandard, 0);
    for (const char *set : {"gb2312", "no-such-set"}) {
        try {
            converter.IconvConvert(set, "utf-8", nullptr, 3);
            ADD_FAILURE() << "no exception";
        } catch (const std::logic_error &error) {
            EXPECT_STREQ(error.what(), "basic_string::_M_construct null not valid");
        }
    }
}

// ---- Flat wrappers ----

TEST(DvbPackets, OfANullStringIsNull) {
    EXPECT_EQ(zelkConvertDvb8ToUnicode(DvbCharSetStandard, nullptr, 1, DvbCodeNone, 0, 0), nullptr);
    EXPECT_EQ(zelkConvertDvb8ToUtf8(DvbCharSetStandard, nullptr, 1, DvbCodeNone, 0, 0), nullptr);
}

TEST(DvbPackets, CapacityFollowsTheBound) {
    const Wide wide(zelkConvertDvb8ToUnicode(DvbCharSetStandard,
                                             "\x05"
                                             "AB",
                                             3, DvbCodeNone, 0, 0));
    EXPECT_EQ(wide->capacity, 5);
    EXPECT_EQ(wide->length, 2);
    const Narrow narrow(zelkConvertDvb8ToUtf8(DvbCharSetStandard,
                                              "\x05"
                                              "AB",
                                              -1, DvbCodeNone, 0, 0));
    EXPECT_EQ(narrow->capacity, 8);
    EXPECT_STREQ(narrow->chars, "AB");
}

TEST(DvbPackets, CompressedTextWithoutACountIsEmptyInUcs2) {
    const std::string text = bytes("1F 01 00 00 00 00");
    const Wide uncounted(zelkConvertDvb8ToUnicode(DvbCharSetStandard, text.data(), -1, DvbCodeNone, 0, 0));
    EXPECT_EQ(uncounted->length, 0);
    EXPECT_EQ(uncounted->capacity, 2);
    const Wide counted(zelkConvertDvb8ToUnicode(DvbCharSetStandard, text.data(), 6, DvbCodeNone, 0, 0));
    EXPECT_GT(counted->length, 0);
}

TEST(DvbPackets, CompressedTextIsCutAtItsCountInUcs2) {
    const std::string text = bytes("1F 01 C7 0B 5F ED 6C D0 EF 99 F3 5F 8B 82 13 98"); // "Formula Drift Series 2017"
    const int count = static_cast<int>(text.size());
    const Wide packet(zelkConvertDvb8ToUnicode(DvbCharSetStandard, text.data(), count, DvbCodeNone, 0, 0));
    EXPECT_EQ(packet->capacity, 16 + 2);
    const Units units(packet->chars, packet->chars + packet->length);
    EXPECT_EQ(std::string(units.begin(), units.end()), "Formula Drift Se");
    EXPECT_EQ(unitsOf(DvbConverter(DvbCharSetStandard, 0).convertDvb8ToUnicode(text)), units);
    Units whole(8 * 16 + 1);
    EXPECT_EQ(zelk_dvb8ToUnicode(DvbCharSetStandard, whole.data(), 8 * 16 + 1, text.data(), count, DvbCodeNone, 0, 0),
              25U);
}

TEST(DvbPackets, ABoundAbove65535IsTruncatedWhileTheBlockHoldsAll) {
    for (const unsigned int length : {21844U, 21845U, 65533U, 65534U, 65535U, 65536U, 70000U, 140000U}) {
        const std::string text(length, 'x');
        const Wide wide(
            zelkConvertDvb8ToUnicode(DvbCharSetStandard, text.data(), static_cast<int>(length), DvbCodeNone, 0, 0));
        EXPECT_EQ(wide->capacity, (length + 2) % 65536);
        EXPECT_EQ(wide->length, length % 65536);
        const unsigned short *units = wide->chars; // the whole block, beyond what the length can say
        EXPECT_EQ(zelk_wcslen(units), length);
        const Narrow narrow(zelkConvertDvb8ToUtf8(DvbCharSetStandard, text.c_str(), -1, DvbCodeNone, 0, 0));
        EXPECT_EQ(narrow->capacity, (3 * length + 2) % 65536);
        EXPECT_EQ(narrow->length, length % 65536);
        EXPECT_EQ(std::string(narrow->chars), text);
    }
}

// ---- Selectors and traces ----

TEST(DvbCharacterSets, AreListedWithACountedZero) {
    const std::string sets = zelk::GetSupportedCharacterSets();
    EXPECT_EQ(sets.size(), 41U);
    EXPECT_EQ(sets.back(), 0);
    std::string expected = bytes("01 03 05 06 09 0A 0B");
    for (const int part : {1, 2, 3, 4, 5, 7, 9, 10, 13, 14, 15}) {
        expected += bytes("10 00") + static_cast<char>(part);
    }
    EXPECT_EQ(sets, expected + '\0');
}

TEST(DvbTrace, NothingIsTracedWithoutTheDebugLibrary) {
    ASSERT_EQ(dlsym(RTLD_DEFAULT, "murnDebugOutput0"), nullptr);
    setenv("MURN_DEBUG_LEVEL", "9", 1);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    const DvbConverter converter(DvbCharSetGb2312, 0);
    EXPECT_EQ(converter.convertDvb8ToUtf8("Abc", 3), "Abc");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

} // namespace
