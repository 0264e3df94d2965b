// XML text, 64 bytes at a time.
//
// Escaping:    whole blocks of a window; then what is left of it as one block. In a block with few special characters
//              the runs between them are stored, in one with many each character by its entry in a table.
// Unescaping:  whole blocks of a window, by runs where references are few, else all of a block's at once; then what is
//              left as one block.
// Measuring:   blocks, in which each kind of special character is counted.
//
// A zero may come before the count: a window is as much text as is known to have none, found line by line.
#pragma once

#include "kernels/kernels.h"
#include "kernels/plain/xml.h"
#include "kernels/simd/avx512_texts.h"
#include "tables/xml.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET {

// The bytes of a text before its end, as far as a window reaches: lines are read that hold some of the text, and of
// those no byte after the count.
inline constexpr std::size_t windowBytes = 16 * blockBytes;

ZELK_OPERATION std::size_t textInWindow(const char *text, std::size_t left) {
    std::size_t known = 0;
    std::size_t step = bytesInLine(text);
    do {
        const std::size_t count = std::min(left - known, step);
        const Mask zeros = ~nonZero(loadInLine(text + known, firstBytes(count))) & firstBytes(count);
        if (zeros != 0) {
            return known + firstOf(zeros);
        }
        known += count;
        step = blockBytes;
    } while (known < left && known <= windowBytes - blockBytes);
    return known;
}

// The next bytes of a text, zeros after them, and their number.
struct TextBlock {
    Block bytes;
    std::size_t count;
};

ZELK_OPERATION TextBlock textBlock(const char *text, std::size_t left) {
    const std::size_t count = std::min(left, blockBytes);
    return {load(text, firstBytes(count)), count};
}

// The special characters, and zeros: each has a low half byte of its own, which finds it in a table of sixteen.
ZELK_OPERATION Mask specials(Block bytes) {
    const Block table = nibbleTable(_mm_setr_epi8(0, -1, '"', -1, -1, -1, '&', '\'', -1, -1, -1, -1, '<', -1, '>', -1));
    return _mm512_cmpeq_epi8_mask(look16(table, bytes), bytes);
}

// How many bytes escaping makes of so many, among which these are special.
ZELK_OPERATION std::size_t escapedSize(const TextBlock &block, Mask special) {
    const Mask ampersands = special & _mm512_cmpeq_epi8_mask(block.bytes, everyByte<'&'>());
    const Mask quotes = special & _mm512_cmplt_epu8_mask(block.bytes, everyByte<'<'>()) & ~ampersands;
    return block.count + 3 * countOf(special) + countOf(ampersands) + 2 * countOf(quotes);
}

// A special character now and then: the run before it, and its entity. Exactly, or with stores of whole blocks that go
// too far: as much text follows, of which each byte gives one at least, and there is room for it.
template <bool exactly>
ZELK_OPERATION std::size_t escapeRuns(const char *text, const TextBlock &block, Mask special, char *out) {
    const auto storeRun = [](char *to, std::size_t count, Block run) {
        exactly ? store(to, firstBytes(count), run) : store(to, run);
    };
    std::size_t read = 0;
    std::size_t written = 0;
    for (; special != 0; special &= special - 1) {
        const std::size_t place = firstOf(special);
        storeRun(out + written, place - read, startingAt(block.bytes, read));
        written += place - read;
        const tables::XmlCharacter &character = plain::escaped(text[place]);
        plain::putEscapedExactly(out + written, character);
        written += character.length;
        read = place + 1;
    }
    storeRun(out + written, block.count - read, startingAt(block.bytes, read));
    return written + block.count - read;
}

inline constexpr std::size_t mostInRuns = 16; // special characters of a block

// How many bytes a block gives that is converted by its runs; more than any room where it has too many.
ZELK_OPERATION std::size_t sizeByRuns(const TextBlock &block, Mask special) {
    return countOf(special) > mostInRuns ? PTRDIFF_MAX : escapedSize(block, special);
}

ZELK_OPERATION std::size_t escapeByRuns(const char *text, const TextBlock &block, Mask special, char *out) {
    if (special != 0) {
        return escapeRuns<true>(text, block, special, out);
    }
    store(out, firstBytes(block.count), block.bytes);
    return block.count;
}

// Whole blocks, after which as much text follows as a block has: as long as they are sure to fit.
ZELK_STAGE Progress escapeBlocks(const char *text, std::size_t end, char *out, std::size_t room, Progress done) {
    constexpr std::size_t roomOfBlock = (blockBytes + 1) * tables::longestXmlEntity + blockBytes;
    while (end - done.read >= 2 * blockBytes && room - done.written >= roomOfBlock) {
        const Block bytes = load(text + done.read);
        const Mask special = specials(bytes);
        if (special == 0) {
            store(out + done.written, bytes);
            done.written += blockBytes;
        } else if (countOf(special) <= mostInRuns) {
            done.written += escapeRuns<false>(text + done.read, {bytes, blockBytes}, special, out + done.written);
        } else {
#pragma GCC unroll 4
            for (std::size_t i = 0; i < blockBytes; ++i) {
                done.written += plain::putEscaped(out + done.written, text[done.read + i]);
            }
        }
        done.read += blockBytes;
    }
    return done;
}

ZELK_STAGE Progress escapeWindows(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    for (;;) {
        const std::size_t inWindow = textInWindow(text + done.read, length - done.read);
        const std::size_t end = done.read + inWindow;
        if (inWindow >= 2 * blockBytes) {
            done = escapeBlocks(text, end, out, room, done);
        }
        while (done.read != end) {
            const TextBlock block = textBlock(text + done.read, end - done.read);
            const Mask special = specials(block.bytes) & firstBytes(block.count);
            if (room - done.written >= sizeByRuns(block, special)) {
                done.written += escapeByRuns(text + done.read, block, special, out + done.written);
                done.read += block.count;
                continue;
            }
            const std::size_t blockEnd = done.read + block.count;
            done = plain::escapeWords(text, blockEnd, out, room, done);
            if (done.read != blockEnd) {
                return done;
            }
        }
        if (inWindow <= windowBytes - blockBytes) {
            return done;
        }
    }
}

// The bytes before a zero, of at most `most`, which the text goes on to in one line or in two.
ZELK_OPERATION std::size_t bytesBeforeZero(const char *text, std::size_t most) {
    const Mask present = firstBytes(most);
    return std::min(most, firstOf(~nonZero(loadInLine(text, present)) & present));
}

// The length of a text that ends within a block; of a longer one a block's size and one more.
ZELK_OPERATION std::size_t shortLength(const char *text, std::size_t length) {
    const std::size_t inLine = std::min(length, bytesInLine(text));
    std::size_t bytes = bytesBeforeZero(text, inLine);
    if (bytes == inLine && inLine < std::min(length, blockBytes)) {
        bytes = bytesBeforeZero(text, std::min(length, blockBytes));
    }
    return bytes == blockBytes ? std::min(length, blockBytes + 1) : bytes;
}

ZELK_STAGE Progress escapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    if (const std::size_t count = shortLength(text, length); count <= blockBytes) {
        const TextBlock block = textBlock(text, count);
        const Mask special = specials(block.bytes) & firstBytes(count);
        if (room >= sizeByRuns(block, special)) {
            return {count, escapeByRuns(text, block, special, out)};
        }
    }
    return escapeWindows(text, length, out, room);
}

ZELK_STAGE std::uint64_t escapedXmlLength(const char *text, std::size_t length) {
    std::uint64_t total = 0;
    std::size_t step = std::min(length, bytesInLine(text));
    for (std::size_t read = 0;; step = std::min(length - read, blockBytes)) {
        const Block bytes = loadInLine(text + read, firstBytes(step));
        const std::size_t count = std::min(step, firstOf(~nonZero(bytes)));
        total += escapedSize({bytes, count}, specials(bytes) & firstBytes(count));
        read += count;
        if (count < step || read == length) {
            return total;
        }
    }
}

// A block with every whole entity's '&' replaced, and the places of the names after it; `others` are the references
// that are no whole entity, or might go on after the block.
struct Unescaped {
    Block bytes;
    Mask names;
    Mask others;
};

inline constexpr std::size_t entityStarts = blockBytes - tables::longestXmlEntity + 1; // an entity from there is whole

// What goes with the second letter of a name, looked up by the letter's low half byte: am-p, ap-o-s, qu-o-t, lt or gt.
ZELK_OPERATION Block bySecond(Block second, char p, char t, char u, char m) {
    return look16(nibbleTable(_mm_setr_epi8(p, -1, -1, -1, t, u, -1, -1, -1, -1, -1, -1, -1, m, -1, -1)), second);
}

// The differences noted so far and those between a and b.
ZELK_OPERATION Block orDifferent(Block differences, Block a, Block b) {
    return _mm512_ternarylogic_epi64(differences, a, b, 0xF6); // differences | (a ^ b)
}

// Whole entities are found by what differs from the one that the second letter selects. They end at the next ';':
// adding their '&' to what is no ';' carries through the name.
ZELK_OPERATION Unescaped unescaped(Block bytes, Mask references) {
    const Block first = startingAt<1>(bytes);
    const Block second = startingAt<2>(bytes);
    const Mask g = _mm512_cmpeq_epi8_mask(first, everyByte<'g'>());
    const Block gAsL = _mm512_mask_mov_epi8(first, g, everyByte<'l'>());
    Block different = _mm512_xor_si512(second, bySecond(second, 'p', 't', 'u', 'm'));
    different = orDifferent(different, gAsL, bySecond(second, 'a', 'l', 'q', 'a'));
    different = orDifferent(different, startingAt<3>(bytes), bySecond(second, 'o', ';', 'o', 'p'));
    const Block fourth = _mm512_or_si512(startingAt<4>(bytes), bySecond(second, 0, -1, 0, 0));
    different = orDifferent(different, fourth, bySecond(second, 's', -1, 't', ';'));
    const Block fifth = _mm512_or_si512(startingAt<5>(bytes), bySecond(second, 0, -1, 0, -1));
    different = orDifferent(different, fifth, bySecond(second, ';', -1, ';', -1));
    const Mask entities = _mm512_testn_epi8_mask(different, different) & references & firstBytes(entityStarts);
    const Block meant = _mm512_mask_mov_epi8(bySecond(second, '\'', '<', '"', '&'), g, everyByte<'>'>());
    const Mask inNames = ~_mm512_cmpeq_epi8_mask(bytes, everyByte<';'>());
    return {_mm512_mask_mov_epi8(bytes, entities, meant), ((inNames + entities) ^ inNames) & ~entities,
            references & ~entities};
}

// The entity that eight bytes begin with; null for none.
ZELK_OPERATION const tables::XmlReference *referenceInWord(std::uint64_t eight) {
    const tables::XmlReference &reference =
        tables::xmlReferences[tables::xmlReferenceIndex(eight >> 8U & 0xFFU, eight >> 16U & 0xFFU)];
    std::uint64_t text = 0;
    std::uint64_t mask = 0;
    std::memcpy(&text, reference.text, sizeof text);
    std::memcpy(&mask, reference.mask, sizeof mask);
    return (eight & mask) == text ? &reference : nullptr;
}

ZELK_OPERATION std::uint64_t eightBytesAt(const char *text) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, text, sizeof eight);
    return eight;
}

// How far a block is unescaped: where its text goes on, after the last reference and perhaps after the block, and
// whether what follows there is a reference that is no whole entity.
struct UnescapedRuns {
    Progress done;
    bool stopped;
};

// References now and then: the run before each, and its character. Eight bytes after the block may be read.
ZELK_OPERATION UnescapedRuns unescapeRuns(const char *text, Block bytes, Mask references, char *out) {
    Progress done;
    for (; references != 0; references &= references - 1) {
        const std::size_t place = firstOf(references);
        const tables::XmlReference *reference = referenceInWord(eightBytesAt(text + place));
        store(out + done.written, firstBytes(place - done.read), startingAt(bytes, done.read));
        done.written += place - done.read;
        if (reference == nullptr) {
            return {{place, done.written}, true};
        }
        out[done.written++] = reference->character;
        done.read = place + reference->length;
    }
    return {done, false};
}

// More references in a block than these are replaced all at once.
inline constexpr std::size_t mostReferencesInRuns = 3;

// Text and output may be one buffer: nothing is written from the place on that is read next.

// A block with few references; false in front of one that is no whole entity.
ZELK_OPERATION bool unescapeByRuns(const char *text, Block bytes, Mask references, char *out, Progress &done) {
    const UnescapedRuns runs = unescapeRuns(text + done.read, bytes, references, out + done.written);
    done.written += runs.done.written;
    if (runs.stopped || runs.done.read > blockBytes) {
        done.read += runs.done.read;
        return !runs.stopped;
    }
    const std::size_t left = blockBytes - runs.done.read;
    store(out + done.written, firstBytes(left), startingAt(bytes, runs.done.read));
    done.written += left;
    done.read += blockBytes; // known before the lengths of the references are
    return true;
}

// Whole blocks. Where references are many, in steps that leave room for the longest name: a reference is looked at
// where all of it is in the block, and what its name covers of the next block is carried there. So no step waits for
// the last one's result.
ZELK_STAGE Progress unescapeBlocks(const char *text, std::size_t end, char *out, std::size_t room, Progress done) {
    constexpr std::size_t stride = entityStarts;
    Mask carried = 0;
    bool goesOn = true;
    while (goesOn && end - done.read >= blockBytes + sizeof(std::uint64_t) && room - done.written >= blockBytes) {
        const Block bytes = load(text + done.read);
        const Mask references = _mm512_cmpeq_epi8_mask(bytes, everyByte<'&'>());
        if ((references | carried) == 0) {
            store(out + done.written, bytes);
            done.read += blockBytes;
            done.written += blockBytes;
        } else if (carried == 0 && countOf(references) <= mostReferencesInRuns) {
            goesOn = unescapeByRuns(text, bytes, references, out, done);
        } else {
            const Unescaped block = unescaped(bytes, references & firstBytes(stride));
            goesOn = block.others == 0;
            if (goesOn) {
                const Mask kept = firstBytes(stride) & ~block.names & ~carried;
                done.written += storeKept<false>(out + done.written, kept, block.bytes);
                done.read += stride;
                carried = block.names >> stride;
            }
        }
    }
    done.read += countOf(carried);
    return done;
}

// What is left of a text, at most a block: as far as its references are whole entities.
ZELK_OPERATION Progress unescapeLast(const TextBlock &block, char *out) {
    const Mask references = _mm512_cmpeq_epi8_mask(block.bytes, everyByte<'&'>()) & firstBytes(block.count);
    if (references == 0) {
        store(out, firstBytes(block.count), block.bytes);
        return {block.count, block.count};
    }
    const Unescaped result = unescaped(block.bytes, references);
    const std::size_t end = std::min(block.count, firstOf(result.others));
    return {end, end == 0 ? 0 : storeKept<false>(out, firstBytes(end) & ~result.names, result.bytes)};
}

ZELK_STAGE Progress unescapeWindows(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    for (;;) {
        const std::size_t inWindow = textInWindow(text + done.read, length - done.read);
        const std::size_t end = done.read + inWindow;
        if (inWindow >= blockBytes + sizeof(std::uint64_t)) {
            done = unescapeBlocks(text, end, out, room, done);
        }
        while (done.read != end) {
            const TextBlock block = textBlock(text + done.read, end - done.read);
            if (room - done.written < block.count) {
                return done;
            }
            const Progress last = unescapeLast(block, out + done.written);
            done.read += last.read;
            done.written += last.written;
            if (last.read == 0) {
                return done;
            }
        }
        if (inWindow <= windowBytes - blockBytes) {
            return done;
        }
    }
}

ZELK_STAGE Progress unescapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    if (const std::size_t count = shortLength(text, length); count <= std::min(room, blockBytes)) {
        return unescapeLast(textBlock(text, count), out);
    }
    return unescapeWindows(text, length, out, room);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
