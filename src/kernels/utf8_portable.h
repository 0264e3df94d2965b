// UTF-8 and UCS-2 on every processor: ASCII eight bytes at a time, the rest character by character without a room test
// for each. Included by utf8.cpp alone.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/dispatch.h"
#include "kernels/utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::portable {

inline constexpr std::size_t step = 8;
inline constexpr std::size_t window = 256;
inline constexpr std::uint64_t ones = 0x0101010101010101U;
inline constexpr std::uint64_t highBits = 0x80 * ones;

inline std::uint64_t eightBytes(const unsigned char *text) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, text, sizeof eight);
    return eight;
}

// No high bit, and no byte below `limit` (at most 0x80): every byte of 0x80 - limit and more carries when limit is
// taken from it with its high bit set.
inline bool plainAscii(std::uint64_t eight, unsigned int limit) {
    return ((eight | ~((eight | highBits) - limit * ones)) & highBits) == 0;
}

// A text whose count may be too large: the C library tells what is surely there, a window at a time.
class Extent {
public:
    Extent(const unsigned char *text, std::size_t length) : text_(text), length_(length) {}

    // Shorter once the terminator is seen.
    std::size_t length() const { return length_; }

    bool hasStepAt(std::size_t position) {
        if (position + step > known_ && known_ < length_) {
            const std::size_t wanted = std::min(window, length_ - position);
            const void *zero = std::memchr(text_ + position, 0, wanted);
            known_ = position + wanted;
            if (zero != nullptr) {
                known_ = length_ = static_cast<std::size_t>(static_cast<const unsigned char *>(zero) - text_);
            }
        }
        return position + step <= known_;
    }

private:
    const unsigned char *text_;
    std::size_t length_;
    std::size_t known_ = 0;
};

constexpr unsigned int leastUnit(Clean clean) {
    return clean == Clean::Any ? 1 : 0x20;
}

constexpr bool isClean(Clean clean, unsigned int unit) {
    return clean == Clean::Any ? unit != 0
                               : unit >= 0x20 && (unit < 0x80 || (unit > 0x9F && (unit < 0xE080 || unit > 0xE09F)));
}

template <UnitOrder order>
unsigned int unitAt(const unsigned char *text, std::size_t index) {
    const unsigned int first = text[2 * index];
    const unsigned int second = text[2 * index + 1];
    return order == UnitOrder::HighFirst ? first << 8U | second : second << 8U | first;
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    Progress done;
    while (done.read < count && room - done.written > 3) {
        const unsigned int unit = unitAt<order>(text, done.read);
        if (!isClean(clean, unit)) {
            break;
        }
        if (unit < 0x80) {
            out[done.written++] = static_cast<char>(unit);
        } else {
            done.written += detail::utf8Encode(unit, out + done.written, 4);
        }
        ++done.read;
    }
    return done;
}

template <UnitOrder order>
ZELK_STAGE Progress measureUcs2(const unsigned char *text, std::size_t count) {
    Progress done;
    for (unsigned int unit = 0; done.read < count && (unit = unitAt<order>(text, done.read)) != 0; ++done.read) {
        done.written += 1U + (unit >= 0x80 ? 1U : 0U) + (unit >= 0x800 ? 1U : 0U);
    }
    return done;
}

template <Clean clean>
ZELK_STAGE Progress ucs2ToNative(const unsigned char *text, std::size_t count, unsigned short *out, std::size_t room) {
    Progress done;
    for (const std::size_t fitting = std::min(count, room); done.read < fitting; ++done.read) {
        const unsigned int unit = unitAt<UnitOrder::HighFirst>(text, done.read);
        if (!isClean(clean, unit)) {
            break;
        }
        out[done.read] = static_cast<unsigned short>(unit);
    }
    done.written = done.read;
    return done;
}

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
template <Clean clean, class TakeAscii, class Take>
std::size_t walk(const unsigned char *text, std::size_t length, TakeAscii takeAscii, Take take) {
    Extent extent(text, length);
    std::size_t read = 0;
    while (read < extent.length()) {
        if (text[read] < 0x80 && extent.hasStepAt(read) && plainAscii(eightBytes(text + read), leastUnit(clean)) &&
            takeAscii(text + read)) {
            read += step;
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

template <Clean clean>
ZELK_STAGE Progress utf8ToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    std::size_t written = 0;
    const std::size_t read = walk<clean>(
        text, length,
        [&](const unsigned char *ascii) {
            if (room - written < step) {
                return false;
            }
            std::copy_n(ascii, step, out + written);
            written += step;
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
ZELK_STAGE std::size_t wellFormedUtf8(const unsigned char *text, std::size_t length) {
    return walk<clean>(
        text, length, [](const unsigned char *) { return true; }, [](unsigned int unit) { return unit < 0xFFC0; });
}

template <Clean clean>
ZELK_STAGE std::size_t copyWellFormedUtf8(const unsigned char *text, std::size_t length, char *out) {
    const std::size_t bytes = wellFormedUtf8<clean>(text, length);
    std::memcpy(out, text, bytes);
    return bytes;
}

ZELK_STAGE Progress measureUtf8(const unsigned char *text, std::size_t length) {
    Extent extent(text, length);
    Progress done;
    while (done.read < extent.length()) {
        if (text[done.read] < 0x80 && extent.hasStepAt(done.read) && plainAscii(eightBytes(text + done.read), 1)) {
            done.read += step;
            done.written += step;
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

} // namespace zelk::kernels::portable
