// UTF-8 to UCS-2: the units stand at the last byte of each sequence, and eight at a time move together by a table.
//
//   up to 17 bytes       character by character
//   18 to 48 bytes       three lanes that overlap as far as needed: no branch depends on the length
//   49 bytes and more    checked in a window, then converted by blocks
//   ASCII at the front   widened by lines
//
// Eight units are stored where fewer are kept, as long as so many are sure to follow: 24 bytes of characters hold eight
// at least. The last eight units of an output are put together in a register.
#pragma once

#include "kernels/scan/ucs2.h"
#include "kernels/scan/utf8.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// ---- Units

// The bytes of units, apart, at the last byte of each sequence, and a bit for every other byte.
struct LastBytes {
    Bytes low, high;
    std::uint32_t others;
};

ZELK_OPERATION LastBytes lastBytes(const Utf8Block &block) {
    const Flags several = lessSigned(block.text, Bytes{});
    const Bytes up = asBytes(asUnits(block.before1) << 6) & everyByte<0xC0>();
    const Bytes down = asBytes(asUnits(block.before1) >> 2) & everyByte<0x0F>();
    const Bytes lead = asBytes(asUnits(subtractSaturated(block.before2, everyByte<0xE0>())) << 4);
    // From C0 on: leads, and the byte after a lead of three.
    const Bytes open = greater(block.text, subtractSaturated(block.before1, everyByte<0x20>()));
    return {block.text ^ ((up ^ everyByte<0x80>()) & several), (down & several) | lead,
            static_cast<std::uint32_t>(signBits(subtractSaturated(open, everyByte<0x40>())))};
}

// Eight units of a block, those of its first eight bytes first.
template <std::size_t half>
ZELK_OPERATION Lane unitsOfHalf(const LastBytes &block) {
    return half % 2 == 0 ? laneOf<half / 2>(interleavedLow(block.low, block.high))
                         : laneOf<half / 2>(interleavedHigh(block.low, block.high));
}

// Units that are kept, in front of zeros.
struct Kept {
    Lane units;
    std::size_t count;
};

ZELK_OPERATION Kept keptOf(Lane units, std::uint32_t others) {
    const std::size_t row = others & 0xFF;
    return {shuffleLane(units, load<Lane>(tables::keptUnits.order[row].data())), tables::keptUnits.count[row]};
}

template <std::size_t half>
ZELK_OPERATION Kept keptOfHalf(const LastBytes &block) {
    return keptOf(unitsOfHalf<half>(block), block.others >> 8 * half);
}

ZELK_OPERATION void storeAscii(unsigned short *out, Bytes ascii) {
    store(out, frontUnits(ascii));
    store(out + blockUnits, backUnits(ascii));
}

// ---- The end of an output

// Units moved up by a number of places, or down, -40 to 8.
ZELK_OPERATION Lane moved(Lane units, std::ptrdiff_t places) {
    constexpr std::size_t before = laneBytes;
    alignas(laneBytes) static constexpr auto steps = []() {
        std::array<std::uint8_t, 8 * laneBytes> bytes{};
        bytes.fill(0x80);
        for (std::size_t i = 0; i < laneBytes; ++i) {
            bytes[before + i] = static_cast<std::uint8_t>(i);
        }
        return bytes;
    }();
    return shuffleLane(units, load<Lane>(steps.data() + before - 2 * places));
}

// Stores the last units of an output, eight at least with those in front of them, of which `end` is the end.
template <std::size_t count>
ZELK_OPERATION void storeEnd(unsigned short *end, const std::array<Kept, count> &parts) {
    std::ptrdiff_t place = 0; // from the end
    for (const Kept &part : parts) {
        place -= static_cast<std::ptrdiff_t>(part.count);
    }
    constexpr std::ptrdiff_t last = -static_cast<std::ptrdiff_t>(laneUnits);
    Lane units{};
    for (std::size_t i = 0; i < count; ++i) {
        units |= moved(parts[i].units, place - last);
        if (i + 1 < count) {
            store(end + lesserOf(place, last), parts[i].units);
        }
        place += static_cast<std::ptrdiff_t>(parts[i].count);
    }
    store(end + last, units);
}

// ---- Names

// Of 18 to 48 bytes that are right: lanes that overlap have the same units, which are stored again.
struct NameUnits {
    LastBytes front, middle, back; // in sets of two lanes a block `front` has two
    std::uint64_t others;          // a bit for every byte of the name that is no last one

    ZELK_OPERATION NameUnits of(const ShortText &name) {
        NameUnits units{};
        units.front = lastBytes(blockOf<0>(name));
        units.back = lastBytes(blockOf<ShortText::blocks - 1>(name));
        if constexpr (blockLanes == 1) {
            units.middle = lastBytes(blockOf<1>(name));
        } else {
            units.middle.others = units.front.others >> laneBytes;
        }
        units.others = (units.front.others & 0xFFFF) | std::uint64_t{units.middle.others} << name.places[1] |
                       std::uint64_t{units.back.others >> (blockBytes - laneBytes)} << name.places[3];
        return units;
    }

    // The units that end in the first bytes.
    ZELK_OPERATION std::size_t count(const NameUnits &name, std::size_t bytes) {
        return bytes - static_cast<std::size_t>(std::popcount(name.others & ~(~std::uint64_t{0} << bytes)));
    }
};

// The last half and the one before it, of eight units at least. Each store corrects what the one before left after its
// units.
ZELK_OPERATION void storeName(unsigned short *out, const ShortText &name, const NameUnits &units, std::size_t count) {
    constexpr std::size_t half = laneBytes / 2;
    const std::size_t last = count - laneUnits;
    const auto storeAt = [&](std::size_t byte, const Kept &kept) {
        store(out + lesserOf(NameUnits::count(units, byte), last), kept.units);
    };
    storeAt(0, keptOfHalf<0>(units.front));
    storeAt(half, keptOfHalf<1>(units.front));
    if constexpr (blockLanes == 1) {
        storeAt(name.places[1], keptOfHalf<0>(units.middle));
        storeAt(name.places[1] + half, keptOfHalf<1>(units.middle));
    } else {
        storeAt(name.places[1], keptOfHalf<2>(units.front));
        storeAt(name.places[1] + half, keptOfHalf<3>(units.front));
    }
    constexpr std::size_t firstOfBack = 2 * (blockLanes - 1);
    const Kept front = keptOfHalf<firstOfBack>(units.back);
    const Kept back = keptOfHalf<firstOfBack + 1>(units.back);
    const auto rest = static_cast<std::ptrdiff_t>(laneUnits) - static_cast<std::ptrdiff_t>(back.count);
    store(out + count - front.count - back.count, front.units);
    store(out + last, moved(front.units, rest - static_cast<std::ptrdiff_t>(front.count)) | moved(back.units, rest));
}

// ---- Blocks

inline constexpr std::size_t endBytes = 2 * laneBytes;

// Converts 34 bytes or more that are right, all of whose units fit.
ZELK_STAGE std::size_t convertBlocks(const unsigned char *text, std::size_t length, unsigned short *out) {
    std::size_t read = 0;
    unsigned short *at = out;
    Utf8Block block = firstUtf8Block(text);
    const auto storeHalf = [&](const Kept &kept) {
        store(at, kept.units);
        at += kept.count;
    };
    std::size_t wait = 0; // as where text is checked
    while (length - read >= blockBytes + laneBytes) {
        if (wait == 0 && !anySignBit(block.text)) {
            storeAscii(at, block.text);
            at += blockBytes;
        } else {
            wait = wait == 0 ? blocksUntilTrial : wait - 1;
            const LastBytes units = lastBytes(block);
            storeHalf(keptOfHalf<0>(units));
            storeHalf(keptOfHalf<1>(units));
            if constexpr (blockLanes == 2) {
                storeHalf(keptOfHalf<2>(units));
                storeHalf(keptOfHalf<3>(units));
            }
        }
        read += blockBytes;
        if (length - read >= blockBytes) {
            block = utf8BlockAt(text + read);
        }
    }
    if constexpr (blockLanes == 2) {
        if (length - read > endBytes) {
            const LastBytes units = lastBytes(block);
            storeHalf(keptOfHalf<0>(units));
            storeHalf(keptOfHalf<1>(units));
            read += laneBytes;
        }
    }
    const unsigned char *const end = text + length - endBytes;
    const LastBytes last = lastBytes(utf8BlockAt(end));
    std::array<Kept, 4> parts{};
    std::uint32_t others = last.others;
    parts[0] = keptOfHalf<0>(last);
    parts[1] = keptOfHalf<1>(last);
    if constexpr (blockLanes == 2) {
        parts[2] = keptOfHalf<2>(last);
        parts[3] = keptOfHalf<3>(last);
    } else {
        const LastBytes further = lastBytes(utf8BlockAt(end + laneBytes));
        parts[2] = keptOfHalf<0>(further);
        parts[3] = keptOfHalf<1>(further);
        others |= further.others << laneBytes;
    }
    at += std::popcount(~others >> (endBytes - (length - read)));
    storeEnd(at, parts);
    return static_cast<std::size_t>(at - out);
}

// The units of bytes that are right: those that are no continuation.
ZELK_STAGE std::size_t countUnits(const unsigned char *text, std::size_t length) {
    std::size_t units = 0;
    for (std::size_t i = 0; i < length; ++i) {
        units += (text[i] & 0xC0U) != 0x80 ? 1 : 0;
    }
    return units;
}

// Character by character.
ZELK_STAGE Progress convertCharacters(const unsigned char *text, std::size_t length, unsigned short *out,
                                      std::size_t room, Clean clean) {
    return plain::convertCharacters(text, length, out, room, clean);
}

// Converts bytes that are right, as far as they fit.
ZELK_STAGE Progress convertRight(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    if (length < endBytes + 2 || (room < length && countUnits(text, length) > room)) {
        return convertCharacters(text, length, out, room, Clean::Any);
    }
    return {length, convertBlocks(text, length, out)};
}

// ---- ASCII

// The units of ASCII at the front of a text of more than a block: all of it, or up to the end of a block, or none.
ZELK_OPERATION std::size_t widenAscii(const unsigned char *text, std::size_t length, unsigned short *out,
                                      std::size_t room, Bytes leastAscii) {
    const std::size_t front = bytesInLine(text);
    const std::size_t fitting = std::min(length, room);
    if (fitting < front + blockBytes || !isAscii(frontBlock(text), leastAscii)) {
        return 0;
    }
    std::size_t read = front;
    for (; fitting - read >= blockBytes; read += blockBytes) {
        const Bytes block = loadAligned(text + read);
        if (!isAscii(block, leastAscii)) {
            break;
        }
        storeAscii(out + read, block);
    }
    if (read == front) {
        return 0;
    }
    storeAscii(out, load(text));
    if (read == length) {
        return length;
    }
    const unsigned char *const last = text + length - blockBytes;
    if (fitting != length || length - read >= blockBytes || !isAscii(load(last), leastAscii)) {
        return read;
    }
    storeAscii(out + length - blockBytes, load(last));
    return length;
}

// ---- Texts

ZELK_STAGE Progress convertLong(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room,
                                const Utf8Rule &rule) {
    constexpr std::size_t window = 2048; // after which ASCII is tried again
    constexpr std::size_t short_ = 64;
    Progress done;
    for (;;) {
        if (length - done.read > short_) {
            const std::size_t ascii = widenAscii(text + done.read, length - done.read, out + done.written,
                                                 room - done.written, leastAsciiOf(rule));
            done.read += ascii;
            done.written += ascii;
        }
        // A window that is not the last one ends with an aligned block, which is looked at whole.
        const std::size_t left = length - done.read;
        const std::size_t bytes = std::min(left, window - placeInLine(text + done.read));
        const std::size_t right = check(text + done.read, bytes, rule);
        const Progress more = convertRight(text + done.read, right, out + done.written, room - done.written);
        done.read += more.read;
        done.written += more.written;
        if (more.read != right || bytes == left || right + longestSequence <= bytes) {
            return done;
        }
    }
}

ZELK_STAGE Progress convert(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room,
                            const Utf8Rule &rule) {
    if (length > ShortText::most) {
        return convertLong(text, length, out, room, rule);
    }
    const std::size_t readable = bytesBeforeZero(text, length);
    if (readable < ShortText::least) {
        return convertCharacters(text, readable, out, room, rule.clean);
    }
    const ShortText name = ShortText::of(text, readable);
    if (isAscii(name, leastAsciiOf(rule)) && readable <= room) {
        for (const std::size_t place : name.places) {
            const Lane lane = load<Lane>(text + place);
            store(out + place, frontUnitsOf(lane));
            store(out + place + laneUnits, backUnitsOf(lane));
        }
        return {readable, readable};
    }
    if (hasFaults(name, rule) || unfinishedBytes(text, readable) != 0) {
        return convertCharacters(text, readable, out, room, rule.clean);
    }
    if (readable > 3 * laneBytes) {
        return convertRight(text, readable, out, room);
    }
    const NameUnits units = NameUnits::of(name);
    const std::size_t count = NameUnits::count(units, readable);
    const std::size_t ofLastLane = count - NameUnits::count(units, readable - laneBytes);
    if (ofLastLane < laneUnits || count > room) {
        return convertCharacters(text, readable, out, room, rule.clean);
    }
    storeName(out, name, units, count);
    return {readable, count};
}

template <Clean clean>
ZELK_STAGE Progress utf8ToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    return convert(text, length, out, room, utf8Rule<clean, Last::Taken>);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
