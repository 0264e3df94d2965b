#include "signal_text.h"

#include "multiple_string.h"

#include "zelk_insight.h"

#include <algorithm>

namespace zelk::tool {

namespace {

const char *severityName(zelkInsightSeverity severity) {
    return severity == ZelkInsightError ? "error" : severity == ZelkInsightWarning ? "warning" : "note";
}

Json dvbEvidence(const DvbReader &reader, const std::string &bytes) {
    const DvbSettings &settings = reader.settings();
    const zelkInsightSettings how = settings.insight(reader.origin());
    const auto length = static_cast<int>(bytes.size());
    std::vector<zelkInsightFinding> found(8 * bytes.size() + 8);
    std::string text(static_cast<std::size_t>(zelkInsightDecodeSize(&how, bytes.data(), length)), '\0');
    zelkInsightEvidence evidence = {};
    evidence.findings = found.data();
    evidence.findingRoom = static_cast<unsigned int>(found.size());
    (void)zelkInsightDecode(&how, text.data(), static_cast<int>(text.size()), bytes.data(), length, &evidence);
    found.resize(std::min<std::size_t>(found.size(), evidence.findingCount));
    Json findings = Json::array();
    for (const zelkInsightFinding &finding : found) {
        findings.push_back({{"kind", zelkInsightKindName(finding.kind)},
                            {"severity", severityName(finding.severity)},
                            {"offset", finding.offset},
                            {"length", finding.length}});
    }
    const bool chinese = settings.region == DvbCharSetGb2312 && evidence.code == DvbCodeTable00;
    return {{"bytes", hex(bytes)},
            {"table", chinese ? "GB 2312" : zelkInsightTableName(evidence.table)},
            {"findings", chinese ? Json::array() : findings}};
}

} // namespace

std::string SignalReader::text(const SentText &sent) {
    if (sent.form == TextForm::Dvb) {
        return dvb_.text(sent.bytes);
    }
    std::string result;
    unread_ += readAtscText(sent, result);
    return result;
}

void SignalReader::from(const ServiceKey *service, const std::string &language) {
    zelkInsightOrigin origin = unknownOrigin;
    if (service != nullptr) {
        origin.network = service->originalNetwork;
        origin.stream = service->transportStream;
        origin.service = service->service;
    }
    origin.language = language.empty() ? nullptr : language.c_str();
    dvb_.from(origin);
}

Json SignalReader::evidence(const SentText &sent) const {
    if (sent.form == TextForm::Dvb) {
        return dvbEvidence(dvb_, sent.bytes);
    }
    std::string text;
    Json findings = Json::array();
    if (readAtscText(sent, text) != 0) {
        findings.push_back({{"kind", "byte-unassigned"},
                            {"severity", severityName(ZelkInsightError)},
                            {"offset", 0},
                            {"length", sent.bytes.size()}});
    }
    return {{"bytes", hex(sent.bytes)},
            {"table", sent.form == TextForm::Wide ? "UTF-16" : segmentTable(sent.bytes)},
            {"findings", findings}};
}

} // namespace zelk::tool
