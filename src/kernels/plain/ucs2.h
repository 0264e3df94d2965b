// UCS-2 to UTF-8 and to native units on every machine: ASCII by four units, the rest unit by unit.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/kernels.h"
#include "kernels/plain/operations.h"
#include "kernels/text_forms.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

template <UnitOrder order>
ZELK_OPERATION unsigned int unitAt(const unsigned char *text, std::size_t index) {
    const unsigned int first = text[2 * index];
    const unsigned int second = text[2 * index + 1];
    return order == UnitOrder::HighFirst ? first << 8U | second : second << 8U | first;
}

inline constexpr std::size_t wordUnits = wordBytes / 2;

// Whether the units of a text are the machine's own.
template <UnitOrder order>
inline constexpr bool isNative = (order == UnitOrder::LowFirst) == (std::endian::native == std::endian::little);

// Words are read where they are aligned: what comes after the terminator in such a word is on no other page.
inline bool isAligned(const unsigned char *text) {
    return reinterpret_cast<std::uintptr_t>(text) % wordBytes == 0;
}

// Four units of ASCII, without zeros and, where controls are to be found, without controls. Where more is taken from a
// unit than it has, bits above ASCII are set.
template <UnitOrder order, Clean clean>
ZELK_OPERATION bool areAscii(std::uint64_t units) {
    constexpr std::uint64_t everyUnit = isNative<order> ? 0x0001000100010001U : 0x0100010001000100U;
    constexpr std::uint64_t beyondAscii = isNative<order> ? 0xFF80FF80FF80FF80U : 0x80FF80FF80FF80FFU;
    return (((units - leastAscii(clean) * everyUnit) | units) & beyondAscii) == 0;
}

// Such units, as four bytes.
template <UnitOrder order>
ZELK_OPERATION std::uint32_t bytesOf(std::uint64_t units) {
    const std::uint64_t characters = isNative<order> ? units : units >> 8U;
    const std::uint64_t pairs = characters | characters >> 8U;
    return static_cast<std::uint32_t>((pairs >> 16U & 0xFFFF0000U) | (pairs & 0xFFFFU));
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    constexpr int ample = detail::longestSequence + 1;
    Progress done;
    while (done.read < count && room - done.written >= detail::longestSequence) {
        const unsigned char *const at = text + 2 * done.read;
        if (isAligned(at) && count - done.read >= wordUnits && room - done.written >= wordUnits) {
            const std::uint64_t units = alignedWordAt(at);
            if (areAscii<order, clean>(units)) {
                store(out + done.written, bytesOf<order>(units));
                done.read += wordUnits;
                done.written += wordUnits;
                continue;
            }
        }
        unsigned int unit = unitAt<order>(at, 0);
        do {
            if (!isClean(clean, unit)) {
                return done;
            }
            done.written += detail::utf8Encode(unit, out + done.written, ample);
            ++done.read;
        } while (done.read < count && room - done.written >= detail::longestSequence &&
                 (unit = unitAt<order>(text, done.read)) >= 0x80);
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
