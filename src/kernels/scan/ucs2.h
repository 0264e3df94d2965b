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

// The units in front of the first stop, one by one.
ZELK_STAGE std::size_t unitsBeforeStop(const unsigned char *text, std::size_t count, UnitForm form) {
    std::size_t units = 0;
    while (units < count && isClean(cleanOf(form), unitAt(text, units, orderOf(form)))) {
        ++units;
    }
    return units;
}

// ---- What may be read

inline constexpr std::size_t lineUnits = lineBytes / 2;

// The first bit of every place of a unit in a line.
inline constexpr std::uint64_t unitPlaces = ~std::uint64_t{0} / ((std::uint64_t{1} << 2 * bitsPerPlace) - 1);

// The units from an address on that end in its line, and those of them in front of a zero.
ZELK_OPERATION std::size_t unitsInLine(const unsigned char *text) {
    return bytesInLine(text) / 2;
}

// Blocks are read from the one that holds the address up to the first zero.
ZELK_OPERATION std::size_t unitsInLineBeforeZero(const unsigned char *text) {
    const auto zerosAt = [](const unsigned char *block) { return placesOf(equal(loadAligned(block), Bytes{})); };
    const auto unitsOf = [](std::uint64_t zeros) { return zeros & zeros >> bitsPerPlace & unitPlaces; };
    const std::size_t before = placeInLine(text) % blockBytes;
    std::uint64_t zeros = zerosAt(text - before) >> before * bitsPerPlace;
    for (std::size_t at = blockBytes - before; unitsOf(zeros) == 0 && at < bytesInLine(text); at += blockBytes) {
        zeros |= zerosAt(text + at) << at * bitsPerPlace;
    }
    return unitsOf(zeros) == 0 ? unitsInLine(text)
                               : static_cast<std::size_t>(std::countr_zero(unitsOf(zeros))) / (2 * bitsPerPlace);
}

// ---- Stretches

// Units without a stop, and all of their bits.
struct Stretch {
    std::size_t count;
    Units bits;
};

ZELK_OPERATION bool areBelow(const Stretch &stretch, unsigned int powerOfTwo) {
    return !anyBit(asBytes(stretch.bits & repeatUnit(0x10000 - powerOfTwo)));
}

// The bits of the units looked at, and whether one of them stops.
struct Look {
    Units bits;
    Units stops;

    ZELK_OPERATION void at(Look &look, const unsigned char *text, std::size_t index, UnitForm form) {
        const Units units = unitsAt(text, index, orderOf(form));
        look.bits |= units;
        look.stops |= stopsAmong(units, cleanOf(form));
    }

    // A line, or as many units at another place.
    ZELK_OPERATION void atLine(Look &look, const unsigned char *text, std::size_t index, UnitForm form) {
#pragma GCC unroll 8
        for (std::size_t i = 0; i < lineUnits; i += blockUnits) {
            at(look, text, index + i, form);
        }
    }
};

// A block of units or more. Where a zero may end the text, a line is read when those before it have none.
ZELK_OPERATION Stretch stretchOf(const unsigned char *text, std::size_t count, UnitForm form) {
    const bool mayEnd = cleanOf(form) == Clean::Any && !areInLine(text, 2 * count);
    if (mayEnd) {
        const std::size_t units = unitsInLineBeforeZero(text);
        if (units != unitsInLine(text)) [[unlikely]] {
            return {units, repeatUnit(0xFFFF)};
        }
    }
    Look look{};
    if (count > lineUnits) {
        Look::atLine(look, text, 0, form);
        for (std::size_t at = mayEnd ? unitsInLine(text) : lineUnits; count - at > lineUnits; at += lineUnits) {
            Look::atLine(look, text, at, form);
            if (mayEnd && anyBit(asBytes(look.stops))) [[unlikely]] {
                return {unitsBeforeStop(text, count, form), look.bits};
            }
        }
        Look::atLine(look, text, count - lineUnits, form);
    } else {
        for (std::size_t at = 0; at + blockUnits < count; at += blockUnits) {
            Look::at(look, text, at, form);
        }
        Look::at(look, text, count - blockUnits, form);
    }
    return {anyBit(asBytes(look.stops)) ? unitsBeforeStop(text, count, form) : count, look.bits};
}

// Two lanes of a block of two, which may overlap: 8 to 16 units.
ZELK_OPERATION Stretch stretchOfLanes(const unsigned char *text, std::size_t count, UnitForm form) {
    if (cleanOf(form) == Clean::Any && !areInLine(text, 2 * count)) {
        const std::size_t units = unitsInLineBeforeZero(text);
        if (units != unitsInLine(text)) [[unlikely]] {
            return {units, repeatUnit(0xFFFF)};
        }
    }
    const Units units = asUnits(joined(asLane(laneUnitsAt(text, 0, orderOf(form))),
                                       asLane(laneUnitsAt(text, count - laneUnits, orderOf(form)))));
    const bool stops = anyBit(asBytes(stopsAmong(units, cleanOf(form))));
    return {stops ? unitsBeforeStop(text, count, form) : count, units};
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
