#include "dvb_evidence.h"

#include <algorithm>
#include <array>

namespace zelk::tool {

DvbEvidence evidenceOf(const DvbReader &reader, const std::string &bytes) {
    const zelkInsightSettings &settings = reader.insight();
    const auto length = static_cast<int>(bytes.size());
    DvbEvidence result;
    result.findings.resize(8 * bytes.size() + 8); // one or two for a byte, of compressed text at most eight
    std::string text(static_cast<std::size_t>(zelkInsightDecodeSize(&settings, bytes.c_str(), length)), '\0');
    zelkInsightEvidence evidence = {};
    evidence.findings = result.findings.data();
    evidence.findingRoom = static_cast<unsigned int>(result.findings.size());
    (void)zelkInsightDecode(&settings, text.data(), static_cast<int>(text.size()), bytes.c_str(), length, &evidence);
    result.findings.resize(std::min<std::size_t>(result.findings.size(), evidence.findingCount));
    result.selector = bytes.substr(0, evidence.selectorLength);
    result.code = evidence.code;
    result.extra = evidence.extra;
    result.table = zelkInsightTableName(evidence.table);
    if (reader.readsGb2312(bytes)) { // which the library of evidence leaves to the system
        result.table = "GB 2312";
        result.findings.clear();
        evidence.reason = gb2312Reason(reader);
    }
    result.reason = reasonName(evidence.reason);
    result.override = overrideFor(reader, evidence.reason);
    return result;
}

std::string reasonName(zelkInsightReason reason) {
    constexpr std::array<const char *, 6> names = {"default", "default-code", "selector",
                                                   "region",  "override",     "guess"};
    return names.at(static_cast<std::size_t>(reason));
}

zelkInsightReason gb2312Reason(const DvbReader &reader) {
    return (reader.insight().options & ZelkInsightRegionOverridden) != 0 ? ZelkInsightByOverride : ZelkInsightByRegion;
}

const OverrideEntry *overrideFor(const DvbReader &reader, zelkInsightReason reason) {
    return reason == ZelkInsightByOverride ? reader.override() : nullptr;
}

Json toJson(const OverrideEntry &entry) {
    return {{"layer", entry.layer},
            {"file", entry.file},
            {"line", entry.line},
            {"source", entry.source},
            {"date", entry.date}};
}

std::string severityName(zelkInsightSeverity severity) {
    constexpr std::array<const char *, 3> names = {"note", "warning", "error"};
    return names.at(static_cast<std::size_t>(severity));
}

} // namespace zelk::tool
