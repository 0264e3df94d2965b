// UTF-8 on every processor: by vectors of sixteen bytes where the target has them, and where not ASCII eight bytes at a
// time, the rest character by character. Included by utf8.cpp and its test alone.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/kernels.h"
#include "kernels/plain/operations.h"
#include "kernels/plain/utf8_blocks.h"
#include "kernels/text_forms.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

// ---- Character by character

inline constexpr std::size_t extentWindow = 256;

// No high bit, and no byte below `limit` (at most 0x80): every byte of 0x80 - limit and more carries when limit is
// taken from it with its high bit set.
inline bool plainAscii(std::uint64_t word, unsigned int limit) {
    return ((word | ~((word | highBits) - limit * everyByte)) & highBits) == 0;
}

// A text whose count may be too large: the C library tells what is surely there, a extentWindow at a time.
class Extent {
public:
    Extent(const unsigned char *text, std::size_t length) : text_(text), length_(length) {}

    // Shorter once the terminator is seen.
    std::size_t length() const { return length_; }

    bool hasWordAt(std::size_t position) {
        if (position + wordBytes > known_ && known_ < length_) {
            const std::size_t wanted = std::min(extentWindow, length_ - position);
            const void *zero = std::memchr(text_ + position, 0, wanted);
            known_ = position + wanted;
            if (zero != nullptr) {
                known_ = length_ = static_cast<std::size_t>(static_cast<const unsigned char *>(zero) - text_);
            }
        }
        return position + wordBytes <= known_;
    }

private:
    const unsigned char *text_;
    std::size_t length_;
    std::size_t known_ = 0;
};

// Reads one well-formed character; 0 bytes for anything else. A shorter text ends with a zero, which follows no lead.
inline std::size_t wellFormedCharacter(const unsigned char *text, std::size_t length, unsigned int &unit) {
    const unsigned int lead = text[0];
    if (lead < 0x80) {
        unit = lead;
        return 1;
    }
    if (lead < 0xE0) {
        if (lead < 0xC2 || length < 2 || !detail::isContinuation(text[1])) {
            return 0;
        }
        unit = (lead & 0x1FU) << 6U | (text[1] & 0x3FU);
        return 2;
    }
    if (lead > 0xEF || length < 3 || !detail::isContinuation(text[1]) || !detail::isContinuation(text[2])) {
        return 0;
    }
    unit = (lead & 0x0FU) << 12U | (text[1] & 0x3FU) << 6U | (text[2] & 0x3FU);
    return unit < 0x800 ? 0 : 3;
}

// Walks over well-formed clean text: takeAscii(at) for eight bytes of ASCII, take(unit) for another character, each of
// which returns false where there is no room for it.
template <Clean clean, class TakeAscii, class Take>
std::size_t walk(const unsigned char *text, std::size_t length, TakeAscii takeAscii, Take take) {
    Extent extent(text, length);
    std::size_t read = 0;
    while (read < extent.length()) {
        if (text[read] < 0x80 && extent.hasWordAt(read) && plainAscii(wordAt(text + read), leastByte(clean)) &&
            takeAscii(text + read)) {
            read += wordBytes;
            continue;
        }
        unsigned int unit = 0;
        const std::size_t bytes = wellFormedCharacter(text + read, length - read, unit);
        if (bytes == 0 || !isClean(clean, unit) || !take(unit)) {
            break;
        }
        read += bytes;
    }
    return read;
}

template <Clean clean>
ZELK_STAGE Progress decodeCharacters(const unsigned char *text, std::size_t length, unsigned short *out,
                                     std::size_t room) {
    std::size_t written = 0;
    const std::size_t read = walk<clean>(
        text, length,
        [&](const unsigned char *ascii) {
            if (room - written < wordBytes) {
                return false;
            }
            std::copy_n(ascii, wordBytes, out + written);
            written += wordBytes;
            return true;
        },
        [&](unsigned int unit) {
            if (written == room) {
                return false;
            }
            out[written++] = static_cast<unsigned short>(unit);
            return true;
        });
    return {read, written};
}

template <Clean clean>
std::size_t checkCharacters(const unsigned char *text, std::size_t length) {
    return walk<clean>(
        text, length, [](const unsigned char *) { return true; }, [](unsigned int unit) { return unit < 0xFFC0; });
}

inline Progress measureCharacters(const unsigned char *text, std::size_t length) {
    Extent extent(text, length);
    Progress done;
    while (done.read < extent.length()) {
        if (text[done.read] < 0x80 && extent.hasWordAt(done.read) && plainAscii(wordAt(text + done.read), 1)) {
            done.read += wordBytes;
            done.written += wordBytes;
            continue;
        }
        if (text[done.read] == 0) {
            break;
        }
        const auto available = static_cast<unsigned int>(std::min<std::size_t>(length - done.read, 3));
        done.read += detail::utf8Length(text + done.read, available);
        ++done.written;
    }
    return done;
}

// ---- Checking

// The bytes of whole blocks of ordinary ASCII, and of a last part of one, at the front of a text on its first page.
template <Clean clean>
std::size_t asciiBlocks(const unsigned char *text, Reach reach) {
    std::size_t read = 0;
    while (read < reach.length && mayReadBlock(text + read, reach) &&
           (highBitsOf(otherThanAscii<clean>(bytesAt(text + read))) & ~bitsBehind(reach, read)) == 0) {
        read += std::min(reach.length - read, vectorBytes);
    }
    return read;
}

template <Clean clean>
std::size_t checkBlocks(const unsigned char *text, std::size_t length) {
    Reach reach = reachOf(text, length);
    EndOfText end;
    std::size_t read = asciiBlocks<clean>(text, reach);
    while (read < reach.length) {
        const Utf8Block block = utf8BlockAt(text, reach, read, end);
        const Bytes faults = faultsOf<Longest::Three, clean>(block) | lastCharacters(block);
        const unsigned int found = highBitsOf(faults) & ~bitsBehind(reach, read);
        if (found != 0) {
            read += firstOf(found);
            break;
        }
        read += std::min(reach.length - read, vectorBytes);
    }
    return read - unfinishedBytes(text, read);
}

inline std::size_t checkShort(const unsigned char *text, std::size_t length) {
    const ShortText blocks(text, length);
    const auto others = [](const Utf8Block &block) { return otherThanAscii<Clean::Any>(block.text); };
    if (firstOf(blocks.bitsAndEnd(others)) == length) {
        return length;
    }
    const auto faults = [](const Utf8Block &block) {
        return faultsOf<Longest::Three, Clean::Any>(block) | lastCharacters(block);
    };
    const std::size_t read = firstOf(blocks.bitsAndEnd(faults));
    return read - unfinishedBytes(text, read);
}

template <Clean clean>
ZELK_STAGE std::size_t wellFormedUtf8(const unsigned char *text, std::size_t length) {
    if constexpr (!hasVectors) {
        return checkCharacters<clean>(text, length);
    }
    return clean == Clean::Any && ShortText::isOne(text, length) ? checkShort(text, length)
                                                                 : checkBlocks<clean>(text, length);
}

template <Clean clean>
ZELK_STAGE std::size_t copyWellFormedUtf8(const unsigned char *text, std::size_t length, char *out) {
    const std::size_t bytes = wellFormedUtf8<clean>(text, length);
    std::memcpy(out, text, bytes);
    return bytes;
}

// ---- Measuring

// The bytes that are no steps of their own, all their bits: a continuation byte behind a lead, or behind a lead of
// three and another continuation byte, be the text well-formed or not.
inline Bytes innerBytes(const Utf8Block &block) {
    const Bytes toContinue = everyByteIs(0xC0); // continuation bytes are less as signed numbers
    const Bytes first = among(block.before1, 0xC0, 0xEF);
    const Bytes second = among(block.before2, 0xE0, 0xEF) & signedBelow(block.before1, toContinue);
    return (first | second) & signedBelow(block.text, toContinue);
}

inline Progress measureBlocks(const unsigned char *text, std::size_t length) {
    Reach reach = reachOf(text, length);
    EndOfText end;
    std::size_t read = 0;
    std::size_t innerOfLast = 0;
    Words inner{};
    while (read < reach.length) {
        const Utf8Block block = utf8BlockAt(text, reach, read, end);
        const Bytes found = innerBytes(block);
        const unsigned int zeros = highBitsOf(reinterpret_cast<Bytes>(block.text == 0));
        const unsigned int stops = (zeros | bitsBehind(reach, read)) & allOfBlock;
        if (stops != 0) {
            innerOfLast = countOf(highBitsOf(found) & bitsBefore(stops));
            read += firstOf(stops);
            break;
        }
        inner += sumsOf(reinterpret_cast<Bytes>(reinterpret_cast<Units>(found) >> 7) & 1);
        read += vectorBytes;
    }
    return {read, read - innerOfLast - static_cast<std::size_t>(inner[0] + inner[1])};
}

inline Progress measureShort(const unsigned char *text, std::size_t length) {
    const ShortText blocks(text, length);
    const auto zeros = [](const Utf8Block &block) { return reinterpret_cast<Bytes>(block.text == 0); };
    const std::uint64_t end = blocks.bitsAndEnd(zeros);
    return {firstOf(end), firstOf(end) - countOf(blocks.bitsAndEnd(innerBytes) & bitsBefore(end))};
}

ZELK_STAGE Progress measureUtf8(const unsigned char *text, std::size_t length) {
    return !hasVectors                      ? measureCharacters(text, length)
           : ShortText::isOne(text, length) ? measureShort(text, length)
                                            : measureBlocks(text, length);
}

// ---- UTF-8 to UCS-2

// Of each two bytes the first one that is not left out, where one of them is to be, then the second.
inline Units closedUpByTwo(Bytes bytes, Bytes leftOut) {
    const auto pairs = reinterpret_cast<Units>(bytes);
    return pairs ^ ((pairs ^ pairs >> 8) & reinterpret_cast<Units>(leftOut) & 0xFF);
}

// Of each four bytes, closed up by two, those before one that is left out of the first two, then the others.
inline Fours closedUpByFour(Units pairs, Fours leftOutOfFirst) {
    const auto fours = reinterpret_cast<Fours>(pairs);
    return fours ^ ((fours ^ fours >> 8) & leftOutOfFirst);
}

// Bytes 1 to 3 of each four where one of the first two is left out.
inline Fours gapsOfFour(Bytes leftOut) {
    const Bytes either = leftOut | reinterpret_cast<Bytes>(reinterpret_cast<Units>(leftOut) >> 8);
    return reinterpret_cast<Fours>(reinterpret_cast<SignedFours>(reinterpret_cast<Fours>(either) << 24) >> 16);
}

// The low and the high bytes of the units of a block, at the last byte of each sequence; `inner` tells the other bytes.
struct Utf8Units {
    Bytes low, high, inner;
};

// The same without the bytes from `count` on.
inline Utf8Units leftOutFrom(const Utf8Units &units, std::size_t count) {
    const Bytes kept = firstBytes(count);
    return {units.low & kept, units.high & kept, units.inner | ~kept};
}

template <Longest longest>
Utf8Units unitsOf(const Utf8Block &block) {
    const Bytes several = highBitToAll(block.text);
    const Bytes continuation = signedBelow(block.text, everyByteIs(0xC0));
    const Bytes up = reinterpret_cast<Bytes>(reinterpret_cast<Units>(block.before1) << 6) & everyByteIs(0xC0);
    const Bytes down = reinterpret_cast<Bytes>(reinterpret_cast<Units>(block.before1) >> 2) & everyByteIs(0x0F);
    Utf8Units units{(block.text & 0x7F) | (up & several), down & several, several & ~continuation};
    if constexpr (longest == Longest::Three) {
        units.high |= reinterpret_cast<Bytes>(reinterpret_cast<Units>(above(block.before2, everyByteIs(0xE0))) << 4);
        units.inner |= highBitToAll(above(block.before1, everyByteIs(0x60)));
    }
    return units;
}

// Stores the units of a block of sequences of one and two bytes and tells how many they are: each four bytes hold two
// at least, but for those left out at the end. What is stored behind the units of a four is overwritten by the next.
// There is room for sixteen.
inline std::size_t storeByFour(unsigned short *out, const Utf8Units &units) {
    const Fours gaps = gapsOfFour(units.inner);
    const auto low = reinterpret_cast<Bytes>(closedUpByFour(closedUpByTwo(units.low, units.inner), gaps));
    const auto high = reinterpret_cast<Bytes>(closedUpByFour(closedUpByTwo(units.high, units.inner), gaps));
    const auto front = reinterpret_cast<Words>(frontUnits(low, high));
    const auto back = reinterpret_cast<Words>(backUnits(low, high));
    const unsigned int counts = countsOfFour(~highBitsOf(units.inner) & allOfBlock);
    const unsigned int sums = counts * 0x111; // four bits each
    store(out, front[0]);
    store(out + (sums & 0xF), front[1]);
    store(out + (sums >> 4 & 0xF), back[0]);
    store(out + (sums >> 8 & 0xF), back[1]);
    return (sums >> 8 & 0xF) + (counts >> 12);
}

// The same for sequences of up to three bytes, of which two bytes may hold none: each half of the block by two bytes.
inline std::size_t storeByTwo(unsigned short *out, const Utf8Units &units) {
    const auto low = reinterpret_cast<Bytes>(closedUpByTwo(units.low, units.inner));
    const auto high = reinterpret_cast<Bytes>(closedUpByTwo(units.high, units.inner));
    const auto front = reinterpret_cast<Fours>(frontUnits(low, high));
    const auto back = reinterpret_cast<Fours>(backUnits(low, high));
    const auto ends = reinterpret_cast<Units>(units.inner + 1);
    const auto counts = reinterpret_cast<Words>((ends + (ends >> 8)) & 0xFF);
    const std::uint64_t sums = (counts[0] | counts[1] << 8) * 0x0001000100010001; // a byte each, of both halves in turn
    store(out, front[0]);
    store(out + (sums & 0xFF), front[1]);
    store(out + (sums >> 16 & 0xFF), front[2]);
    store(out + (sums >> 32 & 0xFF), front[3]);
    out += sums >> 48 & 0xFF;
    store(out, back[0]);
    store(out + (sums >> 8 & 0xFF), back[1]);
    store(out + (sums >> 24 & 0xFF), back[2]);
    store(out + (sums >> 40 & 0xFF), back[3]);
    return static_cast<std::size_t>((sums >> 48 & 0xFF) + (sums >> 56));
}

// Ends at what is out of the ordinary or longer, or may not fit. The text goes on with a character. Nothing of what
// lies behind it goes to the output, not for a moment.
template <Longest longest>
[[gnu::always_inline]] inline Progress decodeBlocks(const unsigned char *text, std::size_t length, unsigned short *out,
                                                    std::size_t room) {
    Reach reach = reachOf(text, length);
    EndOfText end;
    Progress done;
    while (done.read < reach.length && room - done.written >= vectorBytes) {
        const Utf8Block block = utf8BlockAt(text, reach, done.read, end);
        const unsigned int behind = bitsBehind(reach, done.read);
        unsigned short *const at = out + done.written;
        if (longest == Longest::Two && isAscii<Clean::Any>(block, behind)) {
            const std::size_t bytes = std::min(reach.length - done.read, vectorBytes);
            const Bytes ascii = block.text & firstBytes(bytes);
            store(at, frontUnits(ascii, Bytes{}));
            store(at + vectorUnits, backUnits(ascii, Bytes{}));
            done.read += bytes;
            done.written += bytes;
            continue;
        }
        const unsigned int stops = (highBitsOf(faultsOf<longest, Clean::Any>(block)) | behind) & allOfBlock;
        Utf8Units units = unitsOf<longest>(block);
        if (stops != 0) {
            units = leftOutFrom(units, firstOf(stops));
        }
        done.written += longest == Longest::Two ? storeByFour(at, units) : storeByTwo(at, units);
        if (stops != 0) {
            done.read += firstOf(stops);
            break;
        }
        done.read += vectorBytes;
    }
    done.read -= unfinishedBytes(text, done.read);
    return done;
}

// A sequence that the end of the text cuts off has a unit that stays as it is: what blocks store behind their units
// must not reach it. Of a text that may end so they take all but the last bytes.
inline std::size_t lengthForBlocks(const unsigned char *text, std::size_t length) {
    constexpr std::size_t rest = 3 * vectorBytes;
    return endsWithCharacter(text, length) ? length : length - std::min(length, rest);
}

// Four characters of three bytes each, as long as there are no others: they need no closing up.
inline Progress decodeThrees(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    constexpr std::size_t characters = vectorBytes / sizeof(std::uint32_t);
    const Reach reach = reachOf(text, length);
    Progress done;
    while (length - done.read >= vectorBytes && mayReadBlock(text + done.read, reach) &&
           room - done.written >= characters) {
        const unsigned char *const at = text + done.read;
        const Fours bytes = {fourAt(at), fourAt(at + 3), fourAt(at + 6), fourAt(at + 9)};
        const Fours units = (bytes & 0x0F) << 12 | (bytes >> 2 & 0xFC0) | (bytes >> 16 & 0x3F);
        const Fours overlong = reinterpret_cast<Fours>((units & 0xF800) == 0);
        if (!isZero(((bytes & 0xC0C0F0) ^ 0x8080E0) | overlong)) {
            break;
        }
        store(out + done.written, lowHalves(units));
        done.read += 3 * characters;
        done.written += characters;
    }
    return done;
}

// By blocks of sequences of up to two bytes.
ZELK_STAGE Progress decodeTwos(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    return decodeBlocks<Longest::Two>(text, length, out, room);
}

constexpr Progress operator+(const Progress &done, const Progress &more) {
    return {done.read + more.read, done.written + more.written};
}

// From a sequence of three bytes on: such, and a block of all kinds behind them, in turn with blocks of shorter ones.
// What blocks cannot take is taken character by character.
ZELK_STAGE Progress decodeFurther(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room,
                                  Progress done) {
    constexpr std::size_t few = 4 * vectorBytes; // not worth the branches of changing between the ways
    const std::size_t end = lengthForBlocks(text, length);
    while (done.read < end && text[done.read] >= 0xE0) {
        std::size_t bytes = end - done.read;
        if (bytes > few) {
            done = done + decodeThrees(text + done.read, bytes, out + done.written, room - done.written);
            bytes = std::min(end - done.read, vectorBytes);
        }
        const Progress block =
            decodeBlocks<Longest::Three>(text + done.read, bytes, out + done.written, room - done.written);
        if (block.read == 0) {
            break;
        }
        done = done + block;
        if (done.read < end && text[done.read] < 0xE0) {
            done = done + decodeTwos(text + done.read, end - done.read, out + done.written, room - done.written);
        }
    }
    if (done.read == length || (done.read + 2 < end && room - done.written >= vectorBytes)) {
        return done;
    }
    return done +
           decodeCharacters<Clean::Any>(text + done.read, length - done.read, out + done.written, room - done.written);
}

ZELK_STAGE Progress decodeShorter(const unsigned char *text, std::size_t length, unsigned short *out,
                                  std::size_t room) {
    const Progress done = decodeBlocks<Longest::Two>(text, lengthForBlocks(text, length), out, room);
    return done.read == length ? done : decodeFurther(text, length, out, room, done);
}

// What is to be left alone is searched for at first, in as much of the text as may fit.
template <Clean clean>
ZELK_STAGE Progress utf8ToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    if constexpr (!hasVectors) {
        return decodeCharacters<clean>(text, length, out, room);
    }
    if constexpr (clean == Clean::NoControls) {
        length = wellFormedUtf8<clean>(text, room < length / 3 ? 3 * room : length);
    }
    return length == 0      ? Progress{}
           : text[0] < 0xE0 ? decodeShorter(text, length, out, room)
                            : decodeFurther(text, length, out, room, {});
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
