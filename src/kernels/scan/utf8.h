// UTF-8 checked, copied and measured.
//
//   up to 17 bytes       character by character
//   18 to 64 bytes       four lanes that overlap as far as needed: no branch depends on the length
//   more                 as many bytes as a line has at the front, then the text's lines, then as many at its end
//
// Nothing is read in a line after the one that holds a zero. Every byte is looked at together with the two before it,
// so that blocks follow one another at fixed distances, wherever the sequences lie. Where vectors find a fault,
// characters say where it is.
#pragma once

#include "kernels/plain/utf8.h"
#include "kernels/scan/utf8_faults.h"
#include "kernels/simd/lines.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// ---- Which bytes may be read

ZELK_OPERATION std::uint64_t zeroPlaces(Bytes bytes) {
    return placesOf(equal(bytes, Bytes{}));
}

// Whether there is a zero from an address to the end of its line. Blocks are read from the one that holds the address
// up to the first zero.
ZELK_OPERATION bool hasZeroInLine(const unsigned char *at) {
    const std::size_t place = placeInLine(at);
    const std::size_t inBlock = place % blockBytes;
    std::uint64_t zeros = zeroPlaces(loadAligned(at - inBlock)) >> inBlock * bitsPerPlace;
    for (std::size_t block = place - inBlock + blockBytes; zeros == 0 && block < lineBytes; block += blockBytes) {
        zeros = zeroPlaces(loadAligned(at - place + block));
    }
    return zeros != 0;
}

// ---- Blocks and the bytes before theirs

inline constexpr std::size_t longestSequence = 3;

struct Utf8Block {
    Bytes text, before1, before2;
};

// Not one at the front of a text.
ZELK_OPERATION Utf8Block utf8BlockAt(const unsigned char *at) {
    return {load(at), load(at - 1), load(at - 2)};
}

// With zeros in front of the text.
ZELK_OPERATION Utf8Block firstUtf8Block(const unsigned char *text) {
    const Bytes block = load(text);
    return {block, movedUp<1>(block), movedUp<2>(block)};
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

// As many bytes of a text as may be read without a further look, at most `count`, which is at most 68: it ends among
// them or at the count.
ZELK_OPERATION std::size_t readableBytes(const unsigned char *text, std::size_t count) {
    std::size_t known = bytesInLine(text);
    if (count <= known) {
        return count;
    }
    if (hasZeroInLine(text)) [[unlikely]] {
        return known;
    }
    if constexpr (lineBytes < ShortText::most) { // or it ends in the second line
        for (; count - known > lineBytes; known += lineBytes) {
            if (anyBit(equal(load(text + known), Bytes{}))) [[unlikely]] {
                return known + lineBytes;
            }
        }
    }
    return count;
}

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

ZELK_OPERATION bool isAsciiLine(const unsigned char *at, Bytes leastAscii) {
    Bytes least = load(at);
    for (std::size_t block = blockBytes; block < lineBytes; block += blockBytes) {
        least = lesserSigned(least, load(at + block));
    }
    return !anySignBit(otherThanAscii(least, leastAscii));
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

// Of as many bytes as a line has, whose first block is handed over.
ZELK_OPERATION bool hasFaults(const Utf8Block &first, const unsigned char *at, const Utf8Rule &rule) {
    Bytes least = first.text;
    Bytes found = faultsOf(first, rule);
    for (std::size_t place = blockBytes; place < lineBytes; place += blockBytes) {
        const Utf8Block block = utf8BlockAt(at + place);
        least = lesser(least, block.text);
        found |= faultsOf(block, rule);
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

// Of more bytes than a line has: those of ASCII at the front, all or up to the beginning of a line.
ZELK_OPERATION std::size_t asciiLines(const unsigned char *text, std::size_t length, Bytes leastAscii) {
    if (!isAsciiLine(text, leastAscii)) {
        return 0;
    }
    std::size_t read = bytesInLine(text);
    while (length - read >= lineBytes) {
        if (!isAsciiLine(text + read, leastAscii)) {
            return read;
        }
        read += lineBytes;
    }
    return isAsciiLine(text + length - lineBytes, leastAscii) ? length : read;
}

// From a place on, block by block: a text in which a line is too much to be looked at again at either end.
ZELK_STAGE std::size_t checkBlocks(const unsigned char *text, std::size_t length, std::size_t read,
                                   const Utf8Rule &rule) {
    constexpr std::size_t none = std::size_t{0} - 1;
    const auto settle = [=, &rule](std::size_t at) {
        const std::size_t right = rightCharacters(text, length, at, at + blockBytes, rule);
        return right < at + blockBytes ? right : none;
    };
    if (read == 0) {
        read = blockBytes - (reinterpret_cast<std::uintptr_t>(text) & (blockBytes - 1));
        if (hasFaults(firstUtf8Block(text), rule)) [[unlikely]] {
            const std::size_t right = settle(0);
            if (right != none) {
                return right;
            }
        }
    }
    const std::size_t end = length - blockBytes;
    for (; read <= end; read += blockBytes) {
        if (hasFaults(utf8BlockAt(text + read), rule)) [[unlikely]] {
            const std::size_t right = settle(read);
            if (right != none) {
                return right;
            }
        }
    }
    if (hasFaults(utf8BlockAt(text + end), rule)) [[unlikely]] {
        const std::size_t right = settle(end);
        if (right != none) {
            return right;
        }
    }
    return length - unfinishedBytes(text, length);
}

// ASCII is tried for each line, but not for some lines after one where it failed.
inline constexpr std::size_t linesUntilTrial = 8;

inline constexpr std::size_t longestByBlocks = 512; // the lines of more are faster than the blocks

ZELK_STAGE std::size_t checkLong(const unsigned char *text, std::size_t length, const Utf8Rule &rule) {
    const Bytes leastAscii = leastAsciiOf(rule);
    std::size_t read = bytesInLine(text);
    if (read % blockBytes == 1) { // the bytes before the first whole block are too few to be looked at with it
        const std::size_t first = plain::checkCharacter(text, length, rule.clean, rule.last);
        return first == 0 ? 0 : first + checkLong(text + first, length - first, rule);
    }
    if (read != lineBytes && hasZeroInLine(text)) {
        return checkCharacters(text, read, rule);
    }
    if (lineBytes != blockBytes && length <= longestByBlocks) {
        const std::size_t ascii = asciiLines(text, length, leastAscii);
        return ascii == length ? length : checkBlocks(text, length, ascii, rule);
    }
    if (!isAsciiLine(text, leastAscii) && hasFaults(firstUtf8Block(text), text, rule)) {
        const std::size_t right = rightCharacters(text, length, 0, lineBytes, rule);
        if (right < lineBytes) {
            return right;
        }
    }
    for (std::size_t wait = 0; length - read >= lineBytes; read += lineBytes) {
        const unsigned char *const at = text + read;
        if (wait != 0) {
            --wait;
        } else if (isAsciiLine(at, leastAscii)) {
            const std::size_t unfinished = unfinishedBytes(text, read);
            if (unfinished != 0) {
                return read - unfinished;
            }
            while (length - read >= 2 * lineBytes && isAsciiLine(text + read + lineBytes, leastAscii)) {
                read += lineBytes;
            }
            continue;
        } else {
            wait = linesUntilTrial;
        }
        if (hasFaults(utf8BlockAt(at), at, rule)) {
            const std::size_t right = rightCharacters(text, length, read, read + lineBytes, rule);
            if (right < read + lineBytes) {
                return right;
            }
        }
    }
    const unsigned char *const end = text + length - lineBytes;
    if (read != length && hasFaults(utf8BlockAt(end), end, rule)) {
        const std::size_t right = rightCharacters(text, length, length - lineBytes, length, rule);
        if (right < length) {
            return right;
        }
    }
    return length - unfinishedBytes(text, length);
}

// The bytes at the front of a text that are characters.
ZELK_OPERATION std::size_t check(const unsigned char *text, std::size_t length, const Utf8Rule &rule) {
    if (length > ShortText::most + 1 + longestSequence) {
        return checkLong(text, length, rule);
    }
    const std::size_t readable = readableBytes(text, length);
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

ZELK_OPERATION InnerAndZeros innerAndZeros(const Utf8Block &first, const unsigned char *at) {
    InnerAndZeros bits{signBits(innerBytes(first)), signBits(equal(first.text, Bytes{}))};
    for (std::size_t place = blockBytes; place < lineBytes; place += blockBytes) {
        const Utf8Block block = utf8BlockAt(at + place);
        bits.inner |= signBits(innerBytes(block)) << place;
        bits.zeros |= signBits(equal(block.text, Bytes{})) << place;
    }
    return bits;
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

// Of whole lines without a zero.
ZELK_STAGE void measureLines(const unsigned char *text, std::size_t length, Progress &done) {
    const Bytes leastAscii = everyByte<0x01>();
    constexpr std::size_t mostLines = 255 / (lineBytes / blockBytes); // that a sum of bytes holds
    for (;;) {
        Bytes inner{};
        std::size_t lines = 0;
        for (; lines < mostLines && length - done.read >= lineBytes; ++lines) {
            const unsigned char *const at = text + done.read;
            if (!isAsciiLine(at, leastAscii)) {
                Flags zeros{};
                Bytes found{};
                for (std::size_t place = 0; place < lineBytes; place += blockBytes) {
                    const Utf8Block block = utf8BlockAt(at + place);
                    zeros |= equal(block.text, Bytes{});
                    found -= innerBytes(block);
                }
                if (anyBit(zeros)) {
                    break;
                }
                inner += found;
            }
            done.read += lineBytes;
            done.written += lineBytes;
        }
        done.written -= sumOf(inner);
        if (lines != mostLines) {
            return;
        }
    }
}

ZELK_STAGE Progress measureLong(const unsigned char *text, std::size_t length) {
    const std::size_t front = bytesInLine(text);
    if (front == 1) { // the bytes before the first whole line are too few to be looked at with it
        const std::size_t first = text[0] == 0 ? 0 : detail::utf8Length(text, 3);
        if (first == 0) {
            return {};
        }
        const Progress rest = measureLong(text + first, length - first);
        return {rest.read + first, rest.written + 1};
    }
    if (front != lineBytes && hasZeroInLine(text)) {
        return plain::measureUtf8(text, front);
    }
    Progress done;
    if (!takeSteps(done, innerAndZeros(firstUtf8Block(text), text), front)) {
        return done;
    }
    measureLines(text, length, done);
    if (length - done.read >= lineBytes) {
        const unsigned char *const at = text + done.read;
        takeSteps(done, innerAndZeros(utf8BlockAt(at), at), lineBytes);
        return done;
    }
    const std::size_t rest = length - done.read;
    if (rest != 0) {
        const unsigned char *const at = text + length - lineBytes;
        const InnerAndZeros bits = innerAndZeros(utf8BlockAt(at), at);
        const std::size_t before = lineBytes - rest;
        takeSteps(done, {bits.inner >> before, bits.zeros >> before}, rest);
    }
    return done;
}

ZELK_STAGE Progress measureUtf8(const unsigned char *text, std::size_t length) {
    if (length > ShortText::most + 1 + longestSequence) {
        return measureLong(text, length);
    }
    const std::size_t readable = readableBytes(text, length);
    if (readable < ShortText::least || readable > ShortText::most) {
        return plain::measureUtf8(text, readable);
    }
    Progress done;
    takeSteps(done, innerAndZeros(ShortText::of(text, readable)), readable);
    return done;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
