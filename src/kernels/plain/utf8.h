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

// Of text without zeros: eight bytes of ASCII, without controls where these are to be found. A byte of 0x20 and more
// keeps a high bit that it is given when 0x20 is taken from it.
inline bool isPlainAscii(std::uint64_t word, Clean clean) {
    const std::uint64_t controls = clean == Clean::Any ? 0 : ~((word | highBits) - leastAscii(clean) * everyByte);
    return ((word | controls) & highBits) == 0;
}

// A text whose count may be too large: the C library finds what is surely there, a window at a time.
class Extent {
public:
    Extent(const unsigned char *text, std::size_t length) : text_(text), length_(length) {}

    // A place up to which there is no zero: the end of the text, or at least a word after `position`.
    std::size_t after(std::size_t position) {
        if (position + wordBytes > known_ && known_ < length_) {
            const std::size_t wanted = std::min(window, length_ - position);
            const void *zero = std::memchr(text_ + position, 0, wanted);
            known_ = position + wanted;
            if (zero != nullptr) {
                known_ = length_ = static_cast<std::size_t>(static_cast<const unsigned char *>(zero) - text_);
            }
        }
        return known_;
    }

private:
    static constexpr std::size_t window = 256; // a text that stops early has little searched in vain

    const unsigned char *text_;
    std::size_t length_;
    std::size_t known_ = 0;
};

// Reads one well-formed character; 0 bytes for anything else. A shorter text ends with a zero, which follows no lead.
inline std::size_t wellFormedCharacter(const unsigned char *text, std::size_t length, unsigned int &unit) {
    constexpr unsigned int mark = 0x80; // of continuations: without it they are six bits
    const unsigned int lead = text[0];
    if (lead < 0x80) {
        unit = lead;
        return 1;
    }
    if (lead < 0xE0) {
        const unsigned int last = lead < 0xC2 || length < 2 ? mark : text[1] ^ mark;
        unit = (lead & 0x1FU) << 6U | last;
        return last < 0x40 ? 2 : 0;
    }
    if (lead > 0xEF || length < 3 || !detail::isContinuation(text[1]) || !detail::isContinuation(text[2])) {
        return 0;
    }
    unit = (lead & 0x0FU) << 12U | (text[1] & 0x3FU) << 6U | (text[2] & 0x3FU);
    return unit < 0x800 ? 0 : 3;
}

// Walks over well-formed clean text: takeAscii(at, again) for eight bytes of ASCII, the first `again` of which have
// been taken, and take(unit) for another character. Both return false where there is no room.
template <class TakeAscii, class Take>
ZELK_OPERATION std::size_t walk(const unsigned char *text, std::size_t length, Clean clean, TakeAscii takeAscii,
                                Take take) {
    const auto takeWord = [&](std::size_t place, std::size_t again) {
        return isPlainAscii(wordAt(text + place), clean) && takeAscii(text + place, again);
    };
    Extent extent(text, length);
    std::size_t read = 0;
    for (;;) {
        const std::size_t known = extent.after(read);
        if (read == known) {
            return read;
        }
        while (known - read >= wordBytes && takeWord(read, 0)) {
            read += wordBytes;
        }
        const std::size_t left = known - read;
        if (left < wordBytes && known >= wordBytes && takeWord(known - wordBytes, wordBytes - left)) {
            read = known;
            continue;
        }
        do {
            unsigned int unit = 0;
            const std::size_t bytes = wellFormedCharacter(text + read, length - read, unit);
            if (bytes == 0 || !isClean(clean, unit) || !take(unit)) {
                return read;
            }
            read += bytes;
        } while (read < known && text[read] >= 0x80);
    }
}

ZELK_OPERATION Progress convertCharacters(const unsigned char *text, std::size_t length, unsigned short *out,
                                          std::size_t room, Clean clean) {
    unsigned short *to = out;
    std::size_t left = room;
    const std::size_t read = walk(
        text, length, clean,
        [&](const unsigned char *ascii, std::size_t again) {
            if (left + again < wordBytes) {
                return false;
            }
            putUnitsOf(to - again, wordAt(ascii));
            to += wordBytes - again;
            left -= wordBytes - again;
            return true;
        },
        [&](unsigned int unit) {
            if (left == 0) {
                return false;
            }
            *to++ = static_cast<unsigned short>(unit);
            --left;
            return true;
        });
    return {read, static_cast<std::size_t>(to - out)};
}

template <Clean clean>
ZELK_STAGE Progress utf8ToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    return convertCharacters(text, length, out, room, clean);
}

// The bytes at the front of a text that are characters, and those of the first one alone.
ZELK_OPERATION std::size_t checkCharacters(const unsigned char *text, std::size_t length, Clean clean, Last last) {
    return walk(
        text, length, clean, [](const unsigned char *, std::size_t) { return true; },
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
    for (;;) {
        const std::size_t known = extent.after(done.read);
        if (done.read == known) {
            return done;
        }
        if (known - done.read >= wordBytes && isPlainAscii(wordAt(text + done.read), Clean::Any)) {
            done.read += wordBytes;
            done.written += wordBytes;
            continue;
        }
        const auto available = static_cast<unsigned int>(std::min<std::size_t>(length - done.read, 3));
        done.read += detail::utf8Length(text + done.read, available);
        ++done.written;
    }
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
