// UCS-2 text looked at before its conversion: where it ends or stops, and how large its units are.
//
// Where a zero may end the text before its count, aligned blocks are read up to the one that holds the zero; what comes
// before is then taken as it pleases.
#pragma once

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

// The first bit of every second place.
inline constexpr std::uint64_t unitPlaces = ~std::uint64_t{0} / ((std::uint64_t{1} << 2 * bitsPerPlace) - 1);

ZELK_OPERATION std::size_t placeInBlock(const void *at) {
    return reinterpret_cast<std::uintptr_t>(at) % blockBytes;
}

// Of a text of at least one unit, in any order, as many units as may be read at once: all, or those in front of a zero.
// Aligned blocks are looked at, from the one that holds the first byte up to the first zero, but not the one that holds
// the last byte: no other may end before it.
ZELK_STAGE std::size_t readableUnits(const unsigned char *text, std::size_t count) {
    const std::size_t before = placeInBlock(text);
    const bool isOdd = before % 2 != 0; // then a unit lies across two blocks
    const unsigned char *block = text - before;
    std::uint64_t wanted = ~firstPlaces(before);
    std::uint64_t carried = 0;
    for (std::size_t left = before + 2 * count; left > blockBytes;) {
        const std::uint64_t zeros = placesOf(equal(loadAligned(block), Bytes{})) & wanted;
        const std::uint64_t paired = isOdd ? zeros << bitsPerPlace | carried : zeros;
        const std::uint64_t units = paired & paired >> bitsPerPlace & unitPlaces;
        if (units != 0) {
            return count - (left - firstPlace(units) + 1) / 2;
        }
        do {
            block += blockBytes;
            left -= blockBytes;
        } while (!isOdd && left > blockBytes && !anyBit(asBytes(equalUnits(asUnits(loadAligned(block)), Units{}))));
        wanted = ~std::uint64_t{0};
        carried = zeros >> (blockBytes - 1) * bitsPerPlace;
    }
    return count;
}

// The same of a part of a text of `count` units: the block in which the part ends is looked at too, if the text goes on
// after it.
ZELK_OPERATION std::size_t readableInPart(const unsigned char *text, std::size_t part, std::size_t count) {
    return part == 0 ? 0 : std::min(part, readableUnits(text, std::min(count, part + blockUnits)));
}

// The same of a few units at an even address.
inline constexpr std::size_t fewUnits = 64 / (2 * bitsPerPlace);

ZELK_OPERATION std::size_t readableOfFew(const unsigned char *text, std::size_t count) {
    const auto zerosAt = [](const unsigned char *block) {
        return placesOf(asBytes(equalUnits(asUnits(loadAligned(block)), Units{})));
    };
    const std::size_t before = placeInBlock(text);
    std::size_t next = blockBytes - before;
    if (next >= 2 * count) {
        return count;
    }
    std::uint64_t zeros = zerosAt(text - before) >> before * bitsPerPlace;
    for (; zeros == 0 && next + blockBytes < 2 * count; next += blockBytes) {
        zeros = zerosAt(text + next) << next * bitsPerPlace;
    }
    return zeros == 0 ? count : firstPlace(zeros) / 2;
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

// Of a text that may be read: a block of units or more.
ZELK_OPERATION Stretch stretchOf(const unsigned char *text, std::size_t count, UnitForm form) {
    Stretch stretch{count, unitsAt(text, count - blockUnits, orderOf(form))};
    Units stops = stopsAmong(stretch.bits, cleanOf(form));
    for (std::size_t at = 0; at + blockUnits < count; at += blockUnits) {
        const Units units = unitsAt(text, at, orderOf(form));
        stretch.bits |= units;
        stops |= stopsAmong(units, cleanOf(form));
    }
    if (anyBit(asBytes(stops))) [[unlikely]] {
        stretch.count = unitsBeforeStop(text, count, form);
    }
    return stretch;
}

// Two lanes of a block of two, which may overlap: 8 to 16 units.
ZELK_OPERATION Stretch stretchOfLanes(const unsigned char *text, std::size_t count, UnitForm form) {
    const Units units = asUnits(joined(asLane(laneUnitsAt(text, 0, orderOf(form))),
                                       asLane(laneUnitsAt(text, count - laneUnits, orderOf(form)))));
    const bool stops = anyBit(asBytes(stopsAmong(units, cleanOf(form))));
    return {stops ? unitsBeforeStop(text, count, form) : count, units};
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
