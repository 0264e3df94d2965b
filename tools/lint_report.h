// The rules of zelk lint, and what it found in each of its forms.
#pragma once

#include "overrides.h"

#include "zelk_insight.h"

#include <cstddef>
#include <string>
#include <vector>

namespace zelk::tool {

// Rules beyond those of the library: of the strings of an input together.
enum : unsigned int {
    RuleTableUnusual = 128, // `value` is the usual table
};

struct Rule {
    unsigned int number;
    std::string name;
    zelkInsightSeverity severity;
    std::string clause;
    std::string meaning;
};

// All rules that a fault may have, in order of their numbers.
const std::vector<Rule> &allRules();

const Rule &ruleOf(unsigned int number);

// Null for a name that is no rule's.
const Rule *findRule(const std::string &name);

// In the order of zelkInsightSeverity.
extern const std::vector<std::string> severityNames;

// Of a name among severityNames.
zelkInsightSeverity severityOf(const std::string &name);

struct LintedText {
    std::string file;     // that it was read from, or empty
    std::size_t line = 0; // there, from 1
    std::string place;    // "argument 1", "file:7", "service 3201.0001.0065"
    std::string member;   // of a record: "name"
    std::string language;
    unsigned int network = ZELK_INSIGHT_UNKNOWN; // of a record: that its service belongs to
    unsigned int stream = ZELK_INSIGHT_UNKNOWN;
    unsigned int service = ZELK_INSIGHT_UNKNOWN;
    std::string bytes;
    std::string text; // as it is read by the settings
    zelkInsightSettings settings{};
    zelkInsightTable table = ZelkInsightTableDefault;
    zelkInsightReason reason = ZelkInsightByDefault;
    const OverrideEntry *override = nullptr; // what gave the reason
    std::vector<zelkInsightFault> faults;

    zelkInsightOrigin origin() const { return {network, stream, service, language.c_str(), nullptr}; }
};

std::string rulesInTable();
std::string rulesInJson();

// To standard output; `count` is that of all strings, and the sum of it all goes to standard error.
void writeText(const std::vector<LintedText> &texts, std::size_t count);
void writeJson(const std::vector<LintedText> &texts);
void writeSarif(const std::vector<LintedText> &texts);

} // namespace zelk::tool
