// The selector at the head of a DVB string (ETSI EN 300 468 Annex A, Tables A.3 and A.4, with the receiver's
// additions): one to three bytes that name the character table of the rest.
#pragma once

#include "zelk.h"

#include <array>
#include <cstdint>

namespace zelk::detail {

struct DvbSelection {
    dvbCharSet_t charSet;
    DvbCode_t code;
    int extra;
    unsigned int consumed; // selector bytes; may be more than a counted string has
};

inline constexpr unsigned int lastDvbSelector = 0x1F;
inline constexpr unsigned int lastDvbIso8859Part = 16;

// Selectors of one byte, by that byte; 0x10 and 0x1F stand here with what they mean when nothing more is said. The run
// of +4 holds to its end: 0x0E is no code and 0x0F is prepared UTF-8.
inline constexpr std::array<std::uint8_t, lastDvbSelector + 1> dvbSelectorCodes = []() {
    std::array<std::uint8_t, lastDvbSelector + 1> codes{};
    codes.fill(DvbCodeNone);
    for (unsigned int selector = 0x01; selector <= 0x0F; ++selector) {
        codes[selector] = static_cast<std::uint8_t>(selector + 4);
    }
    codes[0x11] = codes[0x14] = DvbCodeUcs2;
    codes[0x15] = codes[0x16] = DvbCodeUtf8;
    codes[0x1D] = DvbCodeUtf8Prepared;
    return codes;
}();

static_assert(dvbSelectorCodes[0x01] == DvbCodeIso8859_5 && dvbSelectorCodes[0x0B] == DvbCodeIso8859_15);
static_assert(dvbSelectorCodes[0x0E] == DvbCodeNone && dvbSelectorCodes[0x0F] == DvbCodeUtf8Prepared);

// Reads the selector of `text` (null: the default). With a count, no byte beyond it is read: missing bytes are zero.
// With a negative one the bytes that the selector asks for must be there; a terminator where 0x1F has its type of
// compression is no part of it.
inline DvbSelection selectDvbCode(const char *text, int count, dvbCharSet_t charSet, DvbCode_t defaultCode,
                                  int defaultExtra) {
    const auto byteAt = [text, count](int index) -> unsigned int {
        return count < 0 || index < count ? static_cast<unsigned char>(text[index]) : 0U;
    };
    DvbSelection selection{charSet, DvbCodeTable00, 0, 0};
    if (defaultCode != DvbCodeNone) {
        selection = {DvbCharSetStandard, defaultCode, defaultExtra, 0};
    }
    if (text == nullptr) {
        return selection;
    }
    const unsigned int selector = byteAt(0);
    if (selector == 0 || selector > lastDvbSelector) {
        selection.charSet = DvbCharSetStandard;
        return selection;
    }
    selection.code = static_cast<DvbCode_t>(dvbSelectorCodes[selector]);
    selection.consumed = 1;
    if (selector == 0x10 && byteAt(1) == 0) {
        const unsigned int part = byteAt(2);
        selection.code = part <= lastDvbIso8859Part ? static_cast<DvbCode_t>(part) : DvbCodeNone;
        selection.consumed = 3;
    } else if (selector == 0x1F) {
        const unsigned int encodingType = byteAt(1);
        const unsigned int withoutLanguage = encodingType & ~4U; // 5 and 6 are 1 and 2 with bit 2
        selection.code = withoutLanguage == 1 || withoutLanguage == 2 ? DvbCodeCompressed : DvbCodeNone;
        selection.extra = static_cast<int>(encodingType);
        selection.consumed = encodingType == 0 && count < 0 ? 1 : 2;
    }
    return selection;
}

} // namespace zelk::detail
