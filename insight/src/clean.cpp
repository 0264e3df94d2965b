// The counts of clean.h: 16 bytes at a time in the vectors that compilers have for every machine, and 64 with AVX-512,
// since libmurn-zelk decodes with it and the counts must not take longer than that.
#include "clean.h"
#include "decode.h"
#include "reading.h"

#include "detail/dvb_select.h"
#include "tables/byte_set_definitions.h"
#include "tables/dvb_marks.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) && defined(__gnu_linux__) && !defined(ZELK_INSIGHT_PORTABLE)
#define ZELK_INSIGHT_AVX512 1
#include <immintrin.h>

// GCC 12 takes the registers that its own intrinsics leave undefined on purpose for mistakes of the caller.
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
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

Bytes copyAsciiPortable(char *out, const unsigned char *bytes, std::size_t count, tables::ByteSet /*set*/,
                        bool /*marks*/) {
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
            other |= (units - 0x20 >= 0x5F) & (units - 0xA0 >= 0xD760) & (units < 0xE0A0);
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

#define ZELK_INSIGHT_TARGET gnu::target("avx512bw,avx512vbmi,popcnt")

inline bool hasAvx512() {
    // Of two ways a processor takes one; the tests of the portable counts take the other.
    return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi"); // GCOVR_EXCL_BR_LINE
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

// A bit for each of `count` bytes, as far as they are in one block.
[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline std::uint64_t firstOnes(std::size_t count) {
    return count < 64 ? (std::uint64_t{1} << count) - 1 : ~std::uint64_t{0};
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
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,avx512vbmi,popcnt"))) {
            const std::uint64_t here = valid & beyondAscii(block);
            beyond |= here;
            other |= _mm512_mask_cmplt_epu8_mask(here, block, all(0xA0));
            return true;
        });
    return beyond == 0 ? Bytes::Ascii : other == 0 ? Bytes::Graphic : Bytes::Other;
}

// Of each set the graphic characters. By the upper half of a byte a bit for it, and by the lower half those bits that
// have a character there. The upper halves of ASCII, all full but the last, share a bit.
constexpr std::array<std::uint8_t, 16> upperBits = {0, 0, 64, 64, 64, 64, 64, 128, 0, 0, 1, 2, 4, 8, 16, 32};

constexpr auto graphicBytes = []() {
    std::array<std::array<std::uint8_t, 16>, tables::byteSetCount> result{};
    constexpr auto pool = tables::expandByteSets();
    for (std::size_t set = 0; set < pool.size(); ++set) {
        for (unsigned int byte = 0x20; byte <= 0xFF; ++byte) {
            const bool graphic = byte < 0x80 ? byte != 0x7F : pool[set][byte] != tables::unassigned;
            const unsigned int bits = graphic ? upperBits[byte >> 4U] : 0U;
            result[set][byte & 0x0FU] = static_cast<std::uint8_t>(result[set][byte & 0x0FU] | bits);
        }
    }
    return result;
}();

[[ZELK_INSIGHT_TARGET]] inline __m512i inEachQuarter(const std::uint8_t *bytes) {
    return _mm512_broadcast_i32x4(_mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes)));
}

// The places of marks without a letter after them, at `next`, that is known to wear them.
[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline std::uint64_t lonelyMarks(__m512i block, std::uint64_t high,
                                                                             __m512i next) {
    const tables::MarkPlanes &planes = tables::markPlanes;
    const __m512i bits = _mm512_maskz_permutex2var_epi8(high, _mm512_load_si512(planes.bits), block,
                                                        _mm512_load_si512(planes.bits + sizeof(__m512i)));
    const std::uint64_t last = _mm512_test_epi8_mask(block, all(0x08));
    const std::uint64_t letters = _mm512_cmplt_epu8_mask(_mm512_sub_epi8(next, all(0x40)), all(0x40));
    const __m512i worn =
        _mm512_mask_blend_epi8(last, _mm512_maskz_permutexvar_epi8(letters, next, _mm512_load_si512(planes.firstMarks)),
                               _mm512_maskz_permutexvar_epi8(letters, next, _mm512_load_si512(planes.lastMarks)));
    return _mm512_mask_testn_epi8_mask(_mm512_test_epi8_mask(bits, bits), bits, worn);
}

// What is known of the bytes of a string: a bit for each.
struct Judgement {
    std::uint64_t high = 0;
    std::uint64_t other = 0; // that may have a finding

    Bytes kind() const { return other != 0 ? Bytes::Other : high == 0 ? Bytes::Ascii : Bytes::Whole; }
};

// Of a block and the bytes that are one place further.
[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline Judgement judge(__m512i block, std::uint64_t valid,
                                                                   const unsigned char *next, std::size_t nextCount,
                                                                   tables::ByteSet set, bool marks) {
    const __m512i lower = inEachQuarter(graphicBytes[static_cast<std::size_t>(set)].data());
    const __m512i half = all(0x0F);
    const __m512i upperHalf = _mm512_and_si512(_mm512_srli_epi16(block, 4), half);
    Judgement judgement;
    judgement.high = _mm512_movepi8_mask(block);
    judgement.other = _mm512_mask_testn_epi8_mask(valid, _mm512_shuffle_epi8(lower, _mm512_and_si512(block, half)),
                                                  _mm512_shuffle_epi8(inEachQuarter(upperBits.data()), upperHalf));
    if (marks && judgement.high != 0) {
        judgement.other |= lonelyMarks(block, judgement.high, _mm512_maskz_loadu_epi8(firstOnes(nextCount), next));
    }
    return judgement;
}

// Ascii, which is copied, Whole, or Other where that is not known.
[[ZELK_INSIGHT_TARGET, gnu::noinline]] Bytes copyLongAscii(char *out, const unsigned char *bytes, std::size_t count,
                                                           tables::ByteSet set, bool marks) {
    Judgement all;
    for (std::size_t at = 0; at < count; at += sizeof(__m512i)) {
        const std::uint64_t valid = firstOnes(count - at);
        const __m512i block = _mm512_maskz_loadu_epi8(valid, bytes + at);
        const Judgement here = judge(block, valid, bytes + at + 1, count - at - 1, set, marks);
        all.high |= here.high;
        all.other |= here.other;
        if ((all.high | all.other) == 0) {
            _mm512_mask_storeu_epi8(out + at, valid, block);
        }
    }
    return all.kind();
}

[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline Bytes
copyIfAscii(char *out, const unsigned char *bytes, std::size_t count, tables::ByteSet set, bool marks) {
    if (count > sizeof(__m512i)) [[unlikely]] {
        return copyLongAscii(out, bytes, count, set, marks);
    }
    const std::uint64_t valid = firstOnes(count);
    const __m512i block = _mm512_maskz_loadu_epi8(valid, bytes);
    const Bytes kind = judge(block, valid, bytes + 1, count - 1, set, marks).kind();
    if (kind == Bytes::Ascii) {
        _mm512_mask_storeu_epi8(out, valid, block);
    }
    return kind;
}

[[ZELK_INSIGHT_TARGET]] Bytes copyAsciiAvx512(char *out, const unsigned char *bytes, std::size_t count,
                                              tables::ByteSet set, bool marks) {
    const Bytes kind = copyIfAscii(out, bytes, count, set, marks);
    return kind == Bytes::Other ? kindOfAvx512(bytes, count) : kind;
}

[[ZELK_INSIGHT_TARGET]] std::uint64_t highBytesAvx512(const unsigned char *bytes, std::size_t count) {
    const std::uint64_t valid = count < 64 ? (std::uint64_t{1} << count) - 1 : ~std::uint64_t{0};
    return _mm512_movepi8_mask(_mm512_maskz_loadu_epi8(valid, bytes));
}

// By unit of two bytes, high byte first. ASCII, up to U+D7FF, and from U+E0A0: what is between the last two is not
// worth a look of its own.
[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline std::uint32_t plainUnits(__m512i block) {
    const __m512i units = _mm512_or_si512(_mm512_slli_epi16(block, 8), _mm512_srli_epi16(block, 8));
    return _mm512_cmplt_epu16_mask(_mm512_sub_epi16(units, allUnits(0x20)), allUnits(0x5F)) |
           _mm512_cmplt_epu16_mask(_mm512_sub_epi16(units, allUnits(0xA0)), allUnits(0xD760)) |
           _mm512_cmpge_epu16_mask(units, allUnits(0xE0A0));
}

[[ZELK_INSIGHT_TARGET]] inline bool isPlainTwoByteAvx512(const unsigned char *bytes, std::size_t count) {
    std::uint64_t other = 0;
    for (; count > sizeof(__m512i); count -= sizeof(__m512i), bytes += sizeof(__m512i)) {
        other |= static_cast<std::uint32_t>(~plainUnits(_mm512_loadu_si512(bytes)));
    }
    const __m512i block = _mm512_maskz_loadu_epi8(firstOnes(count), bytes);
    return (other | (~std::uint64_t{plainUnits(block)} & firstOnes(count / 2))) == 0;
}

// Leads and the bytes that they ask for, as bits; what a block asks of the next one is carried over.
[[ZELK_INSIGHT_TARGET, gnu::noinline]] bool copyUtf8Avx512(char *out, const unsigned char *bytes, std::size_t count) {
    std::uint64_t wanted = 0;
    std::uint64_t atC2 = 0; // whether the byte before the block is this one
    std::uint64_t atE0 = 0;
    std::uint64_t other = 0;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,avx512vbmi,popcnt"))) {
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
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,avx512vbmi,popcnt"))) {
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
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,avx512vbmi,popcnt"))) {
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
    const char *rest = text;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,avx512vbmi,popcnt"))) {
            const __m512i same = _mm512_maskz_loadu_epi8(valid, rest);
            rest += 64;
            other |= _mm512_cmpneq_epi8_mask(block, same) | _mm512_cmpeq_epi8_mask(block, all(0xED));
            return true;
        });
    return other == 0;
}

[[ZELK_INSIGHT_TARGET]] bool isWholeTableTextAvx512(const unsigned char *bytes, std::size_t count, const char *text,
                                                    std::size_t length, bool marks) {
    return isWhole(
        countTextAvx512(text, length), length, count,
        marks, [=]() __attribute__((target("avx512bw,avx512vbmi,popcnt"))) { return countStringAvx512(bytes, count); });
}

[[ZELK_INSIGHT_TARGET]] bool isWholeTextAvx512(const char *text, std::size_t length, std::size_t characters) {
    const TextCounts out = countTextAvx512(text, length);
    return !out.rare && length - out.continuations == characters;
}

// What most strings begin with: a graphic character, a selector of ISO 8859 in three bytes, or one of these.
constexpr std::uint32_t knownSelectors = 0x00220EFE; // 0x01 to 0x07, 0x09 to 0x0B, 0x11 and 0x15

[[ZELK_INSIGHT_TARGET]] unsigned int decodeUsualAvx512(const zelkInsightSettings &settings, char *out, int outSize,
                                                       const char *in, int inLen, zelkInsightEvidence &evidence) {
    const auto first = static_cast<unsigned char>(*in);
    unsigned int selected = 0;
    unsigned int code = DvbCodeTable00;
    bool known = true;
    if (first <= detail::lastDvbSelector) {
        const bool isLong = first == 0x10 && inLen > 3 && in[1] == 0;
        selected = isLong ? 3 : 1;
        code = isLong ? static_cast<unsigned char>(in[2]) : detail::dvbSelectorCodes[first];
        known = isLong ? code - 1 < 15 && code != 12 : (knownSelectors >> first & 1U) != 0;
    }
    const auto *const body = reinterpret_cast<const unsigned char *>(in) + selected;
    const std::size_t count = static_cast<std::size_t>(inLen) - selected;
    if (!known || outSize < 0 || static_cast<std::size_t>(outSize) <= 3 * count) {
        return decodeAny(settings, out, outSize, in, inLen, &evidence);
    }
    const dvbCharSet_t charSet = selected != 0 ? settings.charSet : DvbCharSetStandard;
    const zelkInsightTable table = tableOf(charSet, static_cast<DvbCode_t>(code));
    Bytes kind = Bytes::Other;
    if (table == ZelkInsightTableUtf8) {
        kind = copyUtf8Avx512(out, body, count) ? Bytes::Ascii : Bytes::Other;
    } else if (table == ZelkInsightTableTwoByte) {
        kind = count % 2 == 0 && isPlainTwoByteAvx512(body, count) ? Bytes::Whole : Bytes::Other;
    } else {
        const tables::DvbTable bytes = tables::dvbTables[static_cast<unsigned int>(table)];
        kind = copyIfAscii(out, body, count, bytes.set, bytes.marks == tables::latinMarks);
    }
    if (kind == Bytes::Other) {
        return decodeAny(settings, out, outSize, in, inLen, &evidence);
    }
    if (evidence.findings == nullptr) {
        evidence.findingRoom = 0;
    }
    evidence.findingCount = 0;
    evidence.stepCount = 0;
    evidence.severity = ZelkInsightNote;
    evidence.charSet = charSet;
    evidence.code = static_cast<DvbCode_t>(code);
    evidence.extra = 0;
    evidence.table = table;
    evidence.reason = selected == 0                                         ? ZelkInsightByDefault
                      : table != tableOf(DvbCharSetStandard, evidence.code) ? ZelkInsightByRegion
                                                                            : ZelkInsightBySelector;
    evidence.selectorLength = selected;
    if (kind == Bytes::Ascii) {
        out[count] = 0;
        return static_cast<unsigned int>(count);
    }
    return zelk_dvb8ToUtf8(settings.charSet, out, outSize, in, inLen, DvbCodeNone, 0, settings.flags);
}

// GCOVR_EXCL_BR_START: as above
#define ZELK_INSIGHT_CHOOSE(function, ...)                                                                             \
    (hasAvx512() ? function##Avx512(__VA_ARGS__) : function##Portable(__VA_ARGS__))
// GCOVR_EXCL_BR_STOP
#else
#define ZELK_INSIGHT_CHOOSE(function, ...) function##Portable(__VA_ARGS__)
#endif

} // namespace

Bytes copyAscii(char *out, const unsigned char *bytes, std::size_t count, tables::ByteSet set, bool marks) {
    return ZELK_INSIGHT_CHOOSE(copyAscii, out, bytes, count, set, marks);
}

unsigned int decodeUsual(const zelkInsightSettings &settings, char *out, int outSize, const char *in, int inLen,
                         zelkInsightEvidence &evidence) {
#if defined(ZELK_INSIGHT_AVX512)
    if (hasAvx512()) { // GCOVR_EXCL_BR_LINE: as above
        return decodeUsualAvx512(settings, out, outSize, in, inLen, evidence);
    }
#endif
    return decodeAny(settings, out, outSize, in, inLen, &evidence);
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
