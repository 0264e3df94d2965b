#include "signal_text.h"

#include "dvb_evidence.h"
#include "multiple_string.h"

namespace zelk::tool {

namespace {

Json toJson(const std::string &bytes, const DvbEvidence &evidence) {
    Json findings = Json::array();
    for (const zelkInsightFinding &finding : evidence.findings) {
        findings.push_back({{"kind", zelkInsightKindName(finding.kind)},
                            {"severity", severityName(finding.severity)},
                            {"offset", finding.offset},
                            {"length", finding.length}});
    }
    Json result = {{"bytes", hex(bytes)}, {"table", evidence.table}, {"reason", evidence.reason}};
    if (evidence.override != nullptr) {
        result["override"] = toJson(*evidence.override);
    }
    result["findings"] = std::move(findings);
    return result;
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
        return toJson(sent.bytes, evidenceOf(dvb_, sent.bytes));
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
