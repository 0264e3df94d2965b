// UTF-8 64 bytes at a time: checked, copied, measured and, by compressing the bytes of units, converted to UCS-2.
//
//   up to 62 bytes   at once; the bytes before the first come round from the end of the block
//   66 to 255        checked, measured and, where all is ASCII, converted as four blocks, which may overlap
//   more             line by line: a part of one at either end, by masks
//
// Nothing is read in a line after the one that holds a zero: a short text across two lines is looked at in the first
// one before it is taken. Every byte is looked at together with the two before it, so that blocks follow one another at
// fixed distances, wherever the sequences lie.
#pragma once

#include "kernels/plain/kernels.h"
#include "kernels/scan/utf8_faults.h"
#include "kernels/simd/avx512_lines.h"
#include "kernels/simd/lines.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

static_assert(lineBytes == blockBytes);

// ---- ASCII

// The bytes that are no ASCII that a conversion passes over: as signed numbers all the others are less.
ZELK_OPERATION Block leastAsciiOf(const Utf8Rule &rule) {
    return everyEight(rule.leastAscii[0]);
}

ZELK_OPERATION bool isAscii(Block text, Mask present, Block leastAscii) {
    const Mask others = _mm512_mask_cmplt_epi8_mask(present, text, leastAscii);
    return _kortestz_mask64_u8(others, others) != 0;
}

// ---- Sequences

// The constants of the loops below.
struct Utf8Constants {
    Block before, lower, current, dueLess, high, least;
};

ZELK_OPERATION Utf8Constants utf8Constants(const Utf8Rule &rule) {
    return {load(rule.tables.before), load(rule.tables.lower), load(rule.tables.current),
            everyByte<0x60>(),        everyByte<0x80>(),       leastAsciiOf(rule)};
}

// A block of UTF-8 together with the bytes one and two places before each of its own.
struct Utf8Block {
    Block text, before1, before2;
};

// Not one at the front of a text.
ZELK_OPERATION Utf8Block utf8BlockAt(const unsigned char *text) {
    return {loadInLine(text), loadInLine(text - 1), loadInLine(text - 2)};
}

ZELK_OPERATION Utf8Block utf8BlockAt(const unsigned char *text, Mask present) {
    return {load(text, present), load(text - 1, present), load(text - 2, present)};
}

// A part of a block, at text + read; in front of the text the bytes before are zero.
ZELK_OPERATION Utf8Block utf8PartAt(const unsigned char *text, std::size_t read, Mask present) {
    const Mask missing = 3U >> std::min<std::size_t>(read, 2);
    return {loadInLine(text + read, present), loadInLine(text + read - 1, present & ~(missing >> 1U)),
            loadInLine(text + read - 2, present & ~missing)};
}

// A whole text that a block holds with two zeros at least after it, which come round to the front.
inline constexpr std::size_t longestName = blockBytes - 2;

ZELK_OPERATION Utf8Block utf8Name(Block text) {
    return {text, startingAt<blockBytes - 1>(text), startingAt<blockBytes - 2>(text)};
}

// Whether so many bytes of a text, a block at most, may be read: they lie in one line, or no zero is among those that
// lie in the first of two.
ZELK_OPERATION bool mayRead(const unsigned char *text, std::size_t bytes) {
    const Mask first = firstBytes(std::min(bytes, bytesInLine(text)));
    const Block block = load(text, first);
    const Mask zeros = _mm512_mask_testn_epi8_mask(first, block, block);
    return _kortestz_mask64_u8(zeros, zeros) != 0 || areInLine(text, bytes);
}

// Texts of 66 to 255 bytes as four blocks, of which the last ones overlap as far as needed: no branch depends on the
// length. Two bytes at least are before the second one.
struct FourBlocks {
    static constexpr std::size_t shortest = blockBytes + 2;
    static constexpr std::size_t longest = 4 * blockBytes - 1; // as far as firstBytes() counts

    std::size_t second, third, last; // their places
    Block text1, text2, text3, text4;
};

ZELK_OPERATION bool isForFourBlocks(std::size_t length) {
    return length - FourBlocks::shortest <= FourBlocks::longest - FourBlocks::shortest;
}

ZELK_OPERATION FourBlocks fourBlocks(const unsigned char *text, std::size_t length) {
    const std::size_t last = length - blockBytes;
    const std::size_t second = lesserOf(blockBytes, last);
    const std::size_t third = lesserOf(2 * blockBytes, last);
    return {second,
            third,
            last,
            loadInLine(text),
            loadInLine(text + second),
            loadInLine(text + third),
            loadInLine(text + last)};
}

// The least of the bytes at each place, as signed numbers.
ZELK_OPERATION Block least(const FourBlocks &blocks) {
    return _mm512_min_epi8(_mm512_min_epi8(blocks.text1, blocks.text2), _mm512_min_epi8(blocks.text3, blocks.text4));
}

// Whether no zero is in a line of such a text before the last one that it lies in: four at most.
ZELK_OPERATION bool mayReadSeveral(const unsigned char *text, std::size_t length) {
    const Block front = loadInLine(text, firstBytes(bytesInLine(text)));
    if (_mm512_mask_testn_epi8_mask(firstBytes(bytesInLine(text)), front, front) != 0) {
        return false;
    }
    const unsigned char *const first = text + bytesInLine(text);
    const unsigned char *const last = text + length - 1 - placeInLine(text + length - 1) - lineBytes;
    const auto hasZero = [&](std::size_t place) {
        const Block line = loadInLine(lesserOf(first + place, last));
        return _mm512_testn_epi8_mask(line, line) != 0;
    };
    return !hasZero(0) && !hasZero(lineBytes) && !hasZero(2 * lineBytes);
}

// Where bytes do not follow the two before them as they should this is not zero.
ZELK_OPERATION Block faultsOf(const Utf8Block &block, const Utf8Constants &constants) {
    const Block byBefore = _mm512_permutexvar_epi8(_mm512_srli_epi16(block.before1, 4), constants.before);
    const Block byLower = _mm512_permutexvar_epi8(block.before1, constants.lower);
    const Block byCurrent = _mm512_permutexvar_epi8(_mm512_srli_epi16(block.text, 4), constants.current);
    const Block allowed = _mm512_ternarylogic_epi32(byBefore, byLower, byCurrent, 0x80); // a & b & c
    const Block due = _mm512_subs_epu8(block.before2, constants.dueLess);                // bit 7: after E0 and above
    return _mm512_ternarylogic_epi32(allowed, due, constants.high, 0x78);                // a ^ (b & c)
}

// Those bytes, and what is less than ordinary.
template <Last last = Last::Taken>
ZELK_OPERATION Mask wrongBytes(const Utf8Block &block, const Utf8Constants &constants);

// Whether all of a name is well-formed and complete: the zero after a sequence that does not end is at fault.
ZELK_OPERATION bool isRightName(const Utf8Block &name, Mask all, const Utf8Constants &constants) {
    const Mask less = _mm512_mask_cmplt_epu8_mask(all, name.text, constants.least);
    return _kortestz_mask64_u8(nonZero(faultsOf(name, constants)), less) != 0;
}

// The least bytes that begin sequences of two and of three.
struct Leads {
    Block ofTwo, ofThree;
};

ZELK_OPERATION Leads leadBytes() {
    return {everyByte<0xC0>(), everyByte<0xE0>()};
}

// A check without tables for text without characters of three bytes, and without U+0080 to U+00BF where controls are to
// be left alone. False, too, if something is wrong, which the caller has to find out. What is before a name is zero.
template <bool isName = false>
ZELK_OPERATION bool areOfTwo(const Utf8Block &block, Mask present, const Leads &leads, const Utf8Rule &rule) {
    const Block two = leads.ofTwo;
    const Block greatest = _mm512_max_epu8(_mm512_max_epu8(block.text, block.before1), block.before2);
    const Mask wide = _mm512_cmpge_epu8_mask(isName ? block.text : greatest, leads.ofThree);
    if (_kortestz_mask64_u8(wide, wide) == 0) {
        return false;
    }
    const Mask astray = _kxor_mask64(_mm512_cmplt_epi8_mask(block.text, two), // signed: continuation bytes
                                     _mm512_cmpge_epu8_mask(block.before1, two));
    const Block lead = _mm512_xor_si512(block.before1, two); // less its mark
    if (rule.clean == Clean::Any) {                          // 00, and what follows C0 and C1
        const Block least = _mm512_min_epu8(block.text, _mm512_and_si512(lead, everyByte<0xFE>()));
        return _kortestz_mask64_u8(astray, _mm512_mask_testn_epi8_mask(present, least, least)) != 0;
    }
    const Mask less = _mm512_mask_cmplt_epu8_mask(present, block.text, leastAsciiOf(rule));
    return _kortestz_mask64_u8(astray, _kor_mask64(less, _mm512_cmplt_epu8_mask(lead, everyByte<3>()))) != 0;
}

// What is tried for each block, but not for some blocks after one where it failed.
struct Trial {
    std::size_t wait = 0;

    ZELK_OPERATION bool isDue(Trial &trial) {
        if (trial.wait == 0) {
            return true;
        }
        --trial.wait;
        return false;
    }
    ZELK_OPERATION void failed(Trial &trial) { trial.wait = trial.wait == 0 ? 8 : trial.wait; }
};

// The last bytes of U+FFC0 to U+FFFF.
ZELK_OPERATION Mask lastCharacters(const Utf8Block &block) {
    return _mm512_mask_cmpeq_epi8_mask(_mm512_cmpeq_epi8_mask(block.before2, everyByte<0xEF>()), block.before1,
                                       everyByte<0xBF>());
}

template <Last last>
ZELK_OPERATION Mask wrongBytes(const Utf8Block &block, const Utf8Constants &constants) {
    const Mask wrong =
        _kor_mask64(nonZero(faultsOf(block, constants)), _mm512_cmplt_epu8_mask(block.text, constants.least));
    return last == Last::Taken ? wrong : _kor_mask64(wrong, lastCharacters(block));
}

// ---- UTF-8 to UCS-2

// Stores the first `count` units of two blocks.
ZELK_OPERATION void storeUnits(unsigned short *out, std::size_t count, Block front, Block back) {
    const Mask units = firstBytes(count);
    _mm512_mask_storeu_epi16(out, static_cast<__mmask32>(units), front);
    _mm512_mask_storeu_epi16(out + blockUnits, static_cast<__mmask32>(units >> blockUnits), back);
}

// What the bytes of a sequence put into a unit, by their low six bits.
struct UnitParts {
    Block middleLow;  // two bits of the byte before the last to the low byte, less the mark of the last byte
    Block middleHigh; // four bits of it to the high byte
    Block order;      // for interleaved()
    Leads leads;
    Block middleLess;
};

ZELK_OPERATION UnitParts unitParts() {
    alignas(blockBytes) static constexpr auto parts = []() {
        struct {
            unsigned char middleLow[blockBytes], middleHigh[blockBytes];
        } table{};
        for (unsigned int i = 0; i < blockBytes; ++i) {
            table.middleLow[i] = static_cast<unsigned char>((i << 6U) - 0x80U);
            table.middleHigh[i] = static_cast<unsigned char>(i >> 2U);
        }
        return table;
    }();
    return {load(parts.middleLow), load(parts.middleHigh), spreadOrder(), leadBytes(), everyByte<0x20>()};
}

// The units of a block, their bytes apart, at the last byte of each sequence.
struct Units {
    Block low, high;
    Mask ends;
};

ZELK_OPERATION Units unitsOf(const Utf8Block &block, const UnitParts &parts) {
    const Mask several = highBits(block.text);
    const Block low =
        _mm512_add_epi8(block.text, _mm512_maskz_permutexvar_epi8(several, block.before1, parts.middleLow));
    const Block lead = _mm512_slli_epi16(_mm512_subs_epu8(block.before2, parts.leads.ofThree), 4);
    const Block high = _mm512_or_si512(lead, _mm512_maskz_permutexvar_epi8(several, block.before1, parts.middleHigh));
    // No last bytes: leads, and the byte after a lead of three.
    const Block open = _mm512_max_epu8(block.text, _mm512_subs_epu8(block.before1, parts.middleLess));
    return {low, high, _mm512_cmplt_epu8_mask(open, parts.leads.ofTwo)};
}

// The same where no character is of three bytes.
ZELK_OPERATION Units unitsOfTwo(const Utf8Block &block, const UnitParts &parts) {
    const Mask last = _mm512_cmplt_epi8_mask(block.text, parts.leads.ofTwo); // signed
    const Block low = _mm512_add_epi8(block.text, _mm512_maskz_permutexvar_epi8(last, block.before1, parts.middleLow));
    const Block high = _mm512_maskz_permutexvar_epi8(last, block.before1, parts.middleHigh);
    return {low, high, _mm512_cmplt_epu8_mask(block.text, parts.leads.ofTwo)};
}

// The units of a block that `ends` keeps.
ZELK_OPERATION void storeUnitsKept(unsigned short *out, std::size_t count, const Units &units, Mask ends,
                                   const UnitParts &parts) {
    const Block low = compressed(ends, units.low);
    const Block high = compressed(ends, units.high);
    const Pairs pairs = interleaved(inOrder(low, parts.order), inOrder(high, parts.order));
    storeUnits(out, count, pairs.front, pairs.back);
}

// Up to 64 bytes of one line; false where the conversion ends.
ZELK_OPERATION bool decodePart(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room,
                               Progress &done, const Utf8Rule &rule) {
    std::size_t bytes = std::min(length - done.read, bytesInLine(text + done.read));
    const Utf8Block block = utf8PartAt(text, done.read, firstBytes(bytes));
    const Mask wrong = wrongBytes(block, utf8Constants(rule)) & firstBytes(bytes);
    if (wrong != 0) [[unlikely]] {
        bytes = firstOf(wrong);
    }
    const UnitParts parts = unitParts();
    const Units units = unitsOf(block, parts);
    Mask ends = units.ends & firstBytes(bytes);
    std::size_t count = countOf(ends);
    const bool fits = count <= room - done.written;
    if (!fits) [[unlikely]] { // up to the last byte of the last one that fits
        count = room - done.written;
        const Mask last = count == 0 ? 0 : _pdep_u64(1ULL << (count - 1), ends);
        ends &= last | (last - 1);
        bytes = count == 0 ? 0 : firstOf(last) + 1;
    }
    storeUnitsKept(out + done.written, count, units, ends, parts);
    done.read += bytes;
    done.written += count;
    return fits && wrong == 0 && done.read < length;
}

// Lines of ASCII, whole ones, as far as they fit.
ZELK_OPERATION void widenLines(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room,
                               Progress &done, const Utf8Rule &rule) {
    const Block leastAscii = leastAsciiOf(rule);
    while (std::min(length - done.read, room - done.written) >= blockBytes) {
        const Block block = loadInLine(text + done.read);
        if (!isAscii(block, ~0ULL, leastAscii)) {
            return;
        }
        store(out + done.written, frontUnits(block));
        store(out + done.written + blockUnits, backUnits(block));
        done.read += blockBytes;
        done.written += blockBytes;
    }
}

// The units of a line, compressed, that wait for the next line: where that one's units cover what whole stores would
// leave after these, no mask is needed, which makes a store slow.
struct WaitingUnits {
    unsigned short *out;
    std::size_t count;
    Block low, high;

    ZELK_OPERATION void store(const WaitingUnits &units, std::size_t next, const UnitParts &parts) {
        if (units.count <= blockUnits && units.count + next >= blockUnits) {
            const Block high = _mm512_slli_epi16(frontUnits(units.high), 8);
            ZELK_KERNEL_SET::store(units.out, _mm512_or_si512(frontUnits(units.low), high));
            return;
        }
        const Pairs pairs = interleaved(inOrder(units.low, parts.order), inOrder(units.high, parts.order));
        if (units.count + next >= blockBytes) {
            ZELK_KERNEL_SET::store(units.out, pairs.front);
            ZELK_KERNEL_SET::store(units.out + blockUnits, pairs.back);
        } else {
            storeUnits(units.out, units.count, pairs.front, pairs.back);
        }
    }
};

// Whole lines of any text, up to two that are all ASCII. There are two bytes at least in front of them.
ZELK_STAGE Progress decodeWholeLines(const unsigned char *text, std::size_t length, unsigned short *out,
                                     std::size_t room, Progress done, const Utf8Rule &rule) {
    const Utf8Constants constants = utf8Constants(rule);
    const UnitParts parts = unitParts();
    WaitingUnits waiting{out + done.written, 0, _mm512_setzero_si512(), _mm512_setzero_si512()};
    Trial trial;
    std::size_t before = 0; // units of the last line
    while (std::min(length - done.read, room - done.written) >= blockBytes) {
        const Utf8Block block = utf8BlockAt(text + done.read);
        Units units;
        if (Trial::isDue(trial) && areOfTwo(block, ~0ULL, parts.leads, rule)) {
            units = unitsOfTwo(block, parts);
        } else if (wrongBytes(block, constants) == 0) {
            units = unitsOf(block, parts);
            Trial::failed(trial);
        } else {
            break;
        }
        const std::size_t count = countOf(units.ends);
        if (count == blockBytes && before == blockBytes) {
            break;
        }
        before = count;
        WaitingUnits::store(waiting, count, parts);
        waiting = {out + done.written, count, compressed(units.ends, units.low), compressed(units.ends, units.high)};
        done.read += blockBytes;
        done.written += count;
    }
    WaitingUnits::store(waiting, 0, parts);
    return done;
}

ZELK_STAGE Progress decodeLines(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room,
                                const Utf8Rule &rule) {
    Progress done;
    while (done.read < length && decodePart(text, length, out, room, done, rule)) {
        if (length - done.read >= blockBytes) {
            if (unfinishedBytes(text, done.read) == 0) {
                widenLines(text, length, out, room, done, rule);
            }
            if (done.read >= 2) {
                done = decodeWholeLines(text, length, out, room, done, rule);
            }
        }
    }
    done.read -= unfinishedBytes(text, done.read);
    return done;
}

// A block of such a text that is not all ASCII; false where something is wrong.
ZELK_OPERATION bool decodeBlock(const Utf8Block &block, Mask present, const Utf8Constants &constants,
                                const UnitParts &parts, WaitingUnits &waiting) {
    const Mask wrong = _kand_mask64(wrongBytes(block, constants), present);
    if (!none(wrong)) [[unlikely]] {
        return false;
    }
    const Units units = unitsOf(block, parts);
    const Mask ends = units.ends & present;
    const std::size_t count = countOf(ends);
    WaitingUnits::store(waiting, count, parts);
    waiting = {waiting.out + waiting.count, count, compressed(ends, units.low), compressed(ends, units.high)};
    return true;
}

// 129 bytes at least.
ZELK_STAGE Progress decodeMixed(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room,
                                const Utf8Rule &rule) {
    const Utf8Constants constants = utf8Constants(rule);
    const UnitParts parts = unitParts();
    WaitingUnits waiting{out, 0, _mm512_setzero_si512(), _mm512_setzero_si512()};
    bool right = decodeBlock(utf8PartAt(text, 0, ~0ULL), ~0ULL, constants, parts, waiting) &&
                 decodeBlock(utf8BlockAt(text + blockBytes), ~0ULL, constants, parts, waiting);
    for (std::size_t read = 2 * blockBytes; right && read < length; read += blockBytes) {
        const Mask present = firstBytes(length - read);
        right = decodeBlock(utf8BlockAt(text + read, present), present, constants, parts, waiting);
    }
    if (!right) [[unlikely]] {
        return decodeLines(text, length, out, room, rule);
    }
    WaitingUnits::store(waiting, 0, parts);
    return {length - unfinishedBytes(text, length), static_cast<std::size_t>(waiting.out - out) + waiting.count};
}

ZELK_STAGE Progress decodeSeveral(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room,
                                  const Utf8Rule &rule) {
    if (length > room || !mayReadSeveral(text, length)) {
        return decodeLines(text, length, out, room, rule);
    }
    const FourBlocks blocks = fourBlocks(text, length);
    if (!isAscii(least(blocks), ~0ULL, leastAsciiOf(rule))) {
        return length > 2 * blockBytes ? decodeMixed(text, length, out, room, rule)
                                       : decodeLines(text, length, out, room, rule);
    }
    const auto widen = [out](std::size_t place, Block block) {
        store(out + place, frontUnits(block));
        store(out + place + blockUnits, backUnits(block));
    };
    widen(0, blocks.text1);
    widen(blocks.second, blocks.text2);
    widen(blocks.third, blocks.text3);
    widen(blocks.last, blocks.text4);
    return {length, length};
}

// Short texts are done here; what they need not costs them nothing.
template <Clean clean>
ZELK_STAGE Progress utf8ToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    constexpr const Utf8Rule &rule = utf8Rule<clean, Last::Taken>;
    if (length > longestName || !mayRead(text, length)) {
        return isForFourBlocks(length) ? decodeSeveral(text, length, out, room, rule)
                                       : decodeLines(text, length, out, room, rule);
    }
    const Mask all = firstBytes(length);
    const Block bytes = load(text, all);
    if (isAscii(bytes, all, leastAsciiOf(rule)) && length <= room) {
        storeUnits(out, length, frontUnits(bytes), backUnits(bytes));
        return {length, length};
    }
    const Utf8Block name = utf8Name(bytes);
    const UnitParts parts = unitParts();
    Units units;
    if (areOfTwo<true>(name, all, parts.leads, rule)) {
        units = unitsOfTwo(name, parts);
    } else if (isRightName(name, all, utf8Constants(rule))) {
        units = unitsOf(name, parts);
    } else {
        return decodeLines(text, length, out, room, rule);
    }
    const Mask ends = units.ends & all;
    const std::size_t count = countOf(ends);
    if (count > room) {
        return decodeLines(text, length, out, room, rule);
    }
    storeUnitsKept(out, count, units, ends, parts);
    return {length, count};
}

// ---- Checking and copying

// Where to what is right is copied, up to what `copied` says: nowhere, or to a place for as many bytes as the text has.
// Lines are copied two bytes late: the last two of a line may belong to a sequence that goes wrong in the next one.
struct Nowhere {
    ZELK_OPERATION void upTo(Nowhere & /*copy*/, const unsigned char * /*text*/, std::size_t /*end*/) {}
    ZELK_OPERATION void block(Nowhere & /*copy*/, std::size_t /*at*/, Block /*text*/) {}
};

struct Copy {
    char *out;
    std::size_t copied;

    ZELK_OPERATION void upTo(Copy &copy, const unsigned char *text, std::size_t end) {
        if (copy.copied < end) {
            std::memcpy(copy.out + copy.copied, text + copy.copied, end - copy.copied);
            copy.copied = end;
        }
    }
    ZELK_OPERATION void block(Copy &copy, std::size_t at, Block text) {
        store(copy.out + at, text);
        copy.copied = at + blockBytes;
    }
};

inline constexpr std::size_t late = 2;

// Up to 64 bytes of one line; false where the check ends.
ZELK_OPERATION bool checkPart(const unsigned char *text, std::size_t length, std::size_t &read, const Utf8Rule &rule) {
    const std::size_t bytes = std::min(length - read, bytesInLine(text + read));
    const Utf8Block block = utf8PartAt(text, read, firstBytes(bytes));
    const Mask wrong = wrongBytes<Last::LeftOut>(block, utf8Constants(rule)) & firstBytes(bytes);
    read += std::min(bytes, firstOf(wrong));
    return wrong == 0 && read < length;
}

// Lines of ASCII where no sequence is unfinished.
template <class Out>
ZELK_OPERATION std::size_t checkAsciiLines(const unsigned char *text, std::size_t length, std::size_t read, Out &out,
                                           const Utf8Rule &rule) {
    const Block leastAscii = leastAsciiOf(rule);
    Out::upTo(out, text, read);
    while (length - read >= blockBytes) {
        const Block block = loadInLine(text + read);
        if (!isAscii(block, ~0ULL, leastAscii)) {
            break;
        }
        Out::block(out, read, block);
        read += blockBytes;
    }
    return read;
}

// Lines of any kind. There are bytes in front of them.
template <class Out>
ZELK_OPERATION std::size_t checkWholeLines(const unsigned char *text, std::size_t length, std::size_t read, Out &out,
                                           const Utf8Rule &rule) {
    const Utf8Constants constants = utf8Constants(rule);
    const Leads leads = leadBytes();
    Trial trial;
    while (length - read >= blockBytes) {
        const Utf8Block block = utf8BlockAt(text + read);
        if (!Trial::isDue(trial) || !areOfTwo(block, ~0ULL, leads, rule)) {
            if (wrongBytes<Last::LeftOut>(block, constants) != 0) {
                break;
            }
            Trial::failed(trial);
        }
        Out::block(out, read - late, block.before2);
        read += blockBytes;
    }
    return read;
}

template <class Out>
ZELK_STAGE std::size_t checkLines(const unsigned char *text, std::size_t length, Out out, const Utf8Rule &rule) {
    std::size_t read = 0;
    while (read < length && checkPart(text, length, read, rule)) {
        if (unfinishedBytes(text, read) == 0) {
            read = checkAsciiLines(text, length, read, out, rule);
        }
        if (read >= late && length - read >= blockBytes) {
            Out::upTo(out, text, read - late);
            read = rule.clean == Clean::Any
                       ? checkWholeLines(text, length, read, out, utf8Rule<Clean::Any, Last::LeftOut>)
                       : checkWholeLines(text, length, read, out, utf8Rule<Clean::NoControls, Last::LeftOut>);
        }
    }
    read -= unfinishedBytes(text, read);
    Out::upTo(out, text, read);
    return read;
}

ZELK_STAGE std::size_t checkSeveral(const unsigned char *text, std::size_t length, const Utf8Rule &rule) {
    if (!mayReadSeveral(text, length)) {
        return checkLines(text, length, Nowhere(), rule);
    }
    const FourBlocks blocks = fourBlocks(text, length);
    if (isAscii(least(blocks), ~0ULL, leastAsciiOf(rule))) {
        return length;
    }
    const Utf8Constants constants = utf8Constants(rule);
    const Mask wrong = _kor_mask64(_kor_mask64(wrongBytes<Last::LeftOut>(utf8PartAt(text, 0, ~0ULL), constants),
                                               wrongBytes<Last::LeftOut>(utf8BlockAt(text + blocks.second), constants)),
                                   _kor_mask64(wrongBytes<Last::LeftOut>(utf8BlockAt(text + blocks.third), constants),
                                               wrongBytes<Last::LeftOut>(utf8BlockAt(text + blocks.last), constants)));
    return none(wrong) ? length - unfinishedBytes(text, length) : checkLines(text, length, Nowhere(), rule);
}

ZELK_OPERATION std::size_t check(const unsigned char *text, std::size_t length, const Utf8Rule &rule) {
    if (length > longestName || !mayRead(text, length)) {
        return isForFourBlocks(length) ? checkSeveral(text, length, rule) : checkLines(text, length, Nowhere(), rule);
    }
    const Mask all = firstBytes(length);
    const Block bytes = load(text, all);
    if (isAscii(bytes, all, leastAsciiOf(rule))) {
        return length;
    }
    const Utf8Block name = utf8Name(bytes);
    const Mask last = lastCharacters(name);
    if (isRightName(name, all, utf8Constants(rule)) && _kortestz_mask64_u8(last, last) != 0) {
        return length;
    }
    return checkLines(text, length, Nowhere(), rule);
}

ZELK_STAGE std::size_t wellFormedUtf8(const unsigned char *text, std::size_t length) {
    return check(text, length, utf8Rule<Clean::Any, Last::LeftOut>);
}

ZELK_STAGE std::size_t copyCleanUtf8(const unsigned char *text, std::size_t length, char *out) {
    if (length > FourBlocks::longest) {
        return checkLines(text, length, Copy{out, 0}, utf8Rule<Clean::NoControls, Last::LeftOut>);
    }
    const std::size_t bytes = check(text, length, utf8Rule<Clean::NoControls, Last::LeftOut>);
    if (bytes - 1 < blockBytes) { // an empty store may be slow
        store(out, firstBytes(bytes), load(text, firstBytes(bytes)));
    } else {
        std::memcpy(out, text, bytes);
    }
    return bytes;
}

// ---- Measuring

// The bytes that are no steps of their own: a continuation byte after a lead, or after a lead of three and another
// continuation byte, be the text well-formed or not. Everything is worked out in bit 7 of each byte.
ZELK_OPERATION Mask innerBytes(const Utf8Block &block) {
    const Block toThree = everyByte<0x60>();                     // from E0 on bit 7 stays
    const Block toFour = everyByte<0x70>();                      // from F0 on
    const Block text2 = _mm512_add_epi8(block.text, block.text); // bit 6 to bit 7
    const Block before2 = _mm512_add_epi8(block.before1, block.before1);
    const Block beforeFour = _mm512_subs_epu8(block.before1, toFour);
    const Block three =
        _mm512_andnot_si512(_mm512_subs_epu8(block.before2, toFour), _mm512_subs_epu8(block.before2, toThree));
    const Block follows = _mm512_ternarylogic_epi32(before2, beforeFour, three, 0x3A);            // a ? ~b : c
    const Block continuation = _mm512_ternarylogic_epi32(block.text, text2, block.before1, 0x20); // a & ~b & c
    return highBits(_mm512_and_si512(continuation, follows));
}

// Up to 64 bytes of one line; false at the end.
ZELK_OPERATION bool measurePart(const unsigned char *text, std::size_t length, Progress &done) {
    std::size_t bytes = std::min(length - done.read, bytesInLine(text + done.read));
    const Utf8Block block = utf8PartAt(text, done.read, firstBytes(bytes));
    const Mask zeros = ~nonZero(block.text) & firstBytes(bytes);
    bytes = std::min(bytes, firstOf(zeros));
    done.read += bytes;
    done.written += countOf(firstBytes(bytes) & ~innerBytes(block));
    return zeros == 0 && done.read < length;
}

ZELK_STAGE Progress measureLines(const unsigned char *text, std::size_t length) {
    const Block leastAscii = everyByte<0x01>();
    Progress done;
    while (length != 0 && measurePart(text, length, done)) {
        const std::size_t begin = done.read;
        while (length - done.read >= blockBytes && isAscii(loadInLine(text + done.read), ~0ULL, leastAscii)) {
            done.read += blockBytes;
        }
        done.written += done.read - begin;
        while (done.read >= 2 && length - done.read >= blockBytes) {
            const Utf8Block block = utf8BlockAt(text + done.read);
            if (nonZero(block.text) != ~0ULL) {
                break;
            }
            done.read += blockBytes;
            done.written += blockBytes - countOf(innerBytes(block));
        }
        if (done.read == length) {
            break;
        }
    }
    return done;
}

// The same at once, where no zero ends the text: of each block those bytes that no block before it has.
ZELK_STAGE Progress measureSeveral(const unsigned char *text, std::size_t length) {
    if (!mayReadSeveral(text, length)) {
        return measureLines(text, length);
    }
    const FourBlocks blocks = fourBlocks(text, length);
    if (isAscii(least(blocks), ~0ULL, everyByte<0x01>())) {
        return {length, length};
    }
    if (!all(nonZero(_mm512_min_epu8(_mm512_min_epu8(blocks.text1, blocks.text2),
                                     _mm512_min_epu8(blocks.text3, blocks.text4))))) {
        return measureLines(text, length);
    }
    std::size_t inner = countOf(innerBytes(utf8PartAt(text, 0, ~0ULL)));
    std::size_t end = blockBytes;
    for (const std::size_t place : {blocks.second, blocks.third, blocks.last}) {
        inner += countOf(innerBytes(utf8BlockAt(text + place)) & ~firstBytes(end - place));
        end = place + blockBytes;
    }
    return {length, length - inner};
}

ZELK_STAGE Progress measureUtf8(const unsigned char *text, std::size_t length) {
    if (length - 1 >= longestName || !mayRead(text, length)) {
        return isForFourBlocks(length) ? measureSeveral(text, length) : measureLines(text, length);
    }
    const Mask all = firstBytes(length);
    const Utf8Block name = utf8Name(load(text, all));
    const std::size_t bytes = std::min(length, firstOf(~nonZero(name.text)));
    return {bytes, countOf(firstBytes(bytes) & ~innerBytes(name))};
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
