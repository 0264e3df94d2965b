// Units to UTF-8 by shuffles: a unit becomes two or four bytes, and a shuffle from a table of 256 takes out those that
// it does not need. All units are converted; there is room for all.
//
//   ASCII                    blocks of bytes, the last one overlapping
//   up to U+07FF             lanes of 8 units as pairs of bytes
//   others                   lanes of 8 units as two groups of four times four bytes
//   fewer than 8 units       one by one
//
// The last units of a text that is no whole number of lanes are a lane once more, over units that the lane before has
// converted: it writes the same bytes again. A lane is stored whole where as many bytes are sure to follow as it
// reaches too far, else exactly.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/scan/ucs2.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// From place n on: the index of byte n and those after it.
alignas(laneBytes) inline constexpr auto slide = []() {
    std::array<std::uint8_t, 2 * laneBytes> places{};
    for (std::size_t place = 0; place < places.size(); ++place) {
        places[place] = static_cast<std::uint8_t>(place < laneBytes ? place : tables::leftOut);
    }
    return places;
}();

ZELK_OPERATION Lane shuffled(Lane lane, const tables::Shuffle &shuffle) {
    return shuffleLane(lane, load<Lane>(shuffle.data()));
}

inline constexpr std::size_t wordBytes = laneBytes / 2;

// Units of ASCII that give a block of bytes.
inline constexpr std::size_t stepUnits = 2 * blockUnits;

// The first bytes of a lane, 8 to 16: by two words, which overlap.
ZELK_OPERATION void storeWords(char *out, Lane lane, std::size_t count) {
    const Lane last = shuffleLane(lane, load<Lane>(slide.data() + (count - wordBytes)));
    store(out, lowWord(lane));
    store(out + (count - wordBytes), lowWord(last));
}

// The first bytes of a lane, 4 to 12.
ZELK_OPERATION void storeFours(char *out, Lane lane, std::size_t count) {
    if (count >= wordBytes) {
        storeWords(out, lane, count);
        return;
    }
    const std::uint64_t word = lowWord(lane);
    store(out, static_cast<std::uint32_t>(word));
    store(out + (count - 4), static_cast<std::uint32_t>(word >> 8 * (count - 4)));
}

enum class Reach { Whole, Exact };

// ---- One by one

ZELK_OPERATION std::size_t encodeFew(const unsigned char *text, std::size_t count, char *out, UnitOrder order) {
    std::size_t written = 0;
    for (std::size_t i = 0; i < count; ++i) {
        constexpr int ample = 4;
        written += detail::utf8Encode(unitAt(text, i, order), out + written, ample);
    }
    return written;
}

// ---- Up to U+07FF

template <class Vector>
ZELK_OPERATION Vector aboveAscii(Vector units) {
    return reinterpret_cast<Vector>(units >= 0x80);
}

template <class Vector>
ZELK_OPERATION Vector ofThreeBytes(Vector units) {
    return reinterpret_cast<Vector>(units >= 0x800);
}

struct Pairs {
    static constexpr std::size_t surplus = 8; // bytes that a lane stored whole may reach too far

    // Below 0x80 the unit itself, in the first byte of the pair.
    template <class Vector>
    ZELK_OPERATION Vector pairsOf(Vector units, Vector above) {
        const Vector two = units >> 6 | (units << 8 & 0x3F00) | 0x80C0;
        return (units & ~above) | (two & above);
    }

    template <Reach reach>
    ZELK_OPERATION std::size_t putPairs(char *out, Lane pairs, unsigned int above) {
        const Lane bytes = shuffled(pairs, tables::pairShuffles[above]);
        const std::size_t count = laneUnits + countOf(above);
        if (reach == Reach::Whole) {
            store(out, bytes);
        } else {
            storeWords(out, bytes, count);
        }
        return count;
    }

    ZELK_OPERATION std::size_t putExactly(char *out, LaneUnits units) {
        const LaneUnits above = aboveAscii(units);
        return putPairs<Reach::Exact>(out, asLane(pairsOf(units, above)), laneUnitBits(above));
    }

    // A block, its lanes stored whole.
    ZELK_OPERATION std::size_t putBlock(char *out, Units units) {
        const Units above = aboveAscii(units);
        const Bytes pairs = asBytes(pairsOf(units, above));
        const std::uint32_t bits = unitBitsByLane(above);
        std::size_t count = putPairs<Reach::Whole>(out, laneOf<0>(pairs), bits & 0xFFU);
        if constexpr (blockLanes == 2) {
            count += putPairs<Reach::Whole>(out + count, laneOf<1>(pairs), bits >> 16U & 0xFFU);
        }
        return count;
    }

    // What the first units of a lane, fewer than all, take.
    ZELK_OPERATION std::size_t bytesOfFirst(LaneUnits units, std::size_t count) {
        return count + countOf(laneUnitBits(aboveAscii(units)) & ((1U << count) - 1));
    }
};

// ---- Others

struct Triples {
    static constexpr std::size_t surplus = 12;

    // The first two bytes of each unit's UTF-8, and the third.
    template <class Vector>
    ZELK_OPERATION Vector firstTwoOf(Vector units, Vector above, Vector wide) {
        const Vector two = units >> 6 | (units << 8 & 0x3F00) | 0x80C0;
        const Vector three = units >> 12 | (units << 2 & 0x3F00) | 0x80E0;
        const Vector several = two ^ ((two ^ three) & wide);
        return units ^ ((units ^ several) & above);
    }
    template <class Vector>
    ZELK_OPERATION Vector thirdOf(Vector units) {
        return (units & 0x3F) | 0x80;
    }

    // Four units as four times four bytes.
    template <Reach reach>
    ZELK_OPERATION std::size_t putFour(char *out, Lane groups, unsigned int bits) {
        const Lane bytes = shuffled(groups, tables::tripleShuffles[bits]);
        const std::size_t count = wordUnits + countOf(bits);
        if (reach == Reach::Whole) {
            store(out, bytes);
        } else {
            storeFours(out, bytes, count);
        }
        return count;
    }

    template <Reach reach>
    ZELK_OPERATION std::size_t putTwoFours(char *out, Lane front, Lane back, std::uint32_t bits) {
        const std::size_t count = putFour<reach>(out, front, bits & 0xFFU);
        return count + putFour<reach>(out + count, back, bits >> 8U & 0xFFU);
    }

    ZELK_OPERATION std::size_t putExactly(char *out, LaneUnits units) {
        const LaneUnits above = aboveAscii(units);
        const LaneUnits wide = ofThreeBytes(units);
        const LaneUnits firstTwo = firstTwoOf(units, above, wide);
        const LaneUnits third = thirdOf(units);
        const auto front = reinterpret_cast<Lane>(__builtin_shufflevector(firstTwo, third, 0, 8, 1, 9, 2, 10, 3, 11));
        const auto back = reinterpret_cast<Lane>(__builtin_shufflevector(firstTwo, third, 4, 12, 5, 13, 6, 14, 7, 15));
        return putTwoFours<Reach::Exact>(out, front, back, laneGroupBits(above, wide));
    }

    ZELK_OPERATION std::size_t putBlock(char *out, Units units) {
        const Units above = aboveAscii(units);
        const Units wide = ofThreeBytes(units);
        const Units firstTwo = firstTwoOf(units, above, wide);
        const Units third = thirdOf(units);
        const Bytes front = interleavedUnitsLow(firstTwo, third);
        const Bytes back = interleavedUnitsHigh(firstTwo, third);
        const std::uint32_t bits = groupBits(above, wide);
        std::size_t count = putTwoFours<Reach::Whole>(out, laneOf<0>(front), laneOf<0>(back), bits);
        if constexpr (blockLanes == 2) {
            count += putTwoFours<Reach::Whole>(out + count, laneOf<1>(front), laneOf<1>(back), bits >> 16U);
        }
        return count;
    }

    ZELK_OPERATION std::size_t bytesOfFirst(LaneUnits units, std::size_t count) {
        const std::uint32_t first = (1U << count) - 1;
        return count + countOf(laneUnitBits(aboveAscii(units)) & first) +
               countOf(laneUnitBits(ofThreeBytes(units)) & first);
    }
};

// Eight units and more, without a stop.
template <class Form, UnitOrder order>
ZELK_STAGE Progress encodeLanes(const unsigned char *text, std::size_t count, char *out) {
    std::size_t read = 0;
    std::size_t written = 0;
    while (count - read >= blockUnits + Form::surplus) {
        written += Form::putBlock(out + written, unitsAt(text, read, order));
        read += blockUnits;
    }
    while (read != count) {
        const std::size_t at = lesserOf(read, count - laneUnits);
        const LaneUnits units = laneUnitsAt(text, at, order);
        const std::size_t again = at == read ? 0 : Form::bytesOfFirst(units, read - at);
        written += Form::putExactly(out + (written - again), units) - again;
        read = at + laneUnits;
    }
    return {count, written};
}

// ---- ASCII

// Whether packed units are ASCII: the others are less as signed numbers.
ZELK_OPERATION bool areAscii(Bytes bytes, Clean clean) {
    return !anySignBit(lessSigned(bytes, repeatByte(leastAscii(clean))));
}

ZELK_OPERATION Bytes packedAt(const unsigned char *text, std::size_t front, std::size_t back, UnitOrder order) {
    return packed(unitsAt(text, front, order), unitsAt(text, back, order));
}

// Both words of a lane, or both halves of a block, which may overlap.
ZELK_OPERATION void storeBothWords(char *out, std::size_t count, Lane lane) {
    using Words = std::uint64_t __attribute__((vector_size(laneBytes)));
    const auto words = reinterpret_cast<Words>(lane);
    store(out, words[0]);
    store(out + (count - wordBytes), words[1]);
}

ZELK_OPERATION void storeHalves(char *out, std::size_t count, Bytes bytes) {
    if constexpr (blockLanes == 2) {
        store(out, laneOf<0>(bytes));
        store(out + (count - laneBytes), laneOf<1>(bytes));
    } else {
        storeBothWords(out, count, laneOf<0>(bytes));
    }
}

ZELK_OPERATION void storeFirstHalf(char *out, Bytes bytes) {
    if constexpr (blockLanes == 2) {
        store(out, laneOf<0>(bytes));
    } else {
        store(out, std::bit_cast<std::array<std::uint64_t, blockBytes / wordBytes>>(bytes)[0]);
    }
}

// Eight units and more of ASCII.
ZELK_OPERATION void putAscii(const unsigned char *text, std::size_t count, char *out, UnitOrder order) {
    if (blockLanes == 2 && count < blockUnits) {
        storeBothWords(out, count, packed(laneUnitsAt(text, 0, order), laneUnitsAt(text, count - laneUnits, order)));
    } else if (count < stepUnits) {
        storeHalves(out, count, packedAt(text, 0, count - blockUnits, order));
    } else {
        for (std::size_t at = 0; at + stepUnits < count; at += stepUnits) {
            store(out + at, packedAt(text, at, at + blockUnits, order));
        }
        store(out + (count - stepUnits), packedAt(text, count - stepUnits, count - blockUnits, order));
    }
}

// ---- Texts

// Fewer than 8 units, or those in front of a stop.
ZELK_STAGE Progress encodeSingly(const unsigned char *text, std::size_t count, char *out, UnitForm form) {
    count = unitsBeforeStop(text, count, form);
    return {count, encodeFew(text, count, out, orderOf(form))};
}

// 8 to 128 units that are sure to fit. They are looked at before they are converted: few enough for one rare character
// not to slow down many others.
inline constexpr std::size_t stretchUnits = 128;

// Two blocks. Where a zero may end the text they are aligned, and the second one is read when the first has none.
struct Step {
    Units front, back;

    // False where a unit stops.
    ZELK_OPERATION bool load(Step &step, const unsigned char *text, UnitForm form) {
        step.front = unitsAt(text, 0, orderOf(form));
        if (cleanOf(form) == Clean::Any && anyBit(asBytes(stopsAmong(step.front, Clean::Any)))) [[unlikely]] {
            return false;
        }
        step.back = unitsAt(text, blockUnits, orderOf(form));
        return !anyBit(asBytes(stopsAmong(step.front, cleanOf(form)) | stopsAmong(step.back, cleanOf(form))));
    }
};

// As many units of ASCII as come first, by steps.
ZELK_OPERATION std::size_t encodeAscii(const unsigned char *text, std::size_t count, char *out, UnitForm form) {
    const UnitOrder order = orderOf(form);
    std::size_t done = 0;
    for (; count - done >= stepUnits; done += stepUnits) {
        const unsigned char *const from = text + 2 * done;
        const Units front = unitsAt(from, 0, order);
        if (cleanOf(form) == Clean::Any && anyBit(asBytes(stopsAmong(front, Clean::Any)))) [[unlikely]] {
            break;
        }
        const Bytes bytes = packed(front, unitsAt(from, blockUnits, order));
        if (!areAscii(bytes, cleanOf(form))) {
            break;
        }
        store(out + done, bytes);
    }
    return done;
}

// Units of any kind by steps, up to two of ASCII. A step is stored, its lanes whole, when the next one is known not to
// stop, and to fit: what reaches too far is then written over.
ZELK_OPERATION Progress encodeMixed(const unsigned char *text, std::size_t count, char *out, std::size_t room,
                                    UnitForm form) {
    constexpr std::size_t ahead = 2 * stepUnits;
    Progress done;
    Step step;
    if (count < ahead || !Step::load(step, text, form)) {
        return done;
    }
    bool wasAscii = false;
    while (count - done.read >= ahead && room - done.written >= ahead * detail::longestSequence) {
        Step next;
        if (!Step::load(next, text + 2 * (done.read + stepUnits), form)) [[unlikely]] {
            break;
        }
        char *const to = out + done.written;
        const Stretch stretch = {stepUnits, step.front | step.back};
        std::size_t bytes = 0;
        if (areBelow(stretch, 0x800)) {
            bytes = Pairs::putBlock(to, step.front);
            bytes += Pairs::putBlock(to + bytes, step.back);
        } else {
            bytes = Triples::putBlock(to, step.front);
            bytes += Triples::putBlock(to + bytes, step.back);
        }
        done.read += stepUnits;
        done.written += bytes;
        step = next;
        const bool isAscii = bytes == stepUnits;
        if (isAscii && wasAscii) {
            break;
        }
        wasAscii = isAscii;
    }
    return done;
}

// Steps as long as a further one follows. Where a zero may end the text, it begins with an aligned block.
template <UnitOrder order>
ZELK_STAGE Progress encodeSteps(const unsigned char *text, std::size_t count, char *out, std::size_t room,
                                Clean clean) {
    const UnitForm form = formOf(order, clean);
    Progress done;
    for (;;) {
        const std::size_t fitting = std::min(count - done.read, (room - done.written) / detail::longestSequence);
        const std::size_t ascii = encodeAscii(text + 2 * done.read, fitting, out + done.written, form);
        done.read += ascii;
        done.written += ascii;
        const Progress mixed =
            encodeMixed(text + 2 * done.read, count - done.read, out + done.written, room - done.written, form);
        if (mixed.read == 0) {
            return done;
        }
        done.read += mixed.read;
        done.written += mixed.written;
    }
}

// More than 128 units, or little room. A part is converted as a text of its own.
template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeLong(const unsigned char *text, std::size_t count, char *out, std::size_t room);

// The units of ASCII that 33 to 128 of them begin with (AVX2; 17 to 128 of smaller blocks), in one go: at the front and
// at the end blocks that overlap, between them steps. Where a zero may end the text, these are aligned, and so is what
// the last step is looked at for before it is read.
ZELK_OPERATION std::size_t encodeAsciiFirst(const unsigned char *text, std::size_t count, char *out, UnitForm form) {
    const bool mayEnd = cleanOf(form) == Clean::Any;
    const auto hasZero = [mayEnd](const unsigned char *block, std::size_t before) {
        return mayEnd &&
               placesOf(asBytes(equalUnits(asUnits(loadAligned(block)), Units{}))) >> before * bitsPerPlace != 0;
    };
    std::size_t done = 0;
    if (mayEnd) {
        const std::size_t place = placeInBlock(text);
        if (hasZero(text - place, place)) [[unlikely]] {
            return 0;
        }
        const Units front = unitsAt(text, 0, orderOf(form));
        const Bytes bytes = packed(front, front);
        if (!areAscii(bytes, cleanOf(form))) {
            return 0;
        }
        storeFirstHalf(out, bytes);
        done = (blockBytes - place) / 2;
    }
    done += encodeAscii(text + 2 * done, count - done, out + done, form);
    const std::size_t left = count - done;
    if (left != 0 && left < stepUnits && !(left > blockUnits && hasZero(text + 2 * done, 0))) {
        const Bytes bytes = packedAt(text, count - stepUnits, count - blockUnits, orderOf(form));
        if (areAscii(bytes, cleanOf(form))) {
            store(out + (count - stepUnits), bytes);
            return count;
        }
    }
    return done;
}

// Up to 128 units that are sure to fit.
template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeStretch(const unsigned char *text, std::size_t count, char *out) {
    constexpr UnitForm form = formOf(order, clean);
    if (count < laneUnits) {
        return encodeSingly(text, count, out, form);
    }
    if (clean == Clean::Any) {
        count = sparesNoCode && count <= fewUnits && placeInBlock(text) % 2 == 0 ? readableOfFew(text, count)
                                                                                 : readableUnits(text, count);
        if (count < laneUnits) [[unlikely]] {
            return encodeSingly(text, count, out, form);
        }
    }
    const Stretch stretch = count >= blockUnits ? stretchOf(text, count, form) : stretchOfLanes(text, count, form);
    if (stretch.count != count) [[unlikely]] {
        return encodeStretch<order, clean>(text, stretch.count, out);
    }
    if (areBelow(stretch, 0x80)) {
        putAscii(text, stretch.count, out, order);
        return {stretch.count, stretch.count};
    }
    return areBelow(stretch, 0x800) ? encodeLanes<Pairs, order>(text, stretch.count, out)
                                    : encodeLanes<Triples, order>(text, stretch.count, out);
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    constexpr UnitForm form = formOf(order, clean);
    if (count > stretchUnits || room < detail::longestSequence * count) {
        return encodeLong<order, clean>(text, count, out, room);
    }
    if (sparesNoCode && count > stepUnits && unitAt(text, 0, order) < 0x80 &&
        (clean == Clean::NoControls || placeInBlock(text) % 2 == 0)) {
        const std::size_t ascii = encodeAsciiFirst(text, count, out, form);
        if (ascii == count) {
            return {count, count};
        }
        const Progress rest = encodeStretch<order, clean>(text + 2 * ascii, count - ascii, out + ascii);
        return {ascii + rest.read, ascii + rest.written};
    }
    return encodeStretch<order, clean>(text, count, out);
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeLong(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    Progress done;
    const auto fitting = [&]() { return std::min(count - done.read, (room - done.written) / detail::longestSequence); };
    const auto goOn = [&](const Progress &step) {
        done.read += step.read;
        done.written += step.written;
        return step.read;
    };
    const auto part = [&](std::size_t units) {
        const unsigned char *const from = text + 2 * done.read;
        const std::size_t readable = clean == Clean::Any ? readableInPart(from, units, count - done.read) : units;
        return goOn(ucs2ToUtf8<order, clean>(from, readable, out + done.written, detail::longestSequence * readable)) ==
               units;
    };
    for (;;) {
        const std::size_t place = clean == Clean::Any ? placeInBlock(text + 2 * done.read) : 0;
        if (sparesNoCode && fitting() > stretchUnits && place % 2 == 0) {
            if (place != 0 && !part((blockBytes - place) / 2)) {
                return done;
            }
            goOn(encodeSteps<order>(text + 2 * done.read, count - done.read, out + done.written, room - done.written,
                                    clean));
        }
        const std::size_t units = std::min(fitting(), stretchUnits);
        if (!part(units) || done.read == count || units < laneUnits) {
            return done;
        }
    }
}

// ---- Measuring

ZELK_OPERATION std::size_t bytesBeyondOne(const unsigned char *text, std::size_t count, UnitOrder order) {
    Units totals{};
    std::size_t read = 0;
    for (; count - read >= blockUnits; read += blockUnits) {
        const Units units = unitsAt(text, read, order);
        totals -= aboveAscii(units) + ofThreeBytes(units); // all bits are -1
    }
    std::size_t bytes = sumOf(asBytes(totals));
    for (; read < count; ++read) {
        bytes += detail::utf8EncodedLength(unitAt(text, read, order)) - 1;
    }
    return bytes;
}

// A total holds the units of one place of each block of a stretch.
static_assert(2 * stretchUnits / blockUnits <= 0xFF);

ZELK_STAGE Progress measure(const unsigned char *text, std::size_t count, UnitOrder order) {
    Progress done;
    for (;;) {
        const unsigned char *const from = text + 2 * done.read;
        const std::size_t wanted = std::min(count - done.read, stretchUnits);
        const std::size_t readable = readableInPart(from, wanted, count - done.read);
        const std::size_t units = readable >= blockUnits ? stretchOf(from, readable, UnitForm::LowFirst).count
                                                         : unitsBeforeStop(from, readable, UnitForm::LowFirst);
        done.read += units;
        done.written += units + bytesBeyondOne(from, units, order);
        if (units < stretchUnits) {
            return done;
        }
    }
}

template <UnitOrder order>
ZELK_STAGE Progress measureUcs2(const unsigned char *text, std::size_t count) {
    return measure(text, count, order);
}

// ---- To native units

ZELK_OPERATION void copyUnits(const unsigned char *text, std::size_t count, unsigned short *out, UnitOrder order) {
    if (count < blockUnits) {
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = static_cast<unsigned short>(unitAt(text, i, order));
        }
        return;
    }
    for (std::size_t at = 0; at + blockUnits < count; at += blockUnits) {
        store(out + at, unitsAt(text, at, order));
    }
    store(out + (count - blockUnits), unitsAt(text, count - blockUnits, order));
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToNative(const unsigned char *text, std::size_t count, unsigned short *out, std::size_t room) {
    constexpr UnitForm form = formOf(order, clean);
    const std::size_t fitting = std::min(count, room);
    std::size_t done = 0;
    for (;;) {
        const unsigned char *const from = text + 2 * done;
        const std::size_t wanted = std::min(fitting - done, stretchUnits);
        const std::size_t units =
            wanted >= blockUnits ? stretchOf(from, wanted, form).count : unitsBeforeStop(from, wanted, form);
        copyUnits(from, units, out + done, order);
        done += units;
        if (units < stretchUnits) {
            return {done, done};
        }
    }
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
