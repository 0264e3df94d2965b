// Packets, joins, bounded copies and lengths. Block sizes are exact under AddressSanitizer, whose allocator reports the
// size that was asked for.
#include "zelk.h"

#include "helpers/guarded.h"
#include "helpers/text.h"
#include "helpers/twins.h"

#include <algorithm>
#include <climits>
#include <malloc.h>

using namespace zelk_test;

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool exactBlocks = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool exactBlocks = true;
#else
constexpr bool exactBlocks = false;
#endif
#else
constexpr bool exactBlocks = false;
#endif

std::size_t blockBytes(const CharPacket *, std::size_t size) {
    return size + 6;
}

std::size_t blockBytes(const WideCharPacket *, std::size_t size) {
    return (size + 3) * 2;
}

template <class Packet>
void expectBlock(const Owned<Packet> &packet, std::size_t size) {
    const std::size_t bytes = blockBytes(packet.get(), size);
    if (exactBlocks) {
        EXPECT_EQ(malloc_usable_size(packet.get()), bytes);
    } else {
        EXPECT_GE(malloc_usable_size(packet.get()), bytes);
    }
    reinterpret_cast<volatile char *>(packet.get())[bytes - 1] = 0;
}

template <class Twin>
class Packets : public ::testing::Test {};
TYPED_TEST_SUITE(Packets, Twins);

CharPacket *cons(const char *a, const char *b, const char *c) {
    return zelkConsCharPacket(a, b, c, static_cast<const char *>(nullptr));
}

WideCharPacket *cons(const unsigned short *a, const unsigned short *b, const unsigned short *c) {
    return zelkConsWideCharPacket(a, b, c, static_cast<const unsigned short *>(nullptr));
}

CharPacket *cat(const CharPacket *a, const CharPacket *b, const CharPacket *c) {
    return zelkCatCharPackets(a, b, c, static_cast<const CharPacket *>(nullptr));
}

WideCharPacket *cat(const WideCharPacket *a, const WideCharPacket *b, const WideCharPacket *c) {
    return zelkCatWideCharPackets(a, b, c, static_cast<const WideCharPacket *>(nullptr));
}

template <class Twin>
std::vector<typename Twin::Unit> repeated(std::size_t count) {
    return std::vector<typename Twin::Unit>(count, static_cast<typename Twin::Unit>('x'));
}

} // namespace

TYPED_TEST(Packets, WithoutTextAreEmptyAndHaveRoom) {
    for (const int size : {0, 1, 2, 5, 255, 256, 32767, 65534, 65535}) {
        const auto packet = TypeParam::newPacket(static_cast<unsigned short>(size), nullptr);
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(packet->capacity, (size + 1) & 0xFFFF);
        EXPECT_EQ(packet->length, 0);
        EXPECT_EQ(packet->chars[0], 0);
        expectBlock(packet, static_cast<std::size_t>(size));
    }
}

TYPED_TEST(Packets, OfSizeZeroTakeTheWholeText) {
    for (const std::size_t length : {0U, 1U, 3U, 255U, 65534U}) {
        const auto text = repeated<TypeParam>(length);
        const auto packet = TypeParam::newPacket(0, withZero(text).data());
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(packet->capacity, length + 1);
        EXPECT_EQ(textOf(packet), text);
        EXPECT_EQ(packet->chars[length], 0);
        expectBlock(packet, length);
    }
    const auto abc = TypeParam::newPacket(0, withZero(units<TypeParam>("abc")).data());
    EXPECT_EQ(abc->capacity, 4);
    EXPECT_EQ(textOf(abc), units<TypeParam>("abc"));
}

TYPED_TEST(Packets, OfSizeZeroDropATextThatIsTooLong) {
    for (const std::size_t length : {65535U, 65536U, 65537U, 70000U}) {
        const auto packet = TypeParam::newPacket(0, withZero(repeated<TypeParam>(length)).data());
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(packet->capacity, 1);
        EXPECT_EQ(packet->length, 0);
        EXPECT_EQ(packet->chars[0], 0);
        expectBlock(packet, 0);
    }
}

TYPED_TEST(Packets, OfAGivenSizeCutTheText) {
    const auto text = units<TypeParam>("abcdefgh");
    for (unsigned short size = 1; size < 12; ++size) {
        const auto packet = TypeParam::newPacket(size, withZero(text).data());
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(packet->capacity, size + 1);
        const auto kept = static_cast<std::ptrdiff_t>(std::min<std::size_t>(size, text.size()));
        EXPECT_EQ(textOf(packet), decltype(text)(text.begin(), text.begin() + kept));
        EXPECT_EQ(packet->chars[kept], 0);
        expectBlock(packet, static_cast<std::size_t>(size));
    }
    const auto longest = TypeParam::newPacket(65534, withZero(repeated<TypeParam>(70000)).data());
    EXPECT_EQ(longest->capacity, 65535);
    EXPECT_EQ(textOf(longest), repeated<TypeParam>(65534));
    EXPECT_EQ(longest->chars[65534], 0);
}

TYPED_TEST(Packets, OfTheLargestSizeRefuseTheText) {
    const auto packet = TypeParam::newPacket(65535, withZero(units<TypeParam>("abc")).data());
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->capacity, 0);
    EXPECT_EQ(packet->length, 0);
    expectBlock(packet, 65535);
}

TYPED_TEST(Packets, JoinTexts) {
    const auto abc = withZero(units<TypeParam>("abc"));
    const auto none = withZero(units<TypeParam>(""));
    const auto defg = withZero(units<TypeParam>("defg"));
    const Owned<typename TypeParam::Packet> joined(cons(abc.data(), none.data(), defg.data()));
    ASSERT_NE(joined, nullptr);
    EXPECT_EQ(joined->capacity, 8);
    EXPECT_EQ(textOf(joined), units<TypeParam>("abcdefg"));
    EXPECT_EQ(joined->chars[7], 0);
    expectBlock(joined, 7);

    const typename TypeParam::Unit *const end = nullptr;
    const Owned<typename TypeParam::Packet> first(cons(defg.data(), end, abc.data()));
    EXPECT_EQ(textOf(first), units<TypeParam>("defg"));
    EXPECT_EQ(cons(end, abc.data(), abc.data()), nullptr);

    const Owned<typename TypeParam::Packet> empty(cons(none.data(), none.data(), none.data()));
    EXPECT_EQ(empty->capacity, 1);
    EXPECT_EQ(empty->length, 0);
    EXPECT_EQ(empty->chars[0], 0);
}

TYPED_TEST(Packets, JoinTextsUpToTheLargestLength) {
    const auto half = withZero(repeated<TypeParam>(32767));
    const auto one = withZero(repeated<TypeParam>(1));
    const auto two = withZero(repeated<TypeParam>(2));
    const auto none = withZero(repeated<TypeParam>(0));
    const Owned<typename TypeParam::Packet> largest(cons(half.data(), half.data(), one.data()));
    ASSERT_NE(largest, nullptr);
    EXPECT_EQ(largest->capacity, 0);
    EXPECT_EQ(textOf(largest), repeated<TypeParam>(65535));
    EXPECT_EQ(largest->chars[65535], 0);
    expectBlock(largest, 65535);

    const auto tooLong = withZero(repeated<TypeParam>(70000));
    EXPECT_EQ(cons(half.data(), half.data(), two.data()), nullptr);
    EXPECT_EQ(cons(tooLong.data(), none.data(), none.data()), nullptr);
    EXPECT_EQ(cons(tooLong.data(), tooLong.data(), tooLong.data()), nullptr);
}

TYPED_TEST(Packets, JoinPackets) {
    const auto abc = TypeParam::newPacket(20, withZero(units<TypeParam>("abc")).data());
    const auto zeros = TypeParam::newPacket(4, withZero(units<TypeParam>("wxyz")).data());
    zeros->chars[1] = 0;
    const auto none = TypeParam::newPacket(0, nullptr);
    const Owned<typename TypeParam::Packet> joined(cat(abc.get(), none.get(), zeros.get()));
    ASSERT_NE(joined, nullptr);
    EXPECT_EQ(joined->capacity, 8);
    EXPECT_EQ(joined->length, 7);
    EXPECT_EQ(textOf(joined), units<TypeParam>(std::string_view("abcw\0yz", 7)));
    EXPECT_EQ(joined->chars[7], 0);
    expectBlock(joined, 7);

    EXPECT_EQ(abc->capacity, 21);
    EXPECT_EQ(textOf(abc), units<TypeParam>("abc"));
    EXPECT_EQ(textOf(zeros), units<TypeParam>(std::string_view("w\0yz", 4)));

    const typename TypeParam::Packet *const end = nullptr;
    const Owned<typename TypeParam::Packet> first(cat(abc.get(), end, zeros.get()));
    EXPECT_EQ(textOf(first), units<TypeParam>("abc"));
}

TYPED_TEST(Packets, JoinPacketsUpToTheLargestLength) {
    const auto half = TypeParam::newPacket(0, withZero(repeated<TypeParam>(32767)).data());
    const auto one = TypeParam::newPacket(0, withZero(repeated<TypeParam>(1)).data());
    const auto two = TypeParam::newPacket(0, withZero(repeated<TypeParam>(2)).data());
    const Owned<typename TypeParam::Packet> largest(cat(half.get(), half.get(), one.get()));
    ASSERT_NE(largest, nullptr);
    EXPECT_EQ(largest->capacity, 0);
    EXPECT_EQ(textOf(largest), repeated<TypeParam>(65535));
    EXPECT_EQ(largest->chars[65535], 0);
    EXPECT_EQ(cat(half.get(), half.get(), two.get()), nullptr);
    EXPECT_EQ(cat(largest.get(), largest.get(), largest.get()), nullptr);
}

TEST(PacketJoins, OfAnEmptyListDifferByWidth) {
    EXPECT_EQ(zelkCatCharPackets(nullptr), nullptr);
    EXPECT_EQ(zelkConsCharPacket(nullptr), nullptr);
    EXPECT_EQ(zelkConsWideCharPacket(nullptr), nullptr);
    const Owned<WideCharPacket> empty(zelkCatWideCharPackets(nullptr));
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->capacity, 1);
    EXPECT_EQ(empty->length, 0);
    EXPECT_EQ(empty->chars[0], 0);
    expectBlock(empty, 0);
}

namespace {

unsigned int copyText(char *dst, int size, const char *src, unsigned int max) {
    return zelk_strlcpy(dst, size, src, max);
}

unsigned int copyText(unsigned short *dst, int size, const unsigned short *src, unsigned int max) {
    return zelk_wstrlcpy(dst, size, src, max);
}

constexpr unsigned int noLimit = 0xFFFFFFFFU;

} // namespace

template <class Twin>
class Copies : public ::testing::Test {};
TYPED_TEST_SUITE(Copies, Twins);

TYPED_TEST(Copies, TakeTheLeastOfLengthCountAndRoom) {
    using Unit = typename TypeParam::Unit;
    const auto all = units<TypeParam>("hel\x80\xFFo");
    for (std::size_t length = 0; length <= all.size(); ++length) {
        const std::vector<Unit> text(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(length));
        for (int size = 1; size < 10; ++size) {
            for (const unsigned int max : {0U, 1U, 2U, 5U, 6U, 7U, 0x7FFFFFFFU, 0x80000000U, noLimit}) {
                Guarded<Unit> dst(static_cast<std::size_t>(size));
                const auto expected = std::min<std::size_t>({length, max, static_cast<std::size_t>(size) - 1});
                ASSERT_EQ(copyText(dst.data(), size, withZero(text).data(), max), expected);
                ASSERT_TRUE(std::equal(dst.data(), dst.data() + expected, text.begin()));
                ASSERT_EQ(dst[expected], 0);
                for (auto i = expected + 1; i < dst.size(); ++i) {
                    ASSERT_EQ(dst[i], Guarded<Unit>::pattern());
                }
            }
        }
    }
}

TYPED_TEST(Copies, TestTheCountBeforeTheNextUnit) {
    const auto text = std::make_unique<typename TypeParam::Unit[]>(3); // not terminated
    std::fill_n(text.get(), 3, static_cast<typename TypeParam::Unit>('a'));
    Guarded<typename TypeParam::Unit> dst(10);
    EXPECT_EQ(copyText(dst.data(), 10, text.get(), 3), 3U);
    EXPECT_EQ(copyText(dst.data(), 4, text.get(), noLimit), 3U);
    EXPECT_EQ(dst[3], 0);
}

TYPED_TEST(Copies, WriteNothingWithoutRoom) {
    const auto text = withZero(units<TypeParam>("hello"));
    Guarded<typename TypeParam::Unit> dst(4);
    for (const int size : {0, -1, INT_MIN}) {
        EXPECT_EQ(copyText(dst.data(), size, text.data(), noLimit), 0U);
        EXPECT_EQ(copyText(dst.data(), size, nullptr, noLimit), 0U);
        EXPECT_TRUE(dst.untouched());
    }
}

TYPED_TEST(Copies, TerminateForANullSource) {
    for (const int size : {1, 2, INT_MAX}) {
        Guarded<typename TypeParam::Unit> dst(2);
        EXPECT_EQ(copyText(dst.data(), size, nullptr, noLimit), 0U);
        EXPECT_EQ(dst[0], 0);
        EXPECT_EQ(dst[1], Guarded<typename TypeParam::Unit>::pattern());
    }
}

TYPED_TEST(Copies, TakeLongTexts) {
    const auto text = withZero(repeated<TypeParam>(70000));
    Guarded<typename TypeParam::Unit> dst(70001);
    EXPECT_EQ(copyText(dst.data(), INT_MAX, text.data(), noLimit), 70000U);
    EXPECT_TRUE(std::equal(text.begin(), text.end(), dst.data()));
}

TEST(ByteCopy, OfHelloFollowsCountAndSize) {
    Guarded<char> dst(10);
    EXPECT_EQ(zelk_strlcpy(dst.data(), 10, "hello", 0), 0U);
    EXPECT_STREQ(dst.data(), "");
    EXPECT_EQ(zelk_strlcpy(dst.data(), 10, "hello", 3), 3U);
    EXPECT_STREQ(dst.data(), "hel");
    EXPECT_EQ(zelk_strlcpy(dst.data(), 4, "hello", noLimit), 3U);
    EXPECT_STREQ(dst.data(), "hel");
}

// One by one and in order, wherever in the text its copy begins.
TYPED_TEST(Copies, GoOnWithWhatTheyHaveWrittenThemselves) {
    constexpr std::size_t place = 12;
    const auto text =
        units<TypeParam>(std::string(place, '.') + "abcdefgh" + std::string(1, '\0') + std::string(place, 'x'));
    for (std::size_t to = 0; to < 2 * place; ++to) {
        for (int size = 1; size < 10; ++size) {
            for (const unsigned int max : {0U, 1U, 3U, 8U, noLimit}) {
                auto expected = text;
                std::size_t count = 0;
                for (; count < std::min<std::size_t>(max, static_cast<std::size_t>(size) - 1); ++count) {
                    if (expected[place + count] == 0) {
                        break;
                    }
                    expected[to + count] = expected[place + count];
                }
                expected[to + count] = 0;
                auto copied = text;
                ASSERT_EQ(copyText(copied.data() + to, size, copied.data() + place, max), count);
                ASSERT_EQ(copied, expected) << to << ' ' << size << ' ' << max;
            }
        }
    }
}

TEST(PairCopy, ExchangesTheBytes) {
    const std::string text = bytes("00 41 30 AC 00 00");
    Guarded<unsigned char> dst(20);
    EXPECT_EQ(zelk_nawstrlcpy(dst.data(), 10, u8(text), noLimit), 2U);
    EXPECT_EQ(std::string(dst.data(), dst.data() + 6), bytes("41 00 AC 30 00 00"));
    EXPECT_EQ(dst[6], Guarded<unsigned char>::pattern());
}

TEST(PairCopy, TakesTheLeastOfLengthCountAndRoomAtAnyAlignment) {
    const std::string all = bytes("00 41 41 00 FF 80 00 01 30 AC");
    for (std::size_t length = 0; length <= 5; ++length) {
        for (std::size_t shift = 0; shift < 2; ++shift) {
            const std::string text = std::string(shift, 'x') + all.substr(0, length * 2) + std::string(2, '\0');
            for (int size = 1; size < 8; ++size) {
                for (const unsigned int max : {0U, 1U, 2U, 4U, 5U, 6U, noLimit}) {
                    Guarded<unsigned char> dst(static_cast<std::size_t>(size) * 2 + shift);
                    unsigned char *const out = dst.data() + shift;
                    const auto count = std::min<std::size_t>({length, max, static_cast<std::size_t>(size) - 1});
                    ASSERT_EQ(zelk_nawstrlcpy(out, size, u8(text) + shift, max), count);
                    for (std::size_t i = 0; i < count; ++i) {
                        ASSERT_EQ(out[2 * i], static_cast<unsigned char>(all[2 * i + 1]));
                        ASSERT_EQ(out[2 * i + 1], static_cast<unsigned char>(all[2 * i]));
                    }
                    ASSERT_EQ(out[2 * count], 0);
                    ASSERT_EQ(out[2 * count + 1], 0);
                }
            }
        }
    }
}

TEST(PairCopy, HandlesNullAndNoRoom) {
    Guarded<unsigned char> dst(4);
    for (const int size : {0, -1, INT_MIN}) {
        EXPECT_EQ(zelk_nawstrlcpy(dst.data(), size, u8(bytes("00 41 00 00")), noLimit), 0U);
        EXPECT_EQ(zelk_nawstrlcpy(dst.data(), size, nullptr, noLimit), 0U);
        EXPECT_TRUE(dst.untouched());
    }
    EXPECT_EQ(zelk_nawstrlcpy(dst.data(), 2, nullptr, noLimit), 0U);
    EXPECT_EQ(dst[0], 0);
    EXPECT_EQ(dst[1], 0);
    EXPECT_EQ(dst[2], Guarded<unsigned char>::pattern());
    const auto text = std::make_unique<unsigned char[]>(2); // not terminated
    text[1] = 'A';
    EXPECT_EQ(zelk_nawstrlcpy(dst.data(), 2, text.get(), 1), 1U);
    EXPECT_EQ(dst[0], 'A');
}

TEST(Lengths, CountUnitsBeforeTheTerminator) {
    EXPECT_EQ(zelk_wcslen(nullptr), 0U);
    EXPECT_EQ(zelk_wcslen(terminated({}).data()), 0U);
    EXPECT_EQ(zelk_wcslen(terminated({0x100, 0xFFFF, 1}).data()), 3U);
    EXPECT_EQ(zelk_wcslen(withZero(repeated<Wide>(70000)).data()), 70000U);
}

// Units that seem to be zero, whole or in part, before and after the text and in it, at every place in a word.
TEST(Lengths, CountUnitsAtEveryPlace) {
    for (const unsigned short around : terminated({0x0001, 0x00FF, 0x0100, 0x7FFF, 0x8000, 0xFFFF})) {
        for (const unsigned short unit : Units{0x0001, 0x0080, 0x0100, 0x7FFF, 0x8000, 0x8001, 0xFF00}) {
            for (std::size_t before = 0; before < 8; ++before) {
                for (std::size_t length = 0; length < 20; ++length) {
                    Units text(32, around);
                    std::fill_n(text.begin() + static_cast<std::ptrdiff_t>(before), length, unit);
                    text[before + length] = 0;
                    const unsigned short *const begin = text.data() + before;
                    ASSERT_EQ(zelk_wcslen(begin), length) << around << ' ' << unit << ' ' << before;
                    ASSERT_EQ(zelk_nawcslen(reinterpret_cast<const unsigned char *>(begin)), length);
                    for (unsigned int max = 0; max < 22; ++max) {
                        Guarded<unsigned short> copy(24);
                        ASSERT_EQ(zelk_wstrlcpy(copy.data(), 24, begin, max), std::min<std::size_t>(max, length));
                    }
                }
            }
        }
    }
}

TEST(Lengths, CountBytePairsBeforeAPairOfZeros) {
    EXPECT_EQ(zelk_nawcslen(nullptr), 0U);
    for (const std::string shift : {"", "x"}) {
        const auto length = [&](const std::string &text) { return zelk_nawcslen(u8(shift + text) + shift.size()); };
        EXPECT_EQ(length(bytes("00 00")), 0U);
        EXPECT_EQ(length(bytes("00 41 00 00")), 1U);
        EXPECT_EQ(length(bytes("41 00 00 41 00 00")), 2U);
        EXPECT_EQ(length(std::string(140000, 'x') + std::string(2, '\0')), 70000U);
    }
}

TEST(Expand, ZeroExtendsEveryByte) {
    std::string text;
    for (int byte = 1; byte < 256; ++byte) {
        text.push_back(static_cast<char>(byte));
    }
    for (int size = 1; size <= 258; ++size) {
        Guarded<unsigned short> dst(static_cast<std::size_t>(size));
        const auto count = static_cast<unsigned int>(std::min(size - 1, 255));
        ASSERT_EQ(zelk_expand(dst.data(), text.c_str(), size), count);
        for (unsigned int i = 0; i < count; ++i) {
            ASSERT_EQ(dst[i], i + 1);
        }
        ASSERT_EQ(dst[count], 0);
    }
}

TEST(Expand, TerminatesEvenWithoutRoom) {
    for (const int size : {1, 0, -1, INT_MIN}) {
        Guarded<unsigned short> dst(1);
        EXPECT_EQ(zelk_expand(dst.data(), "abc", size), 0U);
        EXPECT_EQ(dst[0], 0);
    }
    Guarded<unsigned short> dst(1);
    EXPECT_EQ(zelk_expand(dst.data(), nullptr, 10), 0U);
    EXPECT_EQ(dst[0], 0);
    Guarded<unsigned short> large(70001);
    EXPECT_EQ(zelk_expand(large.data(), std::string(70000, 'x').c_str(), INT_MAX), 70000U);
    EXPECT_EQ(large[70000], 0);
}
