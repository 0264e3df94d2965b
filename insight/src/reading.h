// How one string is read: its selector weighed against the settings.
#pragma once

#include "detail/dvb_select.h"
#include "tables/dvb_tables.h"

#include "zelk_insight.h"

#include <array>
#include <cstdint>

namespace zelk::insight {

constexpr unsigned int tableNumber(dvbCharSet_t charSet, DvbCode_t code) {
    const auto row = static_cast<unsigned int>(charSet);
    const auto column = static_cast<unsigned int>(code);
    return row >= tables::dvbRegionCount ? tables::dvbOtherRegionTable
                                         : tables::dvbSelectionMatrix[row][column < tables::dvbCodeCount ? column : 0];
}

constexpr zelkInsightTable tableOf(dvbCharSet_t charSet, DvbCode_t code) {
    switch (code) {
    case DvbCodeUtf8Prepared:
        return ZelkInsightTableUtf8Prepared;
    case DvbCodeUcs2:
        return ZelkInsightTableTwoByte;
    case DvbCodeUtf8:
        return ZelkInsightTableUtf8;
    case DvbCodeCompressed:
        return ZelkInsightTableCompressed;
    default:
        return static_cast<zelkInsightTable>(tableNumber(charSet, code));
    }
}

// The members are not in the order of zelkInsightEvidence on purpose: a compiler copies neighbours as one, which has to
// wait for the memory where they were just written one by one. For short text that is a third of the time.
struct Reading {
    zelkInsightReason reason;
    dvbCharSet_t charSet;
    zelkInsightTable table;
    int extra;
    DvbCode_t code;
    const unsigned char *text;   // the whole string
    unsigned int begin;          // where the text proper begins
    unsigned int end;            // of the string; past all of it where `ends` is not set
    bool counted;                // else the string has a terminator
    bool ends;                   // false for compressed text without a count: its code alone ends it
    unsigned int selectorWanted; // bytes that the selector asks for; more than `begin` where the string is too short
};

// What the selectors of one byte name that most strings begin with, 0x01 to 0x07, 0x09 to 0x0B, 0x11 and 0x15.
struct alignas(4) UsualSelector { // in a place that is found without a multiplication
    std::uint8_t known = 0;
    std::uint8_t code = 0;
    std::uint8_t table = 0;
};

inline constexpr auto usualSelectors = []() {
    std::array<UsualSelector, detail::lastDvbSelector + 1> selectors{};
    for (unsigned int selector = 0; selector < selectors.size(); ++selector) {
        const bool known =
            (selector >= 0x01 && selector <= 0x0B && selector != 0x08) || selector == 0x11 || selector == 0x15;
        const std::uint8_t code = detail::dvbSelectorCodes[selector];
        const zelkInsightTable table = tableOf(DvbCharSetStandard, static_cast<DvbCode_t>(code));
        selectors[selector] = {static_cast<std::uint8_t>(known), code, static_cast<std::uint8_t>(table)};
    }
    return selectors;
}();

// Reads what most strings begin with: a graphic character, a selector of ISO 8859 in three bytes, or one of
// `usualSelectors`. False for all else. The string has a count of two bytes or more; the settings have no options, and
// a default code only if `given`.
template <bool given>
[[gnu::always_inline]] inline bool readUsual(const zelkInsightSettings &settings, const char *in, int inLen,
                                             Reading &reading) {
    const auto first = static_cast<unsigned char>(*in);
    reading.text = reinterpret_cast<const unsigned char *>(in);
    reading.end = static_cast<unsigned int>(inLen);
    reading.counted = true;
    reading.ends = true;
    reading.extra = given ? settings.defaultExtra : 0;
    if (first > detail::lastDvbSelector) {
        const auto code = given ? static_cast<unsigned int>(settings.defaultCode) : 0U;
        reading.code = static_cast<DvbCode_t>(code);
        reading.charSet = DvbCharSetStandard;
        reading.table = tableOf(DvbCharSetStandard, reading.code);
        reading.reason = given ? ZelkInsightByDefaultCode : ZelkInsightByDefault;
        reading.begin = reading.selectorWanted = 0;
        return !given || code <= DvbCodeIso8859_11 || code == DvbCodeUcs2 || code == DvbCodeUtf8 ||
               code == DvbCodeUtf8Prepared;
    }
    bool known = false;
    if (first == 0x10) {
        const auto part = inLen > 3 && in[1] == 0 ? static_cast<unsigned char>(in[2]) : 0U;
        known = part - 1 < 15 && part != 12;
        reading.begin = 3;
        reading.code = static_cast<DvbCode_t>(part);
        reading.table = static_cast<zelkInsightTable>(tableNumber(DvbCharSetStandard, reading.code));
    } else {
        const UsualSelector &selector = usualSelectors[first];
        known = selector.known != 0;
        reading.begin = 1;
        reading.code = static_cast<DvbCode_t>(selector.code);
        reading.table = static_cast<zelkInsightTable>(selector.table);
    }
    reading.selectorWanted = reading.begin;
    reading.charSet = given ? DvbCharSetStandard : settings.charSet;
    reading.reason = ZelkInsightBySelector;
    if (!given && settings.charSet != DvbCharSetStandard) {
        const zelkInsightTable table = tableOf(settings.charSet, reading.code);
        reading.reason = table != reading.table ? ZelkInsightByRegion : ZelkInsightBySelector;
        reading.table = table;
    }
    return known;
}

// What evidence says before anything is found.
[[gnu::always_inline]] inline void beginEvidence(zelkInsightEvidence &evidence, const Reading &reading) {
    if (evidence.findings == nullptr) {
        evidence.findingRoom = 0;
    }
    evidence.findingCount = 0;
    evidence.stepCount = 0;
    evidence.severity = ZelkInsightNote;
    evidence.charSet = reading.charSet;
    evidence.code = reading.code;
    evidence.extra = reading.extra;
    evidence.table = reading.table;
    evidence.reason = reading.reason;
    evidence.selectorLength = reading.begin;
}

} // namespace zelk::insight
