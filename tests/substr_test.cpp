// Control-code filters over all 65,536 codes, filtered texts, substrings by every start and count, bit reversal.
#include "zelk.h"

#include "helpers/guarded.h"
#include "helpers/text.h"
#include "helpers/twins.h"

#include <climits>
#include <string>

using namespace zelk_test;

namespace {

unsigned int filterText(char *dst, int size, const char *src, zelkCharFilter filter) {
    return zelkFilterString(dst, size, src, filter);
}

unsigned int filterText(unsigned short *dst, int size, const unsigned short *src, zelkCharFilter filter) {
    return zelkFilterWideString(dst, size, src, filter);
}

Owned<CharPacket> substr(const CharPacket *text, unsigned int start, unsigned int count, const char *replacement) {
    return Owned<CharPacket>(zelkSubstr(text, start, count, replacement));
}

Owned<WideCharPacket> substr(const WideCharPacket *text, unsigned int start, unsigned int count,
                             const unsigned short *replacement) {
    return Owned<WideCharPacket>(zelkWideSubstr(text, start, count, replacement));
}

unsigned short upperKeepNoDigits(unsigned short code) {
    if (code >= '0' && code <= '9') {
        return 0;
    }
    return code >= 'a' && code <= 'z' ? static_cast<unsigned short>(code - 0x20) : code;
}

unsigned short zeroToX(unsigned short code) {
    return code == 0 ? 'X' : code;
}

template <class Twin>
class Filters : public ::testing::Test {};
TYPED_TEST_SUITE(Filters, Twins);

template <class Twin>
class Substrings : public ::testing::Test {};
TYPED_TEST_SUITE(Substrings, Twins);

} // namespace

TEST(ControlFilters, TreatEveryCodeByTheirTables) {
    for (unsigned int code = 0; code <= 0xFFFF; ++code) {
        const auto unit = static_cast<unsigned short>(code);
        const bool c0 = code < 0x20;
        const bool c1 = code >= 0x80 && code < 0xA0;
        ASSERT_EQ(zelk_filterControlCode0(unit), c0 && code != 0x09 && code != 0x0A ? 0 : code);
        const unsigned int mapped = code == 0x8A ? 0x0A : c1 ? 0 : code;
        ASSERT_EQ(zelk_filterMapControlCode8(unit), mapped);
        ASSERT_EQ(zelk_filterMapControlCode8Restricted(unit), code == 0x86 || code == 0x87 ? code : mapped);
        ASSERT_EQ(zelk_filterControlChars(unit), c0 || c1 ? 0 : code);
    }
}

TEST(ControlFilters, KeepTheDocumentedCodes) {
    EXPECT_EQ(zelk_filterControlCode0(0x09), 0x09);
    EXPECT_EQ(zelk_filterControlCode0(0x0D), 0);
    EXPECT_EQ(zelk_filterControlCode0(0x41), 0x41);
    EXPECT_EQ(zelk_filterMapControlCode8(0x8A), 0x0A);
    EXPECT_EQ(zelk_filterMapControlCode8(0x86), 0);
    EXPECT_EQ(zelk_filterMapControlCode8Restricted(0x86), 0x86);
    EXPECT_EQ(zelk_filterMapControlCode8Restricted(0x87), 0x87);
    EXPECT_EQ(zelk_filterControlChars(0x85), 0);
    EXPECT_EQ(zelk_filterControlChars(0xA0), 0xA0);
    EXPECT_EQ(zelk_filterControlChars(0x0100), 0x0100);
}

TYPED_TEST(Filters, FollowTheModelAtEverySize) {
    using Unit = typename TypeParam::Unit;
    Random random(0x51);
    for (int round = 0; round < 400; ++round) {
        std::vector<Unit> text;
        for (auto left = random.below(20); left != 0; --left) {
            text.push_back(static_cast<Unit>(random.chance(70) ? '0' + random.below(80) : 1 + random.below(255)));
        }
        for (const zelkCharFilter filter : {zelkCharFilter(nullptr), zelkCharFilter(upperKeepNoDigits)}) {
            std::vector<Unit> expected;
            for (const Unit unit : text) {
                const auto code = static_cast<unsigned short>(sizeof(Unit) == 1 ? unit & 0xFF : unit);
                const unsigned short kept = filter != nullptr ? upperKeepNoDigits(code)
                                            : code < 0x20 || (code >= 0x80 && code < 0xA0)
                                                ? static_cast<unsigned short>(0)
                                                : code;
                if (kept != 0) {
                    expected.push_back(static_cast<Unit>(kept));
                }
            }
            for (int size = 1; size < 24; ++size) {
                Guarded<Unit> dst(static_cast<std::size_t>(size));
                const auto count = std::min(expected.size(), static_cast<std::size_t>(size) - 1);
                ASSERT_EQ(filterText(dst.data(), size, withZero(text).data(), filter), count);
                ASSERT_TRUE(std::equal(dst.data(), dst.data() + count, expected.begin()));
                ASSERT_EQ(dst[count], 0);
            }
        }
    }
}

TYPED_TEST(Filters, GetTheTerminatorToo) {
    const auto text = withZero(units<TypeParam>("ab"));
    Guarded<typename TypeParam::Unit> dst(10);
    EXPECT_EQ(filterText(dst.data(), 10, text.data(), zeroToX), 3U);
    EXPECT_EQ(std::vector(dst.data(), dst.data() + 4), withZero(units<TypeParam>("abX")));
    EXPECT_EQ(filterText(dst.data(), 3, text.data(), zeroToX), 2U);
    EXPECT_EQ(std::vector(dst.data(), dst.data() + 3), text);
    EXPECT_EQ(filterText(dst.data(), 10, withZero(units<TypeParam>("")).data(), zeroToX), 1U);
}

TYPED_TEST(Filters, OfNothingTerminate) {
    using Unit = typename TypeParam::Unit;
    const auto text = withZero(units<TypeParam>("ab"));
    for (const int size : {1, 0, -1, INT_MIN}) {
        Guarded<Unit> dst(1);
        EXPECT_EQ(filterText(dst.data(), size, text.data(), nullptr), 0U);
        EXPECT_EQ(dst[0], 0);
    }
    Guarded<Unit> dst(1);
    EXPECT_EQ(filterText(dst.data(), 10, nullptr, nullptr), 0U);
    EXPECT_EQ(dst[0], 0);
    Guarded<Unit> large(70001);
    EXPECT_EQ(filterText(large.data(), INT_MAX, withZero(std::vector<Unit>(70000, 'x')).data(), nullptr), 70000U);
}

TEST(NarrowFilters, SeeUnsignedBytesAndKeepTheLowEightBits) {
    Guarded<char> dst(10);
    const zelkCharFilter moveUp = [](unsigned short code) {
        return static_cast<unsigned short>(code == 0 ? 0 : code + 0x100);
    };
    EXPECT_EQ(zelkFilterString(dst.data(), 10, "a\xFF", moveUp), 2U);
    EXPECT_STREQ(dst.data(), "a\xFF");
    const zelkCharFilter onlyBytes = [](unsigned short code) {
        return static_cast<unsigned short>(code > 0xFF ? 0 : code);
    };
    EXPECT_EQ(zelkFilterString(dst.data(), 10, "\x80\xFF", onlyBytes), 2U);
}

TYPED_TEST(Substrings, CutAtEveryStartAndCount) {
    const std::string characters = "abcde";
    const auto text = TypeParam::newPacket(0, withZero(units<TypeParam>(characters)).data());
    for (unsigned int start = 0; start < 8; ++start) {
        for (const unsigned int count : {0U, 1U, 2U, 3U, 5U, 6U, 10U, 65534U, 65535U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
            const auto cut = substr(text.get(), start, count, nullptr);
            if (start > characters.size()) {
                ASSERT_EQ(cut, nullptr);
                continue;
            }
            ASSERT_NE(cut, nullptr);
            const auto expected = units<TypeParam>(characters.substr(start, count));
            ASSERT_EQ(textOf(cut), expected);
            ASSERT_EQ(cut->chars[expected.size()], 0);
            ASSERT_EQ(cut->capacity, (count + 1) & 0xFFFFU);
        }
    }
    EXPECT_EQ(textOf(text), units<TypeParam>(characters));
}

TYPED_TEST(Substrings, AskedForTooMuchAreCut) {
    const auto text = TypeParam::newPacket(0, withZero(units<TypeParam>("abcde")).data());
    const auto cut = substr(text.get(), 3, 10, nullptr);
    EXPECT_EQ(cut->length, 2);
    EXPECT_EQ(cut->capacity, 11);
    EXPECT_EQ(substr(text.get(), 6, 1, nullptr), nullptr);
    EXPECT_EQ(substr(text.get(), 5, 1, nullptr)->length, 0);
    for (const unsigned int start : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(substr(text.get(), start, 1, nullptr), nullptr);
        EXPECT_EQ(substr(text.get(), start, 0xFFFFFFFFU, nullptr), nullptr);
        EXPECT_EQ(substr(text.get(), start, 1, withZero(units<TypeParam>("x")).data()), nullptr);
    }
}

// A packet is made for the count modulo 65,536; a stretch that does not fit it gives null.
TYPED_TEST(Substrings, NeverOutgrowTheirPacket) {
    const auto text = TypeParam::newPacket(0, withZero(units<TypeParam>("abcde")).data());
    EXPECT_EQ(substr(text.get(), 0, 0x10000, nullptr), nullptr);
    EXPECT_EQ(substr(text.get(), 0, 0x10004, nullptr), nullptr);
    const auto fits = substr(text.get(), 0, 0x10005, nullptr);
    ASSERT_NE(fits, nullptr);
    EXPECT_EQ(fits->capacity, 6);
    EXPECT_EQ(textOf(fits), units<TypeParam>("abcde"));
    EXPECT_EQ(substr(text.get(), 5, 0x10000, nullptr)->length, 0);
}

TYPED_TEST(Substrings, AreReplacedAtEveryStartAndCount) {
    const std::string characters = "abcdef";
    const auto text = TypeParam::newPacket(0, withZero(units<TypeParam>(characters)).data());
    for (const std::string replacement : {"", "X", "XYZ", "a longer replacement"}) {
        for (unsigned int start = 0; start <= characters.size(); ++start) {
            for (const unsigned int count : {0U, 1U, 2U, 5U, 6U, 7U, 65536U, 0x80000000U, 0xFFFFFFFFU}) {
                std::string expected = characters;
                expected.replace(start, count, replacement);
                const auto replaced = substr(text.get(), start, count, withZero(units<TypeParam>(replacement)).data());
                ASSERT_NE(replaced, nullptr);
                ASSERT_EQ(textOf(replaced), units<TypeParam>(expected));
                ASSERT_EQ(replaced->chars[expected.size()], 0);
                ASSERT_EQ(replaced->capacity, expected.size() + 1);
            }
        }
    }
    EXPECT_EQ(textOf(text), units<TypeParam>(characters));
    const auto aXYZdef = substr(text.get(), 1, 2, withZero(units<TypeParam>("XYZ")).data());
    EXPECT_EQ(textOf(aXYZdef), units<TypeParam>("aXYZdef"));
}

TYPED_TEST(Substrings, AreReplacedUpToTheLargestLength) {
    const auto text = TypeParam::newPacket(0, withZero(units<TypeParam>("abcdef")).data());
    const auto replacement = [](std::size_t length) { return withZero(units<TypeParam>(std::string(length, 'x'))); };
    const auto largest = substr(text.get(), 1, 2, replacement(65531).data());
    ASSERT_NE(largest, nullptr);
    EXPECT_EQ(largest->length, 65535);
    EXPECT_EQ(largest->capacity, 0);
    EXPECT_EQ(textOf(largest), units<TypeParam>("a" + std::string(65531, 'x') + "def"));
    EXPECT_EQ(largest->chars[65535], 0);
    EXPECT_EQ(substr(text.get(), 1, 2, replacement(65532).data()), nullptr);
    EXPECT_EQ(substr(text.get(), 0, 6, replacement(70000).data()), nullptr);
    EXPECT_EQ(textOf(substr(largest.get(), 65533, 100, nullptr)), units<TypeParam>("ef"));
}

TYPED_TEST(Substrings, TreatZerosInsideTheLengthAsText) {
    const auto text = TypeParam::newPacket(0, withZero(units<TypeParam>("abcd")).data());
    text->chars[1] = 0;
    EXPECT_EQ(textOf(substr(text.get(), 0, 3, nullptr)), units<TypeParam>(std::string_view("a\0c", 3)));
    EXPECT_EQ(textOf(substr(text.get(), 2, 1, withZero(units<TypeParam>("X")).data())),
              units<TypeParam>(std::string_view("a\0Xd", 4)));
}

TYPED_TEST(Substrings, OfNullAreNull) {
    const typename TypeParam::Packet *const none = nullptr;
    EXPECT_EQ(substr(none, 0, 1, nullptr), nullptr);
    EXPECT_EQ(substr(none, 0, 1, withZero(units<TypeParam>("x")).data()), nullptr);
}

TEST(BitReversal, TableIsRight) {
    for (unsigned int byte = 0; byte < 256; ++byte) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            ASSERT_EQ(zelk_bitsRevSeqTab[byte] >> (7 - bit) & 1U, byte >> bit & 1U);
        }
    }
    EXPECT_EQ(zelk_bitsRevSeqTab[0x01], 0x80);
    EXPECT_EQ(zelk_bitsRevSeqTab[0x02], 0x40);
    EXPECT_EQ(zelk_bitsRevSeqTab[0x03], 0xC0);
}

TEST(BitReversal, WorksOnSequencesAndInPlace) {
    const std::string text = bytes("01 F0");
    Guarded<unsigned char> dst(2);
    EXPECT_EQ(zelk_bitsRevertSequence(dst.data(), u8(text), 2), 2);
    EXPECT_EQ(dst[0], 0x80);
    EXPECT_EQ(dst[1], 0x0F);
    EXPECT_EQ(zelk_bitsRevertSequence(dst.data(), dst.data(), 2), 2);
    EXPECT_EQ(dst[0], 0x01);
    EXPECT_EQ(dst[1], 0xF0);
}

TEST(BitReversal, WritesNothingForNothing) {
    Guarded<unsigned char> dst(4);
    EXPECT_EQ(zelk_bitsRevertSequence(dst.data(), nullptr, 2), 0);
    EXPECT_EQ(zelk_bitsRevertSequence(dst.data(), u8("ab"), 0), 0);
    EXPECT_EQ(zelk_bitsRevertSequence(dst.data(), u8("ab"), -1), 0);
    EXPECT_EQ(zelk_bitsRevertSequence(dst.data(), u8("ab"), INT_MIN), 0);
    EXPECT_TRUE(dst.untouched());
}
