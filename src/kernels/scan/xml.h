// XML text a block at a time. Included by xml.cpp and its test alone.
//
// Where the text ends is known only when it is read: a block may reach behind its zero byte, but never behind the count
// nor out of the memory page in which it begins, just as the C library's own string functions read.
#pragma once

#include "kernels/kernels.h"
#include "kernels/simd/avx512.h"
#include "tables/xml.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET {

// The next bytes of a text, zeros behind them, and their number: all that may be read, or less where the text ends.
struct TextBlock {
    Block bytes;
    std::size_t readable;
    std::size_t count;
};

ZELK_OPERATION TextBlock textBlock(const char *text, std::size_t left) {
    std::size_t readable = blockBytes;
    if (left < blockBytes || !blockInPage(text)) {
        readable = std::min({left, bytesInPage(text), blockBytes});
    }
    const Block bytes = load(text, firstBytes(readable));
    const Mask zeros = _mm512_testn_epi8_mask(bytes, bytes);
    const auto count = static_cast<std::size_t>(std::countr_zero(zeros));
    return {_mm512_maskz_mov_epi8(firstBytes(count), bytes), readable, count};
}

// The special characters and zeros: each has a low half byte of its own, which finds it in a table of sixteen.
ZELK_OPERATION Mask specials(Block bytes) {
    const Block table = nibbleTable(_mm_setr_epi8(0, -1, '"', -1, -1, -1, '&', '\'', -1, -1, -1, -1, '<', -1, '>', -1));
    return _mm512_cmpeq_epi8_mask(look16(table, bytes), bytes);
}

// Stores all eight bytes of a character's entry, of which its length counts: the last byte.
ZELK_OPERATION std::size_t storeEscaped(char *out, char character) {
    std::uint64_t entry = 0;
    std::memcpy(&entry, &tables::xmlCharacters[static_cast<unsigned char>(character)], sizeof entry);
    std::memcpy(out, &entry, sizeof entry);
    return entry >> 56U;
}

// A special character now and then: the run up to it is stored with what follows, which the next store overwrites.
// There is room for a whole block behind the result.
ZELK_OPERATION std::size_t escapeRuns(const char *text, const TextBlock &block, Mask special, char *out) {
    std::size_t read = 0;
    std::size_t written = 0;
    for (; special != 0; special &= special - 1) {
        store(out + written, startingAt(block.bytes, read));
        const auto place = static_cast<std::size_t>(std::countr_zero(special));
        written += place - read;
        written += storeEscaped(out + written, text[place]);
        read = place + 1;
    }
    store(out + written, startingAt(block.bytes, read));
    return written + block.count - read;
}

// Special characters all over, or little room: each character by its entry, without a branch.
ZELK_OPERATION std::size_t escapeEach(const char *text, std::size_t count, char *out) {
    std::size_t written = 0;
#pragma GCC unroll 4
    for (std::size_t i = 0; i < count; ++i) {
        written += storeEscaped(out + written, text[i]);
    }
    return written;
}

inline constexpr std::size_t mostInRuns = 16; // special characters of a block

// One block; false where what comes out may not fit.
ZELK_OPERATION bool escapeBlock(const char *text, const TextBlock &block, Mask special, char *out, std::size_t room,
                                Progress &done) {
    const std::size_t places = countOf(special);
    const std::size_t longest = block.count + places * tables::longestXmlEntity;
    const std::size_t left = room - done.written;
    if (left < longest + (places != 0 ? sizeof(tables::XmlCharacter) : 0)) {
        return false;
    }
    text += done.read;
    out += done.written;
    done.read += block.count;
    if (places == 0) {
        if (block.count != 0) { // an empty store may be slow
            store(out, firstBytes(block.count), block.bytes);
        }
        done.written += block.count;
    } else if (left >= longest + blockBytes && places <= mostInRuns) {
        done.written += escapeRuns(text, block, special, out);
    } else {
        done.written += escapeEach(text, block.count, out);
    }
    return true;
}

ZELK_OPERATION void add(Progress &done, const Progress &more) {
    done.read += more.read;
    done.written += more.written;
}

// Whole blocks with special characters here and there, without a wait for where the text might end in them.
ZELK_STAGE Progress escapeBlocks(const char *text, std::size_t length, char *out, std::size_t room) {
    constexpr std::size_t roomOfBlock = 2 * blockBytes + mostInRuns * tables::longestXmlEntity;
    const std::size_t readable = std::min(length, bytesInPage(text));
    if (readable < blockBytes || room < roomOfBlock) {
        return {};
    }
    const char *at = text;
    const char *const lastAt = text + readable - blockBytes;
    char *to = out;
    char *const lastTo = out + room - roomOfBlock;
    do {
        const Block bytes = load(at);
        const Mask special = specials(bytes);
        if (special == 0) {
            store(to, bytes);
            to += blockBytes;
        } else if (_mm512_testn_epi8_mask(bytes, bytes) != 0 || countOf(special) > mostInRuns) {
            break;
        } else {
            to += escapeRuns(at, {bytes, blockBytes, blockBytes}, special, to);
        }
        at += blockBytes;
    } while (at <= lastAt && to <= lastTo);
    return {static_cast<std::size_t>(at - text), static_cast<std::size_t>(to - out)};
}

ZELK_STAGE Progress escapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    for (;;) {
        add(done, escapeBlocks(text + done.read, length - done.read, out + done.written, room - done.written));
        if (done.read == length) {
            return done;
        }
        const TextBlock block = textBlock(text + done.read, length - done.read);
        const Mask special = specials(block.bytes) & firstBytes(block.count);
        if (!escapeBlock(text, block, special, out, room, done) || block.count < block.readable) {
            return done;
        }
    }
}

ZELK_STAGE std::uint64_t escapedXmlLength(const char *text, std::size_t length) {
    std::uint64_t total = 0;
    for (std::size_t read = 0;;) {
        const TextBlock block = textBlock(text + read, length - read);
        const Mask special = specials(block.bytes) & firstBytes(block.count);
        const Mask ampersands = special & _mm512_cmpeq_epi8_mask(block.bytes, everyByte<'&'>());
        const Mask quotes = special & _mm512_cmplt_epu8_mask(block.bytes, everyByte<'<'>()) & ~ampersands;
        total += block.count + 3 * countOf(special) + countOf(ampersands) + 2 * countOf(quotes);
        read += block.count;
        if (block.count < block.readable || read == length) {
            return total;
        }
    }
}

// A block with every whole entity's '&' replaced, and the places of the names behind; `others` are the references that
// are no whole entity, or might go on behind the block.
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

// Whole entities are found by what differs from the one that the second letter tells. They end at the next ';': adding
// their '&' to what is no ';' carries through the name.
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
ZELK_OPERATION const tables::XmlReference *referenceIn(std::uint64_t eight) {
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

// How far a block is unescaped: where its text goes on, behind the last reference and perhaps behind the block, and
// whether what follows there is a reference that is no whole entity.
struct UnescapedRuns {
    Progress done;
    bool stopped;
};

// References now and then: the run up to one is stored with what follows, which the next store overwrites. Eight bytes
// behind the block may be read.
ZELK_OPERATION UnescapedRuns unescapeRuns(const char *text, Block bytes, Mask references, char *out) {
    Progress done;
    for (; references != 0; references &= references - 1) {
        const auto place = static_cast<std::size_t>(std::countr_zero(references));
        store(out + done.written, startingAt(bytes, done.read));
        done.written += place - done.read;
        const tables::XmlReference *reference = referenceIn(eightBytesAt(text + place));
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

// Where an unescaper stands, and how far it may go by whole blocks.
struct Unescaper {
    const char *at;
    char *to;
    const char *lastAt; // where a block may begin that is read with the eight bytes behind it
    char *lastTo;       // where two blocks may be written

    // A block with few references; false in front of one that is no whole entity.
    ZELK_OPERATION bool byRuns(Unescaper &self, Block bytes, Mask references) {
        const UnescapedRuns runs = unescapeRuns(self.at, bytes, references, self.to);
        self.to += runs.done.written;
        if (runs.stopped || runs.done.read > blockBytes) {
            self.at += runs.done.read;
            return !runs.stopped;
        }
        store(self.to, startingAt(bytes, runs.done.read));
        self.to += blockBytes - runs.done.read;
        self.at += blockBytes; // known before the lengths of the references are
        return true;
    }

    // Whole blocks. Where references are many, in steps that leave room for the longest name: a reference is looked at
    // where all of it is in the block, and what its name covers of the next block is carried there. So no step waits
    // for the last one's result.
    ZELK_OPERATION void byBlocks(Unescaper &self) {
        constexpr std::size_t stride = entityStarts;
        Mask carried = 0;
        while (self.at <= self.lastAt && self.to <= self.lastTo) {
            const Block bytes = load(self.at);
            const Mask references = _mm512_cmpeq_epi8_mask(bytes, everyByte<'&'>());
            if (_mm512_testn_epi8_mask(bytes, bytes) != 0) {
                break;
            }
            if ((references | carried) == 0) {
                store(self.to, bytes);
                self.at += blockBytes;
                self.to += blockBytes;
            } else if (carried == 0 && countOf(references) <= mostReferencesInRuns) {
                if (!byRuns(self, bytes, references)) {
                    break;
                }
            } else {
                const Unescaped block = unescaped(bytes, references & firstBytes(stride));
                if (block.others != 0) {
                    break;
                }
                self.to += storeKept<true>(self.to, firstBytes(stride) & ~block.names & ~carried, block.bytes);
                self.at += stride;
                carried = block.names >> stride;
            }
        }
        self.at += countOf(carried);
    }
};

// The last block of a text, or of what of it lies in a page: as far as its references are whole entities.
ZELK_OPERATION Progress unescapeLast(const TextBlock &block, Mask references, char *out) {
    if (block.count == 0) {
        return {}; // an empty store may be slow
    }
    if (references == 0) {
        store(out, firstBytes(block.count), block.bytes);
        return {block.count, block.count};
    }
    const Unescaped result = unescaped(block.bytes, references);
    const std::size_t end = std::min(block.count, static_cast<std::size_t>(std::countr_zero(result.others)));
    return {end, end == 0 ? 0 : storeKept<false>(out, firstBytes(end) & ~result.names, result.bytes)};
}

ZELK_STAGE Progress unescapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    Unescaper self = {text, out, text, out};
    char *const outEnd = out + room;
    for (;;) {
        std::size_t left = length - static_cast<std::size_t>(self.at - text);
        const std::size_t readable = std::min(left, bytesInPage(self.at));
        if (readable >= blockBytes + sizeof(std::uint64_t) &&
            static_cast<std::size_t>(outEnd - self.to) >= 2 * blockBytes) {
            self.lastAt = self.at + readable - blockBytes - sizeof(std::uint64_t);
            self.lastTo = outEnd - 2 * blockBytes;
            Unescaper::byBlocks(self);
            left = length - static_cast<std::size_t>(self.at - text);
        }
        const TextBlock block = textBlock(self.at, left);
        Progress last;
        if (static_cast<std::size_t>(outEnd - self.to) >= block.count) {
            const Mask references = _mm512_cmpeq_epi8_mask(block.bytes, everyByte<'&'>()) & firstBytes(block.count);
            last = unescapeLast(block, references, self.to);
        }
        self.at += last.read;
        self.to += last.written;
        if (last.read == 0 || block.count < block.readable || last.read == left) {
            return {static_cast<std::size_t>(self.at - text), static_cast<std::size_t>(self.to - out)};
        }
    }
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
