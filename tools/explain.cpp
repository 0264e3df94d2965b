// zelk explain: a DVB string byte by byte.
#include "command.h"
#include "commands.h"
#include "explanation.h"
#include "stream.h"
#include "strings.h"
#include "text.h"

namespace zelk::tool {

namespace {

// Sixteen times the longest string of a descriptor; every step decodes the string anew.
constexpr std::size_t longestString = 4096;

struct ExplainOptions {
    StringOptions strings;
    DvbSettings settings;
    Colour colour = Colour::Auto;
    bool json = false;
};

void declare(CLI::App &command, ExplainOptions &options) {
    addStringOptions(command, options.strings);
    addDvbOptions(command, options.settings);
    addColourOption(command, options.colour);
    command.add_flag("--json", options.json, "Write one JSON object per string");
}

fmt::text_style styleOf(StepKind kind) {
    switch (kind) {
    case StepKind::Selector:
        return fmt::fg(fmt::terminal_color::cyan);
    case StepKind::Mark:
        return fmt::fg(fmt::terminal_color::magenta);
    case StepKind::Control:
    case StepKind::End:
        return fmt::fg(fmt::terminal_color::blue);
    case StepKind::Dropped:
        return fmt::fg(fmt::terminal_color::yellow);
    case StepKind::Unassigned:
        return fmt::fg(fmt::terminal_color::red);
    default:
        return {};
    }
}

std::string codePointNames(const std::vector<unsigned short> &output) {
    std::string names;
    for (const unsigned short character : output) {
        names += (names.empty() ? "" : " ") + codePointName(character);
    }
    return names;
}

std::string formatText(const std::string &bytes, const ExplainOptions &options, const Explanation &explanation) {
    const bool colour = useColour(options.colour);
    std::string result = fmt::format("String   {}\n", hex(bytes));
    result += fmt::format("Region   {}\n", regionName(options.settings.region));
    result += fmt::format("Code     {} ({})\n", static_cast<int>(explanation.selection.code),
                          codeName(explanation.selection.code));
    result += fmt::format("Table    {} ({})\n", explanation.tableName, explanation.reason);
    result += fmt::format("Text     {}\n\n", printable(explanation.text));

    const bool compressed = std::any_of(explanation.steps.begin(), explanation.steps.end(),
                                        [](const Step &step) { return !step.bits.empty(); });
    Table table(compressed ? std::vector<std::string>{"Offset", "Bytes", "Bits", "Code point", "Text", "Kind", "Note"}
                           : std::vector<std::string>{"Offset", "Bytes", "Code point", "Text", "Kind", "Note"});
    for (const Step &step : explanation.steps) {
        std::vector<std::string> cells = {fmt::format("{}", step.offset), hex(step.bytes)};
        if (compressed) {
            cells.push_back(step.bits);
        }
        cells.push_back(codePointNames(step.output));
        cells.push_back(printable(utf8(step.output)));
        cells.push_back(kindName(step.kind));
        cells.push_back(step.note);
        table.add(cells, styleOf(step.kind));
    }
    result += table.format(colour);
    for (const std::string &warning : explanation.warnings) {
        const std::string line = fmt::format("Warning: {}", warning);
        result +=
            (colour ? fmt::format(fmt::emphasis::bold | fmt::fg(fmt::terminal_color::red), "{}", line) : line) + '\n';
    }
    return result;
}

Json toJson(const std::string &bytes, const ExplainOptions &options, const Explanation &explanation) {
    Json steps = Json::array();
    for (const Step &step : explanation.steps) {
        Json entry = {{"offset", step.offset}, {"bytes", hex(step.bytes)}};
        if (!step.bits.empty()) {
            entry["bits"] = step.bits;
        }
        entry["kind"] = kindName(step.kind);
        entry["codePoints"] = Json::array();
        for (const unsigned short character : step.output) {
            entry["codePoints"].push_back(codePointName(character));
        }
        entry["text"] = utf8(step.output);
        entry["note"] = step.note;
        steps.push_back(entry);
    }
    Json result = {{"input", hex(bytes)},
                   {"region", regionName(options.settings.region)},
                   {"code", static_cast<int>(explanation.selection.code)},
                   {"codeName", codeName(explanation.selection.code)},
                   {"extra", explanation.selection.extra},
                   {"table", explanation.tableName},
                   {"tableNumber", nullptr},
                   {"reason", explanation.reason},
                   {"text", explanation.text},
                   {"steps", steps},
                   {"warnings", explanation.warnings}};
    if (explanation.table >= 0) {
        result["tableNumber"] = explanation.table;
    }
    return result;
}

ExitStatus run(const ExplainOptions &options) {
    bool first = true;
    forEachString(options.strings, [&options, &first](const std::string &bytes) {
        if (bytes.size() > longestString) {
            failInput("expected strings of at most {} bytes", longestString);
        }
        const Explanation explanation = explain(options.settings, bytes);
        if (options.json) {
            write(jsonLine(toJson(bytes, options, explanation)));
        } else {
            write((first ? "" : "\n") + formatText(bytes, options, explanation));
        }
        first = false;
    });
    return ExitOk;
}

} // namespace

void addExplainCommand(CLI::App &app) {
    addCommand<ExplainOptions>(app, {"explain", "Show what each byte of a DVB string did", group::dvb}, declare, run);
}

} // namespace zelk::tool
