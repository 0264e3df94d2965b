// The conformance vectors: bytes and what comes out of them, by a model in Python (vectors/README.md).
#include "zelk_insight.h"

#include "helpers/text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace zelk_test;
using Json = nlohmann::json;

zelkInsightSettings settingsOf(const Json &settings) {
    return {static_cast<dvbCharSet_t>(settings.value("charSet", static_cast<int>(DvbCharSetStandard))),
            static_cast<DvbCode_t>(settings.value("defaultCode", static_cast<int>(DvbCodeNone))), 0,
            settings.value("flags", 0U), 0};
}

Json findingOf(const zelkInsightFinding &finding) {
    return {{"kind", zelkInsightKindName(finding.kind)}, {"offset", finding.offset},         {"length", finding.length},
            {"textOffset", finding.textOffset},          {"textLength", finding.textLength}, {"value", finding.value}};
}

TEST(Vectors, Hold) {
    constexpr const char *reasons[] = {"default", "default-code", "selector", "region", "override", "guess"};
    std::ifstream file(ZELK_VECTORS);
    const Json vectors = Json::parse(file);
    ASSERT_EQ(vectors["format"], 1);
    ASSERT_GT(vectors["cases"].size(), 3000U);
    for (const Json &entry : vectors["cases"]) {
        const std::string string = bytes(entry["bytes"].get<std::string>().c_str());
        const zelkInsightSettings settings = settingsOf(entry["settings"]);
        std::vector<zelkInsightFinding> findings(64);
        zelkInsightEvidence evidence{};
        evidence.findings = findings.data();
        evidence.findingRoom = 64;
        const int length = static_cast<int>(string.size());
        std::string text(static_cast<std::size_t>(zelkInsightDecodeSize(&settings, string.c_str(), length)), '\0');
        text.resize(zelkInsightDecode(&settings, text.data(), static_cast<int>(text.size()), string.c_str(), length,
                                      &evidence));
        const std::string name = entry["id"];
        EXPECT_EQ(text, entry["text"]) << name;
        EXPECT_EQ(zelkInsightTableName(evidence.table), entry["table"]) << name;
        EXPECT_EQ(reasons[evidence.reason], entry["reason"]) << name;
        Json found = Json::array();
        for (unsigned int i = 0; i < evidence.findingCount; ++i) {
            found.push_back(findingOf(findings.at(i)));
        }
        EXPECT_EQ(found, entry["findings"]) << name;
        for (const Json &deviation : entry["deviations"]) {
            EXPECT_TRUE(vectors["deviations"].contains(deviation.get<std::string>())) << name;
        }
    }
}

} // namespace
