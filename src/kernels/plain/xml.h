// XML on every processor: 8 or 16 bytes at a time where nothing is special; else a table entry that holds what stands
// for a character, so that a character costs one load, one store and no branch. A store of eight bytes may reach behind
// what counts, inside the room. Included by xml.cpp and its test alone.
#pragma once

#include "kernels/kernels.h"
#include "kernels/plain/operations.h"
#include "tables/xml.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

// As many bytes as are looked at together, and what they hold none of.
#if defined(ZELK_HAS_VECTORS)
struct Stretch {
    Bytes bytes;

    template <char... characters>
    bool holdsNone() const {
        return isZero(((bytes == static_cast<unsigned char>(characters)) | ...));
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
        return (~nonZeroBytes((bytes | everyByte) ^ '\'' * everyByte) |
                ~nonZeroBytes((bytes | 2 * everyByte) ^ '>' * everyByte) | ~nonZeroBytes(bytes ^ '"' * everyByte) |
                lowBits) == lowBits;
    }
    bool holdsNoReference() const { return (~nonZeroBytes(bytes ^ '&' * everyByte) | lowBits) == lowBits; }
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

inline const tables::XmlCharacter &escaped(char character) {
    return tables::xmlCharacters[static_cast<unsigned char>(character)];
}

// Writes eight bytes and returns the number of those that count. An entry is loaded once: its last byte is that number.
inline std::size_t putEscaped(char *out, char character) {
    const std::uint64_t entry = wordAt(escaped(character).text);
    std::memcpy(out, &entry, sizeof entry);
    return static_cast<std::size_t>(std::endian::native == std::endian::little ? entry >> 56U : entry & 0xFFU);
}

ZELK_STAGE Progress escapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    for (std::size_t end = 0; done.read == end;) {
        end += lengthInWindow(text + end, length - end);
        const std::size_t start = done.read;
        while (done.read < end && room - done.written >= wordBytes * tables::longestXmlEntity + wordBytes) {
            if (end - done.read >= sizeof(Stretch) && stretchAt(text + done.read).holdsNoSpecial()) {
                std::memcpy(out + done.written, text + done.read, sizeof(Stretch));
                done.read += sizeof(Stretch);
                done.written += sizeof(Stretch);
                continue;
            }
            if (end - done.read >= wordBytes) {
                for (std::size_t i = 0; i < wordBytes; ++i) {
                    done.written += putEscaped(out + done.written, text[done.read + i]);
                }
                done.read += wordBytes;
                continue;
            }
            while (done.read < end) {
                done.written += putEscaped(out + done.written, text[done.read++]);
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
    return (wordAt(text) & wordAt(reference.mask)) == wordAt(reference.text) ? &reference : nullptr;
}

#if defined(__SSE2__)
// The bits of those of sixteen bytes that are equal to one.
inline unsigned int placesOf(Bytes bytes, char character) {
    using Signs = char __attribute__((vector_size(vectorBytes)));
    const auto equal = reinterpret_cast<Signs>(bytes == static_cast<unsigned char>(character));
    return static_cast<unsigned int>(__builtin_ia32_pmovmskb128(equal));
}

// To the next reference and past it: one look at sixteen bytes finds both of its ends, so that what follows waits for
// no comparison of names. Those have their ';' at the end alone. Eight bytes behind the sixteen are read. False, in
// front of the reference, where it is none of the five.
inline bool unescapeBlock(const char *text, char *out, Progress &done) {
    const auto bytes = vectorAt<Bytes>(text + done.read);
    std::memcpy(out + done.written, &bytes, sizeof bytes);
    const unsigned int begins = placesOf(bytes, '&');
    if (begins == 0) {
        done.read += sizeof bytes;
        done.written += sizeof bytes;
        return true;
    }
    const auto run = static_cast<unsigned int>(std::countr_zero(begins));
    const unsigned int ends = placesOf(bytes, ';') >> run;
    done.read += run;
    done.written += run;
    if (ends == 0) {
        return run != 0;
    }
    const tables::XmlReference *reference = referenceIn(text + done.read);
    if (reference == nullptr) {
        return false;
    }
    out[done.written++] = reference->character;
    done.read += static_cast<unsigned int>(std::countr_zero(ends)) + 1;
    return true;
}
#endif

ZELK_STAGE Progress unescapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    Progress done;
    for (std::size_t end = 0; done.read == end;) {
        const std::size_t start = end;
        end += lengthInWindow(text + end, length - end);
#if defined(__SSE2__)
        while (end - done.read >= vectorBytes + wordBytes && room - done.written >= vectorBytes) {
            if (!unescapeBlock(text, out, done)) {
                return done;
            }
        }
#endif
        while (end - done.read >= wordBytes && room - done.written >= wordBytes) {
            if (end - done.read >= sizeof(Stretch) && room - done.written >= sizeof(Stretch) &&
                stretchAt(text + done.read).holdsNoReference()) {
                std::memcpy(out + done.written, text + done.read, sizeof(Stretch));
                done.read += sizeof(Stretch);
                done.written += sizeof(Stretch);
                continue;
            }
            const std::uint64_t eight = wordAt(text + done.read);
            const std::uint64_t references = ~nonZeroBytes(eight ^ '&' * everyByte) & highBits;
            const std::size_t run = firstByteOf(references);
            std::memcpy(out + done.written, &eight, wordBytes);
            done.read += run;
            done.written += run;
            while (end - done.read >= wordBytes && done.written < room && text[done.read] == '&') {
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

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
