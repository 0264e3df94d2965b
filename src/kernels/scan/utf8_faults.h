// What is wrong in UTF-8, as tables that vectors look bytes up in.
#pragma once

#include "kernels/text_forms.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

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

// Where controls stop a conversion: what may be one is looked at more closely.
inline constexpr Fault controls[] = {
    {0x20, 0xC, 0xC, 0x2, 0x2, 0x8, 0x9}, // U+0080 to U+009F
    {0x40, 0xE, 0xE, 0xE, 0xE, 0x8, 0x8}, // U+E000 to U+E3FF, where their images lie
};

// By the low six bits of an index, of which the lower four count: some sets look up by four, some by six.
struct FaultTables {
    static constexpr std::size_t entries = 64;

    unsigned char before[entries], lower[entries], current[entries];

    constexpr void add(const Fault &fault) {
        for (unsigned int i = 0; i < entries; ++i) {
            const unsigned int half = i % 16;
            before[i] |= half >= fault.beforeFirst && half <= fault.beforeLast ? fault.bit : 0;
            lower[i] |= half >= fault.lowerFirst && half <= fault.lowerLast ? fault.bit : 0;
            current[i] |= half >= fault.currentFirst && half <= fault.currentLast ? fault.bit : 0;
        }
    }
};

// What is wrong, as data: the code for long texts is the same for all kinds.
struct Utf8Rule {
    alignas(FaultTables::entries) FaultTables tables;
    std::uint64_t leastAscii[2]; // in each of 16 bytes: what is less stops a conversion
    Clean clean;
    Last last;
};

template <Clean clean, Last last>
inline constexpr Utf8Rule utf8Rule = []() {
    FaultTables tables{};
    for (const Fault &fault : faults) {
        tables.add(fault);
    }
    if (clean == Clean::NoControls) {
        for (const Fault &fault : controls) {
            tables.add(fault);
        }
    }
    constexpr std::uint64_t least = leastAscii(clean) * (~std::uint64_t{0} / 0xFF);
    return Utf8Rule{tables, {least, least}, clean, last};
}();

// The bytes in front of `read` that belong to a sequence which does not end there: 0, 1 or 2.
ZELK_OPERATION std::size_t unfinishedBytes(const unsigned char *text, std::size_t read) {
    if (read >= 1 && text[read - 1] >= 0xC0) {
        return 1;
    }
    return read >= 2 && text[read - 2] >= 0xE0 ? 2 : 0;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
