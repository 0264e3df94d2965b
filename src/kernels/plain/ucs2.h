// UCS-2 to UTF-8 and to native units on every processor. Where the target has vectors, eight units at a time: ASCII
// with one store; others without a branch on what each of them needs, by stores of four bytes of which the next one
// covers what does not count. Elsewhere, and where blocks may not be read or stored, unit by unit. Included by utf8.cpp
// and its test alone.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/kernels.h"
#include "kernels/pages.h"
#include "kernels/plain/operations.h"
#include "kernels/text_forms.h"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cstdint>

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

template <UnitOrder order>
unsigned int unitAt(const unsigned char *text, std::size_t index) {
    const unsigned int first = text[2 * index];
    const unsigned int second = text[2 * index + 1];
    return order == UnitOrder::HighFirst ? first << 8U | second : second << 8U | first;
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeUnits(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
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

// Up to a unit; false if a zero comes before it.
template <UnitOrder order>
bool measureUnits(const unsigned char *text, std::size_t end, Progress &done) {
    for (; done.read < end; ++done.read) {
        const unsigned int unit = unitAt<order>(text, done.read);
        if (unit == 0) {
            return false;
        }
        done.written += 1U + (unit >= 0x80 ? 1U : 0U) + (unit >= 0x800 ? 1U : 0U);
    }
    return true;
}

#if defined(ZELK_HAS_VECTORS)

inline constexpr unsigned int everyUnit = (1U << vectorUnits) - 1;

template <UnitOrder order>
Units inNativeOrder(Bytes bytes) {
    const auto units = reinterpret_cast<Units>(bytes);
    return order == UnitOrder::LowFirst ? units : units << 8 | units >> 8;
}

// The units that end a text or that a filter would change: the images of the controls are U+E080 to U+E09F.
template <Clean clean>
Units extraordinaryUnits(Units units) {
    if (clean == Clean::Any) {
        return reinterpret_cast<Units>(units == 0);
    }
    return reinterpret_cast<Units>(((units & 0xFF60) == 0) | ((units & 0xFFE0) == 0xE080));
}

// Of saturated() units, whether all are ordinary and ASCII: no byte is below the least or has a high bit.
template <Clean clean>
bool areOrdinaryAscii(std::uint64_t bytes) {
    constexpr std::uint64_t least = (clean == Clean::Any ? 0x01 : 0x20) * everyByte;
    return (((bytes - least) | bytes) & highBits) == 0;
}

// Which units need one byte of UTF-8, and which at most two.
struct Widths {
    Units one, notThree;

    static Widths of(Units units) {
        return {reinterpret_cast<Units>(units >> 7 == 0), reinterpret_cast<Units>(units >> 11 == 0)};
    }
};

// The bytes of UTF-8 that a unit and those before it in its block need.
struct Totals {
    std::uint64_t bytes; // one for each unit: 24 is the most

    static Totals of(const Widths &widths) { return {saturated(widths.one + widths.notThree + 3) * everyByte}; }
    std::size_t at(std::size_t unit) const { return bytes >> CHAR_BIT * unit & 0xFF; }
};

// Units below 0x800, as pairs: each is four bytes, of which two to four count.
inline void putPairs(Units units, const Widths &widths, const Totals &totals, char *out) {
    const Units two = units >> 6 | (units << 8 & 0x3F00) | 0x80C0;
    const auto pairs = reinterpret_cast<Fours>((units & widths.one) | (two & ~widths.one));
    const auto shortened = reinterpret_cast<SignedFours>(reinterpret_cast<Fours>(widths.one) << 16);
    const auto moved = reinterpret_cast<Fours>(shortened >> 8); // all behind a first unit of one byte
    const Fours bytes = (pairs >> 8 & moved) | (pairs & ~moved);
    store(out, bytes[0]);
    store(out + totals.at(1), bytes[1]);
    store(out + totals.at(3), bytes[2]);
    store(out + totals.at(5), bytes[3]);
}

// Any units: each is four bytes, of which one to three count. What goes to the first byte and what to the second are
// the two halves of a product: units of three bytes are split behind four bits, others behind ten.
inline void putUnits(Units units, const Widths &widths, const Totals &totals, char *out) {
    const Units factor = (widths.notThree & (0x0400 ^ 0x0010)) ^ 0x0010;
    const Units marks = (widths.notThree & (0x80C0 ^ 0x80E0)) ^ 0x80E0;
    const Units more = highProducts(units, factor) | (units * factor >> 2 & 0x3F00) | marks;
    const Units firstTwo = (units & widths.one) | (more & ~widths.one);
    const Units third = (units & 0x3F) | 0x80;
    const Fours front = frontInTurn(firstTwo, third);
    const Fours back = backInTurn(firstTwo, third);
    store(out, front[0]);
    store(out + totals.at(0), front[1]);
    store(out + totals.at(1), front[2]);
    store(out + totals.at(2), front[3]);
    store(out + totals.at(3), back[0]);
    store(out + totals.at(4), back[1]);
    store(out + totals.at(5), back[2]);
    store(out + totals.at(6), back[3]);
}

// The same for those in front of what is out of the ordinary, which is kept out of the output, behind the result too:
// it may be no part of the text. Tells how far all came.
[[gnu::cold, gnu::noinline]] inline Progress putFirst(std::size_t count, Units units, char *out, Progress done) {
    if (count == 0) {
        return done;
    }
    static constexpr std::array<std::uint16_t, vectorUnits + vectorUnits> kept = {0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF,
                                                                                  0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF};
    units &= vectorAt<Units>(kept.data() + vectorUnits - count);
    const Widths widths = Widths::of(units);
    const Totals totals = Totals::of(widths);
    putUnits(units, widths, totals, out);
    return {done.read + count, done.written + totals.at(count - 1)};
}

// A block or more on one page, up to what is out of the ordinary, with room for three bytes a unit and one. Of the
// first block as many units count as are left by whole blocks; those behind them come again.
template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeBlocks(const unsigned char *text, std::size_t count, char *out) {
    const unsigned char *from = text;
    const unsigned char *const last = text + 2 * (count - vectorUnits);
    char *to = out;
    const auto done = [&] {
        return Progress{static_cast<std::size_t>(from - text) / 2, static_cast<std::size_t>(to - out)};
    };
    std::size_t step = (count - 1) % vectorUnits + 1;
    do {
        const Units units = inNativeOrder<order>(bytesAt(from));
        const std::uint64_t ascii = saturated(units);
        if (areOrdinaryAscii<clean>(ascii)) {
            store(to, ascii);
            to += step;
        } else {
            const Widths widths = Widths::of(units);
            const Totals totals = Totals::of(widths);
            const unsigned int bits = bitsOf(extraordinaryUnits<clean>(units), widths.notThree);
            if (bits == everyUnit << vectorUnits) {
                putPairs(units, widths, totals, to);
            } else if ((bits & everyUnit) == 0) {
                putUnits(units, widths, totals, to);
            } else {
                return putFirst(static_cast<std::size_t>(std::countr_zero(bits)), units, to, done());
            }
            to += totals.at(step - 1);
        }
        from += 2 * step;
        step = vectorUnits;
    } while (from <= last);
    return done();
}

// Of the next units, those on their page; one at least, which may lie across the end of the page.
inline std::size_t unitsOnPage(const unsigned char *text, std::size_t count) {
    return std::min(count, std::max<std::size_t>(bytesInPage(text) / 2, 1));
}

using Blocks = Progress (*)(const unsigned char *text, std::size_t count, char *out);
using UnitLoop = Progress (*)(const unsigned char *text, std::size_t count, char *out, std::size_t room);

// Page by page, by blocks while the room surely suffices for one. Written once for all texts.
[[gnu::cold, gnu::noinline]] inline Progress encodePages(const unsigned char *text, std::size_t count, char *out,
                                                         std::size_t room, Blocks blocks, UnitLoop rest) {
    Progress done;
    for (bool going = true; going && done.read < count;) {
        const unsigned char *const from = text + 2 * done.read;
        char *const to = out + done.written;
        const std::size_t left = room - done.written;
        const std::size_t onPage = unitsOnPage(from, count - done.read);
        const std::size_t fitting = std::min(onPage, (left - 1) / 3);
        const bool block = fitting >= vectorUnits;
        const Progress step = block ? blocks(from, fitting, to) : rest(from, onPage, to, left);
        done.read += step.read;
        done.written += step.written;
        going = step.read == (block ? fitting : onPage);
    }
    return done;
}

// Most texts are on one page and have room for whatever they hold.
template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    ++room; // the terminator's place
    if (count < vectorUnits) {
        return encodeUnits<order, clean>(text, count, out, room);
    }
    if (count > bytesInPage(text) / 2 || room <= 3 * count) [[unlikely]] {
        return encodePages(text, count, out, room, encodeBlocks<order, clean>, encodeUnits<order, clean>);
    }
    return encodeBlocks<order, clean>(text, count, out);
}

template <UnitOrder order>
ZELK_STAGE Progress measureUcs2(const unsigned char *text, std::size_t count) {
    Progress done;
    for (bool going = true; going && done.read < count;) {
        const unsigned char *const from = text + 2 * done.read;
        if (count - done.read >= vectorUnits && bytesInPage(from) >= vectorBytes) {
            const Units units = inNativeOrder<order>(bytesAt(from));
            if (isZero(extraordinaryUnits<Clean::Any>(units))) {
                done.read += vectorUnits;
                done.written += Totals::of(Widths::of(units)).at(vectorUnits - 1);
                continue;
            }
        }
        going = measureUnits<order>(text, std::min(count, done.read + vectorUnits), done);
    }
    return done;
}

#else

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    ++room; // the terminator's place
    return encodeUnits<order, clean>(text, count, out, room);
}

template <UnitOrder order>
ZELK_STAGE Progress measureUcs2(const unsigned char *text, std::size_t count) {
    Progress done;
    measureUnits<order>(text, count, done);
    return done;
}

#endif

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

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
