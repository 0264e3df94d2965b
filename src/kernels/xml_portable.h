// XML on every processor: eight bytes at a time where nothing is special; else a table entry that holds what stands for
// a character, so that a character costs one load, one store and no branch. A store of eight bytes may reach behind
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

// The high bits of those of eight bytes that are special. The codes of & and ' differ in bit 0, those of < and > in bit
// 1, so three comparisons find all five; a byte that is equal is zero after the exclusive or.
constexpr std::uint64_t specialBytes(std::uint64_t eight) {
    return ~(nonZeroBytes((eight | ones) ^ '\'' * ones) & nonZeroBytes((eight | 2 * ones) ^ '>' * ones) &
             nonZeroBytes(eight ^ '"' * ones)) &
           ~lowBits;
}

// The bytes of a text up to its zero byte or the end of a window, so that looking for the one never runs far ahead.
inline constexpr std::size_t window = 256;

inline std::size_t lengthInWindow(const char *text, std::size_t left) {
    return strnlen(text, std::min(left, window));
}

// Short texts have no way of their own.
ZELK_STAGE unsigned int escapeShortXml(const char *text, std::size_t length, char *out, std::size_t room,
                                       XmlConversion *otherwise) {
    return otherwise(text, length, out, room);
}

ZELK_STAGE unsigned int unescapeShortXml(const char *text, std::size_t length, char *out, std::size_t room,
                                         XmlConversion *otherwise) {
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
            if (end - done.read >= step && specialBytes(eightBytes(text + done.read)) == 0) {
                std::memcpy(out + done.written, text + done.read, step);
                done.read += step;
                done.written += step;
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
            if (end - at >= step && specialBytes(eightBytes(text + at)) == 0) {
                at += step;
                total += step;
            } else {
                total += escaped(text[at++]).length;
            }
        }
    } while (inWindow == window);
    return total;
}

// The entity that eight bytes begin with; null for none.
inline const tables::XmlEntity *wholeEntity(std::uint64_t eight) {
    for (const tables::XmlEntity &entity : tables::xmlEntities) {
        std::uint64_t mask = 0;
        std::memset(&mask, 0xFF, entity.length);
        if ((eight & mask) == eightBytes(entity.text)) {
            return &entity;
        }
    }
    return nullptr;
}

ZELK_STAGE Progress unescapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    for (std::size_t end = 0; done.read == end;) {
        const std::size_t start = end;
        end += lengthInWindow(text + end, length - end);
        while (end - done.read >= step && room - done.written >= step) {
            const std::uint64_t eight = eightBytes(text + done.read);
            const std::uint64_t references = ~nonZeroBytes(eight ^ '&' * ones) & ~lowBits;
            const int bits = std::endian::native == std::endian::little ? std::countr_zero(references)
                                                                        : std::countl_zero(references);
            const auto run = static_cast<std::size_t>(bits / CHAR_BIT);
            if (run != 0) {
                std::memcpy(out + done.written, &eight, step);
                done.read += run;
                done.written += run;
                continue;
            }
            const tables::XmlEntity *entity = wholeEntity(eight);
            if (entity == nullptr) {
                return done;
            }
            out[done.written++] = entity->character;
            done.read += entity->length;
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
