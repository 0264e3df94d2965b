// The character codec over its whole domain: every lead and continuation byte with every count of available bytes, all
// 65,536 units with every room.
#include "zelk.h"

#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/utf8_model.h"

#include <algorithm>
#include <climits>
#include <memory>

using namespace zelk_test;

namespace {

constexpr unsigned int unbounded = 0xFFFFFFFFU;

// Compares both readers with the model; a unit that nothing is stored to keeps its value.
void expectModel(const unsigned char *text, unsigned int available, unsigned int readable) {
    const Utf8Step expected = utf8StepModel(text, std::min(available, readable));
    ASSERT_EQ(zelkUtf8CharGetLength(text, available), expected.consumed);
    unsigned short character = 0x1234;
    ASSERT_EQ(zelkUtf8CharDecode(text, available, &character), expected.consumed);
    ASSERT_EQ(character, expected.character.value_or(0x1234));
}

struct Decoded {
    unsigned int consumed;
    unsigned int character; // 0x1234 where nothing is stored

    friend bool operator==(const Decoded &, const Decoded &) = default;
    friend std::ostream &operator<<(std::ostream &out, const Decoded &decoded) {
        return out << decoded.consumed << " bytes, unit " << decoded.character;
    }
};

constexpr unsigned int nothing = 0x1234;

Decoded decode(const char *hex, unsigned int available) {
    const std::string text = bytes(hex);
    unsigned short character = nothing;
    const unsigned int consumed = zelkUtf8CharDecode(u8(text), available, &character);
    return {consumed, character};
}

} // namespace

TEST(Utf8CharDecode, TreatsEveryByteAndPairAsTheModel) {
    for (unsigned int first = 0; first < 256; ++first) {
        for (unsigned int second = 0; second < 256; ++second) {
            const unsigned char text[] = {static_cast<unsigned char>(first), static_cast<unsigned char>(second), 0};
            expectModel(text, 0, 3);
            expectModel(text, 1, 3);
            expectModel(text, 2, 3);
            expectModel(text, unbounded, 3);
            if (HasFatalFailure()) {
                FAIL() << first << ' ' << second;
            }
        }
    }
}

TEST(Utf8CharDecode, TreatsEveryTripleAsTheModel) {
    constexpr unsigned char thirds[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0xA0, 0xBF, 0xC0, 0xE2, 0xFF};
    for (unsigned int first = 0; first < 256; ++first) {
        const bool threeByteLead = first >= 0xE0 && first <= 0xEF;
        const unsigned int thirdCount = threeByteLead ? 256U : static_cast<unsigned int>(std::size(thirds));
        for (unsigned int second = 0; second < 256; ++second) {
            for (unsigned int i = 0; i < thirdCount; ++i) {
                const unsigned int third = threeByteLead ? i : thirds[i];
                const unsigned char text[] = {static_cast<unsigned char>(first), static_cast<unsigned char>(second),
                                              static_cast<unsigned char>(third)};
                expectModel(text, 3, 3);
                if (HasFatalFailure()) {
                    FAIL() << first << ' ' << second << ' ' << third;
                }
            }
        }
    }
}

TEST(Utf8CharDecode, LooksAtNoMoreThanIsAvailable) {
    for (const char *const hex : {"C3", "E2", "E2 82", "41", "F0", "80"}) {
        const std::string text = bytes(hex);
        const auto exact = std::make_unique<unsigned char[]>(text.size());
        std::copy(text.begin(), text.end(), exact.get());
        expectModel(exact.get(), static_cast<unsigned int>(text.size()), static_cast<unsigned int>(text.size()));
    }
    for (const char *const hex : {"C3 00", "E2 00", "E2 82 00", "00"}) { // the terminator ends every sequence
        const std::string text = bytes(hex);
        const auto exact = std::make_unique<unsigned char[]>(text.size());
        std::copy(text.begin(), text.end(), exact.get());
        expectModel(exact.get(), unbounded, static_cast<unsigned int>(text.size()));
    }
}

TEST(Utf8CharDecode, StoresNothingForNothing) {
    unsigned short character = nothing;
    EXPECT_EQ(zelkUtf8CharDecode(nullptr, 0, &character), 0U);
    EXPECT_EQ(zelkUtf8CharDecode(nullptr, 5, &character), 0U);
    EXPECT_EQ(zelkUtf8CharDecode(u8("A"), 0, &character), 0U);
    EXPECT_EQ(character, nothing);
    EXPECT_EQ(zelkUtf8CharGetLength(nullptr, unbounded), 0U);
    EXPECT_EQ(zelkUtf8CharGetLength(u8("A"), 0), 0U);
}

TEST(Utf8CharDecode, ReadsOneTwoAndThreeBytes) {
    EXPECT_EQ(decode("41", 1), (Decoded{1, 0x41}));
    EXPECT_EQ(decode("C3 A9", 2), (Decoded{2, 0x00E9}));
    EXPECT_EQ(decode("E0 A0 80", 3), (Decoded{3, 0x0800}));
    EXPECT_EQ(decode("ED A0 80", 3), (Decoded{3, 0xD800}));
    EXPECT_EQ(decode("EF BF BF", 3), (Decoded{3, 0xFFFF}));
    EXPECT_EQ(decode("EF BF BD", 3), (Decoded{3, 0xFFFD}));
    EXPECT_EQ(decode("00", unbounded), (Decoded{1, 0}));
}

TEST(Utf8CharDecode, KeepsTheUnitOfACutOffSequence) {
    EXPECT_EQ(decode("C3", 1), (Decoded{1, nothing}));
    EXPECT_EQ(decode("E2", 1), (Decoded{1, nothing}));
    EXPECT_EQ(decode("E2 82", 2), (Decoded{2, nothing}));
}

TEST(Utf8CharDecode, RejectsUpToTheFirstBadByte) {
    EXPECT_EQ(decode("C3 41", 2), (Decoded{1, 0xFFFD}));
    EXPECT_EQ(decode("E2 82 41", 3), (Decoded{2, 0xFFFD}));
    for (const char *const hex : {"F0 9F 98 80", "FF", "80", "BF"}) {
        EXPECT_EQ(decode(hex, unbounded), (Decoded{1, 0xFFFD}));
    }
}

TEST(Utf8CharDecode, RejectsOverlongFormsWhole) {
    EXPECT_EQ(decode("C0 80", 2), (Decoded{2, 0xFFFD}));
    EXPECT_EQ(decode("C1 BF", 2), (Decoded{2, 0xFFFD}));
    EXPECT_EQ(decode("E0 80 80", 3), (Decoded{3, 0xFFFD}));
    EXPECT_EQ(decode("E0 9F BF", 3), (Decoded{3, 0xFFFD}));
    EXPECT_EQ(zelkUtf8CharGetLength(u8(bytes("C0 80")), 2), 2U);
}

TEST(Utf8CharGetLength, DependsOnWhatIsAvailable) {
    EXPECT_EQ(zelkUtf8CharGetLength(u8(bytes("E2 82 AC")), unbounded), 3U);
    EXPECT_EQ(zelkUtf8CharGetLength(u8(bytes("E2 82 AC")), 2), 2U);
    EXPECT_EQ(zelkUtf8CharGetLength(u8(bytes("C3 00")), unbounded), 1U);
}

TEST(Utf8CharEncode, WritesEveryUnitAndReadsItBack) {
    for (unsigned int unit = 0; unit <= 0xFFFF; ++unit) {
        const std::string expected = utf8EncodeModel(unit);
        const auto length = static_cast<unsigned int>(expected.size());
        unsigned char out[4] = {0xA7, 0xA7, 0xA7, 0xA7};
        ASSERT_EQ(zelkUtf8CharGetEncodedLength(unit), length);
        ASSERT_EQ(zelkUtf8CharEncode(static_cast<unsigned short>(unit), out, 4), length);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), reinterpret_cast<const char *>(out)));
        ASSERT_EQ(out[length], 0xA7);

        unsigned short back = 0xA7A7;
        ASSERT_EQ(zelkUtf8CharDecode(out, length, &back), length);
        ASSERT_EQ(back, unit);
    }
}

TEST(Utf8CharEncode, NeedsRoomForATerminatorToo) {
    for (const unsigned int unit : {0x00U, 0x7FU, 0x80U, 0x7FFU, 0x800U, 0x20ACU, 0xD800U, 0xFFFFU}) {
        const std::string expected = utf8EncodeModel(unit);
        for (const int room : {INT_MIN, -1, 0, 1, 2, 3, 4, 5, INT_MAX}) {
            Guarded<unsigned char> out(4);
            const bool fits = room > static_cast<int>(expected.size());
            ASSERT_EQ(zelkUtf8CharEncode(static_cast<unsigned short>(unit), out.data(), room),
                      fits ? expected.size() : 0U);
            if (fits) {
                ASSERT_TRUE(std::equal(expected.begin(), expected.end(), reinterpret_cast<char *>(out.data())));
            } else {
                ASSERT_TRUE(out.untouched());
            }
        }
    }
}

TEST(Utf8CharEncode, WritesTheFormsOfRfc3629) {
    const auto encoded = [](unsigned short unit) {
        unsigned char out[3];
        return std::string(out, out + zelkUtf8CharEncode(unit, out, 4));
    };
    EXPECT_EQ(encoded(0x7F), bytes("7F"));
    EXPECT_EQ(encoded(0x07FF), bytes("DF BF"));
    EXPECT_EQ(encoded(0x0800), bytes("E0 A0 80"));
    EXPECT_EQ(encoded(0x20AC), bytes("E2 82 AC"));
    EXPECT_EQ(encoded(0xD800), bytes("ED A0 80"));
    EXPECT_EQ(encoded(0xFFFF), bytes("EF BF BF"));
    EXPECT_EQ(encoded(0), bytes("00"));
}

TEST(Utf8CharGetEncodedLength, TakesAnyLargerValueAsThreeBytes) {
    EXPECT_EQ(zelkUtf8CharGetEncodedLength(0), 1U);
    EXPECT_EQ(zelkUtf8CharGetEncodedLength(0x7F), 1U);
    EXPECT_EQ(zelkUtf8CharGetEncodedLength(0x80), 2U);
    EXPECT_EQ(zelkUtf8CharGetEncodedLength(0x7FF), 2U);
    EXPECT_EQ(zelkUtf8CharGetEncodedLength(0x800), 3U);
    for (const unsigned int value : {0xFFFFU, 0x10000U, 0x10FFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(zelkUtf8CharGetEncodedLength(value), 3U);
    }
}
