// XML text a block at a time. Included by xml.cpp and its test alone.
//
// Where the text ends is known only when it is read: a block may reach behind its zero byte, but never behind the count
// nor out of the memory page in which it begins, just as the C library's own string functions read.
#pragma once

#include "kernels/avx512_operations.h"
#include "kernels/dispatch.h"
#include "kernels/xml.h"
#include "tables/xml.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

ZELK_AVX512_BEGIN

namespace zelk::kernels::avx512 {

// The next bytes of a text and their number: all that may be read, or less where it ends.
struct TextBlock {
    Block bytes;
    std::size_t readable;
    std::size_t count;
};

ZELK_READS_WHOLE_PAGES ZELK_OPERATION TextBlock textBlock(const char *text, std::size_t left) {
    std::size_t readable = blockBytes;
    if (left < blockBytes || !blockInPage(text)) {
        readable = std::min({left, bytesInPage(text), blockBytes});
    }
    const Block bytes = load(text, firstBytes(readable));
    const Mask zeros = _mm512_testn_epi8_mask(bytes, bytes);
    return {bytes, readable, static_cast<std::size_t>(std::countr_zero(zeros))};
}

// The special characters and zeros: each has a low half byte of its own, which finds it in a table of sixteen.
ZELK_OPERATION Mask specials(Block bytes) {
    const Block table = nibbleTable(_mm_setr_epi8(0, -1, '"', -1, -1, -1, '&', '\'', -1, -1, -1, -1, '<', -1, '>', -1));
    return _mm512_cmpeq_epi8_mask(look16(table, bytes), bytes);
}

// Stores all eight bytes of a character's entry, of which its length counts: the last byte.
ZELK_READS_WHOLE_PAGES ZELK_OPERATION std::size_t storeEscaped(char *out, char character) {
    std::uint64_t entry = 0;
    std::memcpy(&entry, &tables::xmlCharacters[static_cast<unsigned char>(character)], sizeof entry);
    std::memcpy(out, &entry, sizeof entry);
    return entry >> 56U;
}

// A special character now and then: the run up to it is stored with what follows, which the next store overwrites.
ZELK_READS_WHOLE_PAGES ZELK_OPERATION std::size_t escapeRuns(const char *text, std::size_t count, Mask special,
                                                             char *out) {
    std::size_t read = 0;
    std::size_t written = 0;
    for (;; special &= special - 1) {
        const Mask rest = firstBytes(count - read);
        store(out + written, rest, load(text + read, rest));
        if (special == 0) {
            return written + count - read;
        }
        const auto place = static_cast<std::size_t>(std::countr_zero(special));
        written += place - read;
        written += storeEscaped(out + written, text[place]);
        read = place + 1;
    }
}

// Special characters all over: each character by its entry, without a branch.
ZELK_READS_WHOLE_PAGES ZELK_OPERATION std::size_t escapeEach(const char *text, std::size_t count, char *out) {
    std::size_t written = 0;
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i) {
        written += storeEscaped(out + written, text[i]);
    }
    return written;
}

// One block; false where what comes out may not fit.
ZELK_READS_WHOLE_PAGES ZELK_OPERATION bool escapeBlock(const char *text, const TextBlock &block, Mask special,
                                                       char *out, std::size_t room, Progress &done) {
    const std::size_t places = countOf(special);
    if (room - done.written < block.count + places * tables::longestXmlEntity + sizeof(tables::XmlCharacter)) {
        return false;
    }
    done.written += 4 * places <= block.count ? escapeRuns(text + done.read, block.count, special, out + done.written)
                                              : escapeEach(text + done.read, block.count, out + done.written);
    done.read += block.count;
    return true;
}

ZELK_STAGE ZELK_READS_WHOLE_PAGES Progress escapeXml(const char *text, std::size_t length, char *out,
                                                     std::size_t room) {
    Progress done;
    for (;;) {
        // Whole blocks go by without a wait for where the text might end in them.
        while (length - done.read >= blockBytes && room - done.written >= blockBytes && blockInPage(text + done.read)) {
            const TextBlock block = {load(text + done.read), blockBytes, blockBytes};
            const Mask special = specials(block.bytes);
            if (special == 0) {
                store(out + done.written, block.bytes);
                done.written += blockBytes;
                done.read += blockBytes;
            } else if (_mm512_testn_epi8_mask(block.bytes, block.bytes) != 0 ||
                       !escapeBlock(text, block, special, out, room, done)) {
                break;
            }
        }
        const TextBlock block = textBlock(text + done.read, length - done.read);
        const Mask special = specials(block.bytes) & firstBytes(block.count);
        if (!escapeBlock(text, block, special, out, room, done) || block.count < block.readable ||
            done.read == length) {
            return done;
        }
    }
}

ZELK_STAGE ZELK_READS_WHOLE_PAGES std::uint64_t escapedXmlLength(const char *text, std::size_t length) {
    std::uint64_t total = 0;
    for (std::size_t read = 0;;) {
        const TextBlock block = textBlock(text + read, length - read);
        const Mask special = specials(block.bytes) & firstBytes(block.count);
        const Mask ampersands = special & _mm512_cmpeq_epi8_mask(block.bytes, everyByte('&'));
        const Mask quotes = special & _mm512_cmplt_epu8_mask(block.bytes, everyByte('<')) & ~ampersands;
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

// For every byte the one so far ahead of it; behind the block, its front again.
template <std::size_t distance>
ZELK_OPERATION Block ahead(Block bytes) {
    static constexpr auto places = [] {
        std::array<std::uint8_t, blockBytes> indices{};
        for (std::size_t i = 0; i < blockBytes; ++i) {
            indices[i] = static_cast<std::uint8_t>((i + distance) % blockBytes);
        }
        return indices;
    }();
    return _mm512_permutexvar_epi8(load(places.data()), bytes);
}

// What goes with the second letter of a name, looked up by the letter's low half byte: am-p, ap-o-s, qu-o-t, lt or gt.
ZELK_OPERATION Block bySecond(Block second, char p, char t, char u, char m) {
    return look16(nibbleTable(_mm_setr_epi8(p, -1, -1, -1, t, u, -1, -1, -1, -1, -1, -1, -1, m, -1, -1)), second);
}

ZELK_OPERATION Mask same(Mask among, Block a, Block b) {
    return _mm512_mask_cmpeq_epi8_mask(among, a, b);
}

ZELK_OPERATION Unescaped unescaped(Block bytes, Mask references) {
    const Block first = ahead<1>(bytes);
    const Block second = ahead<2>(bytes);
    const Mask known = same(references & firstBytes(entityStarts), second, bySecond(second, 'p', 't', 'u', 'm'));
    const Mask named = same(known, ahead<3>(bytes), bySecond(second, 'o', ';', 'o', 'p'));
    const Mask begun = same(named, first, bySecond(second, 'a', 'l', 'q', 'a'));
    const Mask longer = same(begun, ahead<4>(bytes), bySecond(second, 's', -1, 't', ';'));
    const Mask less = same(begun, second, everyByte('t'));
    const Mask greater = same(same(named, second, everyByte('t')), first, everyByte('g'));
    const Mask ampersand = same(longer, second, everyByte('m'));
    const Mask five = same(longer & ~ampersand, ahead<5>(bytes), everyByte(';'));
    const Mask four = ampersand | five;
    const Mask three = less | greater | four;
    const Block meant = bySecond(second, '\'', '<', '"', '&');
    return {_mm512_mask_mov_epi8(_mm512_mask_mov_epi8(bytes, three, meant), greater, everyByte('>')),
            three << 1U | three << 2U | three << 3U | four << 4U | five << 5U, references & ~three};
}

// Whole blocks, in steps that leave room for the longest name: a reference is looked at where all of it is in the
// block, and what its name covers of the next block is carried there. So no step waits for the last one's result.
ZELK_READS_WHOLE_PAGES ZELK_OPERATION void unescapeBlocks(const char *text, std::size_t length, char *out,
                                                          std::size_t room, Progress &done) {
    constexpr std::size_t stride = entityStarts;
    Mask carried = 0;
    while (length - done.read >= blockBytes && room - done.written >= blockBytes && blockInPage(text + done.read)) {
        const Block bytes = load(text + done.read);
        const Mask references = _mm512_cmpeq_epi8_mask(bytes, everyByte('&')) & firstBytes(stride);
        if (_mm512_testn_epi8_mask(bytes, bytes) != 0) {
            break;
        }
        if ((references | carried) == 0) {
            store(out + done.written, bytes);
            done.written += stride;
        } else {
            const Unescaped block = unescaped(bytes, references);
            if (block.others != 0) {
                break;
            }
            done.written +=
                storeKept<true>(out + done.written, firstBytes(stride) & ~block.names & ~carried, block.bytes);
            carried = block.names >> stride;
        }
        done.read += stride;
    }
    done.read += countOf(carried);
}

ZELK_STAGE ZELK_READS_WHOLE_PAGES Progress unescapeXml(const char *text, std::size_t length, char *out,
                                                       std::size_t room) {
    Progress done;
    for (;;) {
        unescapeBlocks(text, length, out, room, done);
        const TextBlock block = textBlock(text + done.read, length - done.read);
        if (room - done.written < block.count) {
            return done;
        }
        const Mask present = firstBytes(block.count);
        const Mask references = _mm512_cmpeq_epi8_mask(block.bytes, everyByte('&'));
        std::size_t count = block.count;
        if (references == 0) {
            store(out + done.written, present, block.bytes);
            done.written += count;
        } else {
            const Unescaped result = unescaped(block.bytes, references);
            count = std::min(count, static_cast<std::size_t>(std::countr_zero(result.others)));
            done.written += storeKept<false>(out + done.written, firstBytes(count) & ~result.names, result.bytes);
        }
        done.read += count;
        if (count == 0 || block.count < block.readable || done.read == length) {
            return done;
        }
    }
}

} // namespace zelk::kernels::avx512

ZELK_AVX512_END
