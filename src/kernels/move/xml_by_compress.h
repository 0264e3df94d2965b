// XML text, 64 bytes at a time.
//
// Escaping:    up to a block of text exactly: as it is, with few special characters by the runs between them, with many
//              by way of a buffer. More text line by line, with stores that go too far, as long as another block of it
//              follows; then that block exactly.
// Unescaping:  up to a block as one. More text line by line, as long as more of it follows than a name: by runs where
//              references are few, else all of a line's at once; then what is left by blocks.
// Measuring:   lines, in which each kind of special character is counted.
//
// A zero may come before the count, which is seldom: the code goes on as if there were none, and looks for one in each
// line before it reads the next.
#pragma once

#include "kernels/kernels.h"
#include "kernels/plain/xml.h"
#include "kernels/simd/avx512_texts.h"
#include "tables/xml.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace zelk::kernels::ZELK_KERNEL_SET {

// The next bytes of a text, zeros after them, and their number.
struct TextBlock {
    Block bytes;
    std::size_t count;

    // A block, or up to the end of the text.
    ZELK_OPERATION TextBlock at(const char *text, std::size_t length) {
        std::size_t count = std::min(length, blockBytes);
        if (const Mask zeros = zerosInLine(text, firstBytes(count)); zeros != 0) [[unlikely]] {
            count = firstOf(zeros);
        }
        const Block bytes = loadInLine(text, firstBytes(count));
        if (const Mask zeros = ~nonZero(bytes) & firstBytes(count); zeros != 0) [[unlikely]] {
            count = firstOf(zeros);
        }
        return {bytes, count};
    }
};

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

// What escaping may make of so many bytes, among which so many are special.
ZELK_OPERATION std::size_t mostEscaped(std::size_t count, Mask special) {
    return count + (tables::longestXmlEntity - 1) * countOf(special);
}

// The runs between special characters, and their entities, with stores of whole blocks that go too far. `runFrom` gives
// a block of text from one of its places on.
template <class Run>
ZELK_OPERATION std::size_t escapeRuns(const char *text, std::size_t count, Mask special, char *out, Run runFrom) {
    std::size_t read = 0;
    std::size_t written = 0;
    for (; special != 0; special = withoutFirst(special)) {
        const std::size_t place = firstOf(special);
        store(out + written, runFrom(read));
        written += place - read;
        written += plain::putEscaped(out + written, text[place]);
        read = place + 1;
    }
    store(out + written, runFrom(read));
    return written + count - read;
}

// Few special characters: each run and each entity as long as it is.
ZELK_STAGE Progress escapeFew(const char *text, std::size_t count, Mask special, char *out, Progress done) {
    const Block bytes = load(text + done.read, firstBytes(count));
    std::size_t read = 0;
    for (; special != 0; special = withoutFirst(special)) {
        const std::size_t place = firstOf(special);
        store(out + done.written, firstBytes(place - read), startingAt(bytes, read));
        done.written += place - read;
        const tables::XmlCharacter &character = plain::escaped(text[done.read + place]);
        plain::putEntity(out + done.written, character);
        done.written += character.length;
        read = place + 1;
    }
    store(out + done.written, firstBytes(count - read), startingAt(bytes, read));
    return {done.read + count, done.written + count - read};
}

// Many: by way of a buffer.
ZELK_STAGE Progress escapeMany(const char *text, std::size_t count, Mask special, char *out, Progress done) {
    char buffer[blockBytes * tables::longestXmlEntity + blockBytes];
    const Block bytes = load(text + done.read, firstBytes(count));
    const std::size_t size = escapeRuns(text + done.read, count, special, buffer,
                                        [&](std::size_t place) { return startingAt(bytes, place); });
    std::size_t at = 0;
    do {
        store(out + done.written + at, firstBytes(std::min(size - at, blockBytes)), load(buffer + at));
        at += blockBytes;
    } while (at < size);
    return {done.read + count, done.written + size};
}

inline constexpr std::size_t fewSpecials = 2;

ZELK_OPERATION Progress escapeBlock(const char *text, std::size_t count, Mask special, char *out, Progress done) {
    return countOf(special) <= fewSpecials ? escapeFew(text, count, special, out, done)
                                           : escapeMany(text, count, special, out, done);
}

// Line by line exactly: where a zero ends a text, and where the room does.
ZELK_STAGE Progress escapeExactly(const char *text, std::size_t length, char *out, std::size_t room, Progress done) {
    for (;;) {
        const char *const at = text + done.read;
        const std::size_t step = std::min(bytesInLine(at), length - done.read);
        const Block bytes = loadInLine(at, firstBytes(step));
        const std::size_t count = std::min(step, firstOf(~nonZero(bytes)));
        const Mask special = specials(bytes) & firstBytes(count);
        if (room - done.written < mostEscaped(count, special)) [[unlikely]] {
            return plain::escapeFrom(text, length, out, room, done);
        }
        done = escapeBlock(text, count, special, out, done);
        if (count != step || done.read == length) {
            return done;
        }
    }
}

// More than a block: line by line, as long as a block of text follows, and that last block exactly. A store that goes
// too far stays in the room, and so much is written after it that even an entity that does not fit leaves nothing of
// it.
ZELK_STAGE Progress escapeLines(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    std::size_t count = bytesInLine(text);
    Block bytes = loadInLine(text, firstBytes(count));
    if (!areText(bytes, firstBytes(count))) {
        return escapeExactly(text, length, out, room, done);
    }
    for (;;) {
        const char *const at = text + done.read;
        const std::size_t left = length - done.read;
        if (left == blockBytes) {
            const Mask special = specials(load(at));
            if (room - done.written < mostEscaped(blockBytes, special)) {
                break;
            }
            return escapeBlock(text, blockBytes, special, out, done);
        }
        Block next;
        Mask special = specials(bytes);
        if (left - count >= blockBytes) [[likely]] {
            next = loadInLine(at + count);
            if (!all(nonZero(next))) {
                break;
            }
        } else {
            const Mask following = firstBytes(left - count);
            next = loadInLine(at + count, following);
            if (!areText(next, following)) {
                break;
            }
            count = left - blockBytes;
        }
        special &= firstBytes(count);
        if (room - done.written < mostEscaped(count, special) + blockBytes + tables::longestXmlEntity) {
            break;
        }
        if (special == 0) {
            store(out + done.written, bytes);
            done.written += count;
        } else {
            done.written += escapeRuns(at, count, special, out + done.written,
                                       [at](std::size_t place) { return load(at + place); });
        }
        done.read += count;
        count = blockBytes;
        bytes = next;
    }
    return escapeExactly(text, length, out, room, done);
}

ZELK_STAGE Progress escapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    if (length > blockBytes) {
        return escapeLines(text, length, out, room);
    }
    const auto [bytes, count] = TextBlock::at(text, length);
    const Mask special = specials(bytes) & firstBytes(count);
    if (room < mostEscaped(count, special)) [[unlikely]] {
        return plain::escapeFrom(text, length, out, room, {});
    }
    if (special == 0) {
        store(out, firstBytes(count), bytes);
        return {count, count};
    }
    return escapeBlock(text, count, special, out, {});
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

// A block with every whole entity's '&' replaced, and the places of the names after it; the last one may go on after
// the block. `others` are the references that are no whole entity.
struct Unescaped {
    Block bytes;
    Mask names;
    Mask others;
    bool goesOn;
};

// What goes with the second letter of a name, looked up by the letter's low half byte: am-p, ap-o-s, qu-o-t, lt or gt.
ZELK_OPERATION Block bySecond(Block second, char p, char t, char u, char m) {
    return look16(nibbleTable(_mm_setr_epi8(p, -1, -1, -1, t, u, -1, -1, -1, -1, -1, -1, -1, m, -1, -1)), second);
}

// The differences noted so far and those between a and b.
ZELK_OPERATION Block orDifferent(Block differences, Block a, Block b) {
    return _mm512_ternarylogic_epi64(differences, a, b, 0xF6); // differences | (a ^ b)
}

template <std::size_t number>
using Number = std::integral_constant<std::size_t, number>;

// Whole entities are found by what differs from the one that the second letter selects. They end at the next ';':
// adding their '&' to what is no ';' carries through the name. `from` gives the block that begins so many bytes on.
template <class Blocks>
ZELK_OPERATION Unescaped unescaped(Block bytes, Mask references, Mask wholeNames, Blocks from) {
    const Block first = from(Number<1>());
    const Block second = from(Number<2>());
    const Mask g = _mm512_cmpeq_epi8_mask(first, everyByte<'g'>());
    const Block gAsL = _mm512_mask_mov_epi8(first, g, everyByte<'l'>());
    Block different = _mm512_xor_si512(second, bySecond(second, 'p', 't', 'u', 'm'));
    different = orDifferent(different, gAsL, bySecond(second, 'a', 'l', 'q', 'a'));
    different = orDifferent(different, from(Number<3>()), bySecond(second, 'o', ';', 'o', 'p'));
    const Block fourth = _mm512_or_si512(from(Number<4>()), bySecond(second, 0, -1, 0, 0));
    different = orDifferent(different, fourth, bySecond(second, 's', -1, 't', ';'));
    const Block fifth = _mm512_or_si512(from(Number<5>()), bySecond(second, 0, -1, 0, -1));
    different = orDifferent(different, fifth, bySecond(second, ';', -1, ';', -1));
    const Mask entities = _mm512_testn_epi8_mask(different, different) & references & wholeNames;
    const Block meant = _mm512_mask_mov_epi8(bySecond(second, '\'', '<', '"', '&'), g, everyByte<'>'>());
    const Mask inNames = ~_mm512_cmpeq_epi8_mask(bytes, everyByte<';'>());
    unsigned long long carried = 0;
    const bool goesOn = __builtin_uaddll_overflow(inNames, entities, &carried);
    return {_mm512_mask_mov_epi8(bytes, entities, meant), (carried ^ inNames) & ~entities, references & ~entities,
            goesOn};
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

// More references in a block than these are replaced all at once.
inline constexpr std::size_t mostReferencesInRuns = 3;

// Text and output may be one buffer: nothing is written from the place on that is read next.

// How far a line is unescaped: up to the end of its last reference, or `stopped` in front of one that is no whole
// entity.
struct UnescapedRuns {
    Progress done;
    bool stopped;
};

// References now and then: the run before each, and its character. Eight bytes after the line may be read.
ZELK_OPERATION UnescapedRuns unescapeRuns(const char *line, Block bytes, std::size_t skipped, Mask references,
                                          char *out) {
    Progress done = {skipped, 0};
    for (; references != 0; references = withoutFirst(references)) {
        const std::size_t place = firstOf(references);
        const tables::XmlReference *reference = referenceInWord(eightBytesAt(line + place));
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

// Line by line, as long as more text follows than a name. The first bytes of a line may be skipped: they lie before the
// text, or end a name.
ZELK_STAGE Progress unescapeLines(const char *text, std::size_t length, char *out, std::size_t room) {
    const std::size_t start = placeInLine(text);
    const char *const lines = text - start;
    const std::size_t end = length + start;
    std::size_t skipped = start;
    std::size_t at = 0;
    std::size_t written = 0;
    Block bytes = loadInLine(lines);
    if (!areText(bytes, ~firstBytes(skipped))) {
        return {};
    }
    while (end - at >= lineBytes + sizeof(std::uint64_t) && room - written >= lineBytes) {
        const char *const line = lines + at;
        Block next;
        if (end - at >= 2 * lineBytes) [[likely]] {
            next = loadInLine(line + lineBytes);
            if (!all(nonZero(next))) {
                break;
            }
        } else {
            const Mask following = firstBytes(end - at - lineBytes);
            next = loadInLine(line + lineBytes, following);
            if (!areText(next, following)) {
                break;
            }
        }
        const Mask references = _mm512_cmpeq_epi8_mask(bytes, everyByte<'&'>()) & ~firstBytes(skipped);
        if ((references | skipped) == 0) {
            store(out + written, bytes);
            written += lineBytes;
        } else if (countOf(references) <= mostReferencesInRuns) {
            const UnescapedRuns runs = unescapeRuns(line, bytes, skipped, references, out + written);
            written += runs.done.written;
            if (runs.stopped) {
                return {at + runs.done.read - start, written};
            }
            const std::size_t read = runs.done.read;
            skipped = 0; // known before the lengths of the references are
            if (read <= lineBytes) [[likely]] {
                store(out + written, firstBytes(lineBytes - read), startingAt(bytes, read));
                written += lineBytes - read;
            } else {
                skipped = read - lineBytes;
            }
        } else {
            const Mask read = ~firstBytes(skipped); // what lies before the text is not
            const Unescaped block =
                unescaped(bytes, references, ~Mask{0}, [line, read](auto place) { return load(line + place, read); });
            if (block.others != 0) {
                break;
            }
            written += storeKept(out + written, ~firstBytes(skipped) & ~block.names, block.bytes);
            skipped = block.goesOn ? firstOf(_mm512_cmpeq_epi8_mask(next, everyByte<';'>())) + 1 : 0;
        }
        at += lineBytes;
        bytes = next;
    }
    return {at + skipped - start, written};
}

// What is left of a text, at most a block: as far as its references are whole entities.
ZELK_OPERATION Progress unescapeLast(const TextBlock &block, char *out) {
    const Mask references = _mm512_cmpeq_epi8_mask(block.bytes, everyByte<'&'>()) & firstBytes(block.count);
    if (references == 0) {
        store(out, firstBytes(block.count), block.bytes);
        return {block.count, block.count};
    }
    constexpr std::size_t entityStarts = blockBytes - tables::longestXmlEntity + 1; // an entity from there is whole
    const Unescaped result = unescaped(block.bytes, references, firstBytes(entityStarts),
                                       [&](auto place) { return startingAt<place>(block.bytes); });
    const std::size_t end = std::min(block.count, firstOf(result.others));
    return {end, end == 0 ? 0 : storeKept(out, firstBytes(end) & ~result.names, result.bytes)};
}

ZELK_STAGE Progress unescapeLong(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done = unescapeLines(text, length, out, room);
    for (;;) {
        const std::size_t left = length - done.read;
        const TextBlock block = TextBlock::at(text + done.read, left);
        if (room - done.written < block.count) {
            return done;
        }
        const Progress last = unescapeLast(block, out + done.written);
        done.read += last.read;
        done.written += last.written;
        if (last.read == 0 || done.read == length ||
            (block.count < std::min(left, blockBytes) && last.read == block.count)) {
            return done;
        }
    }
}

ZELK_STAGE Progress unescapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    if (length > blockBytes) {
        return unescapeLong(text, length, out, room);
    }
    const TextBlock block = TextBlock::at(text, length);
    if (block.count > room) [[unlikely]] {
        return {};
    }
    return unescapeLast(block, out);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
