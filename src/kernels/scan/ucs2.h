// UCS-2 text looked at before its conversion: where it ends or stops, and how large its units are.
//
// Nothing is read in a line after the one that holds a zero: a short text is looked at in its first line before it is
// taken at once, a long one goes line by line.
#pragma once

#include "kernels/simd/lines.h"
#include "kernels/text_forms.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

inline constexpr std::size_t laneUnits = laneBytes / 2;
inline constexpr std::size_t wordUnits = laneUnits / 2;

using Words = std::uint64_t __attribute__((vector_size(laneBytes)));

ZELK_OPERATION unsigned int unitAt(const unsigned char *text, std::size_t index, UnitOrder order) {
    const unsigned int first = text[2 * index];
    const unsigned int second = text[2 * index + 1];
    return order == UnitOrder::HighFirst ? first << 8U | second : second << 8U | first;
}

ZELK_OPERATION Units unitsAt(const unsigned char *text, std::size_t index, UnitOrder order) {
    const Bytes bytes = load(text + 2 * index);
    return order == UnitOrder::HighFirst ? exchanged(bytes) : asUnits(bytes);
}

ZELK_OPERATION LaneUnits laneUnitsAt(const unsigned char *text, std::size_t index, UnitOrder order) {
    const LaneUnits units = load<LaneUnits>(text + 2 * index);
    return order == UnitOrder::HighFirst ? units << 8 | units >> 8 : units;
}

// Bits are set in the units that stop a conversion: zeros, or for clean text controls and their images too.
template <class Vector>
ZELK_OPERATION Vector stopsAmong(Vector units, Clean clean) {
    if (clean == Clean::Any) {
        return reinterpret_cast<Vector>(units == 0);
    }
    return reinterpret_cast<Vector>(((units & 0xFF60) == 0) | ((units & 0xFFE0) == 0xE080));
}

ZELK_OPERATION unsigned int bitsOfLane(LaneUnits units) {
    const auto words = reinterpret_cast<Words>(units);
    const std::uint64_t word = words[0] | words[1];
    const std::uint64_t half = word | word >> 32U;
    return static_cast<unsigned int>(half | half >> 16U) & 0xFFFFU;
}

ZELK_OPERATION unsigned int bitsOfBlock(Units units) {
    LaneUnits bits = asLaneUnits(laneOf<0>(asBytes(units)));
    if constexpr (blockLanes == 2) {
        bits |= asLaneUnits(laneOf<1>(asBytes(units)));
    }
    return bitsOfLane(bits);
}

// The units in front of the first stop, one by one.
ZELK_STAGE std::size_t unitsBeforeStop(const unsigned char *text, std::size_t count, UnitForm form) {
    std::size_t units = 0;
    while (units < count && isClean(cleanOf(form), unitAt(text, units, orderOf(form)))) {
        ++units;
    }
    return units;
}

// ---- What may be read

// Whether there is a zero from an even address to the end of its line, all of whose units there belong to the text or
// come after its zero. Blocks are read from the one that holds the address up to the first zero.
ZELK_OPERATION bool restOfLineHasZero(const unsigned char *text) {
    const std::size_t place = placeInLine(text);
    const std::size_t inBlock = place % blockBytes;
    const auto zerosAt = [](const unsigned char *block) {
        return placesOf(asBytes(equalUnits(asUnits(loadAligned(block)), Units{})));
    };
    std::uint64_t zeros = zerosAt(text - inBlock) >> inBlock * bitsPerPlace;
    for (std::size_t at = place - inBlock + blockBytes; zeros == 0 && at < lineBytes; at += blockBytes) {
        zeros = zerosAt(text - place + at);
    }
    return zeros != 0;
}

// Of at most `count` units, as many as may be read at once: all, where no zero ends the text in a line before the last
// of them. Else the text ends in front of the zero. A unit across the end of a line is taken to the line after it.
ZELK_OPERATION std::size_t readableUnits(const unsigned char *text, std::size_t count, UnitOrder order) {
    constexpr std::size_t lineUnits = lineBytes / 2;
    if (areInLine(text, 2 * count)) {
        return count;
    }
    const std::size_t first = bytesInLine(text) / 2;
    const bool isEven = reinterpret_cast<std::uintptr_t>(text) % 2 == 0;
    if (isEven ? restOfLineHasZero(text) : unitsBeforeStop(text, first, formOf(order, Clean::Any)) != first)
        [[unlikely]] {
        return unitsBeforeStop(text, first, formOf(order, Clean::Any));
    }
    for (std::size_t checked = first; count - checked > lineUnits; checked += lineUnits) {
        const unsigned char *const line = text + 2 * checked;
        for (std::size_t at = 0; at < lineUnits; at += blockUnits) {
            if (anyBit(asBytes(equalUnits(unitsAt(line, at, UnitOrder::LowFirst), Units{})))) [[unlikely]] {
                return checked + unitsBeforeStop(line, lineUnits, formOf(order, Clean::Any));
            }
        }
    }
    return count;
}

// ---- Stretches

// Units without a stop, and all of their bits.
struct Stretch {
    std::size_t count;
    unsigned int bits;
};

// Of a text that may be read: a block of units or more.
ZELK_OPERATION Stretch stretchOf(const unsigned char *text, std::size_t count, UnitForm form) {
    const UnitOrder order = orderOf(form);
    Units bits{};
    Units stops{};
    const auto look = [&](Clean clean) {
        bits = unitsAt(text, count - blockUnits, order);
        stops = stopsAmong(bits, clean);
        for (std::size_t at = 0; at + blockUnits < count; at += blockUnits) {
            const Units units = unitsAt(text, at, order);
            bits |= units;
            stops |= stopsAmong(units, clean);
        }
    };
    cleanOf(form) == Clean::Any ? look(Clean::Any) : look(Clean::NoControls);
    if (anyBit(asBytes(stops))) [[unlikely]] {
        count = unitsBeforeStop(text, count, form);
    }
    return {count, bitsOfBlock(bits)};
}

// Two lanes, which may overlap: 8 to 16 units.
ZELK_OPERATION Stretch stretchOfLanes(const unsigned char *text, std::size_t count, UnitForm form) {
    const UnitOrder order = orderOf(form);
    const LaneUnits front = laneUnitsAt(text, 0, order);
    const LaneUnits back = laneUnitsAt(text, count - laneUnits, order);
    const LaneUnits stops = stopsAmong(front, cleanOf(form)) | stopsAmong(back, cleanOf(form));
    if (bitsOfLane(stops) != 0) [[unlikely]] {
        count = unitsBeforeStop(text, count, form);
    }
    return {count, bitsOfLane(front | back)};
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
