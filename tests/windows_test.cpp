// Windows code pages: the selection, the flat functions, the packets and the class, against a model with iconv's
// tables.
#include "helpers/byte_conversion.h"
#include "helpers/text.h"
#include "helpers/twins.h"
#include "zelk.hpp"

#include <map>

namespace {

using namespace zelk_test;
using reference::replacement;

constexpr unsigned int unknown = 0xFFFFFFFF;

const reference::Set &setOf(unsigned int table) {
    static const std::vector<reference::Set> sets = [] {
        std::vector<reference::Set> all;
        for (unsigned int number = 0; number <= 7; ++number) {
            all.push_back(reference::windowsSet(number));
        }
        return all;
    }();
    return sets[std::min(table, 7U)];
}

// The selection as a list of answers.
unsigned int tableModel(int codePage, unsigned int identifier) {
    static const std::map<unsigned int, unsigned int> byIdentifier = {{1, 3},   {2, 7},   {161, 4}, {162, 5},
                                                                      {186, 6}, {204, 2}, {238, 1}, {unknown, 0}};
    static const std::map<int, unsigned int> byCodePage = {{1250, 1}, {1251, 2}, {1252, 3}, {1253, 4},
                                                           {1254, 5}, {1257, 6}, {-1, 7}};
    if (const auto found = byIdentifier.find(identifier); found != byIdentifier.end()) {
        return found->second;
    }
    const auto found = byCodePage.find(codePage);
    return found != byCodePage.end() ? found->second : 0;
}

struct Name {
    int codePage;
    unsigned int identifier;
};

// One name and more for every table.
const std::vector<Name> &names() {
    static const std::vector<Name> list = {
        {0, 0},    {437, 0},  {1250, 0}, {1251, 255},     {1252, 3},   {1253, 77},  {1254, 0},
        {1257, 5}, {0, 238},  {0, 204},  {0, 1},          {0, 161},    {0, 162},    {0, 186},
        {-1, 0},   {1252, 2}, {-1, 2},   {1252, unknown}, {1252, 204}, {0xFFFF, 0}, {1250, 0xFFFF}};
    return list;
}

const reference::Set &setOf(const Name &name) {
    return setOf(tableModel(name.codePage, name.identifier));
}

auto ucs2Of(Name name) {
    return [name](unsigned short *out, int outSize, const char *in, int inLength) {
        return zelk_winToUnicode(name.codePage, name.identifier, out, outSize, in, inLength);
    };
}

auto utf8Of(Name name) {
    return [name](char *out, int outSize, const char *in, int inLength) {
        return zelk_winToUtf8(name.codePage, name.identifier, out, outSize, in, inLength);
    };
}

// ---- Selection and single characters ----

TEST(WindowsTable, Examples) {
    struct Row {
        int codePage;
        unsigned int identifier;
        unsigned int table;
    };
    const Row rows[] = {
        {1251, 0, 2}, {1251, 255, 2},     {1252, 204, 2}, {1250, 2, 7},   {437, 0, 0},         {-1, 0, 7},
        {1257, 5, 6}, {1252, unknown, 0}, {0, 0, 0},      {0, 1, 3},      {0, 161, 4},         {0, 162, 5},
        {0, 186, 6},  {0, 204, 2},        {0, 238, 1},    {1250, 3, 1},   {1253, 0, 4},        {1254, 0, 5},
        {-1, 2, 7},   {-1, unknown, 0},   {-1, 238, 1},   {0xFFFF, 0, 0}, {0xFFFF, 0xFFFF, 0}, {-1, 0xFFFF, 7},
        {1255, 0, 0}, {1256, 0, 0},       {66786, 0, 0},  {1250, 257, 1}, {INT_MIN, 0, 0},     {INT_MAX, 0, 0},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(zelk_winGetCodeTable(row.codePage, row.identifier), row.table)
            << row.codePage << ' ' << row.identifier;
    }
}

TEST(WindowsTable, EveryCodePageAndIdentifier) {
    const int codePages[] = {INT_MIN, -1250, -2,   -1,   0,    1,    437,   1249,  1250,   1251,           1252,
                             1253,    1254,  1255, 1256, 1257, 1258, 28591, 65001, 0xFFFF, 0x10000 + 1250, INT_MAX};
    for (const int codePage : codePages) {
        for (unsigned int identifier = 0; identifier < 600; ++identifier) {
            ASSERT_EQ(zelk_winGetCodeTable(codePage, identifier), tableModel(codePage, identifier))
                << codePage << ' ' << identifier;
        }
        for (const unsigned int identifier :
             {0xFFFEU, 0xFFFFU, 0x10001U, 0x7FFFFFFFU, 0x80000002U, 0xFFFFFFFEU, unknown}) {
            ASSERT_EQ(zelk_winGetCodeTable(codePage, identifier), tableModel(codePage, identifier))
                << codePage << ' ' << identifier;
        }
    }
    for (int codePage = -70000; codePage < 70000; ++codePage) {
        ASSERT_EQ(zelk_winGetCodeTable(codePage, 0), tableModel(codePage, 0)) << codePage;
    }
}

TEST(WindowsByte, Examples) {
    const auto map = [](int codePage, unsigned int byte) {
        return zelk_winMapCode(zelk_winGetCodeTable(codePage, 0), byte);
    };
    EXPECT_EQ(map(1252, 0x80), 0x20AC);
    EXPECT_EQ(map(1252, 0x81), 0xFFFD);
    EXPECT_EQ(map(1251, 0xC0), 0x0410);
    EXPECT_EQ(map(1251, 0xFF), 0x044F);
    EXPECT_EQ(map(1257, 0xFF), 0xFFFD);
    EXPECT_EQ(map(1250, 0x8A), 0x0160);
    EXPECT_EQ(zelk_winMapCode(0, 0xE9), 0xFFFD);
    EXPECT_EQ(zelk_winMapCode(9, 0x41), 0x41);
    EXPECT_EQ(zelk_winMapCode(9, 0xE9), 0xFFFD);
}

// A table above the last has U+FFFD from 128 on. What is no byte is cut to its low eight bits, and a table number
// counts modulo 256, since a position has 16 bits.
TEST(WindowsByte, EveryTableAndArgument) {
    for (unsigned int table = 0; table < 520; ++table) {
        for (unsigned int byte = 0; byte < 0x300; ++byte) {
            unsigned int expected = byte;
            if (byte >= (table == 0 ? 32U : 128U)) {
                expected = table % 256 < 7 ? setOf(table % 256)[byte % 256] : replacement;
            }
            ASSERT_EQ(zelk_winMapCode(table, byte), expected) << table << ' ' << byte;
        }
    }
    EXPECT_EQ(zelk_winMapCode(0xFFFFFF03, 0x80), 0x20AC);
    EXPECT_EQ(zelk_winMapCode(0xFFFFFFFF, 0xFFFFFFFF), 0xFFFD);
}

// ---- Lengths ----

TEST(WindowsLength, Bounds) {
    EXPECT_EQ(zelk_winToUnicodeMaxLength(nullptr, 5), 0U);
    EXPECT_EQ(zelk_winToUtf8MaxLength(nullptr, -1), 0U);
    EXPECT_EQ(zelk_winToUnicodeMaxLength("abc", -1), 3U);
    EXPECT_EQ(zelk_winToUnicodeMaxLength("abc", 2), 2U);
    EXPECT_EQ(zelk_winToUtf8MaxLength("abc", -1), 9U);
    EXPECT_EQ(zelk_winToUtf8MaxLength("abc", 0), 0U);
    EXPECT_EQ(zelk_winToUtf8MaxLength("", INT_MAX), 2147483647U);
}

TEST(WindowsLength, ExactForEveryTable) {
    const std::string text = allBytes();
    for (const Name &name : names()) {
        EXPECT_EQ(zelk_winToUtf8Length(nullptr, 5, name.codePage, name.identifier), 0U);
        EXPECT_EQ(zelk_winToUtf8Length("abc", 0, name.codePage, name.identifier), 0U);
        for (const int count : {-1, INT_MIN, 0, 1, 127, 128, 200, 255, 256, INT_MAX}) {
            const auto in = inputBlock(text, count);
            const auto characters = reference::charactersOf(setOf(name), reference::usedText(text, count));
            EXPECT_EQ(zelk_winToUtf8Length(in.get(), count, name.codePage, name.identifier),
                      reference::utf8Text(characters).size());
        }
    }
}

// ---- Buffers ----

TEST(WindowsBuffer, Examples) {
    expectBytes(utf8Of({1252, 0}), "A", bytes("80 41"), 2, 3); // the euro sign does not fit, what follows does
    expectBytes(utf8Of({1252, 0}), bytes("E2 82 AC 41"), bytes("80 41"), 2, 5);
    expectBytes(utf8Of({1251, 0}), bytes("D0 90 D1 8F"), bytes("C0 FF"), -1, 5);
    expectBytes(utf8Of({437, 0}), bytes("41 EF BF BD"), bytes("41 E9"), -1, 5);
    expectBytes(utf8Of({1252, 2}), bytes("41 EF BF BD"), bytes("41 E9"), -1, 5);
}

TEST(WindowsBuffer, NothingToConvertLeavesAnEmptyText) {
    for (const char *in : {static_cast<const char *>(nullptr), "", "abc"}) {
        for (const int size : {INT_MIN, -1, 0, 1}) {
            Guarded<unsigned short> units(1);
            EXPECT_EQ(zelk_winToUnicode(1252, 0, units.data(), size, in, -1), 0U);
            EXPECT_EQ(units[0], 0);
            Guarded<char> text(1);
            EXPECT_EQ(zelk_winToUtf8(1252, 0, text.data(), size, in, 3), 0U);
            EXPECT_EQ(text[0], 0);
        }
    }
    Guarded<char> text(8);
    EXPECT_EQ(zelk_winToUtf8(1252, 0, text.data(), 8, nullptr, 5), 0U);
    EXPECT_EQ(text[0], 0);
    EXPECT_EQ(text[1], Guarded<char>::pattern());
}

TEST(WindowsBuffer, EveryByteOfEveryTable) {
    for (const Name &name : names()) {
        SCOPED_TRACE(testing::Message() << name.codePage << ' ' << name.identifier);
        for (unsigned int byte = 0; byte < 256; ++byte) {
            const std::string one(1, static_cast<char>(byte));
            expectUcs2(ucs2Of(name), setOf(name), one, 1, 2);
            expectUtf8(utf8Of(name), setOf(name), one, 1, 4);
        }
        expectUcs2(ucs2Of(name), setOf(name), allBytes(), -1, 256);
        expectUtf8(utf8Of(name), setOf(name), allBytes(), -1, 3 * 255 + 1);
    }
}

TEST(WindowsBuffer, EverySizeAndCount) {
    const std::string text = bytes("41 80 E9 81 80 42 43 80 80 44 C0 00 45 80");
    for (const Name &name : {Name{1252, 0}, Name{1251, 0}, Name{0, 0}}) {
        for (const int count : {-1, INT_MIN, 0, 1, 2, 5, 10, 11, 12, 14, INT_MAX}) {
            for (int size = -1; size <= 40; ++size) {
                expectUcs2(ucs2Of(name), setOf(name), text, count, size);
                expectUtf8(utf8Of(name), setOf(name), text, count, size);
            }
        }
    }
}

TEST(WindowsBuffer, RandomTexts) {
    Random random(1252);
    for (int round = 0; round < 20000; ++round) {
        const Name name = names()[random.below(static_cast<unsigned int>(names().size()))];
        const std::string text = randomBytes(random, 80);
        const int counts[] = {-1, static_cast<int>(random.below(90)), static_cast<int>(text.size()), INT_MAX};
        const int count = counts[random.below(4)];
        const int size = static_cast<int>(random.below(random.chance(50) ? 40 : 250));
        SCOPED_TRACE(testing::Message() << "round " << round << ", " << name.codePage << ' ' << name.identifier);
        expectUcs2(ucs2Of(name), setOf(name), text, count, size);
        expectUtf8(utf8Of(name), setOf(name), text, count, size);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST(WindowsBuffer, LongTexts) {
    Random random(70001);
    std::string text(70000, ' ');
    for (char &byte : text) {
        byte = static_cast<char>(1 + random.below(255));
    }
    for (const int size : {70001, 69999, 210001, 100000}) {
        expectUcs2(ucs2Of({1253, 0}), setOf(4), text, -1, size);
        expectUtf8(utf8Of({1253, 0}), setOf(4), text, 70000, size);
    }
}

// ---- Packets ----

TEST(WindowsPacket, NullAndEmptyText) {
    EXPECT_EQ(zelkConvertWindowsToUnicode(1252, 0, nullptr, 5), nullptr);
    EXPECT_EQ(zelkConvertWindowsToUtf8(1252, 0, nullptr, -1), nullptr);
    for (const int count : {-1, 0}) {
        const Owned<CharPacket> packet(zelkConvertWindowsToUtf8(1252, 0, "", count));
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(packet->length, 0);
        EXPECT_EQ(packet->capacity, 1);
        EXPECT_EQ(packet->chars[0], 0);
    }
}

TEST(WindowsPacket, EveryName) {
    const std::string text = allBytes();
    for (const Name &name : names()) {
        SCOPED_TRACE(testing::Message() << name.codePage << ' ' << name.identifier);
        const auto characters = reference::charactersOf(setOf(name), text);
        const Owned<WideCharPacket> wide(zelkConvertWindowsToUnicode(name.codePage, name.identifier, text.c_str(), -1));
        EXPECT_EQ(textOf(wide), reference::ucs2Text(characters, 256));
        const Owned<CharPacket> packet(zelkConvertWindowsToUtf8(name.codePage, name.identifier, text.c_str(), -1));
        EXPECT_EQ(std::string(packet->chars, packet->length), reference::utf8Text(characters));
    }
}

// Capacities count modulo 65536: a longer text is cut to what the stored capacity holds.
TEST(WindowsPacket, Capacities) {
    for (const unsigned int length :
         {1U, 2U, 100U, 21844U, 21845U, 21846U, 30000U, 43690U, 43691U, 65534U, 65535U, 65536U, 65537U, 70000U}) {
        SCOPED_TRACE(length);
        const std::string text(length, '\x80');
        const auto characters = reference::charactersOf(setOf(3), text);
        for (const int count : {-1, static_cast<int>(length)}) {
            const auto in = inputBlock(text, count);
            const Owned<WideCharPacket> wide(zelkConvertWindowsToUnicode(1252, 0, in.get(), count));
            ASSERT_NE(wide, nullptr);
            EXPECT_EQ(wide->capacity, (length + 1) % 65536);
            EXPECT_EQ(textOf(wide), reference::ucs2Text(characters, wide->capacity));
            EXPECT_EQ(wide->chars[wide->length], 0);
            const Owned<CharPacket> packet(zelkConvertWindowsToUtf8(1252, 0, in.get(), count));
            ASSERT_NE(packet, nullptr);
            EXPECT_EQ(packet->capacity, (length * 3 % 65536 + 1) % 65536);
            EXPECT_EQ(std::string(packet->chars, packet->length), reference::utf8Text(characters, packet->capacity));
            EXPECT_EQ(packet->chars[packet->length], 0);
        }
    }
}

// ---- Class ----

TEST(WinConverter, UnicodeHasNothingOfTheTerminator) {
    const zelk::WinConverter converter(1252, 0);
    const std::string expected = nativeBytes({'A', 'B'});
    EXPECT_EQ(converter.convertWindowsToUnicode("AB", 2), expected);
    EXPECT_EQ(converter.convertWindowsToUnicode("AB", -1), expected);
    EXPECT_EQ(converter.convertWindowsToUnicode("ABC", 2), expected);
    EXPECT_EQ(converter.convertWindowsToUnicode("AB", INT_MAX), expected);
    EXPECT_EQ(converter.convertWindowsToUnicode(std::string("AB")), expected);
    EXPECT_EQ(converter.convertWindowsToUnicode(std::string("AB\0C", 4)), expected);
    EXPECT_EQ(converter.convertWindowsToUnicode("", 0), "");
    EXPECT_EQ(converter.convertWindowsToUnicode(nullptr, 4), "");
    EXPECT_EQ(converter.convertWindowsToUnicode(std::string()), "");
}

// The scratch has no room for the terminator: a last character of three bytes is lost when all before it took three.
TEST(WinConverter, Utf8DropsTheLastOfNothingButThreeByteCharacters) {
    const zelk::WinConverter converter(1252, 0);
    const std::string euro = "\xE2\x82\xAC";
    EXPECT_EQ(converter.convertWindowsToUtf8("\x80", 1), "");
    EXPECT_EQ(converter.convertWindowsToUtf8("\x80\x80", -1), euro);
    EXPECT_EQ(converter.convertWindowsToUtf8("\x80\x41", 2), euro + 'A');
    EXPECT_EQ(converter.convertWindowsToUtf8("\x80", 2), euro) << "a count beyond the text leaves room";
    EXPECT_EQ(converter.convertWindowsToUtf8("\x80", INT_MAX), euro);
    EXPECT_EQ(converter.convertWindowsToUtf8(std::string("\x80")), "");
    EXPECT_EQ(converter.convertWindowsToUtf8(nullptr, 1), "");
    EXPECT_EQ(converter.convertWindowsToUtf8("abc", 0), "");
    EXPECT_EQ(converter.convertWindowsToUtf8(std::string()), "");
}

TEST(WinConverter, RandomTexts) {
    Random random(4);
    for (int round = 0; round < 4000; ++round) {
        const std::string text = randomBytes(random, round % 100 == 0 ? 3000 : 60);
        const Name name = names()[random.below(static_cast<unsigned int>(names().size()))];
        const zelk::WinConverter converter(name.codePage, name.identifier);
        const int length = static_cast<int>(text.size());
        const auto characters = reference::charactersOf(setOf(name), reference::usedText(text, length));
        const std::string wide = nativeBytes(reference::ucs2Text(characters, length + 1));
        ASSERT_EQ(converter.convertWindowsToUnicode(text), wide);
        ASSERT_EQ(converter.convertWindowsToUnicode(text.data(), length), wide);
        ASSERT_EQ(converter.convertWindowsToUtf8(text), reference::utf8Text(characters, 3 * length));
        ASSERT_EQ(converter.convertWindowsToUtf8(text.data(), length), reference::utf8Text(characters, 3 * length));
    }
}

TEST(WinConverter, LongTexts) {
    const std::string text(70000, '\x80');
    const zelk::WinConverter converter(0, 1);
    EXPECT_EQ(converter.convertWindowsToUnicode(text).size(), 140000U);
    EXPECT_EQ(converter.convertWindowsToUtf8(text).size(), 3U * 69999);
}

} // namespace
