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

// The bytes that are no ASCII that a conversion passes over: as signed numbers all the others are less.
template <Clean clean>
ZELK_OPERATION Flags otherThanAscii(Bytes bytes) {
    return lessSigned(bytes, everyByte<leastAscii(clean)>());
}

template <Clean clean>
ZELK_OPERATION bool isAsciiLine(const unsigned char *at) {
    Bytes least = load(at);
    for (std::size_t block = blockBytes; block < lineBytes; block += blockBytes) {
        least = lesserSigned(least, load(at + block));
    }
    return !anySignBit(otherThanAscii<clean>(least));
}

template <Clean clean>
ZELK_OPERATION bool isAscii(const ShortText &name) {
    Bytes least = lanesOf(name, 0, 0);
    for (std::size_t block = 1; block < ShortText::blocks; ++block) {
        least = lesserSigned(least, lanesOf(name, block, 0));
    }
    return !anySignBit(otherThanAscii<clean>(least));
}

// ---- Faults

using plain::Last;

// Not zero where bytes do not follow the two before them as they should, or stop a conversion.
template <Clean clean, Last last>
ZELK_OPERATION Bytes faultsOf(const Utf8Block &block) {
    constexpr const FaultTables &tables = faultTables<clean>;
    const Bytes byBefore = lookUp(load(tables.before), upperNibbles(block.before1));
    const Bytes byLower = lookUp(load(tables.lower), lowerNibbles(block.before1));
    const Bytes byCurrent = lookUp(load(tables.current), upperNibbles(block.text));
    const Bytes due = subtractSaturated(block.before2, everyByte<0x60>()) & everyByte<0x80>(); // after E0 and above
    Bytes found = (byBefore & byLower & byCurrent) ^ due;
    if constexpr (clean == Clean::Any) {
        found |= equal(block.text, Bytes{});
    } else {
        found |= equal(lesser(block.text, everyByte<leastAscii(clean) - 1>()), block.text);
    }
    if constexpr (last == Last::LeftOut) {
        found |= equal(block.before1, everyByte<0xEF>()) & equal(block.text, everyByte<0xBF>());
    }
    return found;
}

template <Clean clean, Last last>
ZELK_OPERATION bool hasFaults(const ShortText &name) {
    Bytes found = faultsOf<clean, last>(blockOf<0>(name)) | faultsOf<clean, last>(blockOf<1>(name));
    if constexpr (ShortText::blocks == 4) {
        found |= faultsOf<clean, last>(blockOf<2>(name)) | faultsOf<clean, last>(blockOf<3>(name));
    }
    return anyBit(found);
}

// Of as many bytes as a line has, whose first block is handed over.
template <Clean clean, Last last>
ZELK_OPERATION bool hasFaults(const Utf8Block &first, const unsigned char *at) {
    Bytes found = faultsOf<clean, last>(first);
    for (std::size_t block = blockBytes; block < lineBytes; block += blockBytes) {
        found |= faultsOf<clean, last>(utf8BlockAt(at + block));
    }
    return anyBit(found);
}

// ---- Checking

// How far the characters are right, of a text with a fault among its first `read` bytes: less than `read`, or the fault
// was none.
template <Clean clean, Last last>
ZELK_STAGE std::size_t rightCharacters(const unsigned char *text, std::size_t length, std::size_t from,
                                       std::size_t read) {
    from -= unfinishedBytes(text, from);
    const std::size_t end = std::min(length, read + longestSequence - 1);
    return from + plain::checkCharacters<clean, last>(text + from, end - from);
}

// Of more bytes than a line has: those of ASCII at the front, all or up to the beginning of a line.
template <Clean clean>
ZELK_OPERATION std::size_t asciiLines(const unsigned char *text, std::size_t length) {
    if (!isAsciiLine<clean>(text)) {
        return 0;
    }
    std::size_t read = bytesInLine(text);
    while (length - read >= lineBytes) {
        if (!isAsciiLine<clean>(text + read)) {
            return read;
        }
        read += lineBytes;
    }
    return isAsciiLine<clean>(text + length - lineBytes) ? length : read;
}

// From a place on, block by block: a text in which a line is too much to be looked at again at either end.
template <Clean clean, Last last>
ZELK_STAGE std::size_t checkBlocks(const unsigned char *text, std::size_t length, std::size_t read) {
    constexpr std::size_t none = std::size_t{0} - 1;
    const auto settle = [=](std::size_t at) {
        const std::size_t right = rightCharacters<clean, last>(text, length, at, at + blockBytes);
        return right < at + blockBytes ? right : none;
    };
    if (read == 0) {
        read = blockBytes - (reinterpret_cast<std::uintptr_t>(text) & (blockBytes - 1));
        if (anyBit(faultsOf<clean, last>(firstUtf8Block(text)))) [[unlikely]] {
            const std::size_t right = settle(0);
            if (right != none) {
                return right;
            }
        }
    }
    const std::size_t end = length - blockBytes;
    for (; read <= end; read += blockBytes) {
        if (anyBit(faultsOf<clean, last>(utf8BlockAt(text + read)))) [[unlikely]] {
            const std::size_t right = settle(read);
            if (right != none) {
                return right;
            }
        }
    }
    if (anyBit(faultsOf<clean, last>(utf8BlockAt(text + end)))) [[unlikely]] {
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

template <Clean clean, Last last>
ZELK_STAGE std::size_t checkLong(const unsigned char *text, std::size_t length) {
    std::size_t read = bytesInLine(text);
    if (read % blockBytes == 1) { // the bytes before the first whole block are too few to be looked at with it
        const std::size_t first = plain::checkCharacter<clean, last>(text, length);
        return first == 0 ? 0 : first + checkLong<clean, last>(text + first, length - first);
    }
    if (read != lineBytes && hasZeroInLine(text)) {
        return plain::checkCharacters<clean, last>(text, read);
    }
    if (lineBytes != blockBytes && length <= longestByBlocks) {
        const std::size_t ascii = asciiLines<clean>(text, length);
        return ascii == length ? length : checkBlocks<clean, last>(text, length, ascii);
    }
    if (!isAsciiLine<clean>(text) && hasFaults<clean, last>(firstUtf8Block(text), text)) {
        const std::size_t right = rightCharacters<clean, last>(text, length, 0, lineBytes);
        if (right < lineBytes) {
            return right;
        }
    }
    for (std::size_t wait = 0; length - read >= lineBytes; read += lineBytes) {
        const unsigned char *const at = text + read;
        if (wait != 0) {
            --wait;
        } else if (isAsciiLine<clean>(at)) {
            const std::size_t unfinished = unfinishedBytes(text, read);
            if (unfinished != 0) {
                return read - unfinished;
            }
            while (length - read >= 2 * lineBytes && isAsciiLine<clean>(text + read + lineBytes)) {
                read += lineBytes;
            }
            continue;
        } else {
            wait = linesUntilTrial;
        }
        if (hasFaults<clean, last>(utf8BlockAt(at), at)) {
            const std::size_t right = rightCharacters<clean, last>(text, length, read, read + lineBytes);
            if (right < read + lineBytes) {
                return right;
            }
        }
    }
    const unsigned char *const end = text + length - lineBytes;
    if (read != length && hasFaults<clean, last>(utf8BlockAt(end), end)) {
        const std::size_t right = rightCharacters<clean, last>(text, length, length - lineBytes, length);
        if (right < length) {
            return right;
        }
    }
    return length - unfinishedBytes(text, length);
}

// The bytes at the front of a text that are characters.
template <Clean clean, Last last>
ZELK_OPERATION std::size_t check(const unsigned char *text, std::size_t length) {
    if (length > ShortText::most + 1 + longestSequence) {
        return checkLong<clean, last>(text, length);
    }
    const std::size_t readable = readableBytes(text, length);
    if (readable < ShortText::least || readable > ShortText::most) {
        return plain::checkCharacters<clean, last>(text, readable);
    }
    const ShortText name = ShortText::of(text, readable);
    if (isAscii<clean>(name)) {
        return readable;
    }
    if (hasFaults<clean, last>(name)) {
        return plain::checkCharacters<clean, last>(text, readable);
    }
    return readable - unfinishedBytes(text, readable);
}

ZELK_STAGE std::size_t wellFormedUtf8(const unsigned char *text, std::size_t length) {
    return check<Clean::Any, Last::LeftOut>(text, length);
}

ZELK_STAGE std::size_t copyCleanUtf8(const unsigned char *text, std::size_t length, char *out) {
    const std::size_t bytes = check<Clean::NoControls, Last::LeftOut>(text, length);
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
    constexpr std::size_t mostLines = 255 / (lineBytes / blockBytes); // that a sum of bytes holds
    for (;;) {
        Bytes inner{};
        std::size_t lines = 0;
        for (; lines < mostLines && length - done.read >= lineBytes; ++lines) {
            const unsigned char *const at = text + done.read;
            if (!isAsciiLine<Clean::Any>(at)) {
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
