// How one string is read: its selector weighed against the settings.
#pragma once

#include "detail/dvb_select.h"
#include "tables/dvb_tables.h"

#include "zelk_insight.h"

#include <cstdint>

namespace zelk::insight {

inline unsigned int tableNumber(dvbCharSet_t charSet, DvbCode_t code) {
    const auto row = static_cast<unsigned int>(charSet);
    const auto column = static_cast<unsigned int>(code);
    return row >= tables::dvbRegionCount ? tables::dvbOtherRegionTable
                                         : tables::dvbSelectionMatrix[row][column < tables::dvbCodeCount ? column : 0];
}

inline zelkInsightTable tableOf(dvbCharSet_t charSet, DvbCode_t code) {
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

// Reads what most strings begin with: a graphic character, a selector of ISO 8859 in three bytes, or one of
// `usualSelectors`. False for all else. The string has a count of two bytes or more; the settings have no options, and
// a default code only if `given`.
template <bool given>
[[gnu::always_inline]] inline bool readUsual(const zelkInsightSettings &settings, const char *in, int inLen,
                                             Reading &reading) {
    constexpr std::uint32_t usualSelectors = 0x00220EFE; // 0x01 to 0x07, 0x09 to 0x0B, 0x11 and 0x15
    const auto first = static_cast<unsigned char>(*in);
    unsigned int selected = 0;
    unsigned int code = given ? static_cast<unsigned int>(settings.defaultCode) : 0U;
    bool known = !given || code <= DvbCodeIso8859_11 || code == DvbCodeUcs2 || code == DvbCodeUtf8;
    if (first <= detail::lastDvbSelector) {
        const bool isLong = first == 0x10 && inLen > 3 && in[1] == 0;
        selected = isLong ? 3 : 1;
        code = isLong ? static_cast<unsigned char>(in[2]) : detail::dvbSelectorCodes[first];
        known = isLong ? code - 1 < 15 && code != 12 : (usualSelectors >> first & 1U) != 0;
    }
    reading.code = static_cast<DvbCode_t>(code);
    reading.charSet = selected != 0 && !given ? settings.charSet : DvbCharSetStandard;
    reading.table = tableOf(reading.charSet, reading.code);
    reading.extra = given ? settings.defaultExtra : 0;
    reading.reason = selected == 0 ? given ? ZelkInsightByDefaultCode : ZelkInsightByDefault
                     : reading.table != tableOf(DvbCharSetStandard, reading.code) ? ZelkInsightByRegion
                                                                                  : ZelkInsightBySelector;
    reading.text = reinterpret_cast<const unsigned char *>(in);
    reading.begin = selected;
    reading.end = static_cast<unsigned int>(inLen);
    reading.counted = true;
    reading.ends = true;
    reading.selectorWanted = selected;
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
