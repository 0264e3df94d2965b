// Functions that the header lets have one buffer for input and output, each on texts of every length and kind: with the
// result that the same call has into other memory, and for XML with that of the model.
#include "helpers/guard_pages.h"
#include "helpers/text_kinds.h"
#include "reference/xml_model.h"
#include "zelk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

using namespace zelk_test;

namespace {

unsigned short dropSomeKeepSome(unsigned short character) {
    return character == 'e' || character == 0xE9 ? 0 : character;
}

// As long in UTF-8 as what it replaces, or shorter.
unsigned short shorten(unsigned short character) {
    return character == 'e' ? 'E' : character == 0x20AC ? 0xA4 : character;
}

// A function of each family in one form: `size` units of `out`, the text in `in`, its units or -1.
template <class Unit>
struct Conversion {
    const char *name;
    unsigned int (*convert)(Unit *out, int size, const Unit *in, int count);
};

unsigned char *u8(char *text) {
    return reinterpret_cast<unsigned char *>(text);
}

const unsigned char *u8(const char *text) {
    return reinterpret_cast<const unsigned char *>(text);
}

constexpr Conversion<char> narrow[] = {
    {"zelk_strlcpy", [](char *out, int size, const char *in,
                        int count) { return zelk_strlcpy(out, size, in, static_cast<unsigned int>(count)); }},
    {"zelkCopyQuoted",
     [](char *out, int size, const char *in, int count) { return zelkCopyQuoted(out, size, in, count, '"', '\''); }},
    {"zelkRemoveQuotesFromString", [](char *out, int size, const char *in,
                                      int /*count*/) { return zelkRemoveQuotesFromString(out, size, in, '"', '\''); }},
    {"zelkFilterString",
     [](char *out, int size, const char *in, int /*count*/) { return zelkFilterString(out, size, in, nullptr); }},
    {"zelkFilterString, a filter", [](char *out, int size, const char *in,
                                      int /*count*/) { return zelkFilterString(out, size, in, dropSomeKeepSome); }},
    {"zelkUtf8CopyAndCheckIfValid",
     [](char *out, int size, const char *in, int count) {
         int invalid = 0;
         const unsigned int copied = zelkUtf8CopyAndCheckIfValid(u8(out), size, u8(in), count, &invalid);
         return copied * 2 + static_cast<unsigned int>(invalid);
     }},
    {"zelkUtf8CopyQuoted", [](char *out, int size, const char *in,
                              int count) { return zelkUtf8CopyQuoted(u8(out), size, u8(in), count, '"', 0x20AC); }},
    {"zelkUtf8RemoveQuotesFromString",
     [](char *out, int size, const char *in, int /*count*/) {
         return zelkUtf8RemoveQuotesFromString(u8(out), size, u8(in), '"', 0xE9);
     }},
    {"zelkUtf8FilterString", [](char *out, int size, const char *in,
                                int /*count*/) { return zelkUtf8FilterString(u8(out), size, u8(in), nullptr); }},
    {"zelkUtf8FilterString, a filter",
     [](char *out, int size, const char *in, int /*count*/) {
         return zelkUtf8FilterString(u8(out), size, u8(in), dropSomeKeepSome);
     }},
    {"zelkUtf8FilterString, a map", [](char *out, int size, const char *in,
                                       int /*count*/) { return zelkUtf8FilterString(u8(out), size, u8(in), shorten); }},
    {"zelk_dvbPrep8ToUtf8",
     [](char *out, int size, const char *in, int count) { return zelk_dvbPrep8ToUtf8(out, size, in, count); }},
    {"zelk_unxml", [](char *out, int size, const char *in, int count) { return zelk_unxml(out, size, in, count); }},
};

constexpr Conversion<unsigned short> wide[] = {
    {"zelk_wstrlcpy", [](unsigned short *out, int size, const unsigned short *in,
                         int count) { return zelk_wstrlcpy(out, size, in, static_cast<unsigned int>(count)); }},
    {"zelk_nawstrlcpy",
     [](unsigned short *out, int size, const unsigned short *in, int count) {
         return zelk_nawstrlcpy(reinterpret_cast<unsigned char *>(out), size,
                                reinterpret_cast<const unsigned char *>(in), static_cast<unsigned int>(count));
     }},
    {"zelkCopyWideQuoted", [](unsigned short *out, int size, const unsigned short *in,
                              int count) { return zelkCopyWideQuoted(out, size, in, count, '"', '\''); }},
    {"zelkRemoveQuotesFromWideString",
     [](unsigned short *out, int size, const unsigned short *in, int /*count*/) {
         return zelkRemoveQuotesFromWideString(out, size, in, '"', '\'');
     }},
    {"zelkFilterWideString", [](unsigned short *out, int size, const unsigned short *in,
                                int /*count*/) { return zelkFilterWideString(out, size, in, nullptr); }},
    {"zelk_pela_ttxConvertToUnicode", [](unsigned short *out, int size, const unsigned short *in,
                                         int count) { return zelk_pela_ttxConvertToUnicode(out, size, in, count); }},
};

// The buffer is as long as the text and its terminator, between unreadable pages.
template <class Unit>
void expectSame(const Conversion<Unit> &function, std::vector<Unit> text, int count, int size) {
    static GuardPages pages(sizeof(Unit) * (longestText + 1));
    text.push_back(0);
    std::vector<Unit> apart(text.size());
    const unsigned int expected = function.convert(apart.data(), size, text.data(), count);
    auto *const buffer = reinterpret_cast<Unit *>(pages.back(sizeof(Unit) * text.size()));
    std::copy(text.begin(), text.end(), buffer);
    ASSERT_EQ(function.convert(buffer, size, buffer, count), expected)
        << function.name << ", count " << count << ", size " << size << ", length " << text.size() - 1;
    const auto end = std::find(apart.begin(), apart.end(), 0) + 1;
    ASSERT_TRUE(std::equal(apart.begin(), end, buffer))
        << function.name << ", count " << count << ", size " << size << ", length " << text.size() - 1;
}

// Units of teletext's private-use letters, of quotes and of any others.
std::vector<unsigned short> unitsOf(const std::string &text) {
    std::vector<unsigned short> units;
    for (const char letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        units.push_back(static_cast<unsigned short>(byte < 0x80 ? byte : 0xE000 + 3 * byte));
    }
    return units;
}

constexpr TextKind quoted = {"quotes of several bytes", "", "\"a|\xE2\x82\xAC|b|\"|\xC3\xA9|e"};

void expectUnescaped(const std::string &text, int count, int size) {
    static GuardPages pages(longestText + 1);
    const std::string used = count < 0 ? text : text.substr(0, static_cast<std::size_t>(count));
    const std::string expected = modelUnescape(used, size);
    const bool terminated = count < 0;
    // A counted text ends where its buffer does, unless the whole result needs the byte after it.
    const std::size_t bytes = std::max(text.size() + (terminated ? 1 : 0), expected.size() + 1);
    char *const buffer = reinterpret_cast<char *>(pages.back(bytes));
    std::memset(buffer, 'x', bytes);
    std::memcpy(buffer, text.c_str(), text.size() + (terminated ? 1 : 0));
    ASSERT_EQ(zelk_unxml(buffer, size, buffer, count), expected.size()) << text << ", size " << size;
    ASSERT_EQ(std::string(buffer, expected.size()), expected) << text << ", count " << count << ", size " << size;
    ASSERT_EQ(buffer[expected.size()], 0);
}

} // namespace

TEST(InPlace, GivesTheSameText) {
    Random random(41);
    for (std::size_t length = 0; length <= longestText; ++length) {
        const auto check = [&](const TextKind &kind) {
            const std::string text = kind.ofLength(length, random);
            const std::string terminated = text.substr(0, text.find('\0'));
            const std::vector<char> bytes(terminated.begin(), terminated.end());
            for (const int count : {-1, static_cast<int>(bytes.size() / 2), static_cast<int>(bytes.size())}) {
                for (const int size : {static_cast<int>(bytes.size()) + 1, static_cast<int>(bytes.size() / 3) + 1}) {
                    for (const Conversion<char> &function : narrow) {
                        ASSERT_NO_FATAL_FAILURE(expectSame(function, bytes, count, size));
                    }
                    for (const Conversion<unsigned short> &function : wide) {
                        ASSERT_NO_FATAL_FAILURE(expectSame(function, unitsOf(terminated), count, size));
                    }
                }
            }
        };
        forKindsAtLength(length, check);
        check(quoted);
    }
}

// With room for what becomes of the terminator, too. A result whose low eight bits are zero ends no text early.
TEST(InPlace, FiltersWhatBecomesZeroAndTheTerminator) {
    const auto filter = [](unsigned short character) -> unsigned short {
        return character == 'X' ? 0x0100 : character == 0 ? '.' : character;
    };
    const std::string text = "aXbcX";
    for (int size = 0; size <= 8; ++size) {
        char apart[8] = {};
        char buffer[8] = {};
        std::copy(text.begin(), text.end(), buffer);
        EXPECT_EQ(zelkFilterString(buffer, size, buffer, filter), zelkFilterString(apart, size, text.c_str(), filter));
        EXPECT_TRUE(std::equal(apart, apart + std::clamp(size, 1, 7), buffer)) << "size " << size;
    }
    char whole[8] = "aXbcX";
    EXPECT_EQ(zelkFilterString(whole, 8, whole, filter), 6U);
    EXPECT_EQ(std::string(whole, 7), std::string("a\0bc\0.", 7));
    unsigned short wideText[8] = {'a', 'X', 'b'};
    EXPECT_EQ(zelkFilterWideString(wideText, 8, wideText, filter), 4U);
    const unsigned short expected[] = {'a', 0x0100, 'b', '.', 0};
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected), wideText));
}

// With room for the terminator that is copied, too.
TEST(InPlace, RemovesQuotes) {
    Random random(42);
    for (std::size_t length = 0; length <= longestText; ++length) {
        const std::string text = quoted.ofLength(length, random) + '\0' + '\0';
        std::string buffer = text;
        std::string apart(text.size(), 'x');
        const int size = static_cast<int>(length) + 2;
        EXPECT_EQ(zelkRemoveQuotesFromString(buffer.data(), size, buffer.data(), '"', 'e'),
                  zelkRemoveQuotesFromString(apart.data(), size, text.data(), '"', 'e'));
        EXPECT_STREQ(buffer.c_str(), apart.c_str());
        buffer = text;
        EXPECT_EQ(zelkUtf8RemoveQuotesFromString(u8(buffer.data()), size, u8(buffer.data()), '"', 0xE9),
                  zelkUtf8RemoveQuotesFromString(u8(apart.data()), size, u8(text.data()), '"', 0xE9));
        EXPECT_STREQ(buffer.c_str(), apart.c_str());
    }
}

TEST(InPlace, RevertsBits) {
    Random random(43);
    for (std::size_t length = 0; length <= longestText; ++length) {
        const std::string text = TextKind{"", "", ""}.ofLength(length, random);
        std::string buffer = text;
        std::string expected;
        for (const char letter : text) {
            unsigned int reverted = 0;
            for (unsigned int bit = 0; bit < 8; ++bit) {
                reverted |= (static_cast<unsigned char>(letter) >> bit & 1U) << (7 - bit);
            }
            expected.push_back(static_cast<char>(reverted));
        }
        EXPECT_EQ(zelk_bitsRevertSequence(u8(buffer.data()), u8(buffer.data()), static_cast<int>(length)),
                  static_cast<int>(length));
        EXPECT_EQ(buffer, expected);
    }
}

TEST(InPlace, Unescapes) {
    Random random(44);
    const TextKind kinds[] = {
        {"entities", "", "&amp;|&lt;|&gt;|&quot;|&apos;"},
        {"decimal references", "", "&#65;|&#9;|&#321;|&#0;|&#1234;|&# 7;|&#-1;|a"},
        {"broken ones", "", "&|&&|&#|&#x41;|&#;|&;|&a;|&qu|;|&xyz;|&apostle;|&#12345;|&amp|b"},
        {"markup", "", "&lt;|b|&gt;|Evening |news|&amp;| weather|&#233;"},
        {"one at a time", "", "Good evening and welcome to the weather report for |the coming week |&amp;|&#65;|&"},
        {"bytes of references", "", "&#;amplt0123", 1},
    };
    for (std::size_t length = 0; length <= longestText; ++length) {
        for (const TextKind &kind : kinds) {
            for (std::size_t repeat = 0; repeat < 6; repeat += textStride()) {
                const std::string text = kind.ofLength(length, random);
                const int whole = static_cast<int>(length);
                const int part = static_cast<int>(random.below(static_cast<std::uint32_t>(length) + 1));
                for (const int size : {whole + 1, part + 1, INT_MAX}) {
                    ASSERT_NO_FATAL_FAILURE(expectUnescaped(text, -1, size));
                    ASSERT_NO_FATAL_FAILURE(expectUnescaped(text, whole, size));
                    ASSERT_NO_FATAL_FAILURE(expectUnescaped(text, part, size));
                }
            }
        }
    }
}

// One reference at every place of a text.
TEST(InPlace, UnescapesOneReferenceAnywhere) {
    for (const char *const reference : {"&amp;", "&#65;", "&l;", "&", "&xyz;"}) {
        for (const std::size_t length : {17U, 33U, 66U, 131U, 200U}) {
            for (std::size_t place = 0; place <= length; ++place) {
                std::string text;
                for (std::size_t i = 0; i < length; ++i) {
                    text.push_back(static_cast<char>('a' + i % 26));
                }
                text.insert(place, reference);
                const int whole = static_cast<int>(text.size());
                for (const int count : {-1, whole}) {
                    for (const int size : {whole + 1, whole - 3, INT_MAX}) {
                        ASSERT_NO_FATAL_FAILURE(expectUnescaped(text, count, size));
                    }
                }
            }
        }
    }
}
