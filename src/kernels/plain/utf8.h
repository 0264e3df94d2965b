// UTF-8 on every machine: ASCII by words of eight bytes, the rest character by character.
//
// A word may be read where the C library has found no zero in a window of the text: counts may be too large.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/kernels.h"
#include "kernels/plain/operations.h"
#include "kernels/text_forms.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

// No high bit, and no byte below `limit` (at most 0x80): every byte of 0x80 - limit and more carries when limit is
// taken from it with its high bit set.
inline bool plainAscii(std::uint64_t word, unsigned int limit) {
    return ((word | ~((word | highBits) - limit * everyByte)) & highBits) == 0;
}

// A text whose count may be too large: the C library finds what is surely there, a window at a time.
class Extent {
public:
    Extent(const unsigned char *text, std::size_t length) : text_(text), length_(length) {}

    // Shorter once the terminator is seen.
    std::size_t length() const { return length_; }

    bool hasWordAt(std::size_t position) {
        if (position + wordBytes > known_ && known_ < length_) {
            const std::size_t wanted = std::min(window, length_ - position);
            const void *zero = std::memchr(text_ + position, 0, wanted);
            known_ = position + wanted;
            if (zero != nullptr) {
                known_ = length_ = static_cast<std::size_t>(static_cast<const unsigned char *>(zero) - text_);
            }
        }
        return position + wordBytes <= known_;
    }

private:
    static constexpr std::size_t window = 256; // a text that stops early has little searched in vain

    const unsigned char *text_;
    std::size_t length_;
    std::size_t known_ = 0;
};

// Reads one well-formed character; 0 bytes for anything else. A shorter text ends with a zero, which follows no lead.
inline std::size_t wellFormedCharacter(const unsigned char *text, std::size_t length, unsigned int &unit) {
    const unsigned int lead = text[0];
    if (lead < 0x80) {
        unit = lead;
        return 1;
    }
    if (lead < 0xE0) {
        if (lead < 0xC2 || length < 2 || !detail::isContinuation(text[1])) {
            return 0;
        }
        unit = (lead & 0x1FU) << 6U | (text[1] & 0x3FU);
        return 2;
    }
    if (lead > 0xEF || length < 3 || !detail::isContinuation(text[1]) || !detail::isContinuation(text[2])) {
        return 0;
    }
    unit = (lead & 0x0FU) << 12U | (text[1] & 0x3FU) << 6U | (text[2] & 0x3FU);
    return unit < 0x800 ? 0 : 3;
}

// Walks over well-formed clean text: takeAscii(at) for eight bytes of ASCII, take(unit) for another character, each of
// which returns false where there is no room for it.
template <class TakeAscii, class Take>
ZELK_OPERATION std::size_t walk(const unsigned char *text, std::size_t length, Clean clean, TakeAscii takeAscii,
                                Take take) {
    Extent extent(text, length);
    std::size_t read = 0;
    while (read < extent.length()) {
        if (text[read] < 0x80 && extent.hasWordAt(read) && plainAscii(wordAt(text + read), leastAscii(clean)) &&
            takeAscii(text + read)) {
            read += wordBytes;
            continue;
        }
        unsigned int unit = 0;
        const std::size_t bytes = wellFormedCharacter(text + read, length - read, unit);
        if (bytes == 0 || !isClean(clean, unit) || !take(unit)) {
            break;
        }
        read += bytes;
    }
    return read;
}

ZELK_OPERATION Progress convertCharacters(const unsigned char *text, std::size_t length, unsigned short *out,
                                          std::size_t room, Clean clean) {
    std::size_t written = 0;
    const std::size_t read = walk(
        text, length, clean,
        [&](const unsigned char *ascii) {
            if (room - written < wordBytes) {
                return false;
            }
            std::copy_n(ascii, wordBytes, out + written);
            written += wordBytes;
            return true;
        },
        [&](unsigned int unit) {
            if (written == room) {
                return false;
            }
            out[written++] = static_cast<unsigned short>(unit);
            return true;
        });
    return {read, written};
}

template <Clean clean>
ZELK_STAGE Progress utf8ToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    return convertCharacters(text, length, out, room, clean);
}

// The bytes at the front of a text that are characters, and those of the first one alone.
ZELK_OPERATION std::size_t checkCharacters(const unsigned char *text, std::size_t length, Clean clean, Last last) {
    return walk(
        text, length, clean, [](const unsigned char *) { return true; },
        [last](unsigned int unit) { return isTaken(last, unit); });
}

inline std::size_t checkCharacter(const unsigned char *text, std::size_t length, Clean clean, Last last) {
    unsigned int unit = 0;
    const std::size_t bytes = wellFormedCharacter(text, length, unit);
    return isClean(clean, unit) && isTaken(last, unit) ? bytes : 0;
}

ZELK_STAGE std::size_t wellFormedUtf8(const unsigned char *text, std::size_t length) {
    return checkCharacters(text, length, Clean::Any, Last::LeftOut);
}

ZELK_STAGE std::size_t copyCleanUtf8(const unsigned char *text, std::size_t length, char *out) {
    const std::size_t bytes = checkCharacters(text, length, Clean::NoControls, Last::LeftOut);
    std::memcpy(out, text, bytes);
    return bytes;
}

ZELK_STAGE Progress measureUtf8(const unsigned char *text, std::size_t length) {
    Extent extent(text, length);
    Progress done;
    while (done.read < extent.length()) {
        if (text[done.read] < 0x80 && extent.hasWordAt(done.read) && plainAscii(wordAt(text + done.read), 1)) {
            done.read += wordBytes;
            done.written += wordBytes;
            continue;
        }
        if (text[done.read] == 0) {
            break;
        }
        const auto available = static_cast<unsigned int>(std::min<std::size_t>(length - done.read, 3));
        done.read += detail::utf8Length(text + done.read, available);
        ++done.written;
    }
    return done;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
