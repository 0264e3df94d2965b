// The counts of clean.h: 16 bytes at a time in the vectors that compilers have for every machine, and 64 with AVX-512,
// since libmurn-zelk decodes with it and the counts must not take longer than that.
#include "clean.h"

#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) && defined(__gnu_linux__)
#define ZELK_INSIGHT_AVX512 1
#include <immintrin.h>
#endif

namespace zelk::insight {
namespace {

using Lanes = std::uint8_t __attribute__((vector_size(16)));
using Signed = std::int8_t __attribute__((vector_size(16)));

std::size_t sumOf(Lanes lanes) {
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
Lanes onesOf(Signed holds) {
    return -reinterpret_cast<Lanes>(holds);
}

constexpr std::size_t blockSize = sizeof(Lanes);
constexpr std::size_t mostBlocks = 255; // that a lane of eight bits can count

// Calls visit(block) for all blocks, the last one filled up, and flush() before a lane overflows and at the end.
template <class Visit, class Flush>
void forEachBlock(const void *bytes, std::size_t count, unsigned char filler, Visit visit, Flush flush) {
    const auto *at = static_cast<const unsigned char *>(bytes);
    while (count != 0) {
        for (std::size_t blocks = 0; blocks < mostBlocks && count != 0; ++blocks) {
            Lanes block;
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

Bytes kindOfPortable(const unsigned char *bytes, std::size_t count) {
    Signed beyond{};
    Signed other{};
    forEachBlock(
        bytes, count, graphicFiller,
        [&](Lanes block) {
            const Signed here = block - 0x20 >= 0x5F;
            beyond |= here;
            other |= here & (block < 0xA0);
        },
        [] {});
    return !anyOf(beyond) ? Bytes::Ascii : !anyOf(other) ? Bytes::Graphic : Bytes::Other;
}

Bytes copyAsciiPortable(char *out, const unsigned char *bytes, std::size_t count) {
    const Bytes kind = kindOfPortable(bytes, count);
    if (kind == Bytes::Ascii) { // another text may be shorter, and what follows it keeps its value
        std::memcpy(out, bytes, count);
    }
    return kind;
}

bool isPlainTwoBytePortable(const unsigned char *bytes, std::size_t count) {
    using Units = std::uint16_t __attribute__((vector_size(16)));
    using SignedUnits = std::int16_t __attribute__((vector_size(16)));
    constexpr unsigned char filler = 0x61; // U+6161
    SignedUnits other{};
    forEachBlock(
        bytes, count, filler,
        [&](Lanes block) {
            const auto stored = reinterpret_cast<Units>(block);
            constexpr bool swapped = std::endian::native == std::endian::little;
            const Units units = swapped ? stored << 8 | stored >> 8 : stored;
            other |= (units - 0x20 >= 0xD7E0) | (units - 0x7F < 0x21);
        },
        [] {});
    return !anyOf(reinterpret_cast<Signed>(other));
}

std::uint64_t highBytesPortable(const unsigned char *bytes, std::size_t count) {
    std::uint64_t places = 0;
    for (std::size_t at = 0; at < count; ++at) {
        places |= static_cast<std::uint64_t>(bytes[at] >> 7U) << at;
    }
    return places;
}

bool copyUtf8Portable(char * /*out*/, const unsigned char * /*bytes*/, std::size_t /*count*/) {
    return false;
}

// Of the bytes of a string in a single-byte table.
struct StringCounts {
    std::size_t high = 0;  // 0x80 and more
    std::size_t marks = 0; // 0xC1 to 0xCF, the marks of ISO/IEC 6937 among them
    bool controls = false; // whether any is below 0x20 or 0x7F
};

// Of the bytes of its text in UTF-8.
struct TextCounts {
    std::size_t continuations = 0; // bytes that begin no character
    std::size_t high = 0;          // bytes of 0x80 and more, those among them
    std::size_t controls = 0;      // below 0x20
    bool rare = false;             // whether any is 0xED or 0xEF, with which surrogates and U+FFFD begin
};

StringCounts countStringPortable(const unsigned char *bytes, std::size_t count) {
    StringCounts counts;
    Lanes high{};
    Lanes marks{};
    Signed controls{};
    forEachBlock(
        bytes, count, graphicFiller,
        [&](Lanes block) {
            high += block >> 7;
            marks += onesOf(block - 0xC1 < 0x0F);
            controls |= (block < 0x20) | (block == 0x7F);
        },
        [&] {
            counts.high += sumOf(high);
            counts.marks += sumOf(marks);
            high = marks = Lanes{};
        });
    counts.controls = anyOf(controls);
    return counts;
}

TextCounts countTextPortable(const char *bytes, std::size_t count) {
    TextCounts counts;
    Lanes continuations{};
    Lanes high{};
    Lanes controls{};
    Signed rare{};
    forEachBlock(
        bytes, count, graphicFiller,
        [&](Lanes block) {
            continuations += onesOf(block - 0x80 < 0x40);
            high += block >> 7;
            controls += onesOf(block < 0x20);
            rare |= (block | 2) == 0xEF;
        },
        [&] {
            counts.continuations += sumOf(continuations);
            counts.high += sumOf(high);
            counts.controls += sumOf(controls);
            continuations = high = controls = Lanes{};
        });
    counts.rare = anyOf(rare);
    return counts;
}

// By the two sums: with all bytes of 0x80 and more accounted for by characters beyond ASCII, none of them was dropped;
// and then a mark that stands alone gives a character too many.
template <class Count>
inline bool isWhole(const TextCounts &out, std::size_t length, std::size_t count, bool marks, Count countOfString) {
    const std::size_t characters = length - out.continuations;
    if (out.rare || !marks) {
        return !out.rare && characters == count;
    }
    const StringCounts string = countOfString();
    const std::size_t highCharacters = out.high - out.continuations;
    return !string.controls && highCharacters + out.controls == string.high && characters == count - string.marks;
}

bool isWholeTableTextPortable(const unsigned char *bytes, std::size_t count, const char *text, std::size_t length,
                              bool marks) {
    return isWhole(countTextPortable(text, length), length, count, marks,
                   [=] { return countStringPortable(bytes, count); });
}

bool isWholeTextPortable(const char *text, std::size_t length, std::size_t characters) {
    const TextCounts out = countTextPortable(text, length);
    return !out.rare && length - out.continuations == characters;
}

bool isSameUtf8Portable(const unsigned char *bytes, const char *text, std::size_t count) {
    return std::memcmp(bytes, text, count) == 0 && std::memchr(text, 0xED, count) == nullptr;
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

[[ZELK_INSIGHT_TARGET]] inline __m512i allUnits(unsigned int unit) {
    return _mm512_set1_epi16(static_cast<short>(unit));
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

[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline std::uint64_t beyondAscii(__m512i block) {
    return _mm512_cmpge_epu8_mask(_mm512_sub_epi8(block, all(0x20)), all(graphicPlaces));
}

[[ZELK_INSIGHT_TARGET]] Bytes kindOfAvx512(const unsigned char *bytes, std::size_t count) {
    std::uint64_t beyond = 0;
    std::uint64_t other = 0;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,popcnt"))) {
            const std::uint64_t here = valid & beyondAscii(block);
            beyond |= here;
            other |= _mm512_mask_cmplt_epu8_mask(here, block, all(0xA0));
            return true;
        });
    return beyond == 0 ? Bytes::Ascii : other == 0 ? Bytes::Graphic : Bytes::Other;
}

[[ZELK_INSIGHT_TARGET]] Bytes copyAsciiAvx512(char *out, const unsigned char *bytes, std::size_t count) {
    for (; count >= 64; count -= 64, bytes += 64, out += 64) {
        const __m512i block = _mm512_loadu_si512(bytes);
        if (beyondAscii(block) != 0) {
            return kindOfAvx512(bytes, count);
        }
        _mm512_storeu_si512(out, block);
    }
    const std::uint64_t valid = (std::uint64_t{1} << count) - 1;
    const __m512i block = _mm512_maskz_loadu_epi8(valid, bytes);
    const std::uint64_t beyond = valid & beyondAscii(block);
    if (beyond == 0) {
        _mm512_mask_storeu_epi8(out, valid, block);
        return Bytes::Ascii;
    }
    return _mm512_mask_cmplt_epu8_mask(beyond, block, all(0xA0)) == 0 ? Bytes::Graphic : Bytes::Other;
}

[[ZELK_INSIGHT_TARGET]] std::uint64_t highBytesAvx512(const unsigned char *bytes, std::size_t count) {
    const std::uint64_t valid = count < 64 ? (std::uint64_t{1} << count) - 1 : ~std::uint64_t{0};
    return _mm512_movepi8_mask(_mm512_maskz_loadu_epi8(valid, bytes));
}

[[ZELK_INSIGHT_TARGET]] bool isPlainTwoByteAvx512(const unsigned char *bytes, std::size_t count) {
    std::uint32_t other = 0;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,popcnt"))) {
            const __m512i units = _mm512_or_si512(_mm512_slli_epi16(block, 8), _mm512_srli_epi16(block, 8));
            const std::uint32_t plain =
                _mm512_cmplt_epu16_mask(_mm512_sub_epi16(units, allUnits(0x20)), allUnits(0xD7E0)) &
                _mm512_cmpge_epu16_mask(_mm512_sub_epi16(units, allUnits(0x7F)), allUnits(0x21));
            const auto pairs = static_cast<std::uint32_t>(__builtin_popcountll(valid) / 2);
            other |= ~plain & (pairs == 32 ? ~std::uint32_t{0} : (std::uint32_t{1} << pairs) - 1);
            return true;
        });
    return other == 0;
}

// Leads and the bytes that they ask for, as bits; what a block asks of the next one is carried over.
[[ZELK_INSIGHT_TARGET]] bool copyUtf8Avx512(char *out, const unsigned char *bytes, std::size_t count) {
    std::uint64_t wanted = 0;
    std::uint64_t atC2 = 0; // whether the byte before the block is this one
    std::uint64_t atE0 = 0;
    std::uint64_t other = 0;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,popcnt"))) {
            const std::uint64_t high = _mm512_movepi8_mask(block);
            const std::uint64_t continuation = _mm512_cmplt_epi8_mask(block, all(0xC0));
            const std::uint64_t lead = high & ~continuation;
            const std::uint64_t lead3 = _mm512_mask_cmpge_epu8_mask(lead, block, all(0xE0));
            const std::uint64_t c2 = _mm512_cmpeq_epi8_mask(block, all(0xC2));
            const std::uint64_t e0 = _mm512_cmpeq_epi8_mask(block, all(0xE0));
            const std::uint64_t belowA0 = _mm512_mask_cmplt_epu8_mask(continuation, block, all(0xA0));
            // Overlong forms, surrogates (0xED), images of control codes (0xEE), and what is above U+FFFF.
            other |= _mm512_mask_cmplt_epu8_mask(lead, block, all(0xC2)) |
                     _mm512_mask_cmpge_epu8_mask(lead, block, all(0xF0)) |
                     _mm512_cmpge_epu8_mask(all(1), _mm512_sub_epi8(block, all(0xED)));
            other |= valid & beyondAscii(block) & ~high;
            other |= ((c2 << 1U | atC2) | (e0 << 1U | atE0)) & belowA0;
            other |= (lead << 1U | lead3 << 2U | wanted) ^ continuation;
            wanted = lead >> 63U | lead3 >> 62U;
            atC2 = c2 >> 63U;
            atE0 = e0 >> 63U;
            return true;
        });
    const bool good = other == 0 && wanted == 0;
    if (good) { // another text may be shorter, and what follows it keeps its value
        std::memcpy(out, bytes, count);
    }
    return good;
}

[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline StringCounts countStringAvx512(const unsigned char *bytes,
                                                                                  std::size_t count) {
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

[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline TextCounts countTextAvx512(const char *bytes, std::size_t count) {
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

[[ZELK_INSIGHT_TARGET]] bool isSameUtf8Avx512(const unsigned char *bytes, const char *text, std::size_t count) {
    std::uint64_t other = 0;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,popcnt"))) {
            const __m512i same = _mm512_maskz_loadu_epi8(valid, text);
            text += 64;
            other |= _mm512_cmpneq_epi8_mask(block, same) | _mm512_cmpeq_epi8_mask(block, all(0xED));
            return true;
        });
    return other == 0;
}

[[ZELK_INSIGHT_TARGET]] bool isWholeTableTextAvx512(const unsigned char *bytes, std::size_t count, const char *text,
                                                    std::size_t length, bool marks) {
    return isWhole(
        countTextAvx512(text, length), length, count,
        marks, [=]() __attribute__((target("avx512bw,popcnt"))) { return countStringAvx512(bytes, count); });
}

[[ZELK_INSIGHT_TARGET]] bool isWholeTextAvx512(const char *text, std::size_t length, std::size_t characters) {
    const TextCounts out = countTextAvx512(text, length);
    return !out.rare && length - out.continuations == characters;
}

#define ZELK_INSIGHT_CHOOSE(function, ...)                                                                             \
    (hasAvx512() ? function##Avx512(__VA_ARGS__) : function##Portable(__VA_ARGS__))
#else
#define ZELK_INSIGHT_CHOOSE(function, ...) function##Portable(__VA_ARGS__)
#endif

} // namespace

Bytes copyAscii(char *out, const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(copyAscii, out, bytes, count);
}

Bytes kindOf(const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(kindOf, bytes, count);
}

bool copyUtf8(char *out, const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(copyUtf8, out, bytes, count);
}

bool isPlainTwoByte(const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(isPlainTwoByte, bytes, count);
}

std::uint64_t highBytes(const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(highBytes, bytes, count);
}

bool isWholeTableText(const unsigned char *bytes, std::size_t count, const char *text, std::size_t length, bool marks) {
    return ZELK_INSIGHT_CHOOSE(isWholeTableText, bytes, count, text, length, marks);
}

bool isWholeText(const char *text, std::size_t length, std::size_t characters) {
    return ZELK_INSIGHT_CHOOSE(isWholeText, text, length, characters);
}

bool isSameUtf8(const unsigned char *bytes, const char *text, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(isSameUtf8, bytes, text, count);
}

} // namespace zelk::insight
