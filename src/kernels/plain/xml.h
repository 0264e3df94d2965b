// XML by words of eight bytes.
//
// Escaping:    eight bytes without a special character are copied; eight others are looked up one by one in a table
//              whose entries hold what stands for a character, so that none costs a branch; the last ones so in a
//              buffer.
// Unescaping:  eight bytes without a reference are copied; where there is one, the bytes before it and its character
//              are appended; the last eight bytes singly.
// Measuring:   eight bytes without a special character at once, the others singly.
//
// A zero is looked for a window ahead of all that.
#pragma once

#include "kernels/kernels.h"
#include "kernels/plain/operations.h"
#include "tables/xml.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

// The codes of & and ' differ in bit 0, those of < and > in bit 1, so three comparisons find all five; a byte that is
// equal is zero after the exclusive or.
inline bool holdsSpecial(std::uint64_t bytes) {
    return (zeroBytes((bytes | everyByte) ^ '\'' * everyByte) | zeroBytes((bytes | 2 * everyByte) ^ '>' * everyByte) |
            zeroBytes(bytes ^ '"' * everyByte)) != 0;
}

// The bytes of a text up to its zero byte or the end of a window, so that looking for the one never runs far ahead.
inline constexpr std::size_t window = 256;

inline std::size_t lengthInWindow(const char *text, std::size_t left) {
    return strnlen(text, std::min(left, window));
}

inline const tables::XmlCharacter &escaped(char character) {
    return tables::xmlCharacters[static_cast<unsigned char>(character)];
}

// Writes eight bytes and returns the number of those that count. An entry is loaded once: its last byte is that number.
inline std::size_t putEscaped(char *out, char character) {
    const std::uint64_t entry = wordAt(escaped(character).text);
    std::memcpy(out, &entry, sizeof entry);
    return static_cast<std::size_t>(std::endian::native == std::endian::little ? entry >> 56U : entry & 0xFFU);
}

// Writes nothing but what counts. Entities have four bytes at least.
inline void putEntity(char *out, const tables::XmlCharacter &character) {
    std::memcpy(out, character.text, 4);
    std::memcpy(out + character.length - 4, character.text + character.length - 4, 4);
}

inline void putEscapedExactly(char *out, const tables::XmlCharacter &character) {
    if (character.length == 1) {
        *out = character.text[0];
    } else {
        putEntity(out, character);
    }
}

// The last store of eight goes seven bytes too far: seven more bytes of text follow, each of which gives one byte at
// least, and there is room for these even if one entity does not fit.
inline constexpr std::size_t leastText = wordBytes + 7;
inline constexpr std::size_t leastRoom = wordBytes * tables::longestXmlEntity + 7 + tables::longestXmlEntity;

// The last bytes by way of a buffer, so that none of them takes a branch. Returns the bytes written; 0 where they do
// not fit.
ZELK_STAGE std::size_t escapeLast(const char *text, std::size_t count, char *out, std::size_t room) {
    char buffer[leastText * tables::longestXmlEntity + wordBytes];
    std::size_t size = 0;
    for (std::size_t i = 0; i < count; ++i) {
        size += putEscaped(buffer + size, text[i]);
    }
    if (size > room) {
        return 0;
    }
    std::memcpy(out, buffer, size);
    return size;
}

// Goes on to a place that the text is known to reach; not so far where something does not fit.
ZELK_STAGE Progress escapeWords(const char *text, std::size_t end, char *out, std::size_t room, Progress done) {
    while (done.read < end) {
        const std::size_t left = room - done.written;
        if (end - done.read >= wordBytes && left >= wordBytes) {
            if (const std::uint64_t bytes = wordAt(text + done.read); !holdsSpecial(bytes)) {
                std::memcpy(out + done.written, &bytes, wordBytes);
                done.read += wordBytes;
                done.written += wordBytes;
                continue;
            }
            if (end - done.read >= leastText && left >= leastRoom) {
                for (std::size_t i = 0; i < wordBytes; ++i) {
                    done.written += putEscaped(out + done.written, text[done.read + i]);
                }
                done.read += wordBytes;
                continue;
            }
        }
        if (end - done.read < leastText) {
            const std::size_t size = escapeLast(text + done.read, end - done.read, out + done.written, left);
            if (size != 0) {
                return {end, done.written + size};
            }
        }
        const tables::XmlCharacter &character = escaped(text[done.read]);
        if (character.length > left) {
            break;
        }
        putEscapedExactly(out + done.written, character);
        done.written += character.length;
        ++done.read;
    }
    return done;
}

// Goes on to the end of a text.
ZELK_STAGE Progress escapeFrom(const char *text, std::size_t length, char *out, std::size_t room, Progress done) {
    for (;;) {
        const std::size_t inWindow = lengthInWindow(text + done.read, length - done.read);
        const std::size_t end = done.read + inWindow;
        done = escapeWords(text, end, out, room, done);
        if (done.read != end || inWindow < window) {
            return done;
        }
    }
}

ZELK_STAGE Progress escapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    return escapeFrom(text, length, out, room, {});
}

ZELK_STAGE std::uint64_t escapedXmlLength(const char *text, std::size_t length) {
    std::uint64_t total = 0;
    std::size_t at = 0;
    std::size_t inWindow = 0;
    do {
        inWindow = lengthInWindow(text + at, length - at);
        for (const std::size_t end = at + inWindow; at < end;) {
            if (end - at >= wordBytes && !holdsSpecial(wordAt(text + at))) {
                at += wordBytes;
                total += wordBytes;
            } else {
                total += escaped(text[at++]).length;
            }
        }
    } while (inWindow == window);
    return total;
}

// The entity that eight bytes begin with; null for none.
inline const tables::XmlReference *referenceIn(const char *text) {
    const tables::XmlReference &reference = tables::xmlReferences[tables::xmlReferenceIndex(
        static_cast<unsigned char>(text[1]), static_cast<unsigned char>(text[2]))];
    return (wordAt(text) & wordAt(reference.mask)) == wordAt(reference.text) ? &reference : nullptr;
}

// The first bytes of a word, less than all, put after the last ones of another.
inline std::uint64_t appended(std::uint64_t last, std::uint64_t word, std::size_t count) {
    const std::size_t bits = CHAR_BIT * count;
    return std::endian::native == std::endian::little ? last >> bits | word << 1U << (63 - bits)
                                                      : last << bits | word >> 1U >> (63 - bits);
}

inline std::uint64_t wordOf(char first) {
    const auto byte = static_cast<unsigned char>(first);
    return std::endian::native == std::endian::little ? std::uint64_t{byte} : std::uint64_t{byte} << 56U;
}

// The bytes before a reference and its character, if it has one, stored together with the eight bytes before them: so
// no byte after them changes, and there is no branch on their number.
inline void append(char *out, std::size_t &written, std::uint64_t word, std::size_t run, const char *character) {
    std::uint64_t last = appended(wordAt(out + written - wordBytes), word, run);
    written += run;
    if (character != nullptr) {
        last = appended(last, wordOf(*character), 1);
        ++written;
    }
    std::memcpy(out + written - wordBytes, &last, wordBytes);
}

// Goes on to a place that the text is known to reach; not so far where a reference or the room ends it before. Text and
// output may be one buffer: nothing is written from the place on that is read next.
ZELK_STAGE Progress unescapeWords(const char *text, std::size_t end, char *out, std::size_t room, Progress done) {
    while (end - done.read >= 2 * wordBytes && room - done.written >= wordBytes) {
        const std::uint64_t eight = wordAt(text + done.read);
        const std::size_t run = firstByteOf(zeroBytes(eight ^ '&' * everyByte));
        if (run == wordBytes) {
            std::memcpy(out + done.written, &eight, wordBytes);
            done.read += wordBytes;
            done.written += wordBytes;
            continue;
        }
        const tables::XmlReference *const reference = referenceIn(text + done.read + run);
        if (done.written >= wordBytes) {
            append(out, done.written, eight, run, reference != nullptr ? &reference->character : nullptr);
            done.read += run;
        } else {
            for (const std::size_t stop = done.read + run; done.read < stop;) {
                out[done.written++] = text[done.read++];
            }
            if (reference != nullptr) {
                out[done.written++] = reference->character;
            }
        }
        if (reference == nullptr) {
            return done;
        }
        done.read += reference->length;
    }
    while (done.read < end && done.written < room) {
        if (text[done.read] != '&') {
            out[done.written++] = text[done.read++];
            continue;
        }
        const tables::XmlReference *const reference =
            end - done.read >= wordBytes ? referenceIn(text + done.read) : nullptr;
        if (reference == nullptr) {
            return done;
        }
        out[done.written++] = reference->character;
        done.read += reference->length;
    }
    return done;
}

ZELK_STAGE Progress unescapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    for (;;) {
        const std::size_t inWindow = lengthInWindow(text + done.read, length - done.read);
        const std::size_t end = done.read + inWindow;
        done = unescapeWords(text, end, out, room, done);
        if (done.read != end || inWindow < window) {
            return done;
        }
    }
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
