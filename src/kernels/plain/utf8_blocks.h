// How the portable kernels read UTF-8 by vectors: blocks of sixteen bytes, each with the bytes one and two places
// before its own, so that a sequence is looked at where it goes on and blocks follow one another at fixed distances,
// wherever the sequences lie. Included by utf8_decode_portable.h alone.
#pragma once

#include "kernels/kernels.h"
#include "kernels/pages.h"
#include "kernels/plain/operations.h"
#include "kernels/text_forms.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

struct Utf8Block {
    Bytes text, before1, before2; // zeros in front of the text
};

// How far a text goes, as far as is known, and the end of the page where it surely is: so far blocks may be read.
struct Reach {
    std::size_t length;
    const unsigned char *pageEnd;
};

inline Reach reachOf(const unsigned char *text, std::size_t length) {
    return {length, text + bytesInPage(text)};
}

// At the end of a page: the text ends there, at its terminator or by its length, or the next page may be read too.
ZELK_STAGE Reach furtherReach(const unsigned char *text, Reach reach, const unsigned char *at) {
    const auto onPage = static_cast<std::size_t>(reach.pageEnd - text);
    const unsigned char *const end = text + std::min(reach.length, onPage);
    const void *zero = std::memchr(at, 0, static_cast<std::size_t>(end - at));
    if (zero != nullptr) {
        reach.length = static_cast<std::size_t>(static_cast<const unsigned char *>(zero) - text);
    } else if (reach.length > onPage) {
        reach.pageEnd += pageBytes;
    }
    return reach;
}

inline bool mayReadBlock(const unsigned char *at, Reach reach) {
    return static_cast<std::size_t>(reach.pageEnd - at) >= vectorBytes;
}

// The end of a text behind which there may be no page, with the two bytes before it, for a block to be read from.
using EndOfText = std::array<unsigned char, 2 + vectorBytes>;

ZELK_STAGE void copyEnd(EndOfText &end, const unsigned char *text, std::size_t length, std::size_t position) {
    const std::size_t before = std::min<std::size_t>(position, 2);
    end = {};
    std::copy(text + position - before, text + length, end.data() + 2 - before);
}

inline Utf8Block utf8BlockAt(const unsigned char *at) {
    return {bytesAt(at), bytesAt(at - 1), bytesAt(at - 2)};
}

// The block at a position, which is a multiple of sixteen and behind a text without zeros so far. What lies behind the
// text is undefined.
inline Utf8Block utf8BlockAt(const unsigned char *text, Reach &reach, std::size_t position, EndOfText &end) {
    const unsigned char *const at = text + position;
    if (!mayReadBlock(at, reach)) [[unlikely]] {
        reach = furtherReach(text, reach, at);
        if (!mayReadBlock(at, reach)) {
            copyEnd(end, text, reach.length, position);
            return utf8BlockAt(end.data() + 2);
        }
    }
    if (position == 0) {
        const Bytes block = bytesAt(at);
        return {block, oneUp(block), twoUp(block)};
    }
    return utf8BlockAt(at);
}

inline constexpr unsigned int allOfBlock = (1U << vectorBytes) - 1; // bits, one a byte

// Of bits, one a byte of the block at a position, those of bytes behind the text.
inline unsigned int bitsBehind(Reach reach, std::size_t position) {
    return ~0U << std::min(reach.length - position, vectorBytes);
}

// How many bits there are in each four of them.
constexpr unsigned int countsOfFour(unsigned int bits) {
    const unsigned int twos = bits - (bits >> 1 & 0x5555);
    return (twos & 0x3333) + (twos >> 2 & 0x3333);
}

constexpr std::size_t countOf(std::uint64_t bits) {
    const std::uint64_t twos = bits - (bits >> 1 & 0x5555555555555555);
    const std::uint64_t fours = (twos & 0x3333333333333333) + (twos >> 2 & 0x3333333333333333);
    return static_cast<std::size_t>(((fours + (fours >> 4)) & 0x0F0F0F0F0F0F0F0F) * everyByte >> 56);
}

constexpr unsigned int leastByte(Clean clean) {
    return clean == Clean::Any ? 0x01 : 0x20;
}

// The bytes that are no ordinary ASCII: as signed numbers all the others are less.
template <Clean clean>
Bytes otherThanAscii(Bytes text) {
    return signedBelow(text, everyByteIs(leastByte(clean)));
}

// Whether the text in a block is ordinary ASCII, behind a character that ended.
template <Clean clean>
bool isAscii(const Utf8Block &block, unsigned int behind) {
    return ((highBitsOf(otherThanAscii<clean>(block.text)) & ~behind) | (highBitsOf(block.before1) & 1)) == 0;
}

// The sequences that a block may hold: longer ones are taken for faults.
enum class Longest { Two, Three };

// High bits tell the bytes that do not follow the two before them as they should, or are out of the ordinary.
template <Longest longest, Clean clean>
Bytes faultsOf(const Utf8Block &block) {
    constexpr bool three = longest == Longest::Three;
    const Bytes continuation = signedBelow(block.text, everyByteIs(0xC0));
    Bytes due = above(block.before1, everyByteIs(0x40)); // bit 7 stays from C0 on
    Bytes rejected = among(block.text, three ? 0xF0 : 0xE0, leastByte(clean) - 1);
    rejected |= reinterpret_cast<Bytes>((block.text & 0xFE) == 0xC0); // overlong: C0 and C1
    Bytes guarded{};                                                  // leads that nothing from 80 to 9F may follow
    if constexpr (three) {
        due |= above(block.before2, everyByteIs(0x60));
        guarded |= reinterpret_cast<Bytes>(block.before1 == 0xE0); // overlong
    }
    if constexpr (clean == Clean::NoControls) {
        guarded |= reinterpret_cast<Bytes>(block.before1 == 0xC2); // U+0080 to U+009F
        rejected |= reinterpret_cast<Bytes>(block.text == 0xEE);   // U+E000 to U+EFFF, where their images lie
    }
    return (due ^ continuation) | rejected | (guarded & signedBelow(block.text, everyByteIs(0xA0)));
}

// The middle bytes of U+FFC0 to U+FFFF.
inline Bytes lastCharacters(const Utf8Block &block) {
    return reinterpret_cast<Bytes>(block.before1 == 0xEF) & reinterpret_cast<Bytes>(block.text == 0xBF);
}

// The bytes in front of `read` that belong to a sequence which does not end there: 0, 1 or 2.
inline std::size_t unfinishedBytes(const unsigned char *text, std::size_t read) {
    if (read >= 1 && text[read - 1] >= 0xC0) {
        return 1;
    }
    return read >= 2 && text[read - 2] >= 0xE0 ? 2 : 0;
}

// Texts of 17 to 48 bytes, as names are, go as three blocks: no branch then depends on how many they have.
struct ShortText {
    static constexpr std::size_t longest = 3 * vectorBytes;

    ShortText(const unsigned char *text, std::size_t length)
        : front{bytesAt(text), oneUp(bytesAt(text)), twoUp(bytesAt(text))}, middle(utf8BlockAt(text + vectorBytes)),
          back(utf8BlockAt(text + 2 * vectorBytes)), end(std::uint64_t{1} << length) {}

    static bool isOne(const unsigned char *text, std::size_t length) {
        return length > vectorBytes && length <= longest && bytesInPage(text) >= longest;
    }

    // The bytes of which bytesOf(block) gives the high bit, and the end behind them.
    template <class BytesOf>
    std::uint64_t bitsAndEnd(BytesOf bytesOf) const {
        return highBitsOf(bytesOf(front)) | std::uint64_t{highBitsOf(bytesOf(middle))} << vectorBytes |
               std::uint64_t{highBitsOf(bytesOf(back))} << 2 * vectorBytes | end;
    }

    Utf8Block front, middle, back;
    std::uint64_t end;
};

// Whether a text of this length surely does not end within a sequence.
ZELK_UNSEEN inline bool endsWithCharacter(const unsigned char *text, std::size_t length) {
    return length <= bytesInPage(text) && text[length - 1] < 0xC0 && (length < 2 || text[length - 2] < 0xE0);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
