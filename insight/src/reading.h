// How one string is read: its selector weighed against the settings.
#pragma once

#include "tables/dvb_tables.h"

#include "zelk_insight.h"

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

} // namespace zelk::insight
