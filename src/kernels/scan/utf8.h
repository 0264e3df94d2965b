// UTF-8 checked, copied and measured.
//
//   16 to 64 bytes       where they are measured, ASCII first: by the blocks that are looked through for a zero anyway
//   up to 17 bytes       character by character
//   18 to 64 bytes       four lanes that overlap as far as needed: no branch depends on the length
//   more                 aligned blocks, from the one that holds the first byte to the one that holds the last
//
// Nothing is read after the aligned block that holds a zero. Every byte is looked at together with the two before it,
// so that it does not matter where in a block the sequences lie. Where vectors find a fault, characters say where it
// is.
#pragma once

#include "kernels/plain/utf8.h"
#include "kernels/scan/utf8_faults.h"
#include "kernels/scan/zero_byte.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// ---- Blocks and the bytes before theirs

inline constexpr std::size_t longestSequence = 3;

struct Utf8Block {
    Bytes text, before1, before2;
};

// Of bytes that may be read, not at the front of a text.
ZELK_OPERATION Utf8Block utf8BlockAt(const unsigned char *at) {
    return {load(at), load(at - 1), load(at - 2)};
}

ZELK_OPERATION Utf8Block utf8BlockAfter(Bytes before, Bytes block) {
    return {block, movedUp<1>(block, before), movedUp<2>(block, before)};
}

// With zeros in front of the text.
ZELK_OPERATION Utf8Block firstUtf8Block(const unsigned char *text) {
    return utf8BlockAfter(Bytes{}, load(text));
}

// The first `count` places of a block, less than all.
ZELK_OPERATION Flags inFront(std::size_t count) {
    alignas(blockBytes) static constexpr auto places = []() {
        std::array<std::uint8_t, blockBytes> numbers{};
        for (std::size_t place = 0; place < blockBytes; ++place) {
            numbers[place] = static_cast<std::uint8_t>(place);
        }
        return numbers;
    }();
    return lessSigned(load(places.data()), repeatByte(static_cast<unsigned int>(count)));
}

// The aligned block that holds the first byte of a text, with spaces in front of it, which are ASCII and no stops.
ZELK_OPERATION Bytes frontBlock(const unsigned char *text) {
    const std::size_t before = placeInLine(text);
    return choose(inFront(before), repeatByte(' '), loadAligned(text - before));
}

// Lanes that cover a text of 18 to 64 bytes, or of 18 to 48 without the third.
struct ShortText {
    static constexpr std::size_t least = laneBytes + 2; // no lane but the first begins before the third byte
    static constexpr std::size_t most = 4 * laneBytes;
    static constexpr std::size_t blocks = most / blockBytes;

    ZELK_OPERATION ShortText of(const unsigned char *text, std::size_t length) {
        const std::size_t last = length - laneBytes;
        const std::size_t second = lesserOf(laneBytes, last);
        return {text, {0, second, second + last - lesserOf(second + laneBytes, last), last}};
    }

    const unsigned char *text;
    std::size_t places[4];
};

// The lanes from a place of the list on that make up a block, each so many bytes before its place.
ZELK_OPERATION Bytes lanesOf(const ShortText &name, std::size_t block, std::size_t before) {
    const std::size_t *const places = name.places + block * blockLanes;
    return joined(load<Lane>(name.text + places[0] - before), load<Lane>(name.text + places[blockLanes - 1] - before));
}

template <std::size_t block>
ZELK_OPERATION Utf8Block blockOf(const ShortText &name) {
    if (block != 0) {
        return {lanesOf(name, block, 0), lanesOf(name, block, 1), lanesOf(name, block, 2)};
    }
    const Lane lane = load<Lane>(name.text);
    const unsigned char *const further = name.text + name.places[blockLanes - 1];
    return {joined(lane, load<Lane>(further)), joined(movedUp<1>(lane), load<Lane>(further - (blockLanes - 1))),
            joined(movedUp<2>(lane), load<Lane>(further - 2 * (blockLanes - 1)))};
}

// ---- ASCII

ZELK_OPERATION Bytes leastAsciiOf(const Utf8Rule &rule) {
    return repeatLane(load<Lane>(rule.leastAscii));
}

// The bytes that are no ASCII that a conversion passes over: as signed numbers all the others are less.
ZELK_OPERATION Flags otherThanAscii(Bytes bytes, Bytes leastAscii) {
    return lessSigned(bytes, leastAscii);
}

ZELK_OPERATION bool isAscii(Bytes block, Bytes leastAscii) {
    return !anySignBit(otherThanAscii(block, leastAscii));
}

// As many bytes of ASCII as come first, in aligned blocks.
ZELK_STAGE std::size_t asciiInBlocks(const unsigned char *start, std::size_t length, Bytes leastAscii) {
    constexpr std::size_t atOnce = 4 * blockBytes;
    std::size_t read = 0;
    for (; length - read >= atOnce; read += atOnce) {
#pragma GCC unroll 4
        for (std::size_t at = 0; at < atOnce; at += blockBytes) {
            if (!isAscii(loadAligned(start + read + at), leastAscii)) {
                return read + at;
            }
        }
    }
    while (length - read >= blockBytes && isAscii(loadAligned(start + read), leastAscii)) {
        read += blockBytes;
    }
    return read;
}

ZELK_OPERATION bool isAscii(const ShortText &name, Bytes leastAscii) {
    Bytes least = lanesOf(name, 0, 0);
    for (std::size_t block = 1; block < ShortText::blocks; ++block) {
        least = lesserSigned(least, lanesOf(name, block, 0));
    }
    return !anySignBit(otherThanAscii(least, leastAscii));
}

// ---- Faults

// Not zero where bytes do not follow the two before them as they should. Zeros and controls of ASCII are not looked
// for.
ZELK_OPERATION Bytes faultsOf(const Utf8Block &block, const Utf8Rule &rule) {
    const Bytes byBefore = lookUp(load(rule.tables.before), upperNibbles(block.before1));
    const Bytes byLower = lookUp(load(rule.tables.lower), lowerNibbles(block.before1));
    const Bytes byCurrent = lookUp(load(rule.tables.current), upperNibbles(block.text));
    const Bytes due = subtractSaturated(block.before2, everyByte<0x60>()) & everyByte<0x80>(); // after E0 and above
    Bytes found = (byBefore & byLower & byCurrent) ^ due;
    if (rule.last == Last::LeftOut) {
        found |= equal(block.before1, everyByte<0xEF>()) & equal(block.text, everyByte<0xBF>());
    }
    return found;
}

// Of blocks whose faults are `found`, and the least of whose bytes at each place are `least`.
ZELK_OPERATION bool hasFaults(Bytes found, Bytes least, const Utf8Rule &rule) {
    const Bytes leastAscii = leastAsciiOf(rule);
    return anyBit(found | (lesser(least, leastAscii) ^ leastAscii));
}

ZELK_OPERATION bool hasFaults(const Utf8Block &block, const Utf8Rule &rule) {
    return hasFaults(faultsOf(block, rule), block.text, rule);
}

ZELK_OPERATION bool hasFaults(const ShortText &name, const Utf8Rule &rule) {
    Bytes least = lesser(lanesOf(name, 0, 0), lanesOf(name, 1, 0));
    Bytes found = faultsOf(blockOf<0>(name), rule) | faultsOf(blockOf<1>(name), rule);
    if constexpr (ShortText::blocks == 4) {
        least = lesser(least, lesser(lanesOf(name, 2, 0), lanesOf(name, 3, 0)));
        found |= faultsOf(blockOf<2>(name), rule) | faultsOf(blockOf<3>(name), rule);
    }
    return hasFaults(found, least, rule);
}

// ---- Checking

// The bytes at the front of a text that are characters, one by one.
ZELK_STAGE std::size_t checkCharacters(const unsigned char *text, std::size_t length, const Utf8Rule &rule) {
    return plain::checkCharacters(text, length, rule.clean, rule.last);
}

// How far the characters are right, of a text with a fault among its first `read` bytes: less than `read`, or the fault
// was none.
ZELK_STAGE std::size_t rightCharacters(const unsigned char *text, std::size_t length, std::size_t from,
                                       std::size_t read, const Utf8Rule &rule) {
    from -= unfinishedBytes(text, from);
    const std::size_t end = std::min(length, read + longestSequence - 1);
    return from + checkCharacters(text + from, end - from, rule);
}

// ASCII is tried for each block, but not for some blocks after one where it failed.
inline constexpr std::size_t blocksUntilTrial = 8;

ZELK_STAGE std::size_t checkLong(const unsigned char *text, std::size_t length, const Utf8Rule &rule) {
    const Bytes leastAscii = leastAsciiOf(rule);
    Bytes before = frontBlock(text);
    std::size_t read = bytesInLine(text);
    if (!isAscii(before, leastAscii) && hasFaults(utf8BlockAfter(Bytes{}, before), rule)) {
        const std::size_t right = rightCharacters(text, length, 0, read, rule);
        if (right < read) {
            return right;
        }
    }
    while (length - read >= blockBytes) {
        const std::size_t ascii = asciiInBlocks(text + read, length - read, leastAscii);
        if (ascii != 0) {
            const std::size_t unfinished = unfinishedBytes(text, read);
            if (unfinished != 0) {
                return read - unfinished;
            }
            before = Bytes{};
            read += ascii;
        }
        const std::size_t blocks = std::min((length - read) / blockBytes, blocksUntilTrial);
        for (const std::size_t end = read + blocks * blockBytes; read != end; read += blockBytes) {
            const Bytes block = loadAligned(text + read);
            if (hasFaults(utf8BlockAfter(before, block), rule)) {
                const std::size_t right = rightCharacters(text, length, read, read + blockBytes, rule);
                if (right < read + blockBytes) {
                    return right;
                }
            }
            before = block;
        }
    }
    const std::size_t last = length - blockBytes;
    if (read != length && hasFaults(utf8BlockAt(text + last), rule)) {
        const std::size_t right = rightCharacters(text, length, last, length, rule);
        if (right < length) {
            return right;
        }
    }
    return length - unfinishedBytes(text, length);
}

// The bytes at the front of a text that are characters.
ZELK_STAGE std::size_t check(const unsigned char *text, std::size_t length, const Utf8Rule &rule) {
    if (length > ShortText::most + 1 + longestSequence) {
        return checkLong(text, length, rule);
    }
    const std::size_t readable = bytesBeforeZero(text, length);
    if (readable < ShortText::least || readable > ShortText::most) {
        return checkCharacters(text, readable, rule);
    }
    const ShortText name = ShortText::of(text, readable);
    if (isAscii(name, leastAsciiOf(rule))) {
        return readable;
    }
    if (hasFaults(name, rule)) {
        return checkCharacters(text, readable, rule);
    }
    return readable - unfinishedBytes(text, readable);
}

ZELK_STAGE std::size_t wellFormedUtf8(const unsigned char *text, std::size_t length) {
    return check(text, length, utf8Rule<Clean::Any, Last::LeftOut>);
}

ZELK_STAGE std::size_t copyCleanUtf8(const unsigned char *text, std::size_t length, char *out) {
    const std::size_t bytes = check(text, length, utf8Rule<Clean::NoControls, Last::LeftOut>);
    if (bytes >= ShortText::least && bytes <= ShortText::most) {
        const ShortText name = ShortText::of(text, bytes);
        for (const std::size_t place : name.places) {
            store(out + place, load<Lane>(text + place));
        }
    } else {
        std::memcpy(out, text, bytes);
    }
    return bytes;
}

// ---- Measuring

// A range of bytes.
ZELK_OPERATION Flags among(Bytes bytes, unsigned int first, unsigned int last) {
    return lessSigned(bytes + repeatByte(0x80 - first), repeatByte(0x81 + last - first));
}

// The bytes that are no steps of their own: a continuation byte after a lead, or after a lead of three and another
// continuation byte, be the text well-formed or not.
ZELK_OPERATION Flags innerBytes(const Utf8Block &block) {
    const Bytes toContinue = everyByte<0xC0>(); // continuation bytes are less as signed numbers
    const Flags first = among(block.before1, 0xC0, 0xEF);
    const Flags second = among(block.before2, 0xE0, 0xEF) & lessSigned(block.before1, toContinue);
    return (first | second) & lessSigned(block.text, toContinue);
}

struct InnerAndZeros {
    std::uint64_t inner, zeros; // a bit a byte
};

ZELK_OPERATION InnerAndZeros innerAndZeros(const ShortText &name) {
    InnerAndZeros bits{};
    const auto add = [&](const Utf8Block &block, std::size_t first) {
        const std::uint64_t inner = signBits(innerBytes(block));
        const std::uint64_t zeros = signBits(equal(block.text, Bytes{}));
        for (std::size_t lane = 0; lane < blockLanes; ++lane) {
            bits.inner |= (inner >> lane * laneBytes & 0xFFFF) << name.places[first + lane];
            bits.zeros |= (zeros >> lane * laneBytes & 0xFFFF) << name.places[first + lane];
        }
    };
    add(blockOf<0>(name), 0);
    add(blockOf<1>(name), blockLanes);
    if constexpr (ShortText::blocks == 4) {
        add(blockOf<2>(name), 2);
        add(blockOf<3>(name), 3);
    }
    return bits;
}

ZELK_OPERATION InnerAndZeros innerAndZeros(const Utf8Block &block) {
    return {signBits(innerBytes(block)), signBits(equal(block.text, Bytes{}))};
}

// The steps of `bytes`, or of those before the first zero; false at a zero.
ZELK_OPERATION bool takeSteps(Progress &done, const InnerAndZeros &bits, std::size_t bytes) {
    const std::size_t zero = static_cast<std::size_t>(std::countr_zero(bits.zeros));
    const std::size_t read = std::min(zero, bytes);
    const std::uint64_t text = read == 64 ? ~std::uint64_t{0} : ~(~std::uint64_t{0} << read);
    done.read += read;
    done.written += read - static_cast<std::size_t>(std::popcount(bits.inner & text));
    return zero >= bytes;
}

// Whole blocks without a zero, of which the one before them is handed over; returns the last one.
ZELK_OPERATION Bytes measureBlocks(const unsigned char *text, std::size_t length, Bytes before, Progress &done) {
    const Bytes leastAscii = everyByte<0x01>();
    while (length - done.read >= blockBytes) {
        const std::size_t ascii = asciiInBlocks(text + done.read, length - done.read, leastAscii);
        if (ascii != 0) {
            before = Bytes{};
            done.read += ascii;
            done.written += ascii;
        }
        const std::size_t blocks = std::min((length - done.read) / blockBytes, blocksUntilTrial);
        const std::size_t begin = done.read;
        const std::size_t end = begin + blocks * blockBytes;
        Bytes inner{};
        for (; done.read != end; done.read += blockBytes) {
            const Bytes block = loadAligned(text + done.read);
            if (placesOf(equal(block, Bytes{})) != 0) {
                break;
            }
            inner -= innerBytes(utf8BlockAfter(before, block));
            before = block;
        }
        done.written += done.read - begin - sumOf(inner);
        if (done.read != end) {
            break;
        }
    }
    return before;
}

ZELK_STAGE Progress measureLong(const unsigned char *text, std::size_t length) {
    Progress done;
    Bytes before = frontBlock(text);
    const InnerAndZeros bits = innerAndZeros(utf8BlockAfter(Bytes{}, before));
    const std::size_t place = placeInLine(text);
    if (!takeSteps(done, {bits.inner >> place, bits.zeros >> place}, bytesInLine(text))) {
        return done;
    }
    before = measureBlocks(text, length, before, done);
    if (length - done.read >= blockBytes) {
        const Bytes block = loadAligned(text + done.read);
        takeSteps(done, innerAndZeros(utf8BlockAfter(before, block)), blockBytes);
    } else if (const std::size_t rest = length - done.read; rest != 0) {
        const InnerAndZeros last = innerAndZeros(utf8BlockAt(text + length - blockBytes));
        const std::size_t known = blockBytes - rest;
        takeSteps(done, {last.inner >> known, last.zeros >> known}, rest);
    }
    return done;
}

ZELK_STAGE Progress measureUtf8(const unsigned char *text, std::size_t length) {
    if (sparesNoCode && length >= laneBytes && length <= ShortText::most &&
        bytesBefore<ZerosAndOthersThanAscii>(text, length) == length) {
        return {length, length};
    }
    if (length > ShortText::most + 1 + longestSequence) {
        return measureLong(text, length);
    }
    const std::size_t readable = bytesBeforeZero(text, length);
    if (readable < ShortText::least || readable > ShortText::most) {
        return plain::measureUtf8(text, readable);
    }
    Progress done;
    takeSteps(done, innerAndZeros(ShortText::of(text, readable)), readable);
    return done;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
