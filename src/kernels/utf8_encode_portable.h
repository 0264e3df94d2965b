// UCS-2 to UTF-8 and to native units on every processor: character by character, without a room test for each. Included
// by utf8.cpp and its test alone.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/dispatch.h"
#include "kernels/utf8.h"

#include <algorithm>

namespace zelk::kernels::portable {

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

} // namespace zelk::kernels::portable
