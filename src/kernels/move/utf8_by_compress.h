// UTF-8 text 64 bytes at a time. Included by utf8.cpp and its test alone.
#pragma once

#include "kernels/kernels.h"
#include "kernels/move/text_blocks.h"
#include "kernels/text_forms.h"

#include <algorithm>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET {

// ---- ASCII

constexpr unsigned char leastByte(Clean clean) {
    return clean == Clean::Any ? 0x01 : 0x20;
}

// The bytes that are no ordinary ASCII: as signed numbers all the others are less.
ZELK_OPERATION Mask otherThanAscii(Block text, Block least) {
    return _mm512_cmplt_epi8_mask(text, least);
}

// The bytes of whole blocks of ordinary ASCII at the front of a text.
ZELK_OPERATION std::size_t asciiBlocks(const unsigned char *text, std::size_t length, Block least) {
    constexpr std::size_t step = 4 * blockBytes;
    std::size_t read = 0;
    while (mayRead(text + read, length - read, blockBytes)) {
        const unsigned char *at = text + read;
        if (mayRead(at, length - read, step)) {
            const Block front = _mm512_min_epi8(loadText(at), loadText(at + blockBytes));
            const Block back = _mm512_min_epi8(loadText(at + 2 * blockBytes), loadText(at + 3 * blockBytes));
            if (otherThanAscii(_mm512_min_epi8(front, back), least) == 0) {
                read += step;
                continue;
            }
        }
        if (otherThanAscii(loadText(at), least) != 0) {
            break;
        }
        read += blockBytes;
    }
    return read;
}

// ---- Sequences

// What may be wrong with a byte and the one before it. Each fault is a bit; three tables by a half of one of the bytes
// say which bits they allow, and a bit that all three allow is a fault.
struct Fault {
    unsigned char bit;
    unsigned char beforeFirst, beforeLast;   // upper half of the byte before
    unsigned char lowerFirst, lowerLast;     // its lower half
    unsigned char currentFirst, currentLast; // upper half of the byte
};

inline constexpr unsigned char secondContinuation = 0x80; // due two bytes after E0 to EF, a fault elsewhere

inline constexpr Fault faults[] = {
    {0x01, 0x0, 0x7, 0x0, 0xF, 0x8, 0xB},               // a continuation byte after ASCII
    {0x02, 0xC, 0xF, 0x0, 0xF, 0x0, 0x7},               // none after a lead
    {0x02, 0xC, 0xF, 0x0, 0xF, 0xC, 0xF},               // the same
    {0x04, 0xC, 0xC, 0x0, 0x1, 0x8, 0xB},               // overlong: C0 and C1
    {0x08, 0xE, 0xE, 0x0, 0x0, 0x8, 0x9},               // overlong: E0 80 to E0 9F
    {0x10, 0xF, 0xF, 0x0, 0xF, 0x0, 0xF},               // F0 to FF
    {secondContinuation, 0x8, 0xB, 0x0, 0xF, 0x8, 0xB}, // one after another
};

// Taken for faults where controls are to be left alone.
inline constexpr Fault controls[] = {
    {0x20, 0xC, 0xC, 0x2, 0x2, 0x8, 0x9}, // U+0080 to U+009F
    {0x40, 0xE, 0xE, 0xE, 0xE, 0x8, 0x8}, // U+E000 to U+E3FF, where their images lie
};

// By the low six bits of an index, of which the lower four count.
struct FaultTables {
    unsigned char before[blockBytes], lower[blockBytes], current[blockBytes];

    constexpr void add(const Fault &fault) {
        for (unsigned int i = 0; i < blockBytes; ++i) {
            const unsigned int half = i % 16;
            before[i] |= half >= fault.beforeFirst && half <= fault.beforeLast ? fault.bit : 0;
            lower[i] |= half >= fault.lowerFirst && half <= fault.lowerLast ? fault.bit : 0;
            current[i] |= half >= fault.currentFirst && half <= fault.currentLast ? fault.bit : 0;
        }
    }
};

template <Clean clean>
alignas(blockBytes) inline constexpr FaultTables faultTables = []() {
    FaultTables tables{};
    for (const Fault &fault : faults) {
        tables.add(fault);
    }
    if (clean == Clean::NoControls) {
        for (const Fault &fault : controls) {
            tables.add(fault);
        }
    }
    return tables;
}();

// The constants of the loops below.
struct Utf8Constants {
    Block before, lower, current, dueLess, high, least;
};

template <Clean clean>
ZELK_OPERATION Utf8Constants utf8Constants() {
    constexpr const FaultTables &tables = faultTables<clean>;
    return {load(tables.before), load(tables.lower), load(tables.current),
            everyByte<0x60>(),   everyByte<0x80>(),  everyByte<leastByte(clean)>()};
}

// A block of UTF-8 together with the bytes one and two places before each of its own. A sequence is looked at where it
// ends, so that blocks follow one another at fixed distances, wherever the sequences lie.
struct Utf8Block {
    Block text, before1, before2;
};

ZELK_OPERATION Utf8Block utf8BlockAt(const unsigned char *text) {
    return {loadText(text), loadText(text - 1), loadText(text - 2)};
}

// A part of a block, at text + read; in front of the text the bytes before are zero.
ZELK_OPERATION Utf8Block utf8PartAt(const unsigned char *text, std::size_t read, Mask present) {
    const Mask missing = 3U >> std::min<std::size_t>(read, 2);
    return {loadText(text + read, present), loadText(text + read - 1, present & ~(missing & 1U) & ~(missing >> 1U)),
            loadText(text + read - 2, present & ~missing)};
}

// A whole text that a block holds with two zeros at least behind it, which come round to the front.
inline constexpr std::size_t longestName = blockBytes - 2;

ZELK_OPERATION Utf8Block utf8Name(Block text) {
    return {text, startingAt<blockBytes - 1>(text), startingAt<blockBytes - 2>(text)};
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
ZELK_OPERATION Mask wrongBytes(const Utf8Block &block, const Utf8Constants &constants) {
    return _kor_mask64(nonZero(faultsOf(block, constants)), _mm512_cmplt_epu8_mask(block.text, constants.least));
}

// Whether all of a name is well-formed and complete: the zero behind a sequence that does not end is at fault.
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
template <Clean clean, bool isName = false>
ZELK_OPERATION bool areOfTwo(const Utf8Block &block, Mask present, const Leads &leads) {
    const Block two = leads.ofTwo;
    const Block greatest = _mm512_max_epu8(_mm512_max_epu8(block.text, block.before1), block.before2);
    const Mask wide = _mm512_cmpge_epu8_mask(isName ? block.text : greatest, leads.ofThree);
    if (_kortestz_mask64_u8(wide, wide) == 0) {
        return false;
    }
    const Mask astray = _kxor_mask64(_mm512_cmplt_epi8_mask(block.text, two), // signed: continuation bytes
                                     _mm512_cmpge_epu8_mask(block.before1, two));
    const Block lead = _mm512_xor_si512(block.before1, two); // less its mark
    if (clean == Clean::Any) {                               // 00, and what follows C0 and C1
        const Block least = _mm512_min_epu8(block.text, _mm512_and_si512(lead, everyByte<0xFE>()));
        return _kortestz_mask64_u8(astray, _mm512_mask_testn_epi8_mask(present, least, least)) != 0;
    }
    const Mask less = _mm512_mask_cmplt_epu8_mask(present, block.text, everyByte<leastByte(clean)>());
    return _kortestz_mask64_u8(astray, _kor_mask64(less, _mm512_cmplt_epu8_mask(lead, everyByte<3>()))) != 0;
}

// What is tried for each block, but not for some blocks behind one where it failed.
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

// The bytes in front of `read` that belong to a sequence which does not end there: 0, 1 or 2.
ZELK_OPERATION std::size_t unfinishedBytes(const unsigned char *text, std::size_t read) {
    if (read >= 1 && text[read - 1] >= 0xC0) {
        return 1;
    }
    return read >= 2 && text[read - 2] >= 0xE0 ? 2 : 0;
}

// ---- UTF-8 to UCS-2

// Stores the first `count` units of two blocks.
ZELK_OPERATION void storeUnits(unsigned short *out, std::size_t count, Block front, Block back) {
    if (count <= blockUnits) {
        store(out, firstBytes(2 * count), front);
    } else {
        store(out, front);
        store(out + blockUnits, firstBytes(2 * (count - blockUnits)), back);
    }
}

ZELK_OPERATION Block frontUnits(Block ascii) {
    return _mm512_cvtepu8_epi16(_mm512_castsi512_si256(ascii));
}

ZELK_OPERATION Block backUnits(Block ascii) {
    return _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(ascii, 1));
}

// What the bytes of a sequence put into a unit, by their low six bits.
struct UnitParts {
    Block middleLow;   // two bits of the byte before the last to the low byte, less the mark of the last byte
    Block middleHigh;  // four bits of it to the high byte
    Block front, back; // the order that makes units of low and high bytes
    Leads leads;
    Block middleLess;
};

ZELK_OPERATION UnitParts unitParts() {
    alignas(blockBytes) static constexpr auto parts = []() {
        struct {
            unsigned char middleLow[blockBytes], middleHigh[blockBytes], front[blockBytes], back[blockBytes];
        } table{};
        for (unsigned int i = 0; i < blockBytes; ++i) {
            table.middleLow[i] = static_cast<unsigned char>((i << 6U) - 0x80U);
            table.middleHigh[i] = static_cast<unsigned char>(i >> 2U);
            table.front[i] = static_cast<unsigned char>(i / 2 + i % 2 * blockBytes);
            table.back[i] = static_cast<unsigned char>(table.front[i] + blockUnits);
        }
        return table;
    }();
    return {load(parts.middleLow), load(parts.middleHigh), load(parts.front), load(parts.back),
            leadBytes(),           everyByte<0x20>()};
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

// Up to 64 bytes of any kind; false at the end.
template <Clean clean>
ZELK_OPERATION bool decodePart(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room,
                               Progress &done) {
    std::size_t bytes = readableBytes(text + done.read, std::min(length - done.read, blockBytes));
    const Utf8Block block = utf8PartAt(text, done.read, firstBytes(bytes));
    const Mask wrong = wrongBytes(block, utf8Constants<clean>()) & firstBytes(bytes);
    if (wrong != 0) [[unlikely]] {
        bytes = firstOf(wrong);
    }
    const UnitParts parts = unitParts();
    const Units units = unitsOf(block, parts);
    const Mask ends = units.ends & firstBytes(bytes);
    const std::size_t characters = countOf(ends);
    if (room - done.written < characters) {
        return false;
    }
    const Block low = compressed(ends, units.low);
    const Block high = compressed(ends, units.high);
    storeUnits(out + done.written, characters, _mm512_permutex2var_epi8(low, parts.front, high),
               _mm512_permutex2var_epi8(low, parts.back, high));
    done.read += bytes;
    done.written += characters;
    return bytes == blockBytes && done.read < length;
}

// Blocks of ASCII, as long as they may be read and fit whole.
ZELK_OPERATION void decodeAsciiBlocks(const unsigned char *text, std::size_t length, unsigned short *out,
                                      std::size_t room, Progress &done, Block least) {
    while (mayRead(text + done.read, length - done.read, blockBytes) && room - done.written >= blockBytes) {
        const Block block = loadText(text + done.read);
        if (otherThanAscii(block, least) != 0) {
            break;
        }
        store(out + done.written, frontUnits(block));
        store(out + done.written + blockUnits, backUnits(block));
        done.read += blockBytes;
        done.written += blockBytes;
    }
}

// Up to 64 bytes of ASCII; false if others are among them.
template <Clean clean>
ZELK_OPERATION bool decodeAsciiPart(const unsigned char *text, std::size_t bytes, unsigned short *out) {
    const Block block = loadText(text, firstBytes(bytes));
    if ((otherThanAscii(block, everyByte<leastByte(clean)>()) & firstBytes(bytes)) != 0) {
        return false;
    }
    storeUnits(out, bytes, frontUnits(block), backUnits(block));
    return true;
}

// The units of a block, closed up, that wait for the next block: where that one's units cover what whole stores would
// leave behind these, no mask is needed, which makes a store slow.
struct WaitingUnits {
    unsigned short *out;
    std::size_t count;
    Block low, high;

    ZELK_OPERATION void store(const WaitingUnits &units, std::size_t next, const UnitParts &parts) {
        const Block front = _mm512_permutex2var_epi8(units.low, parts.front, units.high);
        if (units.count <= blockUnits && units.count + next >= blockUnits) {
            ZELK_KERNEL_SET::store(units.out, front);
            return;
        }
        const Block back = _mm512_permutex2var_epi8(units.low, parts.back, units.high);
        if (units.count + next >= blockBytes) {
            ZELK_KERNEL_SET::store(units.out, front);
            ZELK_KERNEL_SET::store(units.out + blockUnits, back);
        } else {
            storeUnits(units.out, units.count, front, back);
        }
    }
};

// Blocks of any text, the same way, up to two that are all ASCII. There are two bytes at least in front of them.
template <Clean clean>
ZELK_STAGE Progress decodeBlocks(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room,
                                 Progress done) {
    const Utf8Constants constants = utf8Constants<clean>();
    const UnitParts parts = unitParts();
    WaitingUnits waiting{out + done.written, 0, _mm512_setzero_si512(), _mm512_setzero_si512()};
    Trial trial;
    std::size_t before = 0; // units of the last block
    const auto fittingBlocks = [&] {
        return std::min(readableBlocks(text + done.read, length - done.read), (room - done.written) / blockBytes);
    };
    for (std::size_t blocks = 0; blocks != 0 || (blocks = fittingBlocks()) != 0; --blocks) {
        const Utf8Block block = utf8BlockAt(text + done.read);
        Units units;
        if (Trial::isDue(trial) && areOfTwo<clean>(block, ~0ULL, parts.leads)) {
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

template <Clean clean>
ZELK_STAGE Progress decodeLong(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room,
                               Progress done) {
    const std::size_t line = done.read + bytesToLine(text + done.read, length - done.read);
    if (line != done.read) {
        decodePart<clean>(text, line, out, room, done);
    }
    if (done.read != line) {
        done.read -= unfinishedBytes(text, done.read);
        return done;
    }
    do {
        if (unfinishedBytes(text, done.read) == 0) {
            decodeAsciiBlocks(text, length, out, room, done, everyByte<leastByte(clean)>());
            const std::size_t rest = length - done.read;
            if (rest - 1 < blockBytes - 1 && rest <= room - done.written && rest <= bytesInPage(text + done.read) &&
                decodeAsciiPart<clean>(text + done.read, rest, out + done.written)) {
                return {done.read + rest, done.written + rest};
            }
        }
        if (mayRead(text + done.read, length - done.read, blockBytes)) {
            done = decodeBlocks<clean>(text, length, out, room, done);
        }
    } while (done.read < length && decodePart<clean>(text, length, out, room, done));
    done.read -= unfinishedBytes(text, done.read);
    return done;
}

template <Clean clean>
ZELK_STAGE Progress decodeFurther(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room,
                                  Progress done) {
    if (length < longText) {
        done = decodeBlocks<clean>(text, length, out, room, done);
        if (done.read == length || !decodePart<clean>(text, length, out, room, done)) {
            done.read -= unfinishedBytes(text, done.read);
            return done;
        }
    }
    return decodeLong<clean>(text, length, out, room, done);
}

template <Clean clean>
ZELK_STAGE Progress decodeAny(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    Progress done;
    if (decodePart<clean>(text, length, out, room, done)) {
        return decodeFurther<clean>(text, length, out, room, done);
    }
    done.read -= unfinishedBytes(text, done.read);
    return done;
}

// Short texts of ASCII are done here; what they need not costs them nothing.
template <Clean clean>
ZELK_STAGE Progress utf8ToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    const std::size_t fitting = std::min(length, room);
    std::size_t bytes = readableBytes(text, std::min(fitting, blockBytes));
    const Block block = loadText(text, firstBytes(bytes));
    const Mask others = otherThanAscii(block, everyByte<leastByte(clean)>()) & firstBytes(bytes);
    if (others != 0) {
        bytes = firstOf(others);
        if (text[bytes] >= 0x80) {
            return decodeAny<clean>(text, length, out, room);
        }
    }
    storeUnits(out, bytes, frontUnits(block), backUnits(block));
    const Progress done{bytes, bytes};
    return others == 0 && bytes < fitting ? decodeLong<clean>(text, length, out, room, done) : done;
}

// Whole texts, terminator and all, stored in whole blocks. What is behind the result may be lost with that, so that
// none ends within a sequence: for such a one the unit behind the others is to stay as it was.

template <Clean clean>
ZELK_OPERATION bool isAscii(Block text, Mask present) {
    const Mask others = _mm512_mask_cmplt_epi8_mask(present, text, everyByte<leastByte(clean)>()); // signed
    return _kortestz_mask64_u8(others, others) != 0;
}

ZELK_OPERATION void storeAscii(unsigned short *out, Block text) {
    store(out, frontUnits(text));
    store(out + blockUnits, backUnits(text));
}

// The units of a block, to a room for 64.
ZELK_OPERATION std::size_t storeFreely(unsigned short *out, const Units &units, Mask ends, const UnitParts &parts) {
    const Block low = compressed(ends, units.low);
    const Block high = compressed(ends, units.high);
    store(out, _mm512_permutex2var_epi8(low, parts.front, high));
    store(out + blockUnits, _mm512_permutex2var_epi8(low, parts.back, high));
    return countOf(ends);
}

// A name in one go.
ZELK_STAGE Progress utf8NameToUcs2(const unsigned char *text, std::size_t length, unsigned short *out,
                                   std::size_t room) {
    if (length > longestName || !blockInPage(text) || !isAmple(room, blockBytes)) {
        return utf8ToUcs2<Clean::Any>(text, length, out, room);
    }
    const Mask all = firstBytes(length);
    const Block bytes = loadText(text, all);
    if (isAscii<Clean::Any>(bytes, all)) {
        storeAscii(out, bytes);
        return {length, length};
    }
    const Utf8Block name = utf8Name(bytes);
    const UnitParts parts = unitParts();
    Units units;
    if (areOfTwo<Clean::Any, true>(name, all, parts.leads)) {
        units = unitsOfTwo(name, parts);
    } else if (isRightName(name, all, utf8Constants<Clean::Any>())) {
        units = unitsOf(name, parts);
    } else {
        return utf8ToUcs2<Clean::Any>(text, length, out, room);
    }
    return {length, storeFreely(out, units, units.ends & all, parts)};
}

// ---- Checking, and copying what was checked

// What becomes of the bytes that are well-formed so far: nothing.
struct NoCopy {
    ZELK_OPERATION void block(const NoCopy & /*copy*/, std::size_t /*at*/, Block /*bytes*/) {}
    ZELK_OPERATION void part(const NoCopy & /*copy*/, std::size_t /*at*/, std::size_t /*count*/, Block /*bytes*/) {}
    ZELK_OPERATION void text(const NoCopy & /*copy*/, std::size_t /*at*/, const unsigned char * /*from*/,
                             std::size_t /*count*/) {}
};

// Or a copy of them, with that of up to two bytes of a sequence that does not end.
struct CopyTo {
    char *out;

    ZELK_OPERATION void block(const CopyTo &copy, std::size_t at, Block bytes) { store(copy.out + at, bytes); }
    ZELK_OPERATION void part(const CopyTo &copy, std::size_t at, std::size_t count, Block bytes) {
        if (count != 0) { // an empty store may be slow
            store(copy.out + at, firstBytes(count), bytes);
        }
    }
    ZELK_OPERATION void text(const CopyTo &copy, std::size_t at, const unsigned char *from, std::size_t count) {
        std::memcpy(copy.out + at, from, count);
    }
};

// Up to 64 bytes; false at the end.
template <Clean clean, class Copy>
ZELK_OPERATION bool checkPart(const unsigned char *text, std::size_t length, std::size_t &read, const Copy &copy) {
    const std::size_t bytes = readableBytes(text + read, std::min(length - read, blockBytes));
    const Utf8Block block = utf8PartAt(text, read, firstBytes(bytes));
    const Mask wrong = (wrongBytes(block, utf8Constants<clean>()) | lastCharacters(block)) & firstBytes(bytes);
    const std::size_t right = std::min(bytes, firstOf(wrong));
    Copy::part(copy, read, right, block.text);
    read += right;
    return right == blockBytes && read < length;
}

template <Clean clean, class Copy>
ZELK_STAGE std::size_t checkBlocks(const unsigned char *text, std::size_t length, std::size_t read, Copy copy) {
    const Utf8Constants constants = utf8Constants<clean>();
    const Leads leads = leadBytes();
    Trial trial;
    for (std::size_t blocks = 0; blocks != 0 || (blocks = readableBlocks(text + read, length - read)) != 0; --blocks) {
        const Utf8Block block = utf8BlockAt(text + read);
        if (!Trial::isDue(trial) || !areOfTwo<clean>(block, ~0ULL, leads)) {
            if (_kor_mask64(wrongBytes(block, constants), lastCharacters(block)) != 0) {
                break;
            }
            Trial::failed(trial);
        }
        Copy::block(copy, read, block.text);
        read += blockBytes;
    }
    return read;
}

template <Clean clean, class Copy>
ZELK_STAGE std::size_t checkLong(const unsigned char *text, std::size_t length, std::size_t read, Copy copy) {
    const std::size_t line = read + bytesToLine(text + read, length - read);
    if (line != read) {
        checkPart<clean>(text, line, read, copy);
    }
    if (read != line) {
        return read - unfinishedBytes(text, read);
    }
    do {
        if (unfinishedBytes(text, read) == 0) {
            const std::size_t ascii = asciiBlocks(text + read, length - read, everyByte<leastByte(clean)>());
            Copy::text(copy, read, text + read, ascii);
            read += ascii;
        }
        if (mayRead(text + read, length - read, blockBytes)) {
            read = checkBlocks<clean>(text, length, read, copy);
        }
    } while (read < length && checkPart<clean>(text, length, read, copy));
    return read - unfinishedBytes(text, read);
}

template <Clean clean, class Copy>
ZELK_STAGE std::size_t checkFurther(const unsigned char *text, std::size_t length, std::size_t read, Copy copy) {
    if (length < longText) {
        read = checkBlocks<clean>(text, length, read, copy);
        if (read == length || !checkPart<clean>(text, length, read, copy)) {
            return read - unfinishedBytes(text, read);
        }
    }
    return checkLong<clean>(text, length, read, copy);
}

template <Clean clean, class Copy>
ZELK_STAGE std::size_t checkAny(const unsigned char *text, std::size_t length, Copy copy) {
    std::size_t read = 0;
    const bool going = checkPart<clean>(text, length, read, copy);
    return going ? checkFurther<clean>(text, length, read, copy) : read - unfinishedBytes(text, read);
}

template <Clean clean>
ZELK_STAGE std::size_t wellFormedUtf8(const unsigned char *text, std::size_t length) {
    if (length <= longestName && blockInPage(text)) {
        const Mask all = firstBytes(length);
        const Block bytes = loadText(text, all);
        if (isAscii<clean>(bytes, all)) {
            return length;
        }
        const Utf8Block name = utf8Name(bytes);
        const Mask last = lastCharacters(name);
        if (isRightName(name, all, utf8Constants<clean>()) && _kortestz_mask64_u8(last, last) != 0) {
            return length;
        }
        return checkAny<clean>(text, length, NoCopy());
    }
    const std::size_t bytes = readableBytes(text, std::min(length, blockBytes));
    const Block block = loadText(text, firstBytes(bytes));
    const Mask others = otherThanAscii(block, everyByte<leastByte(clean)>()) & firstBytes(bytes);
    if (others != 0) {
        const std::size_t plain = firstOf(others);
        return text[plain] < 0x80 ? plain : checkAny<clean>(text, length, NoCopy());
    }
    return bytes == blockBytes && bytes < length ? checkLong<clean>(text, length, bytes, NoCopy()) : bytes;
}

// Names are checked and copied here at once.
template <Clean clean>
ZELK_STAGE std::size_t copyWellFormedUtf8(const unsigned char *text, std::size_t length, char *out) {
    if (length - 1 >= blockBytes || length > bytesInPage(text)) {
        return length == 0 ? 0 : checkAny<clean>(text, length, CopyTo{out});
    }
    const Mask all = firstBytes(length);
    const Block block = loadText(text, all);
    std::size_t bytes = length;
    if (!isAscii<clean>(block, all)) {
        if (length <= longestName) {
            const Utf8Block name = utf8Name(block);
            const Mask last = lastCharacters(name);
            if (isRightName(name, all, utf8Constants<clean>()) && _kortestz_mask64_u8(last, last) != 0) {
                store(out, all, block);
                return length;
            }
        }
        const Utf8Block sequences = utf8PartAt(text, 0, all);
        const Mask wrong = wrongBytes(sequences, utf8Constants<clean>()) | lastCharacters(sequences);
        bytes = std::min(bytes, firstOf(wrong));
        bytes -= unfinishedBytes(text, bytes);
        if (bytes == 0) { // an empty store may be slow
            return 0;
        }
    }
    store(out, firstBytes(bytes), block);
    return bytes;
}

// ---- Measuring

// The bytes that are no steps of their own: a continuation byte behind a lead, or behind a lead of three and another
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

// Up to 64 bytes; false at the end.
ZELK_OPERATION bool measurePart(const unsigned char *text, std::size_t length, Progress &done) {
    std::size_t bytes = readableBytes(text + done.read, std::min(length - done.read, blockBytes));
    const Utf8Block block = utf8PartAt(text, done.read, firstBytes(bytes));
    const Mask zeros = ~nonZero(block.text) & firstBytes(bytes);
    if (zeros != 0) [[unlikely]] {
        bytes = firstOf(zeros);
    }
    done.read += bytes;
    done.written += countOf(firstBytes(bytes) & ~innerBytes(block));
    return bytes == blockBytes && done.read < length;
}

ZELK_STAGE Progress measureLong(const unsigned char *text, std::size_t length, Progress done) {
    do {
        const std::size_t ascii = asciiBlocks(text + done.read, length - done.read, everyByte<0x01>());
        done.read += ascii;
        done.written += ascii;
        while (mayRead(text + done.read, length - done.read, blockBytes)) {
            const Utf8Block block = utf8BlockAt(text + done.read);
            if (nonZero(block.text) != ~0ULL) {
                break;
            }
            done.read += blockBytes;
            done.written += blockBytes - countOf(innerBytes(block));
        }
    } while (done.read < length && measurePart(text, length, done));
    return done;
}

ZELK_STAGE Progress measureUtf8(const unsigned char *text, std::size_t length) {
    Progress done;
    return measurePart(text, length, done) ? measureLong(text, length, done) : done;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
