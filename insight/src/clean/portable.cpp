#include "clean/portable.h"
#include "clean/portable_block.h"
#include "clean/sums.h"

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

namespace zelk::insight::portable {
namespace {

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

// A comparison gives 0xFF where it holds.
Lanes onesOf(Signed holds) {
    return -reinterpret_cast<Lanes>(holds);
}

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

StringCounts countString(const unsigned char *bytes, std::size_t count) {
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
TextCounts countText(const char *bytes, std::size_t count) {
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

} // namespace

Bytes kindOf(const unsigned char *bytes, std::size_t count) {
    Signed ascii = ~Signed{};
    Signed graphic = ascii;
    forAllBytes(bytes, count, graphicFiller, [&](Lanes block) {
        const Signed here = block - 0x20 < 0x5F;
        ascii &= here;
        graphic &= here | (block >= 0xA0);
    });
    return !anyOf(~ascii) ? Bytes::Ascii : !anyOf(~graphic) ? Bytes::Graphic : Bytes::Other;
}

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

// copyAscii() of what copyName() calls `kind`.
Bytes copyAsciiAs(Bytes kind, char *out, const unsigned char *bytes, std::size_t count, tables::DvbTable table) {
    if (kind == Bytes::Unknown) {
        const std::size_t copied = compact ? 0 : copyAsciiBlocks(out, bytes, count);
        kind = kindOf(bytes + copied, count - copied);
        if (kind == Bytes::Ascii) { // another text may be shorter, and what follows it keeps its value
            std::memcpy(out + copied, bytes + copied, count - copied);
        }
    }
    return kind == Bytes::Graphic ? wholenessOf(bytes, count, table) : kind;
}

Bytes copyAscii(char *out, const unsigned char *bytes, std::size_t count, tables::DvbTable table) {
    return copyAsciiAs(Bytes::Unknown, out, bytes, count, table);
}

// Only ASCII: whether other text is well formed its decoding tells more quickly.
bool copyUtf8(char *out, const unsigned char *bytes, std::size_t count) {
    constexpr std::size_t shortText = 64;
    if (compact || bytes[0] >= 0x80) {
        return false;
    }
    const std::size_t copied = copyAsciiBlocks(out, bytes, count);
    const bool ascii = count - copied <= shortText && kindOf(bytes + copied, count - copied) == Bytes::Ascii;
    if (ascii) {
        std::memcpy(out + copied, bytes + copied, count - copied);
    }
    return ascii;
}

bool copyTwoByteAscii(char *out, const unsigned char *bytes, std::size_t count) {
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

bool isPlainTwoByte(const unsigned char *bytes, std::size_t count) {
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

// Ascii, which is copied, Whole, or Other where that is not known.
bool isWholeTableText(const unsigned char *bytes, std::size_t count, const char *text, std::size_t length, bool marks) {
    return isWhole(compact || marks ? countText<true>(text, length) : countText<false>(text, length), length, count,
                   marks, [=] { return countString(bytes, count); });
}

bool isWholeText(const char *text, std::size_t length, std::size_t characters) {
    const TextCounts out = countText<compact>(text, length);
    return !out.rare && length - out.continuations == characters;
}

// Whether a text may hold a surrogate or U+FFFD.
bool hasRare(const char *text, std::size_t count) {
    Signed rare{};
    forAllBytes(text, count, graphicFiller, [&](Lanes block) { rare |= (block | 2) == 0xEF; });
    return anyOf(rare);
}

bool copyUsualUtf8(char *out, const unsigned char *bytes, std::size_t count) {
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

} // namespace zelk::insight::portable
