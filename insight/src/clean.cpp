// The counts of clean.h: 16 bytes at a time in the vectors that compilers have for every machine, and 64 with AVX-512,
// since libmurn-zelk decodes with it and the counts must not take longer than that.
#include "clean.h"
#include "byte_tables.h"
#include "decode.h"
#include "reading.h"

#include "tables/byte_set_definitions.h"
#include "tables/dvb_marks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

// What is left of a text of `total` bytes after whole blocks, `left` bytes at `at`, filled up.
Lanes lastBlock(const unsigned char *at, std::size_t left, std::size_t total, unsigned char filler) {
    Lanes block;
    if (compact || total < blockSize) {
        std::memset(&block, filler, sizeof block);
        std::memcpy(&block, at, left);
        return block;
    }
    static constexpr auto steps = []() { // bytes that are taken, after as many that are not
        std::array<std::uint8_t, 2 * blockSize> bytes{};
        std::fill(bytes.begin() + blockSize, bytes.end(), std::uint8_t{0xFF});
        return bytes;
    }();
    Lanes taken;
    std::memcpy(&taken, steps.data() + left, sizeof taken);
    std::memcpy(&block, at + left - blockSize, sizeof block);
    return (block & taken) | (filler & ~taken);
}

// Calls visit(block) for all blocks, the last one filled up, and flush() before a lane overflows and at the end.
template <class Visit, class Flush>
void forEachBlock(const void *bytes, std::size_t count, unsigned char filler, Visit visit, Flush flush) {
    const auto *at = static_cast<const unsigned char *>(bytes);
    for (std::size_t left = count; left != 0;) {
        for (std::size_t blocks = 0; blocks < mostBlocks && left != 0; ++blocks) {
            const std::size_t used = left < blockSize ? left : blockSize;
            Lanes block;
            if (used == blockSize) [[likely]] {
                std::memcpy(&block, at, sizeof block);
            } else {
                block = lastBlock(at, used, count, filler);
            }
            visit(block);
            at += used;
            left -= used;
        }
        flush();
    }
}

// Calls visit(block) for blocks that hold all bytes, some of them twice, and no others but of fillers.
template <class Visit>
void forAllBytes(const void *bytes, std::size_t count, unsigned char filler, Visit visit) {
    if (compact) {
        forEachBlock(bytes, count, filler, visit, [] {});
        return;
    }
    const auto *const at = static_cast<const unsigned char *>(bytes);
    Lanes block;
    if (count < blockSize) {
        std::memset(&block, filler, sizeof block);
        std::memcpy(&block, at, count);
        visit(block);
        return;
    }
    for (std::size_t done = 0; count - done > blockSize; done += blockSize) {
        std::memcpy(&block, at + done, sizeof block);
        visit(block);
    }
    std::memcpy(&block, at + count - blockSize, sizeof block);
    visit(block);
}

// What a block is filled up with is counted by nothing.
constexpr unsigned char graphicFiller = 'A';

Bytes kindOfPortable(const unsigned char *bytes, std::size_t count) {
    Signed ascii = ~Signed{};
    Signed graphic = ascii;
    forAllBytes(bytes, count, graphicFiller, [&](Lanes block) {
        const Signed here = block - 0x20 < 0x5F;
        ascii &= here;
        graphic &= here | (block >= 0xA0);
    });
    return !anyOf(~ascii) ? Bytes::Ascii : !anyOf(~graphic) ? Bytes::Graphic : Bytes::Other;
}

// Copies blocks of ASCII up to the first other one, or nearly to the end. Returns their bytes. They are the beginning
// of the text in any case.
std::size_t copyAsciiBlocks(char *out, const unsigned char *bytes, std::size_t count) {
    constexpr std::size_t stride = 4 * blockSize;
    std::size_t at = 0;
    for (; count - at > stride; at += stride) {
        Lanes blocks[4];
        std::memcpy(blocks, bytes + at, sizeof blocks);
        Signed beyond{};
        for (const Lanes block : blocks) {
            beyond |= block - 0x20 >= 0x5F;
        }
        if (anyOf(beyond)) {
            break;
        }
        std::memcpy(out + at, blocks, sizeof blocks);
    }
    return at;
}

// The places of bytes of 0x80 and more, the first in the lowest bit.
std::uint64_t highLanes(Lanes block) {
#if defined(__SSE2__)
    return static_cast<unsigned int>(_mm_movemask_epi8(reinterpret_cast<__m128i>(block)));
#else
    // The highest bit of the n-th byte goes to place n of the highest byte, and no two to one place.
    constexpr bool little = std::endian::native == std::endian::little;
    constexpr std::uint64_t gather = little ? 0x0102040810204080 : 0x8040201008040201;
    std::uint64_t halves[2];
    std::memcpy(halves, &block, sizeof halves);
    std::uint64_t places = 0;
    for (int i = 0; i < 2; ++i) {
        places |= ((halves[i] >> 7U & 0x0101010101010101) * gather >> 56U) << 8 * i;
    }
    return places;
#endif
}

// Of at most 64 bytes.
std::uint64_t highBytes(const unsigned char *bytes, std::size_t count) {
    const auto highFrom = [bytes](std::size_t at, std::size_t length) {
        Lanes block{};
        std::memcpy(&block, bytes + at, length);
        return highLanes(block) << at;
    };
    if (count < blockSize) {
        return highFrom(0, count);
    }
    std::uint64_t places = highFrom(count - blockSize, blockSize);
    for (std::size_t at = 0; at + blockSize < count; at += blockSize) {
        places |= highFrom(at, blockSize);
    }
    return places;
}

// Whether a set has no character for a byte of 0xA0 and more.
constexpr auto hasGaps = []() {
    std::array<bool, tables::byteSetCount> result{};
    constexpr auto pool = tables::expandByteSets();
    for (std::size_t set = 0; set < result.size(); ++set) {
        result[set] = std::find(pool[set].begin() + 0xA0, pool[set].end(), tables::unassigned) != pool[set].end();
    }
    return result;
}();

// Of graphic bytes: whether each has a character, and each mark a letter that wears it. Graphic where that is quicker
// to find out otherwise.
Bytes wholenessOf(const unsigned char *bytes, std::size_t count, tables::DvbTable table) {
    if (table.marks == tables::noMarks && !hasGaps[static_cast<std::size_t>(table.set)]) {
        return Bytes::Whole;
    }
    constexpr std::size_t longText = 4096; // whose sums are found more quickly than its marks
    if (compact || table.marks != tables::latinMarks || count > longText) {
        return Bytes::Graphic;
    }
    const tables::CodePoints &set = tables::codePointsOf(table.set);
    const std::uint8_t *const columns = tables::dvbMarks.sets[tables::latinMarks].columnOf.data();
    const auto isFaulty = [&](unsigned int byte, unsigned int next) {
        return static_cast<bool>(static_cast<unsigned int>(set[byte] == tables::unassigned) |
                                 (1U << columns[byte] & ~static_cast<unsigned int>(tables::marksWornBy[next])));
    };
    bool faulty = isFaulty(bytes[count - 1], 0);
    constexpr std::size_t atOnce = 64;
    for (std::size_t at = 0; at < count - 1; at += atOnce) {
        const std::size_t left = count - 1 - at;
        for (std::uint64_t rest = highBytes(bytes + at, left < atOnce ? left : atOnce); rest != 0; rest &= rest - 1) {
            const unsigned char *const byte = bytes + at + std::countr_zero(rest);
            faulty |= isFaulty(byte[0], byte[1]);
        }
    }
    // The other tables have letters in the places of marks.
    return !faulty ? Bytes::Whole : table.set == tables::ByteSet::DvbDefault ? Bytes::Faulty : Bytes::Graphic;
}

// kindOfPortable() of a name, 16 to 64 bytes, without a loop; ASCII is copied. Unknown for another length.
[[gnu::always_inline]] inline Bytes copyName(char *out, const unsigned char *bytes, std::size_t count) {
    constexpr std::size_t blocks = 4;
    if (count - blockSize > (blocks - 1) * blockSize) {
        return Bytes::Unknown;
    }
    const std::size_t middle = count > 2 * blockSize ? blockSize : 0;
    const std::size_t places[blocks] = {0, middle, count - blockSize - middle, count - blockSize};
    Lanes name[blocks];
    Signed ascii = ~Signed{};
    Signed graphic = ascii;
    for (std::size_t i = 0; i < blocks; ++i) {
        std::memcpy(&name[i], bytes + places[i], blockSize);
        const Signed here = name[i] - 0x20 < 0x5F;
        ascii &= here;
        graphic &= here | (name[i] >= 0xA0);
    }
    if (anyOf(~ascii)) {
        return anyOf(~graphic) ? Bytes::Other : Bytes::Graphic;
    }
    for (std::size_t i = 0; i < blocks; ++i) {
        std::memcpy(out + places[i], &name[i], blockSize);
    }
    return Bytes::Ascii;
}

// copyAscii() of what copyName() calls `kind`.
[[gnu::noinline]] Bytes copyAsciiAs(Bytes kind, char *out, const unsigned char *bytes, std::size_t count,
                                    tables::DvbTable table) {
    if (kind == Bytes::Unknown) {
        const std::size_t copied = compact ? 0 : copyAsciiBlocks(out, bytes, count);
        kind = kindOfPortable(bytes + copied, count - copied);
        if (kind == Bytes::Ascii) { // another text may be shorter, and what follows it keeps its value
            std::memcpy(out + copied, bytes + copied, count - copied);
        }
    }
    return kind == Bytes::Graphic ? wholenessOf(bytes, count, table) : kind;
}

Bytes copyAsciiPortable(char *out, const unsigned char *bytes, std::size_t count, tables::DvbTable table) {
    return copyAsciiAs(Bytes::Unknown, out, bytes, count, table);
}

// A two-byte character as it lies in the memory.
constexpr std::uint16_t stored(unsigned int unit) {
    return static_cast<std::uint16_t>(std::endian::native == std::endian::little ? unit << 8U | unit >> 8U : unit);
}

// 0x00 to 0x1F and 0x80 to 0x9F have none of these bits.
constexpr std::uint16_t notControl = stored(0xFF60);
constexpr std::uint16_t del = stored(0x7F);
constexpr std::uint16_t surrogateBits = stored(0xF800);
constexpr std::uint16_t surrogates = stored(0xD800);
// U+E080 to U+E09F are images of control codes; their whole row is not worth a look of its own.
constexpr std::uint16_t row = stored(0xFF00);
constexpr std::uint16_t imageRow = stored(0xE000);

bool isPlainTwoBytePortable(const unsigned char *bytes, std::size_t count) {
    using Units = std::uint16_t __attribute__((vector_size(16)));
    using SignedUnits = std::int16_t __attribute__((vector_size(16)));
    constexpr unsigned char filler = 0x61; // U+6161
    SignedUnits other{};
    forAllBytes(bytes, count, filler, [&](Lanes block) {
        const auto units = reinterpret_cast<Units>(block);
        other |= (units & notControl) == 0;
        other |= units == del;
        other |= (units & surrogateBits) == surrogates;
        other |= (units & row) == imageRow;
    });
    return !anyOf(reinterpret_cast<Signed>(other));
}

// Only ASCII: whether other text is well formed its decoding tells more quickly.
bool copyUtf8Portable(char *out, const unsigned char *bytes, std::size_t count) {
    constexpr std::size_t shortText = 64;
    if (compact || bytes[0] >= 0x80) {
        return false;
    }
    const std::size_t copied = copyAsciiBlocks(out, bytes, count);
    const bool ascii = count - copied <= shortText && kindOfPortable(bytes + copied, count - copied) == Bytes::Ascii;
    if (ascii) {
        std::memcpy(out + copied, bytes + copied, count - copied);
    }
    return ascii;
}

// Copies as many characters as a block has lanes, four times as many or half as many. Block by block, since a compiler
// keeps an array that is read as one in the memory.
template <std::size_t Count>
bool copyTwoByteBlocks(char *out, const unsigned char *bytes) {
    constexpr std::size_t inSize = Count < blockSize ? blockSize : 2 * blockSize;
    constexpr std::size_t outSize = inSize / 2;
    constexpr std::size_t groups = Count / outSize;
    constexpr Lanes upper = {0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0};
    Lanes text[groups];
    Lanes high{};
    Lanes least = ~Lanes{};
    Lanes most{};
    for (std::size_t i = 0; i < groups; ++i) {
        Lanes first;
        Lanes second;
        std::memcpy(&first, bytes + i * inSize, blockSize);
        std::memcpy(&second, bytes + (i + 1) * inSize - blockSize, blockSize);
        const Lanes lower =
            __builtin_shufflevector(first, second, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
        high |= first | second;
        least = lower < least ? lower : least;
        most = lower > most ? lower : most;
        text[i] = lower;
    }
    if (anyOf(((high & upper) != 0) | (least < 0x20) | (most > 0x7E))) {
        return false;
    }
    for (std::size_t i = 0; i < groups; ++i) {
        std::memcpy(out + i * outSize, &text[i], outSize);
    }
    return true;
}

bool copyTwoByteAsciiPortable(char *out, const unsigned char *bytes, std::size_t count) {
    constexpr std::size_t characters = blockSize;
    const auto copied = [=](auto size, std::size_t at) {
        return copyTwoByteBlocks<decltype(size)::value>(out + at, bytes + 2 * at);
    };
    constexpr std::integral_constant<std::size_t, characters / 2> half;
    constexpr std::integral_constant<std::size_t, characters> one;
    constexpr std::integral_constant<std::size_t, 4 * characters> four;
    const std::size_t length = count / 2;
    if (compact || length < half) {
        return false;
    }
    if (length < one) {
        return copied(half, 0) && copied(half, length - half);
    }
    std::size_t at = 0;
    for (; length - at > four; at += four) {
        if (!copied(four, at)) {
            return false;
        }
    }
    for (; length - at > one; at += one) {
        if (!copied(one, at)) {
            return false;
        }
    }
    return copied(one, length - one);
}

// Ascii, which is copied, Whole, or Other where that is not known.
Bytes judgeTwoBytePortable(char *out, const unsigned char *bytes, std::size_t count) {
    if (count % 2 != 0) {
        return Bytes::Other;
    }
    return copyTwoByteAsciiPortable(out, bytes, count)        ? Bytes::Ascii
           : !compact && isPlainTwoBytePortable(bytes, count) ? Bytes::Whole
                                                              : Bytes::Other;
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
            high += onesOf(reinterpret_cast<Signed>(block) < 0);
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

// Without `all` only the continuations and whether any is rare.
template <bool all>
TextCounts countTextPortable(const char *bytes, std::size_t count) {
    TextCounts counts;
    Lanes continuations{};
    Lanes high{};
    Lanes controls{};
    Signed rare{};
    forEachBlock(
        bytes, count, graphicFiller,
        [&](Lanes block) {
            continuations += onesOf(reinterpret_cast<Signed>(block) < -0x40);
            rare |= (block | 2) == 0xEF;
            if constexpr (all) {
                high += onesOf(reinterpret_cast<Signed>(block) < 0);
                controls += onesOf(block < 0x20);
            }
        },
        [&] {
            counts.continuations += sumOf(continuations);
            continuations = Lanes{};
            if constexpr (all) {
                counts.high += sumOf(high);
                counts.controls += sumOf(controls);
                high = controls = Lanes{};
            }
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
    return isWhole(compact || marks ? countTextPortable<true>(text, length) : countTextPortable<false>(text, length),
                   length, count, marks, [=] { return countStringPortable(bytes, count); });
}

bool isWholeTextPortable(const char *text, std::size_t length, std::size_t characters) {
    const TextCounts out = countTextPortable<compact>(text, length);
    return !out.rare && length - out.continuations == characters;
}

// Whether a text may hold a surrogate or U+FFFD.
bool hasRarePortable(const char *text, std::size_t count) {
    Signed rare{};
    forAllBytes(text, count, graphicFiller, [&](Lanes block) { rare |= (block | 2) == 0xEF; });
    return anyOf(rare);
}

bool copyUsualUtf8Portable(char *out, const unsigned char *bytes, std::size_t count) {
    // Of bytes beside those that are one and two places before: where one is zero or not what these ask for, or begins
    // a character from U+D000 to U+DFFF or of four bytes.
    const auto faultsOf = [](Lanes block, Lanes before, Lanes twoBefore) {
        const Signed continues = reinterpret_cast<Signed>(block) < -0x40;
        const Signed asked = (before >= 0xC0) | (twoBefore >= 0xE0);
        const Signed overlong = ((block & 0xFE) == 0xC0) | ((before == 0xE0) & (block < 0xA0));
        return (continues ^ asked) | overlong | (block == 0xED) | (block >= 0xF0) | (block == 0);
    };
    Lanes block = graphicFiller - Lanes{};
    std::memcpy(&block, bytes, count < blockSize ? count : blockSize);
    const Lanes none{};
    Signed faults = faultsOf(
        block, __builtin_shufflevector(none, block, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30),
        __builtin_shufflevector(none, block, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29));
    std::memcpy(out, &block, count < blockSize ? count : blockSize);
    if (count < blockSize) { // what fills it up continues nothing
        return !anyOf(faults);
    }
    if (count == blockSize + 1) { // whose last block would begin one byte after the first
        return false;
    }
    const auto look = [&](std::size_t at) {
        Lanes before;
        Lanes twoBefore;
        std::memcpy(&block, bytes + at, sizeof block);
        std::memcpy(&before, bytes + at - 1, sizeof before);
        std::memcpy(&twoBefore, bytes + at - 2, sizeof twoBefore);
        faults |= faultsOf(block, before, twoBefore);
        std::memcpy(out + at, &block, sizeof block);
    };
    std::size_t at = blockSize;
    for (; count - at > blockSize; at += blockSize) {
        look(at);
    }
    if (count != blockSize) {
        look(count - blockSize);
    }
    return !anyOf(faults) && bytes[count - 1] < 0xC0 && bytes[count - 2] < 0xE0;
}

// Whether `written` bytes of text are all there is to say: of two-byte text or UTF-8 without codes for emphasis, or of
// graphic bytes in a set without marks.
[[gnu::always_inline]] inline bool isConfirmed(const Reading &reading, const char *out, unsigned int written) {
    const unsigned char *const body = reading.text + reading.begin;
    const std::size_t count = reading.end - reading.begin;
    return reading.table == ZelkInsightTableUtf8 ? written == count && isSameUtf8(body, out, count)
           : reading.table == ZelkInsightTableTwoByte
               ? count % 2 == 0 && (isWholeText(out, written, count / 2) || isPlainTwoByte(body, count))
               : !hasRare(out, written);
}

// What the quick ways leave, by itself, so that they keep what they read out of the memory.
template <bool given>
[[gnu::noinline]] unsigned int decodeKind(Bytes kind, const zelkInsightSettings &settings, char *out, int outSize,
                                          const char *in, int inLen, zelkInsightEvidence &evidence) {
    Reading reading;
    return readUsual<given>(settings, in, inLen, reading)
               ? decodeRead(reading, kind, settings, out, outSize, in, inLen, &evidence)
               : decodeAny(settings, out, outSize, in, inLen, &evidence);
}

// Begins evidence of a string that is usual and has room for whatever becomes of it.
template <bool given>
[[gnu::always_inline]] inline bool beginUsual(const zelkInsightSettings &settings, int outSize, const char *in,
                                              int inLen, zelkInsightEvidence &evidence, Reading &reading) {
    const bool usual = readUsual<given>(settings, in, inLen, reading);
    if (!usual || outSize <= 3 * static_cast<long long>(reading.end - reading.begin)) {
        return false;
    }
    beginEvidence(evidence, reading); // now, so that nothing of it is kept over calls
    return true;
}

// The ends of decodeUsual(), all with the same arguments, so that it ends in jumps; `used` keeps a compiler from
// leaving some of them out.
template <bool given>
[[gnu::noinline, gnu::used]] unsigned int decodeWhole(const zelkInsightSettings &settings, char *out, int outSize,
                                                      const char *in, int inLen, zelkInsightEvidence & /*evidence*/) {
    return zelk_dvb8ToUtf8(settings.charSet, out, outSize, in, inLen, given ? settings.defaultCode : DvbCodeNone,
                           given ? settings.defaultExtra : 0, settings.flags);
}

template <bool given, Bytes kind>
[[gnu::noinline, gnu::used]] unsigned int decodeOther(const zelkInsightSettings &settings, char *out, int outSize,
                                                      const char *in, int inLen, zelkInsightEvidence &evidence) {
    return decodeKind<given>(kind, settings, out, outSize, in, inLen, evidence);
}

// Where `kind` is Ascii, the text is copied, and has so many characters. Graphic and Faulty count as Unknown.
template <bool given>
[[gnu::always_inline]] inline unsigned int decodeJudged(Bytes kind, unsigned int characters,
                                                        const zelkInsightSettings &settings, char *out, int outSize,
                                                        const char *in, int inLen, zelkInsightEvidence &evidence) {
    if (kind == Bytes::Whole) {
        return decodeWhole<given>(settings, out, outSize, in, inLen, evidence);
    }
    if (kind == Bytes::Ascii) {
        out[characters] = 0;
        return characters;
    }
    return kind == Bytes::Other ? decodeOther<given, Bytes::Other>(settings, out, outSize, in, inLen, evidence)
                                : decodeOther<given, Bytes::Unknown>(settings, out, outSize, in, inLen, evidence);
}

// By itself, so that the choice below keeps nothing for it.
template <bool given>
[[gnu::noinline]] unsigned int decodeUsualPortable(const zelkInsightSettings &settings, char *out, int outSize,
                                                   const char *in, int inLen, zelkInsightEvidence &evidence) {
    Reading reading;
    if (!beginUsual<given>(settings, outSize, in, inLen, evidence, reading)) {
        return decodeOther<given, Bytes::Unknown>(settings, out, outSize, in, inLen, evidence);
    }
    const unsigned char *const body = reading.text + reading.begin;
    const unsigned int count = reading.end - reading.begin;
    const bool utf8 = reading.table == ZelkInsightTableUtf8;
    const bool twoByte = reading.table == ZelkInsightTableTwoByte;
    Bytes kind = Bytes::Other;
    if (twoByte) {
        kind = judgeTwoBytePortable(out, body, count);
    } else if (given && reading.table == ZelkInsightTableUtf8Prepared) {
        kind = copyUsualUtf8Portable(out, body, count) ? Bytes::Ascii : Bytes::Unknown;
    } else if (!utf8) {
        kind = copyName(out, body, count);
        kind = kind == Bytes::Ascii ? kind : copyAsciiAs(kind, out, body, count, byteTable(reading.table));
    } else if (copyUtf8Portable(out, body, count)) {
        kind = Bytes::Ascii;
    }
    if (kind == Bytes::Whole || kind == Bytes::Ascii) {
        return decodeJudged<given>(kind, twoByte ? count / 2 : count, settings, out, outSize, in, inLen, evidence);
    }
    const bool confirmable = twoByte || utf8
                                 ? kind == Bytes::Other && (settings.flags & 1U) == 0
                                 : kind == Bytes::Graphic && byteTable(reading.table).marks == tables::noMarks;
    if (confirmable) {
        const unsigned int written = decodeWhole<given>(settings, out, outSize, in, inLen, evidence);
        if (isConfirmed(reading, out, written)) {
            return written;
        }
    }
    return decodeKind<given>(kind, settings, out, outSize, in, inLen, evidence);
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

// The same of 1 to 64 bytes.
[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline std::uint64_t onesOfBlock(std::size_t count) {
    return ~std::uint64_t{0} >> (-count % 64);
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

    Bytes kind() const { return other != 0 ? Bytes::Unknown : high == 0 ? Bytes::Ascii : Bytes::Whole; }
};

// Of a block and the bytes that are one place further.
[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline Judgement
judge(__m512i block, std::uint64_t valid, const unsigned char *next, std::uint64_t nextValid, tables::DvbTable table) {
    const __m512i lower = inEachQuarter(graphicBytes[static_cast<std::size_t>(table.set)].data());
    const __m512i half = all(0x0F);
    const __m512i upperHalf = _mm512_and_si512(_mm512_srli_epi16(block, 4), half);
    Judgement judgement;
    judgement.high = _mm512_movepi8_mask(block);
    judgement.other = _mm512_mask_testn_epi8_mask(valid, _mm512_shuffle_epi8(lower, _mm512_and_si512(block, half)),
                                                  _mm512_shuffle_epi8(inEachQuarter(upperBits.data()), upperHalf));
    if (table.marks == tables::latinMarks && judgement.high != 0) {
        judgement.other |= lonelyMarks(block, judgement.high, _mm512_maskz_loadu_epi8(nextValid, next));
    }
    return judgement;
}

// Ascii, which is copied, Whole, or Unknown: at most one block.
[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline Bytes copyAsciiBlock(char *out, const unsigned char *bytes,
                                                                        std::size_t count, tables::DvbTable table) {
    const std::uint64_t valid = onesOfBlock(count);
    const __m512i block = _mm512_maskz_loadu_epi8(valid, bytes);
    const Bytes kind = judge(block, valid, bytes + 1, valid >> 1U, table).kind();
    if (kind == Bytes::Ascii) {
        _mm512_mask_storeu_epi8(out, valid, block);
    }
    return kind;
}

// The same of text of any length.
[[ZELK_INSIGHT_TARGET, gnu::noinline]] Bytes copyIfAscii(char *out, const unsigned char *bytes, std::size_t count,
                                                         tables::DvbTable table) {
    if (count <= sizeof(__m512i)) {
        return copyAsciiBlock(out, bytes, count, table);
    }
    Judgement all;
    for (std::size_t at = 0; at < count; at += sizeof(__m512i)) {
        const std::uint64_t valid = firstOnes(count - at);
        const __m512i block = _mm512_maskz_loadu_epi8(valid, bytes + at);
        const Judgement here = judge(block, valid, bytes + at + 1, firstOnes(count - at - 1), table);
        all.high |= here.high;
        all.other |= here.other;
        if ((all.high | all.other) == 0) {
            _mm512_mask_storeu_epi8(out + at, valid, block);
        }
    }
    return all.kind();
}

[[ZELK_INSIGHT_TARGET]] Bytes copyAsciiAvx512(char *out, const unsigned char *bytes, std::size_t count,
                                              tables::DvbTable table) {
    Bytes kind = copyIfAscii(out, bytes, count, table);
    if (kind == Bytes::Unknown) {
        kind = kindOfAvx512(bytes, count);
    }
    return kind == Bytes::Graphic ? wholenessOf(bytes, count, table) : kind;
}

// Two-byte characters in the order of the machine.
[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline __m512i unitsOf(__m512i block) {
    return _mm512_or_si512(_mm512_slli_epi16(block, 8), _mm512_srli_epi16(block, 8));
}

// The places of those beyond the graphic characters of ASCII.
[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline std::uint32_t unitsBeyondAscii(__m512i units) {
    return _mm512_cmpge_epu16_mask(_mm512_sub_epi16(units, allUnits(0x20)), allUnits(graphicPlaces));
}

// Of these, the places of control codes, and of U+D800 to U+E0FF: surrogates and images of control codes.
[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline std::uint32_t doubtfulUnits(__m512i units, std::uint32_t beyond) {
    constexpr unsigned int first = 0xD800;
    return _mm512_mask_cmplt_epu16_mask(beyond, units, allUnits(0xA0)) |
           _mm512_mask_cmplt_epu16_mask(beyond, _mm512_sub_epi16(units, allUnits(first)), allUnits(0xE100 - first));
}

[[ZELK_INSIGHT_TARGET]] bool isPlainTwoByteAvx512(const unsigned char *bytes, std::size_t count) {
    std::uint32_t doubtful = 0;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,avx512vbmi,popcnt"))) {
            const __m512i units = unitsOf(block);
            const auto characters = static_cast<std::uint32_t>(firstOnes(ones(valid) / 2));
            doubtful |= doubtfulUnits(units, characters & unitsBeyondAscii(units));
            return true;
        });
    return doubtful == 0;
}

[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline void storeLowBytes(char *out, std::uint32_t characters,
                                                                      __m512i units) {
    _mm512_mask_storeu_epi8(out, characters, _mm512_castsi256_si512(_mm512_cvtepi16_epi8(units)));
}

// Ascii, which is copied, Whole, or Other where that is not known: at most one block.
[[ZELK_INSIGHT_TARGET, gnu::always_inline]] inline Bytes copyTwoByteBlock(char *out, const unsigned char *bytes,
                                                                          std::size_t count) {
    const __m512i units = unitsOf(_mm512_maskz_loadu_epi8(onesOfBlock(count), bytes));
    const auto characters = static_cast<std::uint32_t>(onesOfBlock(count / 2));
    const std::uint32_t beyond = characters & unitsBeyondAscii(units);
    if (beyond != 0) {
        return doubtfulUnits(units, beyond) == 0 ? Bytes::Whole : Bytes::Other;
    }
    storeLowBytes(out, characters, units);
    return Bytes::Ascii;
}

// The same of up to four blocks, without a loop: a processor cannot foresee where it ends.
[[ZELK_INSIGHT_TARGET]] Bytes copyTwoByteBlocks(char *out, const unsigned char *bytes, std::size_t count) {
    const std::size_t last = count - sizeof(__m512i);
    const std::size_t places[] = {0, std::min(sizeof(__m512i), last), std::min(2 * sizeof(__m512i), last), last};
    __m512i units[4];
    std::uint32_t beyond = 0;
    std::uint32_t doubtful = 0;
    for (int i = 0; i < 4; ++i) {
        units[i] = unitsOf(_mm512_loadu_si512(bytes + places[i]));
        const std::uint32_t here = unitsBeyondAscii(units[i]);
        beyond |= here;
        doubtful |= doubtfulUnits(units[i], here);
    }
    if (beyond != 0) {
        return doubtful == 0 ? Bytes::Whole : Bytes::Other;
    }
    for (int i = 0; i < 4; ++i) {
        storeLowBytes(out + places[i] / 2, ~std::uint32_t{0}, units[i]);
    }
    return Bytes::Ascii;
}

// The same of text of any length; there is at least one character.
[[ZELK_INSIGHT_TARGET, gnu::noinline]] Bytes copyTwoByteAvx512(char *out, const unsigned char *bytes,
                                                               std::size_t count) {
    constexpr std::size_t most = 4 * sizeof(__m512i);
    Bytes kind = Bytes::Ascii;
    for (; count > most && kind == Bytes::Ascii; count -= most, bytes += most, out += most / 2) {
        kind = copyTwoByteBlocks(out, bytes, most);
    }
    if (kind == Bytes::Ascii) {
        return count <= sizeof(__m512i) ? copyTwoByteBlock(out, bytes, count) : copyTwoByteBlocks(out, bytes, count);
    }
    return kind == Bytes::Whole && isPlainTwoByteAvx512(bytes, count) ? Bytes::Whole : Bytes::Other;
}

[[ZELK_INSIGHT_TARGET]] bool copyTwoByteAsciiAvx512(char *out, const unsigned char *bytes, std::size_t count) {
    return copyTwoByteAvx512(out, bytes, count) == Bytes::Ascii;
}

// Leads and the bytes that they ask for, as bits; what a block asks of the next one is carried over. Of long text only
// ASCII: whether other text is well formed its decoding tells more quickly.
[[ZELK_INSIGHT_TARGET, gnu::noinline]] bool copyUtf8Avx512(char *out, const unsigned char *bytes, std::size_t count) {
    constexpr std::size_t longText = 1024;
    if (count > longText) {
        bool ascii = true;
        forEachWideBlock(
            bytes,
            count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,avx512vbmi,popcnt"))) {
                ascii = (valid & beyondAscii(block)) == 0;
                if (ascii) {
                    _mm512_mask_storeu_epi8(out, valid, block);
                    out += sizeof block;
                }
                return ascii;
            });
        return ascii;
    }
    std::uint64_t wanted = 0;
    std::uint64_t atC2 = 0; // whether the byte before the block is this one
    std::uint64_t atE0 = 0;
    std::uint64_t other = 0;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,avx512vbmi,popcnt"))) {
            const std::uint64_t high = _mm512_movepi8_mask(block);
            if ((high | wanted) == 0) {
                other |= valid & beyondAscii(block);
                atC2 = atE0 = 0;
                return true;
            }
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

[[ZELK_INSIGHT_TARGET]] bool copyUsualUtf8Avx512(char *out, const unsigned char *bytes, std::size_t count) {
    std::uint64_t wanted = 0;
    std::uint64_t atE0 = 0; // whether the byte before the block is this one
    std::uint64_t atED = 0;
    bool usual = true;
    forEachWideBlock(
        bytes, count, [&](__m512i block, std::uint64_t valid) __attribute__((target("avx512bw,avx512vbmi,popcnt"))) {
            const std::uint64_t high = _mm512_movepi8_mask(block);
            std::uint64_t faults = _mm512_mask_testn_epi8_mask(valid, block, block);
            if ((high | wanted) != 0) {
                const std::uint64_t continuation = _mm512_cmplt_epi8_mask(block, all(0xC0));
                const std::uint64_t lead = high & ~continuation;
                const std::uint64_t lead3 = _mm512_mask_cmpge_epu8_mask(lead, block, all(0xE0));
                faults |= _mm512_mask_cmplt_epu8_mask(lead, block, all(0xC2)) |
                          ((lead << 1U | lead3 << 2U | wanted) ^ continuation);
                wanted = lead >> 63U | lead3 >> 62U;
                if ((lead3 | atE0 | atED) != 0) {
                    const std::uint64_t e0 = _mm512_cmpeq_epi8_mask(block, all(0xE0));
                    const std::uint64_t ed = _mm512_cmpeq_epi8_mask(block, all(0xED));
                    faults |= _mm512_mask_cmplt_epu8_mask(e0 << 1U | atE0, block, all(0xA0)) |
                              _mm512_mask_cmpge_epu8_mask(ed << 1U | atED, block, all(0xA0)) |
                              _mm512_mask_cmpge_epu8_mask(lead3, block, all(0xF0));
                    atE0 = e0 >> 63U;
                    atED = ed >> 63U;
                }
            }
            usual = faults == 0;
            if (usual) {
                _mm512_mask_storeu_epi8(out, valid, block);
                out += sizeof block;
            }
            return usual;
        });
    return usual && wanted == 0;
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

[[ZELK_INSIGHT_TARGET]] bool hasRareAvx512(const char *text, std::size_t count) {
    std::uint64_t rare = 0;
    forEachWideBlock(
        text, count, [&](__m512i block, std::uint64_t /*valid*/) __attribute__((target("avx512bw,avx512vbmi,popcnt"))) {
            rare = _mm512_cmpeq_epi8_mask(_mm512_or_si512(block, all(0x02)), all(0xEF));
            return rare == 0;
        });
    return rare != 0;
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

// Of UTF-8, and of what is longer than a block, where evidence has begun.
template <bool given>
[[gnu::noinline, gnu::used]] unsigned int decodeLongAvx512(const zelkInsightSettings &settings, char *out, int outSize,
                                                           const char *in, int inLen, zelkInsightEvidence &evidence) {
    const auto *const body = reinterpret_cast<const unsigned char *>(in) + evidence.selectorLength;
    const auto count = static_cast<unsigned int>(inLen) - evidence.selectorLength;
    const bool twoByte = evidence.table == ZelkInsightTableTwoByte;
    Bytes kind = Bytes::Other;
    if (evidence.table == ZelkInsightTableUtf8) {
        kind = copyUtf8Avx512(out, body, count) ? Bytes::Ascii : Bytes::Other;
    } else if (given && evidence.table == ZelkInsightTableUtf8Prepared) {
        kind = copyUsualUtf8Avx512(out, body, count) ? Bytes::Ascii : Bytes::Other;
    } else if (!twoByte) {
        kind = copyIfAscii(out, body, count, tables::dvbTables[static_cast<unsigned int>(evidence.table)]);
    } else if (count % 2 == 0) {
        kind = copyTwoByteAvx512(out, body, count);
    }
    return decodeJudged<given>(kind, twoByte ? count / 2 : count, settings, out, outSize, in, inLen, evidence);
}

// A function with vectors of 64 bytes that calls others aligns the stack for them: this one ends in jumps.
template <bool given>
[[ZELK_INSIGHT_TARGET, gnu::noinline]] unsigned int decodeUsualAvx512(const zelkInsightSettings &settings, char *out,
                                                                      int outSize, const char *in, int inLen,
                                                                      zelkInsightEvidence &evidence) {
    Reading reading;
    if (!beginUsual<given>(settings, outSize, in, inLen, evidence, reading)) {
        return decodeOther<given, Bytes::Unknown>(settings, out, outSize, in, inLen, evidence);
    }
    const unsigned int count = reading.end - reading.begin;
    const bool utf8 = reading.table == ZelkInsightTableUtf8 || (given && reading.table == ZelkInsightTableUtf8Prepared);
    if (count > sizeof(__m512i) || utf8) {
        return decodeLongAvx512<given>(settings, out, outSize, in, inLen, evidence);
    }
    const unsigned char *const body = reading.text + reading.begin;
    if (reading.table == ZelkInsightTableTwoByte) {
        const Bytes kind = count % 2 == 0 ? copyTwoByteBlock(out, body, count) : Bytes::Other;
        return decodeJudged<given>(kind, count / 2, settings, out, outSize, in, inLen, evidence);
    }
    const tables::DvbTable table = tables::dvbTables[static_cast<unsigned int>(reading.table)];
    const Bytes kind = copyAsciiBlock(out, body, count, table);
    return decodeJudged<given>(kind, count, settings, out, outSize, in, inLen, evidence);
}

// GCOVR_EXCL_BR_START: as above
#define ZELK_INSIGHT_CHOOSE(function, ...)                                                                             \
    (hasAvx512() ? function##Avx512(__VA_ARGS__) : function##Portable(__VA_ARGS__))
// GCOVR_EXCL_BR_STOP
#else
#define ZELK_INSIGHT_CHOOSE(function, ...) function##Portable(__VA_ARGS__)
#endif

} // namespace

Bytes copyAscii(char *out, const unsigned char *bytes, std::size_t count, tables::DvbTable table) {
    return ZELK_INSIGHT_CHOOSE(copyAscii, out, bytes, count, table);
}

unsigned int decodeUsual(const zelkInsightSettings &settings, char *out, int outSize, const char *in, int inLen,
                         zelkInsightEvidence &evidence) {
    if (compact) {
        return decodeAny(settings, out, outSize, in, inLen, &evidence);
    }
    const bool given = settings.defaultCode != DvbCodeNone;
#if defined(ZELK_INSIGHT_AVX512)
    if (hasAvx512()) { // GCOVR_EXCL_BR_LINE: as above
        return given ? decodeUsualAvx512<true>(settings, out, outSize, in, inLen, evidence)
                     : decodeUsualAvx512<false>(settings, out, outSize, in, inLen, evidence);
    }
#endif
    return given ? decodeUsualPortable<true>(settings, out, outSize, in, inLen, evidence)
                 : decodeUsualPortable<false>(settings, out, outSize, in, inLen, evidence);
}

Bytes kindOf(const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(kindOf, bytes, count);
}

bool copyUtf8(char *out, const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(copyUtf8, out, bytes, count);
}

bool copyTwoByteAscii(char *out, const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(copyTwoByteAscii, out, bytes, count);
}

bool isPlainTwoByte(const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(isPlainTwoByte, bytes, count);
}

bool isWholeTableText(const unsigned char *bytes, std::size_t count, const char *text, std::size_t length, bool marks) {
    return ZELK_INSIGHT_CHOOSE(isWholeTableText, bytes, count, text, length, marks);
}

bool isWholeText(const char *text, std::size_t length, std::size_t characters) {
    return ZELK_INSIGHT_CHOOSE(isWholeText, text, length, characters);
}

bool hasRare(const char *text, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(hasRare, text, count);
}

bool copyUsualUtf8(char *out, const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(copyUsualUtf8, out, bytes, count);
}

bool isSameUtf8(const unsigned char *bytes, const char *text, std::size_t count) {
    // Nothing but U+FFFD for what is malformed makes a text longer: without it, text of the same length is the same.
    return !hasRare(text, count) || (std::memcmp(bytes, text, count) == 0 && std::memchr(text, 0xED, count) == nullptr);
}

} // namespace zelk::insight
