// XML text, a block or a lane of it at a time; what is left, less than a lane, by words.
//
// Escaping:    blocks as long as two are left, then lanes: without a special character copied, with few by the runs
//              between them, with many each character by its entry in a table.
// Unescaping:  blocks without a reference copied; where there is one, the words before it, and then what is left before
//              it together with its character.
// Measuring:   blocks, in which each kind of special character is counted.
//
// A zero is looked for a window ahead of all that.
#pragma once

#include "kernels/kernels.h"
#include "kernels/plain/xml.h"
#include "tables/xml.h"

#include <cstddef>
#include <cstdint>

namespace zelk::kernels::ZELK_KERNEL_SET {

// Each has a lower nibble of its own, which finds it in a table of sixteen. The text has no zeros.
ZELK_OPERATION Flags areSpecialInXml(Bytes bytes) {
    const Bytes table = repeatLane(Lane{1, 0, '"', 0, 0, 0, '&', '\'', 0, 0, 0, 0, '<', 0, '>', 0});
    return equal(lookUp(table, lowerNibbles(bytes)), bytes);
}

ZELK_OPERATION std::uint64_t specialsInLane(const char *text) {
    return placesOf(areSpecialInXml(joined(load<Lane>(text), Lane{})));
}

// A run of text before a special character, and its entity. The store of the whole vector goes too far: more text
// follows, of which each byte gives one at least, and there is room for it.
template <class Vector>
ZELK_OPERATION void escapeRun(const char *text, std::size_t place, char *out, Progress &done) {
    store(out + done.written, load<Vector>(text + done.read));
    done.written += place - done.read;
    const tables::XmlCharacter &character = plain::escaped(text[place]);
    plain::putEscapedExactly(out + done.written, character);
    done.written += character.length;
    done.read = place + 1;
}

// More special characters in a block, or in a lane, than these are looked up one by one.
inline constexpr std::size_t mostRunsInBlock = blockBytes / 8;
inline constexpr std::size_t mostRunsInLane = 2;

// Whole blocks, after which another follows.
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
                escapeRun<Bytes>(text, start + firstPlace(special), out, done);
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
            escapeRun<Lane>(text, done.read + firstPlace(special), out, done);
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

// The block with a reference alone, after which comes as much without another: what the first store writes too much the
// last one covers. Both are loaded before. False, and nothing done, where another follows.
ZELK_OPERATION bool unescapeAlone(const char *text, std::size_t end, char *out, std::size_t room, Bytes block,
                                  std::size_t run, const tables::XmlReference &reference, Progress &done) {
    const std::size_t next = done.read + run + reference.length;
    if (next > end || end - next < blockBytes || room - done.written < 2 * blockBytes) {
        return false;
    }
    const Bytes after = load(text + next);
    if (anyBit(equal(after, repeatByte('&')))) {
        return false;
    }
    store(out + done.written, block);
    done.written += run;
    out[done.written++] = reference.character;
    store(out + done.written, after);
    done.written += blockBytes;
    done.read = next + blockBytes;
    return true;
}

ZELK_STAGE Progress unescapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    for (;;) {
        const std::size_t inWindow = plain::lengthInWindow(text + done.read, length - done.read);
        const std::size_t end = done.read + inWindow;
        while (end - done.read >= blockBytes + plain::wordBytes && room - done.written >= blockBytes) {
            const Bytes bytes = load(text + done.read);
            const std::uint64_t references = placesOf(equal(bytes, repeatByte('&')));
            if (references == 0) {
                store(out + done.written, bytes);
                done.read += blockBytes;
                done.written += blockBytes;
                continue;
            }
            std::size_t run = firstPlace(references);
            const tables::XmlReference *const reference = plain::referenceIn(text + done.read + run);
            if (reference != nullptr && unescapeAlone(text, end, out, room, bytes, run, *reference, done)) {
                continue;
            }
            for (; run >= plain::wordBytes; run -= plain::wordBytes) {
                store(out + done.written, plain::wordAt(text + done.read));
                done.read += plain::wordBytes;
                done.written += plain::wordBytes;
            }
            if (done.written < plain::wordBytes) {
                break;
            }
            plain::append(out, done.written, plain::wordAt(text + done.read), run,
                          reference != nullptr ? &reference->character : nullptr);
            done.read += run;
            if (reference == nullptr) {
                return done;
            }
            done.read += reference->length;
        }
        if (done.read != end) {
            done = plain::unescapeWords(text, end, out, room, done);
        }
        if (done.read != end || inWindow < plain::window) {
            return done;
        }
    }
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
