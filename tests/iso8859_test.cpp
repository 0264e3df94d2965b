// ISO 8859 conversion: the flat functions, the packets and the class, against a model with iconv's tables.
#include "helpers/byte_conversion.h"
#include "helpers/text.h"
#include "helpers/twins.h"
#include "zelk.hpp"

#include <cstdint>
#include <sys/mman.h>

namespace {

using namespace zelk_test;
using reference::replacement;

const std::vector<unsigned int> &someParts() {
    static const std::vector<unsigned int> parts = {0,  1,  2,  3,  4,  5,  6,  7,  8,   9,   10,         11,
                                                    12, 13, 14, 15, 16, 17, 18, 32, 255, 256, 0x80000001, 0xFFFFFFFF};
    return parts;
}

const reference::Set &setOf(unsigned int part) {
    static const std::vector<reference::Set> sets = [] {
        std::vector<reference::Set> all;
        for (unsigned int number = 0; number <= 17; ++number) {
            all.push_back(reference::isoSet(number));
        }
        return all;
    }();
    return sets[std::min(part, 17U)];
}

auto ucs2Of(unsigned int part) {
    return [part](unsigned short *out, int outSize, const char *in, int inLength) {
        return zelk_isoToUnicode(part, out, outSize, in, inLength);
    };
}

auto utf8Of(unsigned int part) {
    return [part](char *out, int outSize, const char *in, int inLength) {
        return zelk_isoToUtf8(part, out, outSize, in, inLength);
    };
}

auto checkedOf(unsigned int part) {
    return [part](char *out, int outSize, const char *in, int inLength) {
        return zelk_isoToUtf8Checked(part, out, outSize, in, inLength);
    };
}

auto tolerantOf(unsigned int part, int *flag) {
    return [part, flag](char *out, int outSize, const char *in, int inLength) {
        return zelk_isoToUtf8Tolerant(part, out, outSize, in, inLength, flag);
    };
}

std::string utf8(unsigned int part, const std::string &text) {
    return reference::utf8Text(reference::charactersOf(setOf(part), text));
}

// ---- Single characters ----

TEST(IsoSingle, Examples) {
    struct Row {
        unsigned int part;
        unsigned int byte;
        unsigned int character;
    };
    const Row rows[] = {
        {6, 0xC7, 0xFFFD},   {8, 0xC7, 0xFFFD}, {3, 0xA5, 0xFFFD},   {7, 0xA4, 0x20AC},  {7, 0xA5, 0xFFFD},
        {7, 0xAA, 0xFFFD},   {7, 0xA1, 0x2018}, {7, 0xA2, 0x2019},   {7, 0xAF, 0x2015},  {7, 0xAE, 0xFFFD},
        {7, 0xD2, 0xFFFD},   {7, 0xFF, 0xFFFD}, {16, 0xFF, 0xFFFD},  {15, 0xA4, 0x20AC}, {5, 0xC0, 0x0420},
        {5, 0xF0, 0x2116},   {1, 0xE9, 0x00E9}, {11, 0xA1, 0xFFFD},  {12, 0xE9, 0xFFFD}, {0, 0xE9, 0xFFFD},
        {20, 0xBA4, 0x20AC}, {17, 0x1E9, 0xE9}, {17, 0xD00, 0xFFFD}, {17, 0xE9, 0xFFFD}, {1, 0, 0},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(zelk_isoConvertSingleChar(row.part, row.byte), row.character) << row.part << ' ' << row.byte;
    }
}

// A part ORs its table into whatever character comes; above the parts the character is the position. Both modulo 65536.
TEST(IsoSingle, EveryPositionOfEveryPart) {
    const unsigned int partOfTable[] = {0, 1, 2, 3, 4, 5, 7, 9, 10, 13, 14, 15, 16};
    std::vector<unsigned int> pool;
    for (const unsigned int part : partOfTable) {
        pool.insert(pool.end(), setOf(part).begin(), setOf(part).end());
    }
    ASSERT_EQ(pool.size(), 3328U);
    for (unsigned int part = 0; part <= 18; ++part) {
        unsigned int table = 0;
        for (unsigned int i = 1; i < 13; ++i) {
            table = partOfTable[i] == part ? i : table;
        }
        for (unsigned int character = 0; character < 0x20000; ++character) {
            const unsigned int position = (part <= 16 ? character | table * 256 : character) % 65536;
            const unsigned int expected = position < pool.size() ? pool[position] : replacement;
            ASSERT_EQ(zelk_isoConvertSingleChar(part, character), expected) << part << ' ' << character;
        }
    }
    EXPECT_EQ(zelk_isoConvertSingleChar(1, 0xFFFFFFFF), replacement);
    EXPECT_EQ(zelk_isoConvertSingleChar(0xFFFFFFFF, 0xFFFF01E9), 0xE9);
}

TEST(IsoSingle, CombiningModes) {
    for (unsigned int table = 0; table < 300; ++table) {
        EXPECT_EQ(combiningMapIso(table), table == 6 ? 1 : table == 7 ? 2 : -1) << table;
    }
    EXPECT_EQ(combiningMapIso(0xFFFFFFFF), -1);
    EXPECT_EQ(combiningMapIso(0x80000006), -1);
}

// ---- Lengths ----

TEST(IsoLength, Bounds) {
    EXPECT_EQ(zelk_isoToUnicodeMaxLength(nullptr, 5), 0U);
    EXPECT_EQ(zelk_isoToUtf8MaxLength(nullptr, -1), 0U);
    EXPECT_EQ(zelk_isoToUnicodeMaxLength("abc", -1), 3U);
    EXPECT_EQ(zelk_isoToUtf8MaxLength("abc", INT_MIN), 9U);
    EXPECT_EQ(zelk_isoToUnicodeMaxLength("a\0b", 3), 3U);
    EXPECT_EQ(zelk_isoToUtf8MaxLength("", 0), 0U);
    EXPECT_EQ(zelk_isoToUtf8MaxLength("a", 2), 6U);
    EXPECT_EQ(zelk_isoToUnicodeMaxLength("", INT_MAX), 2147483647U);
    EXPECT_EQ(zelk_isoToUtf8MaxLength("", 715827882), 2147483646U);
    EXPECT_EQ(zelk_isoToUtf8MaxLength("", 715827883), 2147483647U);
    EXPECT_EQ(zelk_isoToUtf8MaxLength("", INT_MAX), 2147483647U);
}

TEST(IsoLength, ExactForEveryPart) {
    EXPECT_EQ(zelk_isoToUtf8Length(nullptr, 5, 1), 0U);
    EXPECT_EQ(zelk_isoToUtf8Length("abc", 0, 1), 0U);
    EXPECT_EQ(zelk_isoToUtf8Length("A\xE9", -1, 1), 3U);
    const std::string text = allBytes();
    for (const unsigned int part : someParts()) {
        for (const int count : {-1, INT_MIN, 0, 1, 127, 128, 200, 255, 256, INT_MAX}) {
            const auto in = inputBlock(text, count);
            EXPECT_EQ(zelk_isoToUtf8Length(in.get(), count, part), utf8(part, reference::usedText(text, count)).size());
        }
        for (unsigned int byte = 0; byte < 256; ++byte) {
            const std::string one(1, static_cast<char>(byte));
            EXPECT_EQ(zelk_isoToUtf8Length(one.c_str(), 1, part), utf8(part, reference::usedText(one, 1)).size());
        }
    }
}

// ---- Buffers ----

TEST(IsoBuffer, Examples) {
    for (const int count : {-1, 2, 3}) {
        expectUcs2(ucs2Of(1), setOf(1), bytes("41 E9"), count, 3);
        expectBytes(utf8Of(1), bytes("41 C3 A9"), bytes("41 E9"), count, 4);
    }
    expectBytes(utf8Of(15), "A", bytes("A4 41"), 2, 3); // the euro sign does not fit, what follows does
    expectBytes(utf8Of(15), bytes("E2 82 AC"), bytes("A4 41"), 2, 4);
    expectBytes(utf8Of(1), "ab", "abc", 2, 10);
    expectBytes(utf8Of(1), "abc", "abc", -1, 10);
    expectBytes(utf8Of(6), bytes("EF BF BD"), bytes("C7"), 1, 4);
    expectBytes(utf8Of(17), bytes("EF BF BD 41"), bytes("E9 41"), -1, 9);
    Guarded<unsigned short> units(3);
    EXPECT_EQ(zelk_isoToUnicode(1, units.data(), 3, "abcde", 5), 2U);
    EXPECT_EQ(units[1], 'b');
    EXPECT_EQ(units[2], 0);
}

TEST(IsoBuffer, NothingToConvertLeavesAnEmptyText) {
    for (const char *in : {static_cast<const char *>(nullptr), "", "abc"}) {
        for (const int size : {INT_MIN, -1, 0, 1}) {
            Guarded<unsigned short> units(1);
            EXPECT_EQ(zelk_isoToUnicode(1, units.data(), size, in, -1), 0U);
            EXPECT_EQ(units[0], 0);
            Guarded<char> text(1);
            EXPECT_EQ(zelk_isoToUtf8(1, text.data(), size, in, -1), 0U);
            EXPECT_EQ(text[0], 0);
        }
    }
    Guarded<char> text(8);
    EXPECT_EQ(zelk_isoToUtf8(1, text.data(), 8, nullptr, 5), 0U);
    EXPECT_EQ(text[0], 0);
    EXPECT_EQ(text[1], Guarded<char>::pattern());
}

// However much room there is for the kernels' blocks.
TEST(IsoBuffer, OfATextWithoutCharactersTheTerminatorAloneIsWritten) {
    for (const int size : {2, 8, 9, 64, 65, 128, 129, 192, 193, 1000}) {
        for (const auto &[in, count] : {std::pair("abc", 0), std::pair("", -1), std::pair("", 1), std::pair("", 0)}) {
            Guarded<unsigned short> units(static_cast<std::size_t>(size));
            EXPECT_EQ(zelk_isoToUnicode(1, units.data(), size, in, count), 0U);
            Guarded<char> text(static_cast<std::size_t>(size));
            EXPECT_EQ(zelk_isoToUtf8(1, text.data(), size, in, count), 0U);
            EXPECT_EQ(units[0], 0);
            EXPECT_EQ(text[0], 0);
            units[0] = Guarded<unsigned short>::pattern();
            text[0] = Guarded<char>::pattern();
            EXPECT_TRUE(units.untouched()) << "size " << size;
            EXPECT_TRUE(text.untouched()) << "size " << size;
        }
    }
}

TEST(IsoBuffer, EveryByteOfEveryPart) {
    for (const unsigned int part : someParts()) {
        SCOPED_TRACE(part);
        for (unsigned int byte = 0; byte < 256; ++byte) {
            const std::string one(1, static_cast<char>(byte));
            expectUcs2(ucs2Of(part), setOf(part), one, 1, 2);
            expectUtf8(utf8Of(part), setOf(part), one, 1, 4);
        }
        expectUcs2(ucs2Of(part), setOf(part), allBytes(), -1, 256);
        expectUtf8(utf8Of(part), setOf(part), allBytes(), -1, 3 * 255 + 1);
    }
}

TEST(IsoBuffer, EverySizeAndCount) {
    const std::string text = bytes("41 A4 E9 80 A4 42 43 A4 A4 44 BC 00 45 A4");
    for (const unsigned int part : {0U, 1U, 5U, 15U}) {
        SCOPED_TRACE(part);
        for (const int count : {-1, INT_MIN, 0, 1, 2, 5, 10, 11, 12, 14, INT_MAX}) {
            for (int size = -1; size <= 40; ++size) {
                expectUcs2(ucs2Of(part), setOf(part), text, count, size);
                expectUtf8(utf8Of(part), setOf(part), text, count, size);
            }
        }
    }
}

TEST(IsoBuffer, RandomTexts) {
    Random random(8859);
    for (int round = 0; round < 10000; ++round) {
        const unsigned int part = someParts()[random.below(static_cast<unsigned int>(someParts().size()))];
        const std::string text = randomBytes(random, 80);
        const int counts[] = {-1, static_cast<int>(random.below(90)), static_cast<int>(text.size()), INT_MAX};
        const int count = counts[random.below(4)];
        const int size = static_cast<int>(random.below(random.chance(50) ? 40 : 250));
        SCOPED_TRACE(testing::Message() << "round " << round << ", part " << part);
        expectUcs2(ucs2Of(part), setOf(part), text, count, size);
        expectUtf8(utf8Of(part), setOf(part), text, count, size);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST(IsoBuffer, LongTexts) {
    Random random(70000);
    std::string text(70000, ' ');
    for (char &byte : text) {
        byte = static_cast<char>(1 + random.below(255));
    }
    for (const unsigned int part : {1U, 7U, 17U}) {
        for (const int size : {70001, 69999, 210001, 100000}) {
            expectUcs2(ucs2Of(part), setOf(part), text, -1, size);
            expectUtf8(utf8Of(part), setOf(part), text, 70000, size);
        }
    }
}

// Where addresses have 32 bits, a text in their upper half lies less than the largest count or size before their end.
TEST(IsoBuffer, CountsAndSizesMayLeadAroundAllOfMemory) {
    constexpr std::size_t length = 100;
    constexpr std::uintptr_t upperHalf = 0xC0000000;
    void *const wanted = reinterpret_cast<void *>(upperHalf); // NOLINT(performance-no-int-to-ptr): as mmap() takes it
    void *const block = mmap(wanted, length + 1, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(block, MAP_FAILED);
    auto *const text = static_cast<char *>(block);
    std::fill_n(text, length, 'a');
    Guarded<unsigned short> units(length + 1);
    Guarded<char> utf8Text(length + 1);
    for (const unsigned int part : {1U, 2U}) {
        EXPECT_EQ(zelk_isoToUnicode(part, units.data(), 10, text, INT_MAX), 9U);
        EXPECT_EQ(zelk_isoToUtf8(part, utf8Text.data(), 10, text, INT_MAX), 9U);
        for (const int size : {1 << 30, INT_MAX}) {
            EXPECT_EQ(zelk_isoToUnicode(part, units.data(), size, text, 3), 3U);
            EXPECT_EQ(zelk_isoToUtf8(part, utf8Text.data(), size, text, 3), 3U);
            EXPECT_EQ(zelk_isoToUnicode(part, units.data(), size, text, INT_MAX), length);
            EXPECT_EQ(zelk_isoToUtf8(part, utf8Text.data(), size, text, INT_MAX), length);
        }
    }
    munmap(block, length + 1);
}

// ---- Text that may be UTF-8 ----

// The valid start of a text, cut byte by byte at the room's end. A sequence that the count cuts off is valid.
struct Prefix {
    std::string text;
    bool invalid;
};

bool isValidSequence(const std::string &sequence, std::size_t needed, bool cutOff) {
    for (std::size_t i = 1; i < sequence.size(); ++i) {
        if (static_cast<unsigned char>(sequence[i]) / 64 != 2) {
            return false;
        }
    }
    if (sequence.size() < needed) {
        return cutOff;
    }
    if (needed == 2) {
        return static_cast<unsigned char>(sequence[0]) >= 0xC2;
    }
    if (needed == 3) {
        return !(sequence[0] == '\xE0' && static_cast<unsigned char>(sequence[1]) < 0xA0) && sequence != "\xEF\xBF\xBD";
    }
    return true;
}

Prefix validPrefix(const std::string &text, int count, int size) {
    const std::string used = reference::usedText(text, count);
    const bool endsByCount = count >= 0 && used.size() == static_cast<std::size_t>(count);
    Prefix prefix{"", false};
    for (std::size_t at = 0; at < used.size() && static_cast<long>(prefix.text.size()) + 1 < size;) {
        const unsigned int lead = static_cast<unsigned char>(used[at]);
        const std::size_t needed = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : 3;
        const std::string sequence = used.substr(at, needed);
        if ((lead >= 0x80 && lead < 0xC0) || lead >= 0xF0 || !isValidSequence(sequence, needed, endsByCount)) {
            prefix.invalid = true;
            break;
        }
        const std::size_t room = static_cast<std::size_t>(size) - 1 - prefix.text.size();
        prefix.text += sequence.substr(0, room);
        at += sequence.size();
    }
    return prefix;
}

std::string checkedModel(unsigned int part, const std::string &text, int count, int size) {
    const Prefix prefix = validPrefix(text, count, size);
    return prefix.invalid
               ? reference::utf8Text(reference::charactersOf(setOf(part), reference::usedText(text, count)), size)
               : prefix.text;
}

std::string tolerantModel(unsigned int part, const std::string &text, int count, int size, int *flag) {
    std::string used = reference::usedText(text, count);
    Prefix prefix{"", true};
    if (*flag == 0) {
        prefix = validPrefix(text, count, size);
        *flag = prefix.invalid ? 1 : 0;
    }
    if (prefix.invalid) {
        used.erase(0, prefix.text.size());
        const int room = size - static_cast<int>(prefix.text.size());
        prefix.text += reference::utf8Text(reference::charactersOf(setOf(part), used), room);
    }
    return prefix.text;
}

TEST(IsoChecked, Examples) {
    expectBytes(checkedOf(1), bytes("C3 A9"), bytes("C3 A9"), 2, 7);
    expectBytes(checkedOf(1), bytes("C3 A9"), bytes("C3 A9"), -1, 3);
    expectBytes(checkedOf(1), bytes("41 C3 A9 42"), bytes("41 E9 42"), 3, 10);
    expectBytes(checkedOf(15), bytes("C3 83 C2 A9 E2 82 AC"), bytes("C3 A9 A4"), -1, 10);
    expectBytes(checkedOf(1), bytes("C3 AF C2 BF C2 BD"), bytes("EF BF BD"), -1, 10); // U+FFFD counts as invalid
    expectBytes(checkedOf(1), "", "", 0, 1);
    Guarded<char> out(1);
    EXPECT_EQ(zelk_isoToUtf8Checked(1, out.data(), 1, nullptr, 3), 0U);
    EXPECT_EQ(out[0], 0);
}

TEST(IsoTolerant, Examples) {
    int flag = 0;
    expectBytes(tolerantOf(1, &flag), bytes("41 C3 A9 42"), bytes("41 E9 42"), 3, 10);
    EXPECT_EQ(flag, 1);
    expectBytes(tolerantOf(1, &flag), bytes("C3 83 C2 A9"), bytes("C3 A9"), 2, 7);
    EXPECT_EQ(flag, 1);
    flag = 0;
    expectBytes(tolerantOf(1, &flag), bytes("C3 A9 C3 A9"), bytes("C3 A9 E9"), -1, 10); // the valid start stays
    EXPECT_EQ(flag, 1);
    flag = 0;
    expectBytes(tolerantOf(1, &flag), bytes("C3 A9"), bytes("C3 A9"), -1, 10);
    EXPECT_EQ(flag, 0);
    flag = -7;
    expectBytes(tolerantOf(1, &flag), bytes("C3 83 C2 A9"), bytes("C3 A9"), -1, 10);
    EXPECT_EQ(flag, -7);
}

TEST(IsoTolerant, NullTextLeavesTheFlagAlone) {
    for (const int initial : {0, 1, 5}) {
        int flag = initial;
        Guarded<char> out(1);
        EXPECT_EQ(zelk_isoToUtf8Tolerant(1, out.data(), 9, nullptr, 3, &flag), 0U);
        EXPECT_EQ(out[0], 0);
        EXPECT_EQ(flag, initial);
    }
}

// A text in pieces that turns out not to be UTF-8: the pieces before stay, all pieces after are ISO 8859.
TEST(IsoTolerant, TheFlagCarriesOver) {
    int flag = 0;
    expectBytes(tolerantOf(1, &flag), bytes("C3 A9"), bytes("C3 A9"), 2, 10);
    expectBytes(tolerantOf(1, &flag), bytes("C3"), bytes("C3"), 1, 10); // cut off by the count: still valid
    EXPECT_EQ(flag, 0);
    expectBytes(tolerantOf(1, &flag), bytes("C2 A9"), bytes("A9"), 1, 10);
    EXPECT_EQ(flag, 1);
    expectBytes(tolerantOf(1, &flag), bytes("C3 83 C2 A9"), bytes("C3 A9"), 2, 10);
}

TEST(IsoChecked, EveryPairAndEverySize) {
    for (unsigned int first = 1; first < 256; ++first) {
        for (unsigned int second = 0; second < 256; ++second) {
            const std::string text = {'a', static_cast<char>(first), static_cast<char>(second), 'z'};
            const int count = first % 2 == 0 ? 3 : -1;
            expectBytes(checkedOf(15), checkedModel(15, text, count, 13), text, count, 13);
            int flag = 0;
            int expectedFlag = 0;
            const std::string expected = tolerantModel(15, text, count, 13, &expectedFlag);
            expectBytes(tolerantOf(15, &flag), expected, text, count, 13);
            ASSERT_EQ(flag, expectedFlag) << first << ' ' << second;
        }
    }
}

TEST(IsoChecked, RandomTexts) {
    const char *const pieces[] = {"a",    "zz",       "\xC3\xA9",     "\xE2\x82\xAC", "\xED\xA0\x80",     "\xA4",
                                  "\xE9", "\xC0\x80", "\xE0\x9F\xBF", "\xEF\xBF\xBD", "\xF0\x9F\x98\x80", "\xE2\x82",
                                  "\xC3"};
    Random random(1815);
    for (int round = 0; round < 15000; ++round) {
        std::string text;
        const unsigned int valid = random.below(8); // mostly valid pieces first
        for (unsigned int piece = random.below(10); piece != 0; --piece) {
            text += pieces[piece > valid ? random.below(5) : random.below(13)];
        }
        const unsigned int part = someParts()[random.below(static_cast<unsigned int>(someParts().size()))];
        const int counts[] = {-1, static_cast<int>(random.below(30)), static_cast<int>(text.size()), INT_MAX, INT_MIN};
        const int count = counts[random.below(5)];
        const int size = static_cast<int>(random.below(50)) - 1;
        SCOPED_TRACE(testing::Message() << "round " << round << ", part " << part);
        expectBytes(checkedOf(part), checkedModel(part, text, count, size), text, count, size);
        const int initial = random.chance(30) ? static_cast<int>(random.below(3)) - 1 : 0;
        int flag = initial;
        int expectedFlag = initial;
        const std::string expected = tolerantModel(part, text, count, size, &expectedFlag);
        expectBytes(tolerantOf(part, &flag), expected, text, count, size);
        ASSERT_EQ(flag, expectedFlag);
        if (HasFatalFailure()) {
            return;
        }
    }
}

// ---- Packets ----

TEST(IsoPacket, NullTextGivesNull) {
    int flag = 0;
    EXPECT_EQ(zelkConvertIsoToUnicode(1, nullptr, 5), nullptr);
    EXPECT_EQ(zelkConvertIsoToUtf8(1, nullptr, 5), nullptr);
    EXPECT_EQ(zelkConvertIsoToUtf8Checked(1, nullptr, -1), nullptr);
    EXPECT_EQ(zelkConvertIsoToUtf8Tolerant(1, nullptr, 5, &flag), nullptr);
}

TEST(IsoPacket, EmptyText) {
    for (const int count : {-1, 0}) {
        const Owned<CharPacket> packet(zelkConvertIsoToUtf8(1, "", count));
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(packet->length, 0);
        EXPECT_EQ(packet->capacity, 1);
        EXPECT_EQ(packet->chars[0], 0);
    }
}

TEST(IsoPacket, EveryPart) {
    const std::string text = allBytes(); // no UTF-8
    for (const unsigned int part : someParts()) {
        SCOPED_TRACE(part);
        const auto characters = reference::charactersOf(setOf(part), text);
        const Owned<WideCharPacket> wide(zelkConvertIsoToUnicode(part, text.c_str(), -1));
        EXPECT_EQ(textOf(wide), reference::ucs2Text(characters, 256));
        int flag = 0;
        const Owned<CharPacket> packets[] = {
            Owned<CharPacket>(zelkConvertIsoToUtf8(part, text.c_str(), -1)),
            Owned<CharPacket>(zelkConvertIsoToUtf8Checked(part, text.c_str(), -1)),
            Owned<CharPacket>(zelkConvertIsoToUtf8Tolerant(part, text.c_str(), -1, &flag)),
        };
        for (const auto &packet : packets) {
            EXPECT_EQ(std::string(packet->chars, packet->length), reference::utf8Text(characters));
        }
    }
}

// Capacities count modulo 65536: a longer text is cut to what the stored capacity holds.
TEST(IsoPacket, Capacities) {
    for (const unsigned int length :
         {1U, 2U, 100U, 21844U, 21845U, 21846U, 30000U, 43690U, 43691U, 65534U, 65535U, 65536U, 65537U, 70000U}) {
        SCOPED_TRACE(length);
        const std::string text(length, '\xA4');
        const auto characters = reference::charactersOf(setOf(15), text);
        for (const int count : {-1, static_cast<int>(length)}) {
            const auto in = inputBlock(text, count);
            const Owned<WideCharPacket> wide(zelkConvertIsoToUnicode(15, in.get(), count));
            ASSERT_NE(wide, nullptr);
            EXPECT_EQ(wide->capacity, (length + 1) % 65536);
            EXPECT_EQ(textOf(wide), reference::ucs2Text(characters, wide->capacity));
            EXPECT_EQ(wide->chars[wide->length], 0);

            const unsigned int capacity = (length * 3 % 65536 + 1) % 65536;
            int flag = 0;
            const Owned<CharPacket> packets[] = {
                Owned<CharPacket>(zelkConvertIsoToUtf8(15, in.get(), count)),
                Owned<CharPacket>(zelkConvertIsoToUtf8Checked(15, in.get(), count)),
                Owned<CharPacket>(zelkConvertIsoToUtf8Tolerant(15, in.get(), count, &flag)),
            };
            for (const auto &packet : packets) {
                ASSERT_NE(packet, nullptr);
                EXPECT_EQ(packet->capacity, capacity);
                EXPECT_EQ(std::string(packet->chars, packet->length),
                          reference::utf8Text(characters, packet->capacity));
                EXPECT_EQ(packet->chars[packet->length], 0);
            }
            EXPECT_EQ(flag, capacity > 1 ? 1 : 0);
        }
    }
}

// The capacity of the largest count wraps to 0, which leaves an empty text.
TEST(IsoPacket, LargestCount) {
    const Owned<WideCharPacket> wide(zelkConvertIsoToUnicode(1, "abc", INT_MAX));
    ASSERT_NE(wide, nullptr);
    EXPECT_EQ(wide->capacity, 0);
    EXPECT_EQ(wide->length, 0);
    EXPECT_EQ(wide->chars[0], 0);
    const Owned<CharPacket> packet(zelkConvertIsoToUtf8(1, "abc", INT_MAX));
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->capacity, 65534);
    EXPECT_STREQ(packet->chars, "abc");
}

TEST(IsoPacket, CheckedAndTolerant) {
    const Owned<CharPacket> checked(zelkConvertIsoToUtf8Checked(1, "\xC3\xA9", -1));
    EXPECT_EQ(std::string(checked->chars, checked->length), "\xC3\xA9");
    int flag = 0;
    const Owned<CharPacket> tolerant(zelkConvertIsoToUtf8Tolerant(1, "A\xE9\x42", 3, &flag));
    EXPECT_EQ(std::string(tolerant->chars, tolerant->length), "A\xC3\xA9\x42");
    EXPECT_EQ(tolerant->capacity, 10);
    EXPECT_EQ(flag, 1);
    const Owned<CharPacket> later(zelkConvertIsoToUtf8Tolerant(1, "\xC3\xA9", -1, &flag));
    EXPECT_EQ(std::string(later->chars, later->length), "\xC3\x83\xC2\xA9");
}

// ---- Class ----

TEST(IsoConverter, UnicodeHasOneByteOfTheTerminator) {
    const zelk::IsoConverter converter(1);
    const std::string expected = nativeBytes({'A', 'B'}) + '\0';
    EXPECT_EQ(converter.convertIsoToUnicode("AB", 2), expected);
    EXPECT_EQ(converter.convertIsoToUnicode("AB", -1), expected);
    EXPECT_EQ(converter.convertIsoToUnicode("ABC", 2), expected);
    EXPECT_EQ(converter.convertIsoToUnicode("AB", INT_MAX), expected);
    EXPECT_EQ(converter.convertIsoToUnicode(std::string("AB")), expected);
    EXPECT_EQ(converter.convertIsoToUnicode(std::string("AB\0C", 4)), expected);
    EXPECT_EQ(converter.convertIsoToUnicode("", 0), std::string(1, '\0'));
    EXPECT_EQ(converter.convertIsoToUnicode("", -1), std::string(1, '\0'));
    EXPECT_EQ(converter.convertIsoToUnicode(nullptr, 4), "");
    EXPECT_EQ(converter.convertIsoToUnicode(std::string()), "");
    EXPECT_EQ(converter.convertIsoToUnicode(std::string(3, '\0')), std::string(1, '\0'));
}

// The scratch has no room for the terminator: a last character of three bytes is lost when all before it took three.
TEST(IsoConverter, Utf8DropsTheLastOfNothingButThreeByteCharacters) {
    const zelk::IsoConverter converter(15);
    const std::string euro = "\xE2\x82\xAC";
    EXPECT_EQ(converter.convertIsoToUtf8("\xA4", 1), "");
    EXPECT_EQ(converter.convertIsoToUtf8("\xA4", -1), "");
    EXPECT_EQ(converter.convertIsoToUtf8("\xA4\xA4", 2), euro);
    EXPECT_EQ(converter.convertIsoToUtf8("\xA4\x41", 2), euro + 'A');
    EXPECT_EQ(converter.convertIsoToUtf8("\x41\xA4", 2), 'A' + euro);
    EXPECT_EQ(converter.convertIsoToUtf8("\xA4", 2), euro) << "a count beyond the text leaves room";
    EXPECT_EQ(converter.convertIsoToUtf8("\xA4", INT_MAX), euro);
    EXPECT_EQ(converter.convertIsoToUtf8(std::string("\xA4")), "");
    EXPECT_EQ(converter.convertIsoToUtf8(std::string("\xA4\0", 2)), euro);
    const Owned<CharPacket> packet(zelkConvertIsoToUtf8(15, "\xA4", 1));
    EXPECT_EQ(std::string(packet->chars), euro) << "the packet has room for it";
}

TEST(IsoConverter, EmptyAndNull) {
    const zelk::IsoConverter converter(15);
    int flag = 0;
    EXPECT_EQ(converter.convertIsoToUtf8(nullptr, -1), "");
    EXPECT_EQ(converter.convertIsoToUtf8(nullptr, 7), "");
    EXPECT_EQ(converter.convertIsoToUtf8("abc", 0), "");
    EXPECT_EQ(converter.convertIsoToUtf8(std::string()), "");
    EXPECT_EQ(converter.convertIsoToUtf8Checked(std::string()), "");
    EXPECT_EQ(converter.convertIsoToUtf8Tolerant(std::string(), &flag), "");
    EXPECT_EQ(flag, 0);
    flag = 3;
    EXPECT_EQ(converter.convertIsoToUtf8Tolerant(std::string(), &flag), "");
    EXPECT_EQ(flag, 3);
}

TEST(IsoConverter, CheckedAndTolerant) {
    const zelk::IsoConverter converter(1);
    EXPECT_EQ(converter.convertIsoToUtf8Checked("\xC3\xA9"), "\xC3\xA9");
    EXPECT_EQ(converter.convertIsoToUtf8Checked("A\xE9\x42"), "A\xC3\xA9\x42");
    EXPECT_EQ(zelk::IsoConverter(15).convertIsoToUtf8Checked("\xA4"), "");
    int flag = 0;
    EXPECT_EQ(converter.convertIsoToUtf8Tolerant("A\xE9\x42", &flag), "A\xC3\xA9\x42");
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(converter.convertIsoToUtf8Tolerant("\xC3\xA9", &flag), "\xC3\x83\xC2\xA9");
    EXPECT_EQ(flag, 1);
}

TEST(IsoConverter, RandomTexts) {
    Random random(3);
    for (int round = 0; round < 4000; ++round) {
        const std::string text = randomBytes(random, round % 100 == 0 ? 3000 : 60);
        const unsigned int part = someParts()[random.below(static_cast<unsigned int>(someParts().size()))];
        const zelk::IsoConverter converter(part);
        const int length = static_cast<int>(text.size());
        const auto characters = reference::charactersOf(setOf(part), reference::usedText(text, length));
        const std::string wide = nativeBytes(reference::ucs2Text(characters, length + 1)) + '\0';
        ASSERT_EQ(converter.convertIsoToUnicode(text), text.empty() ? "" : wide);
        ASSERT_EQ(converter.convertIsoToUnicode(text.data(), length), wide);
        ASSERT_EQ(converter.convertIsoToUtf8(text), reference::utf8Text(characters, 3 * length));
        ASSERT_EQ(converter.convertIsoToUtf8(text.data(), length), reference::utf8Text(characters, 3 * length));
        ASSERT_EQ(converter.convertIsoToUtf8Checked(text), checkedModel(part, text, length, 3 * length));
        for (const int initial : {0, 1}) {
            int flag = initial;
            int expectedFlag = initial;
            const std::string expected = tolerantModel(part, text, length, 3 * length, &expectedFlag);
            ASSERT_EQ(converter.convertIsoToUtf8Tolerant(text, &flag), expected);
            ASSERT_EQ(flag, expectedFlag);
        }
    }
}

TEST(IsoConverter, LongTexts) {
    const std::string text(70000, '\xA4');
    const zelk::IsoConverter converter(15);
    EXPECT_EQ(converter.convertIsoToUnicode(text).size(), 140001U);
    EXPECT_EQ(converter.convertIsoToUtf8(text).size(), 3U * 69999);
    EXPECT_EQ(converter.convertIsoToUtf8Checked(text).size(), 3U * 69999);
}

} // namespace
