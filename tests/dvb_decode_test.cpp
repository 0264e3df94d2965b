// DVB strings to UCS-2 and UTF-8, against a plain model; compressed text comes from an encoder.
#include "helpers/guard_pages.h"
#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/dvb_model.h"
#include "reference/huffman_encoder.h"
#include "zelk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using zelk_test::bytes;
using zelk_test::Guarded;
using zelk_test::GuardPages;
using zelk_test::Random;

using Characters = std::vector<unsigned int>;

struct Settings {
    int charSet = DvbCharSetStandard;
    int defaultCode = DvbCodeNone;
    int defaultExtra = 0;
    unsigned int flags = 0;

    dvbCharSet_t set() const { return static_cast<dvbCharSet_t>(charSet); }
    DvbCode_t code() const { return static_cast<DvbCode_t>(defaultCode); }
};

// A copy of a string in memory of its own size, so that a read beyond it is found: with a count there is one more byte,
// which is zero, where a table may look at it; without a count there is the terminator.
class Input {
public:
    Input(const std::string &text, bool counted, std::size_t more = 1)
        : count_(counted ? static_cast<int>(text.size()) : -1), bytes_(new char[text.size() + more]()) {
        std::copy(text.begin(), text.end(), bytes_.get());
    }
    const char *data() const { return bytes_.get(); }
    int count() const { return count_; }

private:
    int count_;
    std::unique_ptr<char[]> bytes_;
};

Characters toUcs2(const Input &in, int size, const Settings &settings = {}) {
    Guarded<unsigned short> out(static_cast<std::size_t>(std::max(size, 1)));
    const unsigned int count = zelk_dvb8ToUnicode(settings.set(), out.data(), size, in.data(), in.count(),
                                                  settings.code(), settings.defaultExtra, settings.flags);
    EXPECT_LT(count, out.size());
    EXPECT_EQ(out[count], 0);
    return Characters(out.data(), out.data() + count);
}

std::string toUtf8(const Input &in, int size, const Settings &settings = {}) {
    Guarded<char> out(static_cast<std::size_t>(std::max(size, 1)));
    const unsigned int count = zelk_dvb8ToUtf8(settings.set(), out.data(), size, in.data(), in.count(), settings.code(),
                                               settings.defaultExtra, settings.flags);
    EXPECT_LT(count, out.size());
    EXPECT_EQ(out[count], 0);
    return std::string(out.data(), count);
}

Characters ucs2Of(const std::string &text, const Settings &settings = {}) {
    return toUcs2(Input(text, true), static_cast<int>(text.size()) + 1, settings);
}

std::string utf8Of(const std::string &text, const Settings &settings = {}) {
    return toUtf8(Input(text, true), 3 * static_cast<int>(text.size()) + 1, settings);
}

Characters cut(Characters characters, int size) {
    characters.resize(std::min(characters.size(), static_cast<std::size_t>(std::max(size, 1) - 1)));
    return characters;
}

void expectAsModel(const std::string &text, bool counted, const Settings &settings, int ucs2Size, int utf8Size) {
    const std::size_t available = counted ? text.size() : SIZE_MAX;
    const zelk_test::ModelSelection selection =
        zelk_test::modelSelect(settings.charSet, &text, available, settings.defaultCode, settings.defaultExtra);
    const Characters characters = zelk_test::modelCharacters(selection, text, counted, settings.flags);
    const Input in(text, counted, 3); // a zero unit ends two-byte text, also of odd length
    ASSERT_EQ(toUcs2(in, ucs2Size, settings), cut(characters, ucs2Size)) << ::testing::PrintToString(text);
    ASSERT_EQ(toUtf8(in, utf8Size, settings), zelk_test::modelUtf8(characters, utf8Size))
        << ::testing::PrintToString(text);
}

void expectAsModel(const std::string &text, bool counted, const Settings &settings = {}) {
    const int length = static_cast<int>(text.size());
    expectAsModel(text, counted, settings, length + 1, 3 * length + 1);
}

// ---- Tables ----

std::vector<std::string> tableSelectors() {
    std::vector<std::string> selectors{"", "\x12", "\x13", "\x17", "\x1E", "\x10\x01", "\x1F\x03"};
    for (char first = 0x01; first <= 0x0E; ++first) {
        selectors.emplace_back(1, first);
    }
    for (char part = 0; part <= 17; ++part) {
        selectors.push_back(std::string("\x10\0", 2) + part);
    }
    return selectors;
}

TEST(DvbDecode, EveryByteOfEverySelectorInEveryRegion) {
    for (const std::string &selector : tableSelectors()) {
        for (int charSet = -1; charSet <= 8; ++charSet) {
            for (int byte = 0; byte < 256; ++byte) {
                const std::string text = selector + static_cast<char>(byte);
                if (selector.empty() && byte < 0x20) {
                    continue; // a selector itself
                }
                ASSERT_NO_FATAL_FAILURE(expectAsModel(text, true, {.charSet = charSet})) << "charSet " << charSet;
            }
        }
    }
}

TEST(DvbDecode, EveryByteOfEveryDefaultCode) {
    for (const int code :
         {-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 23, 1000, INT_MAX, INT_MIN}) {
        for (int byte = 0x20; byte < 256; ++byte) {
            for (const unsigned int flags : {0U, 1U, 0xFFFFFFFEU}) {
                const Settings settings{.charSet = 6, .defaultCode = code, .flags = flags};
                ASSERT_NO_FATAL_FAILURE(expectAsModel(std::string(1, static_cast<char>(byte)), true, settings));
                ASSERT_NO_FATAL_FAILURE(expectAsModel(std::string(2, static_cast<char>(byte)), false, settings));
            }
        }
    }
}

TEST(DvbDecode, EveryMarkBeforeEveryByteInEveryTable) {
    std::vector<std::pair<std::string, int>> tables{{"\x0E", DvbCharSetIso8859_15}}; // table 18
    for (const char part : std::string("\x00\x01\x05\x06\x07\x0F\x10", 7)) {         // those with marks, and neighbours
        tables.emplace_back(std::string("\x10\0", 2) + part, DvbCharSetStandard);
    }
    for (const auto &[selector, charSet] : tables) {
        for (int mark = 0xA0; mark <= 0xCF; ++mark) {
            for (int base = 0; base < 256; ++base) {
                const std::string text = selector + static_cast<char>(mark) + static_cast<char>(base) + 'x';
                ASSERT_NO_FATAL_FAILURE(expectAsModel(text, true, {.charSet = charSet}));
            }
        }
    }
}

TEST(DvbDecode, EveryByteAtEveryPlaceOfAsciiText) {
    for (const char *selector : {"", "\x05"}) {
        for (int byte = 0x01; byte < 256; ++byte) {
            for (std::size_t place = 1; place < 18; ++place) {
                std::string text = std::string(selector) + "Text of 18 letters";
                text[place] = static_cast<char>(byte);
                ASSERT_NO_FATAL_FAILURE(expectAsModel(text, byte % 2 == 0));
            }
        }
        for (int size = -1; size < 40; ++size) {
            ASSERT_NO_FATAL_FAILURE(expectAsModel("The quick brown fox jumps over", true, {}, size, size));
        }
    }
}

TEST(DvbDecode, MarksOfTheDefaultTable) {
    EXPECT_EQ(ucs2Of(bytes("C2 65")), Characters({0x00E9}));
    EXPECT_EQ(ucs2Of(bytes("C2 20")), Characters({0x00B4}));
    EXPECT_EQ(ucs2Of(bytes("C2 42")), Characters({0x0042}));
    EXPECT_EQ(ucs2Of(bytes("C2")), Characters({0x00B4}));
    EXPECT_EQ(toUcs2(Input(bytes("C2"), false), 9), Characters({0x00B4}));
    EXPECT_EQ(ucs2Of(bytes("CA 45")), Characters({0x0116}));
    EXPECT_EQ(ucs2Of(bytes("CE 53")), Characters({0x0218}));
    EXPECT_EQ(ucs2Of(bytes("C2 C2 65")), Characters({0x00B4, 0x00E9}));
    EXPECT_EQ(utf8Of(bytes("43 61 66 C2 65")), "Café");
}

TEST(DvbDecode, AMarkAtTheEndOfACountLooksAtTheByteBehindIt) {
    unsigned short out[4] = {};
    EXPECT_EQ(zelk_dvb8ToUnicode(DvbCharSetStandard, out, 4,
                                 "\xC2"
                                 "e",
                                 1, DvbCodeNone, 0, 0),
              0U);
    EXPECT_EQ(zelk_dvb8ToUnicode(DvbCharSetStandard, out, 4,
                                 "\xC2"
                                 "1",
                                 1, DvbCodeNone, 0, 0),
              1U);
    EXPECT_EQ(out[0], 0x00B4);
}

TEST(DvbDecode, OnlyAMarkOfATableWithMarksLooksBehindTheCount) {
    EXPECT_EQ(toUcs2(Input("abc", true, 0), 9), Characters({'a', 'b', 'c'}));
    EXPECT_EQ(toUcs2(Input(bytes("05 C2"), true, 0), 9), Characters({0x00C2}));
}

TEST(DvbDecode, LettersThatAreReadAsMarks) {
    EXPECT_EQ(ucs2Of(bytes("0C C2 65")), Characters({0x00E9})); // ISO 8859-16
    EXPECT_EQ(ucs2Of(bytes("02 B4 E9")), Characters({0x03AF})); // ISO 8859-6, where the Greek marks are
    EXPECT_EQ(ucs2Of(bytes("03 B4 E9")), Characters({0x0384, 0x03B9}));
}

TEST(DvbDecode, ControlCodes) {
    EXPECT_EQ(ucs2Of(bytes("41 8A 42")), Characters({'A', 0x0A, 'B'}));
    EXPECT_EQ(ucs2Of(bytes("86 41 87")), Characters({'A'}));
    EXPECT_EQ(ucs2Of(bytes("86 41 87"), {.flags = 1}), Characters({0x86, 'A', 0x87}));
    EXPECT_EQ(ucs2Of(bytes("41 09 0A 0D 42")), Characters({'A', 'B'}));
    EXPECT_EQ(ucs2Of(bytes("05 41 09 0A 0D 42")), Characters({'A', 0x09, 0x0A, 'B'}));
}

TEST(DvbDecode, EmphasisStaysHoweverTheCodeIsNamed) {
    struct Row {
        const char *selector;
        const char *text; // A, emphasis on and off, line break
        int code;
    };
    const Row rows[] = {{"05", "41 86 87 8A", DvbCodeIso8859_9},
                        {"11", "00 41 00 86 E0 87 00 8A", DvbCodeUcs2},
                        {"15", "41 C2 86 EE 82 87 C2 8A", DvbCodeUtf8}};
    for (const Row &row : rows) {
        for (const bool counted : {true, false}) {
            for (const unsigned int flags : {0U, 1U}) {
                const Characters expected = flags == 0 ? Characters({'A', '\n'}) : Characters({'A', 0x86, 0x87, '\n'});
                const Input named(bytes(row.selector) + bytes(row.text), counted, 3);
                EXPECT_EQ(toUcs2(named, 9, {.flags = flags}), expected) << row.selector;
                EXPECT_EQ(toUtf8(named, 9, {.flags = flags}), zelk_test::modelUtf8(expected, 9)) << row.selector;
                const Settings settings{.defaultCode = row.code, .flags = flags};
                const Input unnamed(bytes(row.text), counted, 3);
                EXPECT_EQ(toUcs2(unnamed, 9, settings), expected) << row.selector;
                EXPECT_EQ(toUtf8(unnamed, 9, settings), zelk_test::modelUtf8(expected, 9)) << row.selector;
            }
        }
    }
}

TEST(DvbDecode, ACountedTextGoesOnBehindAZeroByte) {
    EXPECT_EQ(ucs2Of(bytes("41 00 42")), Characters({'A', 'B'}));
    EXPECT_EQ(toUcs2(Input(bytes("41 00 42"), false), 9), Characters({'A'}));
    EXPECT_EQ(ucs2Of(bytes("15 41 00 42")), Characters({'A', 'B'}));
    EXPECT_EQ(ucs2Of(bytes("11 00 41 00 00 00 42")), Characters({'A', 'B'}));
}

TEST(DvbDecode, RegionsBendTheTables) {
    EXPECT_EQ(ucs2Of(bytes("01 C2 65"), {.charSet = 2}), Characters({0x00E9}));
    EXPECT_EQ(ucs2Of(bytes("01 B1"), {.charSet = 1}), Characters({0x0411}));
    for (char selector = 0x01; selector <= 0x0B; ++selector) {
        EXPECT_EQ(ucs2Of(selector + bytes("FD"), {.charSet = 7}), Characters({0x0131}));
    }
}

// ---- Composition ----

TEST(DvbMarks, EveryPairOfEverySet) {
    for (int set = -2; set <= 4; ++set) {
        for (unsigned int base = 0; base < 300; ++base) {
            for (unsigned int mark = 0; mark < 300; ++mark) {
                ASSERT_EQ(zelkCombineCharWithDiacriticalMark(set, base, mark), zelk_test::modelCompose(set, base, mark))
                    << "set " << set << std::hex << ", base " << base << ", mark " << mark;
            }
        }
    }
}

TEST(DvbMarks, ArgumentsOutsideEverySet) {
    for (const int set : {INT_MIN, -1, 3, INT_MAX}) {
        EXPECT_EQ(zelkCombineCharWithDiacriticalMark(set, 'e', 0xC2), 0);
    }
    for (const unsigned int high : {0x100U, 0x10000U, 0x80000000U, 0xFFFFFF00U}) {
        EXPECT_EQ(zelkCombineCharWithDiacriticalMark(0, 'e' + high, 0xC2), 0);
        EXPECT_EQ(zelkCombineCharWithDiacriticalMark(0, 'e', 0xC2 + high), 0);
    }
}

TEST(DvbMarks, TablesWithMarks) {
    const std::map<unsigned int, int> sets{{0, 0}, {7, 1}, {16, 0}, {17, 0}, {18, 0}};
    for (unsigned int table = 0; table < 300; ++table) {
        const auto found = sets.find(table);
        EXPECT_EQ(combiningMapDvb(table), found == sets.end() ? -1 : found->second) << table;
    }
    EXPECT_EQ(combiningMapDvb(UINT_MAX), -1);
}

// ---- Two-byte, UTF-8 and prepared text ----

TEST(DvbTwoByte, EveryUnit) {
    for (const unsigned int flags : {0U, 1U}) {
        std::string all = "\x11";
        for (unsigned int unit = 0; unit <= 0xFFFF; ++unit) {
            all += static_cast<char>(unit >> 8U);
            all += static_cast<char>(unit & 0xFFU);
        }
        expectAsModel(all, true, {.flags = flags});
    }
}

TEST(DvbTwoByte, PrivateUseControlsAndTheEndOfText) {
    const std::string text = bytes("11 00 41 E0 8A 00 00");
    EXPECT_EQ(ucs2Of(text), Characters({'A', 0x0A}));
    EXPECT_EQ(toUcs2(Input(bytes("11 00 41 E0 8A 00 00 00 42"), false), 9), Characters({'A', 0x0A}));
    EXPECT_EQ(ucs2Of(bytes("14 E0 86 20 8A")), Characters({0x208A}));
    EXPECT_EQ(ucs2Of(bytes("14 E0 86 20 8A"), {.flags = 1}), Characters({0x86, 0x208A}));
}

TEST(DvbTwoByte, AnOddLastByteIsNoUnit) {
    EXPECT_EQ(toUcs2(Input(bytes("11 00 41 00"), true, 0), 9), Characters({'A'}));
    EXPECT_EQ(toUcs2(Input(bytes("11 00"), true, 0), 9), Characters());
    EXPECT_EQ(toUcs2(Input(bytes("11"), true, 0), 9), Characters());
}

TEST(DvbUtf8, EveryCharacter) {
    for (const unsigned int flags : {0U, 1U}) {
        std::string all = "\x15";
        for (unsigned int character = 0; character <= 0xFFFF; ++character) {
            all += zelk_test::utf8EncodeModel(character);
        }
        expectAsModel(all, true, {.flags = flags});
    }
}

TEST(DvbUtf8, ACutSequenceBeforeAsciiLeavesNoTrace) {
    EXPECT_EQ(ucs2Of(bytes("15 C3 41")), Characters({'A'}));
    EXPECT_EQ(ucs2Of(bytes("15 E2 82 41 C3 C3 A9")), Characters({'A', 0xFFFD, 0xE9}));
    EXPECT_EQ(ucs2Of(bytes("16 41 E2 82")), Characters({'A'}));
}

TEST(DvbUtf8, ACountEndsTheText) {
    EXPECT_EQ(toUcs2(Input(bytes("15 41 42"), true, 0), 9), Characters({'A', 'B'}));
    unsigned short out[4] = {};
    EXPECT_EQ(zelk_dvb8ToUnicode(DvbCharSetStandard, out, 4,
                                 "\x15"
                                 "ABC",
                                 2, DvbCodeNone, 0, 0),
              1U);
}

TEST(DvbPrepared, PassesAsItIs) {
    for (const char *selector : {"0F", "1D"}) {
        const std::string text = bytes(selector) + "A\tB\x0D" + "C\xC2\x86\xC3\xA9";
        EXPECT_EQ(ucs2Of(text), Characters({'A', '\t', 'B', '\r', 'C', 0x86, 0xE9}));
        EXPECT_EQ(utf8Of(text), text.substr(1));
        EXPECT_EQ(toUtf8(Input(text, false), 99), text.substr(1));
    }
}

TEST(DvbPrepared, IsCutByteByByteInUtf8AndKeepsACutUnitInUcs2) {
    const std::string text = bytes("1D C3 A9 E2 82 AC");
    EXPECT_EQ(toUtf8(Input(text, true, 0), 4), bytes("C3 A9 E2"));
    Guarded<unsigned short> out(9);
    EXPECT_EQ(zelk_dvb8ToUnicode(DvbCharSetStandard, out.data(), 9, text.data(), 5, DvbCodeNone, 0, 0), 2U);
    EXPECT_EQ(out[0], 0xE9);
    EXPECT_EQ(out[1], Guarded<unsigned short>::pattern());
    EXPECT_EQ(out[2], 0);
}

// ---- Output sizes, counts, random text ----

TEST(DvbDecode, EveryOutputSizeOfEveryEncoding) {
    for (const char *hex : {"43 61 66 C2 65 20 A4 35 8A E1", "05 41 FD FE 09 DE", "01 B1 B2 41 F0", "0C C2 65 A5 41",
                            "11 00 41 20 AC E0 8A 03 B1 00 42", "15 41 E2 82 AC C3 A9 42 FF 43", "02 C7 B4 E9 41"}) {
        for (const bool counted : {true, false}) {
            for (int size = -2; size < 40; ++size) {
                ASSERT_NO_FATAL_FAILURE(expectAsModel(bytes(hex), counted, {}, size, size)) << size;
            }
            for (const int size : {INT_MIN, INT_MIN + 1}) {
                ASSERT_NO_FATAL_FAILURE(expectAsModel(bytes(hex), counted, {}, size, size)) << size;
            }
        }
    }
}

TEST(DvbDecode, AnOutputSizeOfOneOrLessGetsTheTerminatorOnly) {
    for (const char *hex : {"41", "11 00 41", "15 41", "1D 41", "0F 41", "1F 01 00 00", "1F 05 88 88 88"}) {
        for (const int size : {1, 0, -1, INT_MIN}) {
            EXPECT_EQ(toUcs2(Input(bytes(hex), true), size), Characters());
            EXPECT_EQ(toUtf8(Input(bytes(hex), true), size), "");
        }
    }
}

// However much room there is for the kernels' blocks.
TEST(DvbDecode, OfATextWithoutCharactersTheTerminatorAloneIsWritten) {
    for (const char *hex : {"", "05", "01", "10 00 02", "12", "11", "15", "1D", "0F", "1F 03", "1F 05"}) {
        for (const bool counted : {true, false}) {
            const Input in(bytes(hex), counted, 3);
            for (const int size : {2, 64, 65, 128, 129, 192, 193, 1000}) {
                Guarded<unsigned short> units(static_cast<std::size_t>(size));
                EXPECT_EQ(zelk_dvb8ToUnicode(DvbCharSetStandard, units.data(), size, in.data(), in.count(), DvbCodeNone,
                                             0, 0),
                          0U);
                Guarded<char> text(static_cast<std::size_t>(size));
                EXPECT_EQ(
                    zelk_dvb8ToUtf8(DvbCharSetStandard, text.data(), size, in.data(), in.count(), DvbCodeNone, 0, 0),
                    0U);
                EXPECT_EQ(units[0], 0);
                EXPECT_EQ(text[0], 0);
                units[0] = Guarded<unsigned short>::pattern();
                text[0] = Guarded<char>::pattern();
                EXPECT_TRUE(units.untouched()) << hex << ", size " << size;
                EXPECT_TRUE(text.untouched()) << hex << ", size " << size;
            }
        }
    }
}

TEST(DvbDecode, ANullStringIsEmpty) {
    Guarded<unsigned short> units(1);
    Guarded<char> text(1);
    EXPECT_EQ(zelk_dvb8ToUnicode(DvbCharSetStandard, units.data(), 0, nullptr, 5, DvbCodeNone, 0, 0), 0U);
    EXPECT_EQ(zelk_dvb8ToUtf8(DvbCharSetStandard, text.data(), 0, nullptr, 5, DvbCodeNone, 0, 0), 0U);
    EXPECT_EQ(units[0], 0);
    EXPECT_EQ(text[0], 0);
}

TEST(DvbDecode, ASelectorLongerThanTheCountLeavesNothing) {
    for (const char *hex : {"", "10", "10 00", "1F", "05", "15", "1D", "11"}) {
        const Input in(bytes(hex), true, 0);
        EXPECT_EQ(toUcs2(in, 9), Characters()) << hex;
        EXPECT_EQ(toUtf8(in, 9), "") << hex;
        EXPECT_EQ(zelk_dvb8ToUnicodeMaxLength(in.data(), in.count(), DvbCodeNone, 0, 0), in.count());
        EXPECT_GE(zelk_dvb8ToUtf8MaxLength(in.data(), in.count(), DvbCodeNone, 0), 0);
    }
    EXPECT_EQ(toUcs2(Input("", false), 9), Characters());
}

// The bytes end with the terminator: whatever looks after it meets the sanitizer.
TEST(DvbDecode, ASelectorThatTheTerminatorCutsOffLeavesNothing) {
    for (unsigned int selector = 0x01; selector <= 0x1F; ++selector) {
        if (selector == 0x10 || selector == 0x11 || selector == 0x14) {
            continue; // three bytes, and two-byte text, which ends with two
        }
        const Input in(std::string(1, static_cast<char>(selector)), false);
        for (const int defaultCode : {static_cast<int>(DvbCodeNone), 5, 20, 22}) {
            const Settings settings{.defaultCode = defaultCode, .defaultExtra = 1};
            EXPECT_EQ(toUcs2(in, 9, settings), Characters()) << selector;
            EXPECT_EQ(toUtf8(in, 9, settings), "") << selector;
            const auto code = static_cast<DvbCode_t>(defaultCode);
            EXPECT_EQ(zelk_dvb8ToUnicodeMaxLength(in.data(), -1, code, 1, 0), 0) << selector;
            EXPECT_EQ(zelk_dvb8ToUtf8MaxLength(in.data(), -1, code, 1), 0) << selector;
            EXPECT_EQ(zelk_dvb8PrepUtf8Buffersize(in.data(), -1, code, 1), 2) << selector;
        }
    }
    const Input in(std::string("\x1F\0A", 3), false);
    EXPECT_EQ(toUtf8(in, 9), "") << "what is after the terminator is no text";
    EXPECT_EQ(toUtf8(Input(std::string("\x1F\0A", 3), true), 9), "A") << "with a count the zero is a type";
}

TEST(DvbDecode, AnyNegativeCountMeansUpToTheTerminator) {
    char out[16];
    for (const int count : {-1, -2, -1000, INT_MIN}) {
        for (const char *text : {"Abc",
                                 "\x05"
                                 "Abc",
                                 "\x15"
                                 "Abc",
                                 "\x1D"
                                 "Abc"}) {
            EXPECT_EQ(zelk_dvb8ToUtf8(DvbCharSetStandard, out, 16, text, count, DvbCodeNone, 0, 0), 3U);
            EXPECT_STREQ(out, "Abc");
        }
        EXPECT_EQ(zelk_dvb8ToUtf8(DvbCharSetStandard, out, 16, "\x11\0A\0B\0\0", count, DvbCodeNone, 0, 0), 2U);
        EXPECT_STREQ(out, "AB");
    }
}

TEST(DvbDecode, RandomStrings) {
    Random random(20240417);
    const std::vector<std::string> selectors = [] {
        std::vector<std::string> all = tableSelectors();
        for (const char *other : {"\x11", "\x14", "\x15", "\x16"}) {
            all.insert(all.end(), 8, other);
        }
        return all;
    }();
    for (int round = 0; round < 12000; ++round) {
        std::string text = selectors[random.below(static_cast<std::uint32_t>(selectors.size()))];
        for (std::uint32_t left = random.below(24); left > 0; --left) {
            const std::uint32_t sly = random.below(4);
            const std::uint32_t byte = sly == 0   ? random.below(256)
                                       : sly == 1 ? 0xA0 + random.below(0x30)
                                       : sly == 2 ? 0x20 + random.below(0x60)
                                                  : 0x80 + random.below(0x80);
            text += static_cast<char>(byte);
        }
        const bool counted = random.chance(50);
        const std::size_t zero = text.find('\0', text.empty() || text[0] != 0x10 ? 0 : 3);
        if (!counted && zero != std::string::npos && text[0] != 0x11 && text[0] != 0x14) {
            text.resize(zero);
        }
        const bool plain = text.empty() || static_cast<unsigned char>(text[0]) > 0x1F;
        const Settings settings{.charSet = static_cast<int>(random.below(9)),
                                .defaultCode = plain ? static_cast<int>(random.below(18)) : DvbCodeNone,
                                .flags = random.below(2)};
        const int full = 3 * static_cast<int>(text.size()) + 2;
        const int size = static_cast<int>(random.below(static_cast<std::uint32_t>(full) + 1));
        ASSERT_NO_FATAL_FAILURE(expectAsModel(text, counted, settings, size, size));
    }
}

TEST(DvbDecode, LongTexts) {
    for (const char *selector : {"", "05", "11", "15"}) {
        std::string text = bytes(selector);
        while (text.size() < 70000) {
            text += "Text";
        }
        ASSERT_NO_FATAL_FAILURE(expectAsModel(text, true));
        ASSERT_NO_FATAL_FAILURE(expectAsModel(text, false));
    }
}

// ---- Compressed text ----

std::string compressed(int type, const std::string &text) {
    static const std::array<zelk_test::ContextCodes, 2> codes{zelk_test::contextCodes(HuffmanDecodeTable_1),
                                                              zelk_test::contextCodes(HuffmanDecodeTable_2)};
    return std::string("\x1F") + static_cast<char>(type) +
           zelk_test::encodeStreamText(codes[static_cast<std::size_t>(type - 1)], text);
}

TEST(DvbCompressed, TextOfBothTypesComesBack) {
    const std::string text = "The News at Ten. Café, €5, ¾ naïve\nÜber 100 % Zürich!";
    for (const int type : {1, 2}) {
        const std::string in = compressed(type, text);
        const int bound = zelk_dvb8ToUtf8MaxLength(in.data(), static_cast<int>(in.size()), DvbCodeNone, 0);
        EXPECT_EQ(bound, static_cast<int>(text.size()));
        EXPECT_EQ(toUtf8(Input(in, true, 0), bound + 1), text);
        EXPECT_EQ(toUtf8(Input(in, false, 0), bound + 1), text); // its own end of text is all it needs
        EXPECT_EQ(toUcs2(Input(in, false, 0), 99), ucs2Of("\x15" + text));
        EXPECT_LT(in.size(), text.size());
    }
}

TEST(DvbCompressed, EveryAsciiPairAndTheControls) {
    for (const int type : {1, 2}) {
        for (char first = 0x20; first < 0x7F; ++first) {
            std::string text;
            for (char second = 0x20; second < 0x7F; ++second) {
                text += first;
                text += second;
            }
            ASSERT_EQ(toUtf8(Input(compressed(type, text), true, 0), 400), text);
        }
        EXPECT_EQ(toUtf8(Input(compressed(type, "A\tB\x0D\nC\xC2\x86\xC2\x8A\xEE\x82\x87"), true, 0), 99), "A\tB\nC\n");
        const Input emphasis(compressed(type, "\xC2\x86\xEE\x82\x87"), true, 0);
        EXPECT_EQ(toUtf8(emphasis, 99, {.flags = 1}), "\xC2\x86\xC2\x87");
        EXPECT_EQ(toUcs2(emphasis, 99), Characters());
        EXPECT_EQ(toUcs2(emphasis, 99, {.flags = 1}), Characters({0x86, 0x87}));
    }
}

// The steps as they are defined, on the exported decompressor.
Characters modelDecompressed(int type, const std::string &text, bool stopAtEnd, unsigned int flags) {
    Characters characters;
    HuffmanStreamState huffman;
    zelkInitHuffmanDecoder(&huffman, static_cast<unsigned int>(type));
    zelk_test::ModelUtf8Reader utf8;
    for (const char c : text) {
        unsigned int answer = 0;
        do {
            unsigned int character = 0;
            do {
                answer = zelkHuffmanDecode(&huffman, static_cast<unsigned char>(c));
                character = answer > 0xFFFD ? 0 : utf8.step(answer);
            } while (answer <= 0xFFFD && character == 0);
            if (answer <= 0xFFFD) {
                answer = zelk_test::modelControls(character, flags);
                if (answer != 0 && answer <= 0xFFFD) {
                    characters.push_back(answer);
                }
            }
        } while (answer <= 0xFFFD);
        if (answer == 0xFFFF && stopAtEnd) {
            break;
        }
    }
    return characters;
}

TEST(DvbCompressed, RandomBytesAndEveryOutputSize) {
    Random random(77);
    for (int round = 0; round < 1500; ++round) {
        const int type = 1 + static_cast<int>(random.below(2));
        std::string text;
        for (std::uint32_t left = random.below(30); left > 0; --left) {
            text += static_cast<char>(random.below(256));
        }
        const std::string in = std::string("\x1F") + static_cast<char>(type) + text;
        const unsigned int flags = random.below(2);
        const Characters units = modelDecompressed(type, text, false, flags);
        const Characters characters = modelDecompressed(type, text, true, flags);
        const int full = static_cast<int>(units.size()) + 2;
        const int sizes[] = {0, 1, 2, static_cast<int>(random.below(static_cast<std::uint32_t>(full))), full, 150};
        for (const int size : sizes) {
            ASSERT_EQ(toUcs2(Input(in, true, 0), size, {.flags = flags}), cut(units, size));
            ASSERT_EQ(toUtf8(Input(in, true, 0), 3 * size, {.flags = flags}),
                      zelk_test::modelUtf8(characters, 3 * size));
        }
    }
}

TEST(DvbCompressed, ToUcs2ACountGoesOnBehindTheEndOfText) {
    // The bits of the byte that ends the text are skipped, those at the same place of the next byte follow.
    const std::string in = compressed(1, "Go") + bytes("00 00 00");
    const Characters units = toUcs2(Input(in, true, 0), 99);
    EXPECT_EQ(units, modelDecompressed(1, in.substr(2), false, 0));
    EXPECT_GT(units.size(), 2U);
    EXPECT_EQ(toUcs2(Input(in, false, 0), 99), Characters({'G', 'o'}));
    EXPECT_EQ(toUtf8(Input(in, true, 0), 99), "Go");
}

TEST(DvbCompressed, CharactersAboveTheReplacementCharacterActAsTheAnswersOfTheirValue) {
    const std::string end = compressed(1, "A\xEF\xBF\xBF"
                                          "B"); // U+FFFF
    EXPECT_EQ(toUtf8(Input(end, true, 0), 99), "A");
    const std::string nextByte = compressed(2, "A\xEF\xBF\xBE"
                                               "BCDEF"); // U+FFFE
    EXPECT_EQ(toUtf8(Input(nextByte, true, 0), 99),
              zelk_test::modelUtf8(modelDecompressed(2, nextByte.substr(2), true, 0), 99));
}

TEST(DvbCompressed, UnknownTypesGiveAnEmptyText) {
    for (const int type : {0, 3, 4, 7, 255, -1, INT_MIN, INT_MAX}) {
        const Settings settings{.defaultCode = DvbCodeCompressed, .defaultExtra = type};
        EXPECT_EQ(toUcs2(Input("Text", true), 9, settings), Characters());
        EXPECT_EQ(toUtf8(Input("Text", true), 9, settings), "");
        EXPECT_EQ(zelk_dvb8ToUtf8MaxLength("Text", 4, DvbCodeCompressed, type), 0);
    }
}

TEST(DvbCompressed, TypesFiveAndSixAreEmptyInUcs2) {
    for (const char *hex : {"1F 05 D1 11 88 88", "1F 06 85 11 88 88"}) {
        EXPECT_EQ(toUcs2(Input(bytes(hex), true, 0), 99), Characters());
    }
}

TEST(DvbCompressed, TypesFiveAndSixStayInsideTheBuffer) {
    Random random(5);
    for (int round = 0; round < 300; ++round) {
        const int type = 5 + static_cast<int>(random.below(2));
        std::string text;
        for (std::uint32_t left = random.below(24); left > 0; --left) {
            text += static_cast<char>(random.below(256));
        }
        std::string whole(8 * text.size() + 8, '\0');
        int length = -1;
        decompressMalaysiaHuffmanTable(static_cast<unsigned int>(type), zelk_test::u8(text),
                                       static_cast<int>(text.size()), reinterpret_cast<unsigned char *>(whole.data()),
                                       &length);
        whole.resize(static_cast<std::size_t>(length));
        const Input in(std::string("\x1F") + static_cast<char>(type) + text, true, 0);
        for (int size = 0; size <= length + 2; ++size) {
            const std::string part = toUtf8(in, size);
            ASSERT_EQ(part, whole.substr(0, part.size()));
            ASSERT_TRUE(size > length || part.size() + 4 >= static_cast<std::size_t>(std::max(size, 1)))
                << "a piece has 4 bytes at most";
            ASSERT_TRUE(size <= length || part == whole);
        }
    }
    EXPECT_EQ(toUtf8(Input(bytes("1F 05 D1 11"), false), 99), ""); // without a count nothing is decoded
}

// ---- Bounds ----

TEST(DvbBounds, OfUcs2) {
    const auto bound = [](const std::string &text, int count, int code = DvbCodeNone) {
        return zelk_dvb8ToUnicodeMaxLength(text.c_str(), count, static_cast<DvbCode_t>(code), 1, 0);
    };
    EXPECT_EQ(zelk_dvb8ToUnicodeMaxLength(nullptr, 5, DvbCodeNone, 0, 0), 0);
    EXPECT_EQ(bound("\x05"
                    "abc",
                    4),
              4);
    EXPECT_EQ(bound(bytes("11 00 41 00 42"), 5), 5);
    EXPECT_EQ(bound("", INT_MAX), INT_MAX);
    EXPECT_EQ(bound("", 0), 0);
    EXPECT_EQ(bound("abc", -1), 3);
    EXPECT_EQ(bound("\x05"
                    "abc",
                    -1),
              3);
    EXPECT_EQ(bound(bytes("10 00 02 41 42"), -1), 2);
    EXPECT_EQ(bound(bytes("11 00 41 00 42 00 00"), INT_MIN), 2);
    EXPECT_EQ(bound(bytes("1F 01 41 42"), -1), 0);
    EXPECT_EQ(bound("abc", -1, DvbCodeCompressed), 0);
    EXPECT_EQ(bound(bytes("15 C3 A9"), -1), 2);
    EXPECT_EQ(bound(bytes("1D C3 A9"), -1), 2);
}

TEST(DvbBounds, OfUtf8) {
    const auto bound = [](const std::string &text, int count) {
        return zelk_dvb8ToUtf8MaxLength(text.c_str(), count, DvbCodeNone, 0);
    };
    EXPECT_EQ(zelk_dvb8ToUtf8MaxLength(nullptr, 5, DvbCodeNone, 0), 0);
    EXPECT_EQ(bound("abc", 3), 9);
    EXPECT_EQ(bound("abc", -1), 9);
    EXPECT_EQ(bound("\x05"
                    "abc",
                    4),
              12);
    EXPECT_EQ(bound("\x05"
                    "abc",
                    -1),
              9);
    EXPECT_EQ(bound(bytes("15 C3 A9"), 3), 3);
    EXPECT_EQ(bound(bytes("15 C3 A9"), -1), 2);
    EXPECT_EQ(bound(bytes("1D C3 A9"), -1), 6);
    EXPECT_EQ(bound(bytes("11 00 41 00 42"), 5), 15);
    EXPECT_EQ(bound(bytes("11 00 41 00 42 00 00"), -1), 6);
    EXPECT_EQ(bound(bytes("1F 05 41"), 3), 511);
    EXPECT_EQ(bound(bytes("1F 06 41"), -1), 511);
    EXPECT_EQ(bound(bytes("1F 01 41"), -1), 0);
    EXPECT_EQ(bound(bytes("1F 03 41"), 3), 9);
    EXPECT_EQ(bound(bytes("1F 05 41"), 1), 3); // of what the count leaves out nothing is known
    EXPECT_EQ(bound(bytes("1F 05 41"), 0), 0);
}

TEST(DvbBounds, FollowTheDefaultCode) {
    struct Row {
        const char *in;
        DvbCode_t code;
        int extra;
        int ucs2;          // without a count
        int utf8;          // without a count
        int countedOfUtf8; // with one
    };
    const Row rows[] = {
        {"41 42 43 44", DvbCodeNone, 0, 4, 12, 12},         {"41 42 43 44", DvbCodeIso8859_9, 0, 4, 12, 12},
        {"41 42 43 44", DvbCodeUtf8, 0, 4, 4, 4},           {"41 42 43 44", DvbCodeUtf8Prepared, 0, 4, 12, 12},
        {"41 42 43 44", DvbCodeUcs2, 0, 2, 6, 12},          {"3A E0", DvbCodeCompressed, 1, 0, 0, 2}, // TV
        {"F5 28 80 00", DvbCodeCompressed, 2, 0, 0, 2},     {"41 42 43 44", DvbCodeCompressed, 3, 0, 0, 0},
        {"41 42 43 44", DvbCodeCompressed, 5, 0, 511, 511}, {"41 42 43 44", DvbCodeCompressed, 6, 0, 511, 511},
    };
    for (const Row &row : rows) {
        const std::string in = bytes(row.in) + std::string(2, '\0');
        const int count = static_cast<int>(in.size()) - 2;
        EXPECT_EQ(zelk_dvb8ToUnicodeMaxLength(in.data(), -1, row.code, row.extra, 0), row.ucs2) << row.in;
        EXPECT_EQ(zelk_dvb8ToUnicodeMaxLength(in.data(), count, row.code, row.extra, 0), count) << row.in;
        EXPECT_EQ(zelk_dvb8ToUtf8MaxLength(in.data(), -1, row.code, row.extra), row.utf8) << row.in;
        EXPECT_EQ(zelk_dvb8ToUtf8MaxLength(in.data(), count, row.code, row.extra), row.countedOfUtf8) << row.in;
    }
}

// Not even for a selector.
TEST(DvbBounds, NoByteIsReadForACountOfZero) {
    GuardPages pages(16);
    const char *const unreadable = reinterpret_cast<const char *>(pages.back(0));
    char narrow[4] = "abc";
    unsigned short wide[4] = {'a', 'b', 'c', 0};
    EXPECT_EQ(zelk_dvb8ToUtf8(DvbCharSetStandard, narrow, 4, unreadable, 0, DvbCodeNone, 0, 0), 0U);
    EXPECT_EQ(narrow[0], 0);
    EXPECT_EQ(zelk_dvb8ToUnicode(DvbCharSetStandard, wide, 4, unreadable, 0, DvbCodeNone, 0, 0), 0U);
    EXPECT_EQ(wide[0], 0);
    EXPECT_EQ(zelk_dvb8ToUtf8MaxLength(unreadable, 0, DvbCodeNone, 0), 0);
    EXPECT_EQ(zelk_dvb8ToUnicodeMaxLength(unreadable, 0, DvbCodeNone, 0, 0), 0);
}

TEST(DvbBounds, OfCompressedTextCountsTheBytesInsideTheCount) {
    const std::string text = "A long description of a very good programme";
    for (const int type : {1, 2}) {
        const std::string in = compressed(type, text);
        for (int count = 2; count <= static_cast<int>(in.size()); ++count) {
            const Input part(in.substr(0, static_cast<std::size_t>(count)), true, 0);
            const int bound = zelk_dvb8ToUtf8MaxLength(part.data(), count, DvbCodeNone, 0);
            ASSERT_EQ(toUtf8(part, 99).size(), static_cast<std::size_t>(bound));
        }
    }
}

TEST(DvbBounds, SaturateAtTheLargestInt) {
    EXPECT_EQ(zelk_dvb8ToUtf8MaxLength("abc", INT_MAX, DvbCodeNone, 0), INT_MAX);
    EXPECT_EQ(zelk_dvb8ToUtf8MaxLength("abc", INT_MAX / 3 + 1, DvbCodeNone, 0), INT_MAX);
    EXPECT_EQ(zelk_dvb8ToUtf8MaxLength("abc", INT_MAX / 3, DvbCodeNone, 0), INT_MAX / 3 * 3);
    EXPECT_EQ(zelk_dvb8ToUtf8MaxLength(bytes("11 00").c_str(), INT_MAX, DvbCodeNone, 0), INT_MAX);
}

} // namespace
