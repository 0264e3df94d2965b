// How one string is read: its selector weighed against the settings.
#pragma once

#include "zelk_insight.h"

namespace zelk::insight {

struct Reading {
    dvbCharSet_t charSet;
    DvbCode_t code;
    int extra;
    zelkInsightTable table;
    zelkInsightReason reason;
    const unsigned char *text;   // the whole string
    unsigned int begin;          // where the text proper begins
    unsigned int end;            // of the string; past all of it where `ends` is not set
    bool counted;                // else the string has a terminator
    bool ends;                   // false for compressed text without a count: its code alone ends it
    unsigned int selectorWanted; // bytes that the selector asks for; more than `begin` where the string is too short
};

} // namespace zelk::insight
