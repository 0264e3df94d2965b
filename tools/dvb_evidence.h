// What there is to say about a DVB string beside its text: its table, on whose word that was taken, and what was found.
#pragma once

#include "dvb_text.h"
#include "text.h"

#include <string>
#include <vector>

namespace zelk::tool {

struct DvbEvidence {
    std::string selector; // its bytes
    DvbCode_t code = DvbCodeTable00;
    int extra = 0;
    std::string table;
    std::string reason;                      // as of reasonName()
    const OverrideEntry *override = nullptr; // what gave the reason, as long as the reader is there
    std::vector<zelkInsightFinding> findings;
};

DvbEvidence evidenceOf(const DvbReader &reader, const std::string &bytes);

// "default", "default-code", "selector", "region", "override", "guess"
std::string reasonName(zelkInsightReason reason);

// Why the system's converter reads the strings.
zelkInsightReason gb2312Reason(const DvbReader &reader);

// The entry of the overrides by which a string was read, or null.
const OverrideEntry *overrideFor(const DvbReader &reader, zelkInsightReason reason);

Json toJson(const OverrideEntry &entry);

// "note", "warning", "error"
std::string severityName(zelkInsightSeverity severity);

} // namespace zelk::tool
