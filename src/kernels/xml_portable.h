// XML on every processor: 8 or 16 bytes at a time where nothing is special; else a table entry that holds what stands
// for a character, so that a character costs one load, one store and no branch. A store of eight bytes may reach behind
// what counts, inside the room. Included by xml.cpp and its test alone.
#pragma once

#include "kernels/dispatch.h"
#include "kernels/xml.h"
#include "tables/xml.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::portable {

inline constexpr std::size_t step = sizeof(std::uint64_t);
inline constexpr std::uint64_t ones = 0x0101010101010101U;
inline constexpr std::uint64_t lowBits = 0x7F * ones;

inline std::uint64_t eightBytes(const void *bytes) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, bytes, step);
    return eight;
}

// High bits tell the bytes that are not zero.
constexpr std::uint64_t nonZeroBytes(std::uint64_t eight) {
    return ((eight & lowBits) + lowBits) | eight;
}

// As many bytes as are looked at together, and what they hold none of.
#if defined(__SSE2__) || defined(__ARM_NEON)
struct Stretch {
    using Bytes = unsigned char __attribute__((vector_size(16)));
    using Halves = std::uint64_t __attribute__((vector_size(16)));
    Bytes bytes;

    template <char... characters>
    bool holdsNone() const {
        const auto found = reinterpret_cast<Halves>(((bytes == static_cast<unsigned char>(characters)) | ...));
        return (found[0] | found[1]) == 0;
    }
    bool holdsNoSpecial() const { return holdsNone<'&', '<', '>', '"', '\''>(); }
    bool holdsNoReference() const { return holdsNone<'&'>(); }
};
#else
struct Stretch {
    std::uint64_t bytes;

    // The codes of & and ' differ in bit 0, those of < and > in bit 1, so three comparisons find all five; a byte that
    // is equal is zero after the exclusive or.
    bool holdsNoSpecial() const {
        return (~nonZeroBytes((bytes | ones) ^ '\'' * ones) | ~nonZeroBytes((bytes | 2 * ones) ^ '>' * ones) |
                ~nonZeroBytes(bytes ^ '"' * ones) | lowBits) == lowBits;
    }
    bool holdsNoReference() const { return (~nonZeroBytes(bytes ^ '&' * ones) | lowBits) == lowBits; }
};
#endif

inline Stretch stretchAt(const char *text) {
    Stretch stretch;
    std::memcpy(&stretch.bytes, text, sizeof stretch.bytes);
    return stretch;
}

// The bytes of a text up to its zero byte or the end of a window, so that looking for the one never runs far ahead.
inline constexpr std::size_t window = 256;

inline std::size_t lengthInWindow(const char *text, std::size_t left) {
    return strnlen(text, std::min(left, window));
}

// Short texts have no way of their own.
ZELK_STAGE unsigned int escapeShortXml(const char *text, std::size_t length, char *out, std::size_t room,
                                       XmlConversion otherwise) {
    return otherwise(text, length, out, room);
}

ZELK_STAGE unsigned int unescapeShortXml(const char *text, std::size_t length, char *out, std::size_t room,
                                         XmlConversion otherwise) {
    return otherwise(text, length, out, room);
}

inline const tables::XmlCharacter &escaped(char character) {
    return tables::xmlCharacters[static_cast<unsigned char>(character)];
}

ZELK_STAGE Progress escapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    for (std::size_t end = 0; done.read == end;) {
        end += lengthInWindow(text + end, length - end);
        const std::size_t start = done.read;
        while (done.read < end && room - done.written >= step * tables::longestXmlEntity + step) {
            if (end - done.read >= sizeof(Stretch) && stretchAt(text + done.read).holdsNoSpecial()) {
                std::memcpy(out + done.written, text + done.read, sizeof(Stretch));
                done.read += sizeof(Stretch);
                done.written += sizeof(Stretch);
                continue;
            }
            for (std::size_t i = std::min(end - done.read, step); i > 0; --i) {
                const tables::XmlCharacter &character = escaped(text[done.read++]);
                std::memcpy(out + done.written, character.text, sizeof character);
                done.written += character.length;
            }
        }
        if (end - start < window) {
            break;
        }
    }
    return done;
}

ZELK_STAGE std::uint64_t escapedXmlLength(const char *text, std::size_t length) {
    std::uint64_t total = 0;
    std::size_t at = 0;
    std::size_t inWindow = 0;
    do {
        inWindow = lengthInWindow(text + at, length - at);
        for (const std::size_t end = at + inWindow; at < end;) {
            if (end - at >= sizeof(Stretch) && stretchAt(text + at).holdsNoSpecial()) {
                at += sizeof(Stretch);
                total += sizeof(Stretch);
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
    return (eightBytes(text) & eightBytes(reference.mask)) == eightBytes(reference.text) ? &reference : nullptr;
}

ZELK_STAGE Progress unescapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    for (std::size_t end = 0; done.read == end;) {
        const std::size_t start = end;
        end += lengthInWindow(text + end, length - end);
        while (end - done.read >= step && room - done.written >= step) {
            if (end - done.read >= sizeof(Stretch) && room - done.written >= sizeof(Stretch) &&
                stretchAt(text + done.read).holdsNoReference()) {
                std::memcpy(out + done.written, text + done.read, sizeof(Stretch));
                done.read += sizeof(Stretch);
                done.written += sizeof(Stretch);
                continue;
            }
            const std::uint64_t eight = eightBytes(text + done.read);
            const std::uint64_t references = ~nonZeroBytes(eight ^ '&' * ones) & ~lowBits;
            const int bits = std::endian::native == std::endian::little ? std::countr_zero(references)
                                                                        : std::countl_zero(references);
            const auto run = static_cast<std::size_t>(bits / CHAR_BIT);
            std::memcpy(out + done.written, &eight, step);
            done.read += run;
            done.written += run;
            while (end - done.read >= step && done.written < room && text[done.read] == '&') {
                const tables::XmlReference *reference = referenceIn(text + done.read);
                if (reference == nullptr) {
                    return done;
                }
                out[done.written++] = reference->character;
                done.read += reference->length;
            }
        }
        while (done.read < end && done.written < room && text[done.read] != '&') {
            out[done.written++] = text[done.read++];
        }
        if (end - start < window) {
            break;
        }
    }
    return done;
}

} // namespace zelk::kernels::portable
