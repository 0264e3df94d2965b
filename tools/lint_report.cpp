#include "lint_report.h"

#include "dvb_evidence.h"
#include "stream.h"
#include "text.h"

#include <algorithm>
#include <array>

namespace zelk::tool {

const std::vector<std::string> severityNames = {"note", "warning", "error"};

namespace {

const std::string &wordOf(zelkInsightSeverity severity) {
    return severityNames.at(static_cast<std::size_t>(severity));
}

constexpr const char *unusualMeaning = "The text is in another table than nearly all others of the input.";

// ---- Rules ----

std::vector<Rule> makeRules() {
    std::vector<Rule> rules;
    for (unsigned int number = 0; number < ZelkInsightRuleEnd; ++number) {
        const std::string meaning = zelkInsightRuleMeaning(number);
        if (!meaning.empty() && number != ZelkInsightTextCut) { // without an output nothing is cut
            rules.push_back({number, zelkInsightRuleName(number), zelkInsightRuleSeverity(number),
                             zelkInsightRuleClause(number), meaning});
        }
    }
    rules.push_back({RuleTableUnusual, "table-unusual", ZelkInsightNote, "ETSI EN 300 468 A.2", unusualMeaning});
    return rules;
}

// What is known beyond the rule's meaning: the text in the right table, a character, a byte.
std::string detailOf(const LintedText &text, const zelkInsightFault &fault) {
    switch (fault.rule) {
    case ZelkInsightRuleTableOther:
    case ZelkInsightRuleUtf8Unannounced: {
        zelkInsightSettings settings = text.settings;
        settings.options = ZelkInsightGuessTable;
        const auto table = static_cast<zelkInsightTable>(fault.value);
        zelkInsightEvidence evidence{};
        std::string right(3 * text.bytes.size() + 1, '\0');
        right.resize(zelkInsightDecode(&settings, right.data(), static_cast<int>(right.size()), text.bytes.c_str(),
                                       static_cast<int>(text.bytes.size()), &evidence));
        return evidence.table == table ? fmt::format("{}: {}", zelkInsightTableName(table), printable(right))
                                       : zelkInsightTableName(table);
    }
    case RuleTableUnusual:
        return fmt::format("{}, not {}", zelkInsightTableName(text.table),
                           zelkInsightTableName(static_cast<zelkInsightTable>(fault.value)));
    case ZelkInsightByteUnassigned:
    case ZelkInsightMarkWithoutLetter:
    case ZelkInsightMarkDropped:
    case ZelkInsightControlDropped:
    case ZelkInsightRuleControlDoubled:
        return fmt::format("{:02X}", fault.value);
    case ZelkInsightUtf8FourByte:
    case ZelkInsightSurrogateLone:
    case ZelkInsightRuleLanguageScript:
        return codePointName(fault.value);
    default:
        return {};
    }
}

std::string sentenceOf(const LintedText &text, const zelkInsightFault &fault) {
    const std::string detail = detailOf(text, fault);
    return ruleOf(fault.rule).meaning + (detail.empty() ? "" : fmt::format(" ({})", detail));
}

std::string wholePlace(const LintedText &text) {
    return text.member.empty() ? text.place : fmt::format("{} {}", text.place, text.member);
}

void addOverride(const LintedText &text, Json &object) {
    if (text.override != nullptr) {
        object["override"] = toJson(*text.override);
    }
}

// ---- SARIF ----

// A relative reference (RFC 3986): what has another meaning there is escaped.
std::string uriOf(const std::string &file) {
    constexpr std::string_view plain = "-._~/";
    std::string uri;
    for (const char character : file) {
        const bool letter = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                            (character >= '0' && character <= '9');
        const bool stays = letter || plain.find(character) != std::string_view::npos;
        uri += stays ? std::string(1, character) : fmt::format("%{:02X}", static_cast<unsigned char>(character));
    }
    return uri;
}

constexpr const char *sarifSchema =
    "https://docs.oasis-open.org/sarif/sarif/v2.1.0/errata01/os/schemas/sarif-schema-2.1.0.json";

Json sarifRules() {
    Json rules = Json::array();
    for (const Rule &rule : allRules()) {
        Json entry = {{"id", rule.name},
                      {"shortDescription", {{"text", rule.meaning}}},
                      {"defaultConfiguration", {{"level", wordOf(rule.severity)}}}};
        if (!rule.clause.empty()) {
            entry["properties"] = {{"clause", rule.clause}};
        }
        rules.push_back(std::move(entry));
    }
    return rules;
}

Json sarifResult(const LintedText &text, const zelkInsightFault &fault) {
    const Rule &rule = ruleOf(fault.rule);
    Json location = {{"logicalLocations", Json::array({{{"fullyQualifiedName", wholePlace(text)}}})}};
    if (!text.file.empty()) {
        location["physicalLocation"] = {{"artifactLocation", {{"uri", uriOf(text.file)}}}};
        if (text.line != 0) {
            location["physicalLocation"]["region"] = {{"startLine", text.line}};
        }
    }
    Json properties = {
        {"offset", fault.offset},           {"length", fault.length}, {"textOffset", fault.textOffset},
        {"textLength", fault.textLength},   {"text", text.text},      {"table", zelkInsightTableName(text.table)},
        {"reason", reasonName(text.reason)}};
    addOverride(text, properties);
    const auto index = static_cast<std::size_t>(&rule - allRules().data());
    return {{"ruleId", rule.name},
            {"ruleIndex", index},
            {"level", wordOf(rule.severity)},
            {"message", {{"text", sentenceOf(text, fault)}}},
            {"locations", Json::array({std::move(location)})},
            {"partialFingerprints", {{"bytes/v1", hex(text.bytes)}}},
            {"properties", std::move(properties)}};
}

} // namespace

const std::vector<Rule> &allRules() {
    static const std::vector<Rule> rules = makeRules();
    return rules;
}

const Rule &ruleOf(unsigned int number) {
    const auto found = std::find_if(allRules().begin(), allRules().end(),
                                    [number](const Rule &rule) { return rule.number == number; });
    return *found;
}

const Rule *findRule(const std::string &name) {
    const auto found =
        std::find_if(allRules().begin(), allRules().end(), [&name](const Rule &rule) { return rule.name == name; });
    return found == allRules().end() ? nullptr : &*found;
}

zelkInsightSeverity severityOf(const std::string &name) {
    const auto found = std::find(severityNames.begin(), severityNames.end(), name);
    return static_cast<zelkInsightSeverity>(found - severityNames.begin());
}

std::string rulesInTable() {
    Table table({"Rule", "Severity", "Clause", "Meaning"});
    for (const Rule &rule : allRules()) {
        table.add({rule.name, wordOf(rule.severity), rule.clause, rule.meaning});
    }
    return table.format(false);
}

std::string rulesInJson() {
    std::string lines;
    for (const Rule &rule : allRules()) {
        lines += jsonLine({{"rule", rule.name},
                           {"severity", wordOf(rule.severity)},
                           {"clause", rule.clause},
                           {"meaning", rule.meaning}});
    }
    return lines;
}

void writeText(const std::vector<LintedText> &texts, std::size_t count) {
    std::array<std::size_t, 3> faults{};
    for (const LintedText &text : texts) {
        const std::string overriddenBy =
            text.override == nullptr ? "" : fmt::format(" The table is overridden by {}.", text.override->text());
        for (const zelkInsightFault &fault : text.faults) {
            const Rule &rule = ruleOf(fault.rule);
            write(fmt::format("{}: offset {}: {}: {}: {}{}\n", wholePlace(text), fault.offset, wordOf(rule.severity),
                              rule.name, sentenceOf(text, fault), overriddenBy));
            ++faults.at(static_cast<std::size_t>(rule.severity));
        }
    }
    flushOutput();
    if (!texts.empty()) {
        fmt::print(stderr, "zelk lint: errors: {}, warnings: {}, notes: {}, in {} of {} strings\n",
                   faults[ZelkInsightError], faults[ZelkInsightWarning], faults[ZelkInsightNote], texts.size(), count);
    }
}

void writeJson(const std::vector<LintedText> &texts) {
    for (const LintedText &text : texts) {
        Json object = {{"place", text.place}};
        if (!text.member.empty()) {
            object["member"] = text.member;
        }
        if (!text.language.empty()) {
            object["language"] = text.language;
        }
        object["input"] = hex(text.bytes);
        object["text"] = text.text;
        object["table"] = zelkInsightTableName(text.table);
        object["reason"] = reasonName(text.reason);
        addOverride(text, object);
        object["faults"] = Json::array();
        for (const zelkInsightFault &fault : text.faults) {
            const Rule &rule = ruleOf(fault.rule);
            object["faults"].push_back({{"rule", rule.name},
                                        {"severity", wordOf(rule.severity)},
                                        {"clause", rule.clause},
                                        {"meaning", rule.meaning},
                                        {"detail", detailOf(text, fault)},
                                        {"offset", fault.offset},
                                        {"length", fault.length},
                                        {"textOffset", fault.textOffset},
                                        {"textLength", fault.textLength}});
        }
        write(jsonLine(object));
    }
}

void writeSarif(const std::vector<LintedText> &texts) {
    Json results = Json::array();
    for (const LintedText &text : texts) {
        for (const zelkInsightFault &fault : text.faults) {
            results.push_back(sarifResult(text, fault));
        }
    }
    const Json driver = {
        {"name", "zelk"},
        {"semanticVersion", fmt::format("{}.{}.{}", ZELK_VERSION_MAJOR, ZELK_VERSION_MINOR, ZELK_VERSION_PATCH)},
        {"rules", sarifRules()}};
    const Json document = {{"$schema", sarifSchema},
                           {"version", "2.1.0"},
                           {"runs", Json::array({{{"tool", {{"driver", driver}}},
                                                  {"columnKind", "unicodeCodePoints"},
                                                  {"results", std::move(results)}}})}};
    write(jsonLine(document));
}

} // namespace zelk::tool
