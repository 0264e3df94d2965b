// UCS-2 to UTF-8 and to native units, unit by unit: whatever the processor, nothing is read or written too early.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/kernels.h"
#include "kernels/text_forms.h"

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

template <UnitOrder order>
ZELK_OPERATION unsigned int unitAt(const unsigned char *text, std::size_t index) {
    const unsigned int first = text[2 * index];
    const unsigned int second = text[2 * index + 1];
    return order == UnitOrder::HighFirst ? first << 8U | second : second << 8U | first;
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    constexpr int ample = detail::longestSequence + 1;
    Progress done;
    while (done.read < count && room - done.written >= detail::longestSequence) {
        const unsigned int unit = unitAt<order>(text, done.read);
        if (!isClean(clean, unit)) {
            break;
        }
        if (unit < 0x80) {
            out[done.written++] = static_cast<char>(unit);
        } else {
            done.written += detail::utf8Encode(unit, out + done.written, ample);
        }
        ++done.read;
    }
    return done;
}

template <UnitOrder order>
ZELK_STAGE Progress measureUcs2(const unsigned char *text, std::size_t count) {
    Progress done;
    for (; done.read < count; ++done.read) {
        const unsigned int unit = unitAt<order>(text, done.read);
        if (unit == 0) {
            break;
        }
        done.written += 1U + (unit >= 0x80 ? 1U : 0U) + (unit >= 0x800 ? 1U : 0U);
    }
    return done;
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToNative(const unsigned char *text, std::size_t count, unsigned short *out, std::size_t room) {
    std::size_t done = 0;
    for (const std::size_t fitting = std::min(count, room); done < fitting; ++done) {
        const unsigned int unit = unitAt<order>(text, done);
        if (!isClean(clean, unit)) {
            break;
        }
        out[done] = static_cast<unsigned short>(unit);
    }
    return {done, done};
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
