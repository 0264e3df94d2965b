// XML text, a block or a lane of it at a time; what is left, less than a lane, by words.
//
// Escaping:    blocks as long as two are left, then lanes: without a special character copied, with few by the runs
//              between them, with many each character by its entry in a table.
// Unescaping:  blocks without a reference copied; from the first one on, what is left of a window by way of a buffer,
//              into which the runs between references are stored as whole blocks. The last bytes of a text so if many
//              references are in them, else by words.
// Measuring:   blocks, in which each kind of special character is counted.
//
// A zero is looked for a window ahead of all that.
#pragma once

#include "kernels/kernels.h"
#include "kernels/plain/xml.h"
#include "tables/xml.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET {

// Each has a lower nibble of its own, which finds it in a table of sixteen. The text has no zeros.
ZELK_OPERATION Flags areSpecialInXml(Bytes bytes) {
    const Bytes table = repeatLane(Lane{1, 0, '"', 0, 0, 0, '&', '\'', 0, 0, 0, 0, '<', 0, '>', 0});
    return equal(lookUp(table, lowerNibbles(bytes)), bytes);
}

ZELK_OPERATION std::uint64_t specialsInLane(const char *text) {
    return placesOf(areSpecialInXml(joined(load<Lane>(text), Lane{})));
}

// A run of text before a special character, and its entity. The store of the whole lane goes too far: more text
// follows, of which each byte gives one at least, and there is room for it.
ZELK_OPERATION void escapeRun(const char *text, std::size_t place, char *out, Progress &done) {
    store(out + done.written, load<Lane>(text + done.read));
    done.written += place - done.read;
    const tables::XmlCharacter &character = plain::escaped(text[place]);
    plain::putEscapedExactly(out + done.written, character);
    done.written += character.length;
    done.read = place + 1;
}

// More special characters in a block, or in a lane, than these are looked up one by one.
inline constexpr std::size_t mostRunsInBlock = blockBytes / 4;
inline constexpr std::size_t mostRunsInLane = 2;

// Whole blocks, after which another follows: what stores write too much, it covers.
ZELK_OPERATION void escapeBlocks(const char *text, std::size_t end, char *out, std::size_t room, Progress &done) {
    constexpr std::size_t leastRoom = (blockBytes + 1) * tables::longestXmlEntity + blockBytes;
    while (end - done.read >= 2 * blockBytes && room - done.written >= leastRoom) {
        const Bytes bytes = load(text + done.read);
        std::uint64_t special = placesOf(areSpecialInXml(bytes));
        const std::size_t next = done.read + blockBytes;
        if (special == 0) {
            store(out + done.written, bytes);
            done.written += blockBytes;
        } else if (countOf(special) <= mostRunsInBlock) {
            const std::size_t start = done.read;
            for (; special != 0; special = withoutFirst(special)) {
                const std::size_t place = start + firstPlace(special);
                store(out + done.written, load(text + done.read));
                done.written += place - done.read;
                done.written += plain::putEscaped(out + done.written, text[place]);
                done.read = place + 1;
            }
            store(out + done.written, load(text + done.read));
            done.written += next - done.read;
        } else {
            for (std::size_t at = done.read; at < next; ++at) {
                done.written += plain::putEscaped(out + done.written, text[at]);
            }
        }
        done.read = next;
    }
}

// Lanes; and the last bytes together with those before them, if none of these is special: they are stored once more.
ZELK_OPERATION void escapeLanes(const char *text, std::size_t end, char *out, std::size_t room, Progress &done) {
    constexpr std::size_t leastRoom = 2 * laneBytes + 2 * tables::longestXmlEntity;
    while (end - done.read >= laneBytes && room - done.written >= leastRoom) {
        const std::uint64_t special = specialsInLane(text + done.read);
        if (special == 0) {
            store(out + done.written, load<Lane>(text + done.read));
            done.read += laneBytes;
            done.written += laneBytes;
        } else if (countOf(special) <= mostRunsInLane) {
            escapeRun(text, done.read + firstPlace(special), out, done);
        } else {
            return;
        }
    }
    const std::size_t left = end - done.read;
    if (left < laneBytes && end >= laneBytes && room - done.written >= left &&
        specialsInLane(text + end - laneBytes) == 0) {
        store(out + done.written + left - laneBytes, load<Lane>(text + end - laneBytes));
        done.read = end;
        done.written += left;
    }
}

ZELK_STAGE Progress escapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    for (;;) {
        const std::size_t inWindow = plain::lengthInWindow(text + done.read, length - done.read);
        const std::size_t end = done.read + inWindow;
        escapeBlocks(text, end, out, room, done);
        escapeLanes(text, end, out, room, done);
        if (done.read != end) {
            done = plain::escapeWords(text, end, out, room, done);
        }
        if (done.read != end || inWindow < plain::window) {
            return done;
        }
    }
}

ZELK_STAGE std::uint64_t escapedXmlLength(const char *text, std::size_t length) {
    std::uint64_t total = 0;
    std::size_t inWindow = 0;
    std::size_t at = 0;
    do {
        inWindow = plain::lengthInWindow(text + at, length - at);
        const std::size_t end = at + inWindow;
        for (; end - at >= blockBytes; at += blockBytes) {
            const Bytes bytes = load(text + at);
            total += blockBytes;
            if (const std::uint64_t special = placesOf(areSpecialInXml(bytes)); special != 0) {
                const std::uint64_t ampersands = placesOf(equal(bytes, repeatByte('&')));
                const std::uint64_t quotes = placesOf(equal(bytes, repeatByte('"')) | equal(bytes, repeatByte('\'')));
                total += 3 * countOf(special) + countOf(ampersands) + 2 * countOf(quotes);
            }
        }
        for (; at != end; ++at) {
            total += plain::escaped(text[at]).length;
        }
    } while (inWindow == plain::window);
    return total;
}

// How far a chunk of text is unescaped, `stopped` in front of a reference that is no whole entity.
struct UnescapedChunk {
    Progress done;
    bool stopped;
};

// Blocks that begin before a place, by the runs before references, with stores of whole blocks that go too far. After
// that place afterChunk bytes can be read.
ZELK_OPERATION UnescapedChunk unescapeRuns(const char *text, std::size_t end, char *out) {
    Progress done;
    while (done.read < end) {
        const std::size_t start = done.read;
        const std::size_t next = start + blockBytes;
        for (std::uint64_t references = placesOf(equal(load(text + start), repeatByte('&'))); references != 0;
             references = withoutFirst(references)) {
            const std::size_t place = start + firstPlace(references);
            store(out + done.written, load(text + done.read));
            done.written += place - done.read;
            const tables::XmlReference *const reference = plain::referenceIn(text + place);
            if (reference == nullptr) {
                return {{place, done.written}, true};
            }
            out[done.written++] = reference->character;
            done.read = place + reference->length;
        }
        if (done.read < next) {
            store(out + done.written, load(text + done.read));
            done.written += next - done.read;
            done.read = next;
        }
    }
    return {done, false};
}

// As far as a block reaches that begins in front of a place, and one from the end of its last reference on.
inline constexpr std::size_t afterChunk = 2 * blockBytes + plain::wordBytes;

// Copies by lanes, the last one together with bytes before it.
ZELK_OPERATION void copyByLanes(char *to, const char *from, std::size_t count) {
    if (count < laneBytes) {
        for (std::size_t at = 0; at < count; ++at) {
            to[at] = from[at];
        }
        return;
    }
    for (std::size_t at = 0; at < count - laneBytes; at += laneBytes) {
        store(to + at, load<Lane>(from + at));
    }
    store(to + count - laneBytes, load<Lane>(from + count - laneBytes));
}

// By way of a buffer, for text and output may be one, and nothing may be written after the result. The last bytes of
// the chunk are not taken.
ZELK_STAGE UnescapedChunk unescapeChunk(const char *text, std::size_t count, char *out) {
    char result[plain::window + 2 * blockBytes];
    const UnescapedChunk chunk = unescapeRuns(text, count - afterChunk, result);
    std::memcpy(out, result, chunk.done.written);
    return chunk;
}

// All of a chunk of up to afterChunk bytes, with zeros after it.
ZELK_STAGE UnescapedChunk unescapeLast(const char *text, std::size_t count, char *out) {
    char padded[afterChunk + 3 * blockBytes];
    char result[2 * afterChunk];
    copyByLanes(padded, text, count);
    for (std::size_t at = 0; at < 3 * blockBytes; at += blockBytes) {
        store(padded + count + at, Bytes{});
    }
    UnescapedChunk chunk = unescapeRuns(padded, count, result);
    if (chunk.done.read > count) {
        chunk.done.written -= chunk.done.read - count;
        chunk.done.read = count;
    }
    copyByLanes(out, result, chunk.done.written);
    return chunk;
}

// Whether so few bytes that hold references are worth the buffers.
ZELK_OPERATION bool holdsManyReferences(const char *text, std::size_t count) {
    if (count < laneBytes) {
        return false;
    }
    const bool isBlock = count >= blockBytes;
    const Bytes bytes = isBlock ? load(text) : joined(load<Lane>(text), Lane{});
    return countOf(placesOf(equal(bytes, repeatByte('&')))) > (isBlock ? blockBytes / laneBytes : 1);
}

ZELK_STAGE Progress unescapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    for (;;) {
        const std::size_t inWindow = plain::lengthInWindow(text + done.read, length - done.read);
        const std::size_t end = done.read + inWindow;
        while (end - done.read >= blockBytes && room - done.written >= blockBytes) {
            const Bytes bytes = load(text + done.read);
            if (anyBit(equal(bytes, repeatByte('&')))) {
                break;
            }
            store(out + done.written, bytes);
            done.read += blockBytes;
            done.written += blockBytes;
        }
        while (done.read != end) {
            const std::size_t left = end - done.read;
            const bool isLast = left <= afterChunk;
            if (isLast && inWindow == plain::window) {
                break;
            }
            if (room - done.written < left || (isLast && !holdsManyReferences(text + done.read, left))) {
                done = plain::unescapeWords(text, end, out, room, done);
                if (done.read != end) {
                    return done;
                }
                break;
            }
            const UnescapedChunk chunk = isLast ? unescapeLast(text + done.read, left, out + done.written)
                                                : unescapeChunk(text + done.read, left, out + done.written);
            done.read += chunk.done.read;
            done.written += chunk.done.written;
            if (chunk.stopped) {
                return done;
            }
        }
        if (inWindow < plain::window) {
            return done;
        }
    }
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
