// UTF-8 and UCS-2 on every processor: ASCII eight bytes at a time, the rest character by character without a room test
// for each. Included by utf8.cpp alone.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/utf8.h"

#include <cstdint>
#include <cstring>

namespace zelk::kernels::portable {

inline constexpr std::size_t step = 8;
inline constexpr std::uint64_t ones = 0x0101010101010101U;
inline constexpr std::uint64_t highBits = 0x80 * ones;

inline std::uint64_t eightBytes(const unsigned char *text) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, text, sizeof eight);
    return eight;
}

// No high bit, and no byte below `limit` (at most 0x80): every byte of 0x80 - limit and more carries when limit is taken
// from it with its high bit set.
inline bool plainAscii(std::uint64_t eight, unsigned int limit) {
    return ((eight | ~((eight | highBits) - limit * ones)) & highBits) == 0;
}

constexpr bool isClean(Clean clean, unsigned int unit) {
    return clean == Clean::Any
               ? unit != 0
               : unit >= 0x20 && (unit < 0x80 || (unit > 0x9F && (unit < 0xE080 || unit > 0xE09F)));
}

template <UnitOrder order, Clean clean>
Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    Progress done;
    while (done.read < count && room - done.written > 3) {
        const unsigned char *pair = text + 2 * done.read;
        const unsigned int unit = order == UnitOrder::HighFirst ? static_cast<unsigned int>(pair[0]) << 8U | pair[1]
                                            : static_cast<unsigned int>(pair[1]) << 8U | pair[0];
        if (!isClean(clean, unit)) {
            break;
        }
        done.written += detail::utf8Encode(unit, out + done.written, 4);
        ++done.read;
    }
    return done;
}

// Reads one well-formed character; 0 bytes for anything else.
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

template <Clean clean>
Progress utf8ToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    constexpr unsigned int least = clean == Clean::Any ? 1 : 0x20;
    Progress done;
    while (done.read < length && done.written < room) {
        if (length - done.read >= step && room - done.written >= step &&
            plainAscii(eightBytes(text + done.read), least)) {
            for (std::size_t i = 0; i < step; ++i) {
                out[done.written + i] = text[done.read + i];
            }
            done.read += step;
            done.written += step;
            continue;
        }
        unsigned int unit = 0;
        const std::size_t bytes = wellFormedCharacter(text + done.read, length - done.read, unit);
        if (bytes == 0 || !isClean(clean, unit)) {
            break;
        }
        out[done.written++] = static_cast<unsigned short>(unit);
        done.read += bytes;
    }
    return done;
}

template <Clean clean>
std::size_t wellFormedUtf8(const unsigned char *text, std::size_t length, std::size_t &characters) {
    constexpr unsigned int least = clean == Clean::Any ? 1 : 0x20;
    std::size_t read = 0;
    while (read < length) {
        if (length - read >= step && plainAscii(eightBytes(text + read), least)) {
            read += step;
            characters += step;
            continue;
        }
        unsigned int unit = 0;
        const std::size_t bytes = wellFormedCharacter(text + read, length - read, unit);
        if (bytes == 0 || unit == detail::replacementCharacter || !isClean(clean, unit)) {
            break;
        }
        read += bytes;
        ++characters;
    }
    return read;
}

} // namespace zelk::kernels::portable
