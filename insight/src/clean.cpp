// The counts of clean.h: 16 bytes at a time in the vectors that compilers have for every machine, and 64 with AVX-512,
// since libmurn-zelk decodes with it and the counts must not take longer than that.
#include "clean.h"

#include <cstdint>
#include <cstring>

#if defined(__x86_64__) && defined(__gnu_linux__)
#define ZELK_INSIGHT_AVX512 1
#include <immintrin.h>
#endif

namespace zelk::insight {
namespace {

using Bytes = std::uint8_t __attribute__((vector_size(16)));
using Signed = std::int8_t __attribute__((vector_size(16)));

std::size_t sumOf(Bytes lanes) {
    std::uint64_t halves[2];
    std::memcpy(halves, &lanes, sizeof halves);
    std::size_t total = 0;
    for (const std::uint64_t half : halves) {
        constexpr std::uint64_t everySecond = 0x00FF00FF00FF00FF;
        const std::uint64_t pairs = (half & everySecond) + (half >> 8U & everySecond);
        total += static_cast<std::size_t>(pairs * 0x0001000100010001U >> 48U);
    }
    return total;
}

bool anyOf(Signed lanes) {
    std::uint64_t halves[2];
    std::memcpy(halves, &lanes, sizeof halves);
    return (halves[0] | halves[1]) != 0;
}

// A comparison gives 0xFF where it holds.
Bytes onesOf(Signed holds) {
    return -reinterpret_cast<Bytes>(holds);
}

constexpr std::size_t blockSize = sizeof(Bytes);
constexpr std::size_t mostBlocks = 255; // that a lane of eight bits can count

// Calls visit(block) for all blocks, the last one filled up, and flush() before a lane overflows and at the end.
template <class Visit, class Flush>
void forEachBlock(const void *bytes, std::size_t count, unsigned char filler, Visit visit, Flush flush) {
    const auto *at = static_cast<const unsigned char *>(bytes);
    while (count != 0) {
        for (std::size_t blocks = 0; blocks < mostBlocks && count != 0; ++blocks) {
            Bytes block;
            const std::size_t used = count < blockSize ? count : blockSize;
            if (used < blockSize) {
                std::memset(&block, filler, sizeof block);
            }
            std::memcpy(&block, at, used);
            visit(block);
            at += used;
            count -= used;
        }
        flush();
    }
}

// What a block is filled up with is counted by nothing.
constexpr unsigned char graphicFiller = 'A';

bool isGraphicAsciiPortable(const unsigned char *bytes, std::size_t count) {
    Signed other{};
    forEachBlock(
        bytes, count, graphicFiller, [&](Bytes block) { other |= block - 0x20 >= 0x5F; }, [] {});
    return !anyOf(other);
}

bool isGraphicPortable(const unsigned char *bytes, std::size_t count) {
    Signed other{};
    forEachBlock(
        bytes, count, graphicFiller, [&](Bytes block) { other |= (block - 0x20 >= 0x5F) & (block < 0xA0); }, [] {});
    return !anyOf(other);
}

StringCounts countStringPortable(const unsigned char *bytes, std::size_t count) {
    StringCounts counts;
    Bytes high{};
    Bytes marks{};
    Signed controls{};
    forEachBlock(
        bytes, count, graphicFiller,
        [&](Bytes block) {
            high += block >> 7;
            marks += onesOf(block - 0xC1 < 0x0F);
            controls |= (block < 0x20) | (block == 0x7F);
        },
        [&] {
            counts.high += sumOf(high);
            counts.marks += sumOf(marks);
            high = marks = Bytes{};
        });
    counts.controls = anyOf(controls);
    return counts;
}

TextCounts countTextPortable(const char *bytes, std::size_t count) {
    TextCounts counts;
    Bytes continuations{};
    Bytes high{};
    Bytes controls{};
    Signed rare{};
    forEachBlock(
        bytes, count, graphicFiller,
        [&](Bytes block) {
            continuations += onesOf(block - 0x80 < 0x40);
            high += block >> 7;
            controls += onesOf(block < 0x20);
            rare |= (block | 2) == 0xEF;
        },
        [&] {
            counts.continuations += sumOf(continuations);
            counts.high += sumOf(high);
            counts.controls += sumOf(controls);
            continuations = high = controls = Bytes{};
        });
    counts.rare = anyOf(rare);
    return counts;
}

#if defined(ZELK_INSIGHT_AVX512)

#define ZELK_INSIGHT_TARGET gnu::target("avx512bw,popcnt")

bool hasAvx512() {
    return __builtin_cpu_supports("avx512bw") != 0;
}

[[ZELK_INSIGHT_TARGET]] inline std::size_t ones(std::uint64_t mask) {
    return static_cast<std::size_t>(__builtin_popcountll(mask));
}

[[ZELK_INSIGHT_TARGET]] inline __m512i all(unsigned int byte) {
    return _mm512_set1_epi8(static_cast<char>(byte));
}

// Calls visit(block, valid) for all blocks until it returns false; `valid` has a bit for each byte that is one of the
// text, and the others are zero.
template <class Visit>
[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline void forEachWideBlock(const void *bytes, std::size_t count,
                                                                         Visit visit) {
    const auto *at = static_cast<const char *>(bytes);
    for (; count >= 64; count -= 64, at += 64) {
        if (!visit(_mm512_loadu_si512(at), ~std::uint64_t{0})) {
            return;
        }
    }
    if (count != 0) {
        const std::uint64_t valid = (std::uint64_t{1} << count) - 1;
        visit(_mm512_maskz_loadu_epi8(valid, at), valid);
    }
}

// The graphic characters of ASCII, from 0x20 on.
constexpr unsigned int graphicPlaces = 0x5F;

[[ZELK_INSIGHT_TARGET]] bool isGraphicAsciiAvx512(const unsigned char *bytes, std::size_t count) {
    std::uint64_t other = 0;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,popcnt"))) {
            other |= valid & _mm512_cmpge_epu8_mask(_mm512_sub_epi8(block, all(0x20)), all(graphicPlaces));
            return other == 0;
        });
    return other == 0;
}

[[ZELK_INSIGHT_TARGET]] bool isGraphicAvx512(const unsigned char *bytes, std::size_t count) {
    std::uint64_t other = 0;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,popcnt"))) {
            other |= _mm512_mask_cmplt_epu8_mask(
                valid & _mm512_cmpge_epu8_mask(_mm512_sub_epi8(block, all(0x20)), all(graphicPlaces)), block,
                all(0xA0));
            return true;
        });
    return other == 0;
}

[[ZELK_INSIGHT_TARGET]] StringCounts countStringAvx512(const unsigned char *bytes, std::size_t count) {
    StringCounts counts;
    std::uint64_t controls = 0;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,popcnt"))) {
            const std::uint64_t high = _mm512_movepi8_mask(block);
            counts.high += ones(high);
            counts.marks += ones(_mm512_cmplt_epu8_mask(_mm512_sub_epi8(block, all(0xC1)), all(0x0F)));
            const std::uint64_t graphic = _mm512_cmplt_epu8_mask(_mm512_sub_epi8(block, all(0x20)), all(0x5F));
            controls |= valid & ~(graphic | high);
            return true;
        });
    counts.controls = controls != 0;
    return counts;
}

[[ZELK_INSIGHT_TARGET]] TextCounts countTextAvx512(const char *bytes, std::size_t count) {
    TextCounts counts;
    std::uint64_t rare = 0;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,popcnt"))) {
            counts.continuations += ones(_mm512_cmplt_epi8_mask(block, all(0xC0)));
            counts.high += ones(_mm512_movepi8_mask(block));
            counts.controls += ones(valid & _mm512_cmplt_epu8_mask(block, all(0x20)));
            rare |= _mm512_cmpeq_epi8_mask(_mm512_or_si512(block, all(0x02)), all(0xEF));
            return true;
        });
    counts.rare = rare != 0;
    return counts;
}

#define ZELK_INSIGHT_CHOOSE(function, ...)                                                                             \
    (hasAvx512() ? function##Avx512(__VA_ARGS__) : function##Portable(__VA_ARGS__))
#else
#define ZELK_INSIGHT_CHOOSE(function, ...) function##Portable(__VA_ARGS__)
#endif

} // namespace

bool isGraphicAscii(const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(isGraphicAscii, bytes, count);
}

bool isGraphic(const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(isGraphic, bytes, count);
}

StringCounts countString(const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(countString, bytes, count);
}

TextCounts countText(const char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(countText, bytes, count);
}

} // namespace zelk::insight
