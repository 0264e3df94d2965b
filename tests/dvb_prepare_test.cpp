// The prepared form of DVB strings: the marker, then what zelk_dvb8ToUtf8() gives.
#include "helpers/guarded.h"
#include "helpers/text.h"
#include "zelk.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

using zelk_test::bytes;
using zelk_test::Guarded;
using zelk_test::Random;

constexpr char marker = 0x1D;

struct FreePacket {
    void operator()(CharPacket *packet) const { std::free(packet); }
};
using Packet = std::unique_ptr<CharPacket, FreePacket>;

std::string prepared(const std::string &text, int size, int count) {
    Guarded<char> out(static_cast<std::size_t>(std::max(size, 2)));
    const unsigned int length =
        zelk_dvb8PrepUtf8(DvbCharSetStandard, out.data(), size, text.c_str(), count, DvbCodeNone, 0, 0);
    EXPECT_EQ(out[length], 0);
    return std::string(out.data(), length);
}

std::string prepared(const std::string &text) {
    return prepared(text, 3 * static_cast<int>(text.size()) + 600, static_cast<int>(text.size()));
}

std::string plain(const std::string &text, int size, int count) {
    Guarded<char> out(static_cast<std::size_t>(std::max(size, 1)));
    const unsigned int length = zelk_dvbPrep8ToUtf8(out.data(), size, text.c_str(), count);
    EXPECT_EQ(out[length], 0);
    return std::string(out.data(), length);
}

std::string utf8(const std::string &text, int size, int count) {
    Guarded<char> out(static_cast<std::size_t>(std::max(size, 1)));
    const unsigned int length =
        zelk_dvb8ToUtf8(DvbCharSetStandard, out.data(), size, text.c_str(), count, DvbCodeNone, 0, 0);
    return std::string(out.data(), length);
}

TEST(DvbPrepare, PutsTheMarkerBeforeTheText) {
    EXPECT_EQ(prepared("Abc"), "\x1D"
                               "Abc");
    EXPECT_EQ(prepared(bytes("43 61 66 C2 65")), "\x1D"
                                                 "Café");
    EXPECT_EQ(prepared(""), "\x1D");
}

TEST(DvbPrepare, APreparedStringStaysAsItIs) {
    const std::string once = prepared(bytes("05 DD FD 41 8A 42"));
    EXPECT_EQ(once, "\x1D"
                    "İıA\nB");
    EXPECT_EQ(prepared(once), once);
    EXPECT_EQ(prepared(once, 4, -1), once.substr(0, 3)); // the bound of the copy cuts it
}

TEST(DvbPrepare, EveryOutputSize) {
    for (const char *hex : {"43 61 66 C2 65 A4", "11 20 AC 00 41", "15 E2 82 AC 41", "1D E2 82 AC 41", ""}) {
        const std::string text = bytes(hex);
        for (const int count : {static_cast<int>(text.size()), -1}) {
            const std::string in = text + std::string(2, '\0');
            for (int size = 1; size < 24; ++size) {
                ASSERT_EQ(prepared(in, size, count), marker + utf8(in, size - 1, count)) << hex << ", " << size;
            }
        }
    }
}

TEST(DvbPrepare, AnOutputSizeOfOneGetsMarkerAndTerminator) {
    Guarded<char> out(2);
    EXPECT_EQ(zelk_dvb8PrepUtf8(DvbCharSetStandard, out.data(), 1, "Abc", 3, DvbCodeNone, 0, 0), 1U);
    EXPECT_EQ(out[0], marker);
    EXPECT_EQ(out[1], 0);
}

TEST(DvbPrepare, ANullStringOrNoSizeGivesAnEmptyText) {
    for (const int size : {0, -1, INT_MIN}) {
        Guarded<char> out(1);
        EXPECT_EQ(zelk_dvb8PrepUtf8(DvbCharSetStandard, out.data(), size, "Abc", 3, DvbCodeNone, 0, 0), 0U);
        EXPECT_EQ(out[0], 0);
    }
    Guarded<char> out(1);
    EXPECT_EQ(zelk_dvb8PrepUtf8(DvbCharSetStandard, out.data(), 9, nullptr, 3, DvbCodeNone, 0, 0), 0U);
    EXPECT_EQ(out[0], 0);
}

TEST(DvbPrepare, TheBufferSizeIsTheBoundAndTwo) {
    EXPECT_EQ(zelk_dvb8PrepUtf8Buffersize(nullptr, 3, DvbCodeNone, 0), 2);
    EXPECT_EQ(zelk_dvb8PrepUtf8Buffersize("Abc", 3, DvbCodeNone, 0), 11);
    EXPECT_EQ(zelk_dvb8PrepUtf8Buffersize("Abc", -1, DvbCodeNone, 0), 11);
    EXPECT_EQ(zelk_dvb8PrepUtf8Buffersize("Abc", 0, DvbCodeNone, 0), 2);
    EXPECT_EQ(zelk_dvb8PrepUtf8Buffersize("\x1F\x05"
                                          "A",
                                          3, DvbCodeNone, 0),
              511 + 2);
    EXPECT_EQ(zelk_dvb8PrepUtf8Buffersize("\x1F\x06"
                                          "A",
                                          3, DvbCodeNone, 0),
              511 + 2);
    for (const int count : {INT_MAX, INT_MAX / 3, INT_MAX / 3 + 1}) {
        EXPECT_EQ(zelk_dvb8PrepUtf8Buffersize("Abc", count, DvbCodeNone, 0),
                  count == INT_MAX / 3 ? INT_MAX / 3 * 3 + 1 : INT_MAX);
    }
}

TEST(DvbPrepare, BackWithoutTheMarker) {
    EXPECT_EQ(plain("\x1D"
                    "Abc",
                    9, 4),
              "Abc");
    EXPECT_EQ(plain("\x1D"
                    "Abc",
                    9, 3),
              "Ab");
    EXPECT_EQ(plain("Abc", 9, 3), "Abc");
    EXPECT_EQ(plain("Abc", 9, 2), "Ab");
    EXPECT_EQ(plain("Abc", 9, INT_MAX), "Abc");
    for (const int count : {-1, -2, INT_MIN}) {
        EXPECT_EQ(plain("\x1D"
                        "Abc",
                        9, count),
                  "Abc");
        EXPECT_EQ(plain("Abc", 9, count), "Abc");
    }
    EXPECT_EQ(plain("\x1D\x1D", 9, -1), "\x1D"); // one marker only
}

TEST(DvbPrepare, BackWithAnEmptyCountCopiesNothing) {
    EXPECT_EQ(plain("Abc", 9, 0), "");
    EXPECT_EQ(plain("\x1D"
                    "Abc",
                    9, 0),
              "");
    EXPECT_EQ(plain("\x1D"
                    "Abc",
                    9, 1),
              "");
    const std::unique_ptr<char[]> nothing(new char[0]); // a count of 0 names no byte to look at
    Guarded<char> out(4);
    EXPECT_EQ(zelk_dvbPrep8ToUtf8(out.data(), 4, nothing.get(), 0), 0U);
}

TEST(DvbPrepare, BackIntoEverySize) {
    const std::string text = "Über";
    for (int size = -1; size < 9; ++size) {
        const std::size_t room = static_cast<std::size_t>(std::max(size, 1) - 1);
        EXPECT_EQ(plain(text, size, -1), text.substr(0, room));
        EXPECT_EQ(plain(marker + text, size, -1), text.substr(0, room));
    }
    EXPECT_EQ(plain(text, INT_MIN, -1), "");
    Guarded<char> out(1);
    EXPECT_EQ(zelk_dvbPrep8ToUtf8(out.data(), 9, nullptr, 3), 0U);
    EXPECT_EQ(out[0], 0);
}

TEST(DvbPrepare, BackInPlace) {
    std::string text = "\x1D"
                       "Abc";
    EXPECT_EQ(zelk_dvbPrep8ToUtf8(text.data(), 5, text.data(), -1), 3U);
    EXPECT_STREQ(text.c_str(), "Abc");
}

TEST(DvbPrepare, FollowsAllSettings) {
    struct Row {
        dvbCharSet_t charSet;
        DvbCode_t code;
        int extra;
        unsigned int flags;
        const char *in;
        const char *text;
        int size; // with marker and terminator
    };
    const Row rows[] = {
        {DvbCharSetStandard, DvbCodeNone, 0, 0, "12 B1", "±", 8},
        {DvbCharSetIso8859_2, DvbCodeNone, 0, 0, "12 B1", "ą", 8},
        {DvbCharSetStandard, DvbCodeIso8859_5, 0, 0, "B1", "Б", 5},
        {DvbCharSetStandard, DvbCodeUcs2, 0, 0, "00 41", "A", 8},
        {DvbCharSetStandard, DvbCodeUtf8, 0, 0, "C3 A9", "é", 4},
        {DvbCharSetStandard, DvbCodeUtf8, 0, 0, "FF FF", "", 4}, // the bound is too small for U+FFFD
        {DvbCharSetStandard, DvbCodeCompressed, 1, 0, "3A E0", "TV", 4},
        {DvbCharSetStandard, DvbCodeCompressed, 2, 0, "F5 28 80 00", "TV", 4},
        {DvbCharSetStandard, DvbCodeCompressed, 6, 0, "8C", " a", 513},
        {DvbCharSetStandard, DvbCodeNone, 0, 0, "86 41", "A", 8},
        {DvbCharSetStandard, DvbCodeNone, 0, 1, "86 41", "\xC2\x86\x41", 8},
    };
    for (const Row &row : rows) {
        const std::string in = bytes(row.in);
        const int count = static_cast<int>(in.size());
        const std::string expected = marker + std::string(row.text);
        EXPECT_EQ(zelk_dvb8PrepUtf8Buffersize(in.c_str(), count, row.code, row.extra), row.size) << row.in;
        Guarded<char> out(513);
        const unsigned int length =
            zelk_dvb8PrepUtf8(row.charSet, out.data(), row.size, in.c_str(), count, row.code, row.extra, row.flags);
        EXPECT_EQ(std::string(out.data(), length), expected) << row.in;
        const Packet packet(
            zelkPreprocessDvbStringToUtf8(row.charSet, in.c_str(), count, row.code, row.extra, row.flags));
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(packet->capacity, row.size + 1) << row.in;
        EXPECT_EQ(std::string(packet->chars, packet->length), expected) << row.in;
        const zelk::DvbConverter converter(row.charSet, row.code, row.extra, row.flags);
        EXPECT_EQ(converter.preprocessDvbStringToUtf8(in), expected) << row.in;
    }
}

TEST(DvbPrepare, RandomStringsGoThereAndBack) {
    Random random(1);
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        for (std::uint32_t left = random.below(30); left > 0; --left) {
            text += static_cast<char>(random.below(256));
        }
        const int count = static_cast<int>(text.size());
        const std::string form = prepared(text);
        ASSERT_EQ(form, marker + utf8(text, 3 * count + 599, count));
        ASSERT_EQ(plain(form, 700, static_cast<int>(form.size())), form.substr(1));
        ASSERT_EQ(utf8(form, 700, static_cast<int>(form.size())), form.substr(1));
    }
}

TEST(DvbPrepare, InAPacket) {
    const Packet packet(zelkPreprocessDvbStringToUtf8(DvbCharSetStandard, "\x05\xDD", 2, DvbCodeNone, 0, 0));
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->capacity, 3 * 2 + 2 + 1);
    EXPECT_EQ(packet->length, 3);
    EXPECT_STREQ(packet->chars, "\x1D"
                                "İ");
    EXPECT_EQ(zelkPreprocessDvbStringToUtf8(DvbCharSetStandard, nullptr, 2, DvbCodeNone, 0, 0), nullptr);
}

TEST(DvbPrepare, APacketOfALongTextHoldsItAll) {
    const std::string text(70000, 'x');
    const Packet packet(zelkPreprocessDvbStringToUtf8(DvbCharSetStandard, text.c_str(), -1, DvbCodeNone, 0, 0));
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->capacity, (3 * 70000 + 3) % 65536);
    EXPECT_EQ(packet->length, 70001 % 65536);
    EXPECT_EQ(std::string(packet->chars), marker + text);
}

} // namespace
