// zelk lint: DVB strings against the rules of the library of evidence, and against each other.
#include "command.h"
#include "commands.h"
#include "dvb_evidence.h"
#include "dvb_text.h"
#include "lint_broadcast.h"
#include "lint_report.h"
#include "stream.h"
#include "strings.h"
#include "text.h"

#include <algorithm>
#include <map>
#include <set>

namespace zelk::tool {

namespace {

struct LintOptions {
    StringOptions strings;
    DvbSettings settings;
    std::vector<std::string> streams;
    std::string language;
    std::string severity = "note";
    std::string failOn = "warning";
    std::vector<std::string> ignored;
    std::string baseline;
    std::string newBaseline;
    bool json = false;
    bool sarif = false;
    bool rules = false;
};

constexpr const char *never = "never";

void declare(CLI::App &command, LintOptions &options) {
    addStringOptions(command, options.strings);
    addDvbOptions(command, options.settings);
    command.add_option("--stream", options.streams, "Check the texts of a transport stream or a file of sections")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command.add_option("--language", options.language, "Language of texts that come without one: eng, or en")
        ->type_name("CODE")
        ->transform(smallLetters(2, 3, "a language of two or three letters such as eng"));
    command
        .add_option("--severity", options.severity, "The least severity that is reported: note, warning, error [note]")
        ->type_name("LEVEL")
        ->check(oneOf(severityNames));
    std::vector<std::string> levels = severityNames;
    levels.emplace_back(never);
    command.add_option("--fail-on", options.failOn, "The least severity of exit status 1, or never [warning]")
        ->type_name("LEVEL")
        ->check(oneOf(levels));
    command.add_option("--ignore", options.ignored, "Leave a rule out; may be given again")
        ->type_name("RULE")
        ->allow_extra_args(false)
        ->check([](const std::string &name) {
            return findRule(name) != nullptr ? std::string()
                                             : fmt::format("expected a rule of 'zelk lint --rules', found '{}'", name);
        });
    command.add_option("--baseline", options.baseline, "Faults that are known, and are not reported")
        ->type_name("FILE");
    command.add_option("--write-baseline", options.newBaseline, "Write all faults as known ones")->type_name("FILE");
    CLI::Option *const json = command.add_flag("--json", options.json, "Write one JSON object per string with a fault");
    command.add_flag("--sarif", options.sarif, "Write one SARIF 2.1.0 document")->excludes(json);
    command.add_flag("--rules", options.rules, "List the rules");
}

// ---- Known faults ----

// A fault by its rule and the bytes of its string, wherever that is sent.
using KnownFaults = std::set<std::pair<std::string, std::string>>;

constexpr std::string_view baselineHead = "# Known faults, written by zelk lint: a rule and the bytes of its string.\n";

KnownFaults readBaseline(const std::string &name) {
    KnownFaults known;
    Input input(name);
    LineReader lines(input);
    std::string line;
    while (lines.next(line)) {
        if (line.find_first_not_of(" \t\r") == std::string::npos || line.front() == '#') {
            continue;
        }
        const std::size_t blank = std::min(line.find(' '), line.size());
        const std::string rule = line.substr(0, blank);
        if (findRule(rule) == nullptr) {
            failInput("{}: expected a rule and bytes, found '{}'", lines.place(), printable(line.substr(0, 40)));
        }
        known.emplace(rule, hex(parseHex(line.substr(blank), lines.place())));
    }
    return known;
}

void writeBaseline(const std::string &name, const std::vector<LintedText> &texts) {
    KnownFaults known;
    for (const LintedText &text : texts) {
        for (const zelkInsightFault &fault : text.faults) {
            known.emplace(ruleOf(fault.rule).name, hex(text.bytes));
        }
    }
    OutputFile file(name);
    file.write(baselineHead);
    for (const auto &[rule, bytes] : known) {
        file.write(fmt::format("{} {}\n", rule, bytes));
    }
    file.close();
}

// ---- Checking ----

// Faults of one string in order, and what it says.
void check(const LintOptions &options, DvbReader &reader, LintedText &text) {
    reader.from(text.origin());
    zelkInsightSettings settings = reader.insight();
    settings.options &= ~static_cast<unsigned int>(ZelkInsightGuessTable); // a guess is a fault here
    const char *const language = text.language.empty() ? nullptr : text.language.c_str();
    const int length = static_cast<int>(text.bytes.size());
    text.faults.resize(16);
    for (;;) {
        const auto room = static_cast<unsigned int>(text.faults.size());
        const unsigned int count =
            zelkInsightLint(&settings, text.bytes.c_str(), length, language, text.faults.data(), room);
        text.faults.resize(count);
        if (count <= room) {
            break;
        }
    }
    zelkInsightEvidence evidence{};
    text.text.resize(static_cast<std::size_t>(zelkInsightDecodeSize(&settings, text.bytes.c_str(), length)));
    text.text.resize(zelkInsightDecode(&settings, text.text.data(), static_cast<int>(text.text.size()),
                                       text.bytes.c_str(), length, &evidence));
    text.table = evidence.table;
    text.reason = evidence.reason;
    text.override = overrideFor(reader, evidence.reason);
    text.settings = settings;
    std::erase_if(text.faults, [&options](const zelkInsightFault &fault) {
        return std::find(options.ignored.begin(), options.ignored.end(), ruleOf(fault.rule).name) !=
               options.ignored.end();
    });
}

// The table that the text makes sense in, where its bytes tell tables apart.
int tableOf(const LintedText &text) {
    const bool told = std::any_of(text.bytes.begin(), text.bytes.end(),
                                  [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; });
    for (const zelkInsightFault &fault : text.faults) {
        if (fault.rule == ZelkInsightRuleTableOther || fault.rule == ZelkInsightRuleUtf8Unannounced) {
            return static_cast<int>(fault.value);
        }
    }
    return told ? static_cast<int>(text.table) : -1;
}

// Texts in another table than nearly all others.
void checkTogether(std::vector<LintedText> &texts) {
    constexpr std::size_t fewest = 10; // texts that speak for a table
    std::map<int, std::size_t> tables;
    std::size_t all = 0;
    for (const LintedText &text : texts) {
        if (const int table = tableOf(text); table >= 0) {
            ++tables[table];
            ++all;
        }
    }
    for (const auto &[usual, count] : tables) {
        if (count < fewest || 10 * count < 9 * all) {
            continue;
        }
        for (LintedText &text : texts) {
            if (const int table = tableOf(text); table >= 0 && table != usual) {
                text.faults.push_back({RuleTableUnusual, ruleOf(RuleTableUnusual).severity, 0,
                                       static_cast<unsigned int>(text.bytes.size()), 0,
                                       static_cast<unsigned int>(text.text.size()), static_cast<unsigned int>(usual)});
            }
        }
    }
}

// Leaves what is new and reported.
void keepNew(const LintOptions &options, std::vector<LintedText> &texts) {
    const KnownFaults known = options.baseline.empty() ? KnownFaults() : readBaseline(options.baseline);
    if (!options.newBaseline.empty()) {
        writeBaseline(options.newBaseline, texts);
    }
    for (LintedText &text : texts) {
        const std::string bytes = hex(text.bytes);
        std::erase_if(text.faults, [&](const zelkInsightFault &fault) {
            return known.contains({ruleOf(fault.rule).name, bytes});
        });
    }
}

bool fails(const LintOptions &options, const std::vector<LintedText> &texts) {
    return options.failOn != never && std::any_of(texts.begin(), texts.end(), [&options](const LintedText &text) {
               return std::any_of(text.faults.begin(), text.faults.end(), [&options](const zelkInsightFault &fault) {
                   return fault.severity >= severityOf(options.failOn);
               });
           });
}

ExitStatus run(const LintOptions &options) {
    if (options.rules) {
        write(options.json ? rulesInJson() : rulesInTable());
        return ExitOk;
    }
    DvbReader reader(options.settings);
    std::vector<LintedText> texts; // which name entries of the reader's overrides
    const auto take = [&](LintedText text) {
        check(options, reader, text);
        texts.push_back(std::move(text));
    };
    const bool stringsGiven = !options.strings.strings.empty() || !options.strings.files.empty();
    if (stringsGiven || options.streams.empty()) {
        forEachPlacedString(options.strings, [&](const std::string &bytes, const StringPlace &place) {
            LintedText text;
            text.file = place.file;
            text.line = place.line;
            text.place = place.name;
            text.language = options.language;
            text.bytes = bytes;
            take(std::move(text));
        });
    }
    for (const std::string &file : options.streams) {
        forEachBroadcastText(file, [&](LintedText text) {
            text.language = text.language.empty() ? options.language : text.language;
            take(std::move(text));
        });
    }
    checkTogether(texts);
    const std::size_t count = texts.size();
    keepNew(options, texts);
    const bool failed = fails(options, texts);
    for (LintedText &text : texts) {
        std::erase_if(text.faults, [&options](const zelkInsightFault &fault) {
            return fault.severity < severityOf(options.severity);
        });
    }
    std::erase_if(texts, [](const LintedText &text) { return text.faults.empty(); });
    if (options.sarif) {
        writeSarif(texts);
    } else if (options.json) {
        writeJson(texts);
    } else {
        writeText(texts, count);
    }
    return failed ? ExitNegative : ExitOk;
}

} // namespace

void addLintCommand(CLI::App &app) {
    addCommand<LintOptions>(app, {"lint", "Check DVB strings by rules", group::dvb}, declare, run);
}

} // namespace zelk::tool
