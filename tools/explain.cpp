// zelk explain: a DVB string byte by byte. The library of evidence says what each byte did; here it is put into words.
#include "command.h"
#include "commands.h"
#include "dvb_evidence.h"
#include "stream.h"
#include "strings.h"
#include "text.h"

#include "zelk_insight.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace zelk::tool {

namespace {

struct ExplainOptions {
    StringOptions strings;
    DvbSettings settings;
    OriginOptions origin;
    Colour colour = Colour::Auto;
    bool json = false;
};

void declare(CLI::App &command, ExplainOptions &options) {
    addStringOptions(command, options.strings);
    addDvbOptions(command, options.settings);
    addOriginOptions(command, options.origin);
    addColourOption(command, options.colour);
    command.add_flag("--json", options.json, "Write one JSON object per string");
}

// What is shown of one string.
struct Explanation {
    dvbCharSet_t region = DvbCharSetStandard;
    DvbSelection selection{};
    int table = -1; // number of the character table, or -1 where none is used
    std::string tableName;
    std::string reason;
    const OverrideEntry *override = nullptr; // that gave the reason
    std::string text;                        // in UTF-8
    std::vector<zelkInsightStep> steps;
    std::vector<zelkInsightFinding> findings;
};

// ---- Words ----

// The tables of ETSI EN 300 468, Annex A.
std::string standardMeaning(const std::string &selector) {
    const auto at = [&selector](std::size_t index) {
        return index < selector.size() ? static_cast<unsigned char>(selector[index]) : static_cast<unsigned char>(0);
    };
    constexpr std::array<int, 12> parts = {0, 5, 6, 7, 8, 9, 10, 11, 0, 13, 14, 15};
    if (at(0) < parts.size() && parts.at(at(0)) != 0) {
        return fmt::format("ISO 8859-{}", parts.at(at(0)));
    }
    switch (at(0)) {
    case 0x10: {
        const bool known = selector.size() == 3 && at(2) >= 1 && at(2) <= 15 && at(2) != 12;
        return known ? fmt::format("ISO 8859-{}", at(2)) : "reserved";
    }
    case 0x11:
        return "ISO 10646, two bytes for each character";
    case 0x12:
        return "KS X 1001";
    case 0x13:
        return "GB 2312";
    case 0x14:
        return "the Big5 part of ISO 10646";
    case 0x15:
        return "UTF-8";
    case 0x1F:
        return fmt::format("encoding type {}", at(1));
    default:
        return "reserved";
    }
}

std::string reasonOf(const DvbReader &reader, const zelkInsightEvidence &evidence, const std::string &selector) {
    if (selector.empty()) {
        return evidence.code == DvbCodeTable00
                   ? "no selector: the default table"
                   : fmt::format("no selector: the default code {}", static_cast<int>(evidence.code));
    }
    std::string reason = fmt::format("selector {}: {}", hex(selector), standardMeaning(selector));
    const bool namesTable = evidence.code != DvbCodeNone && evidence.code != DvbCodeReserved17;
    if (evidence.reason == ZelkInsightByRegion && namesTable) {
        reason += fmt::format(", which region {} reads otherwise", regionName(reader.settings().region));
    }
    return reason;
}

std::string kindName(zelkInsightStepKind kind) {
    constexpr std::array<const char *, 8> names = {"selector", "text",       "mark",  "control",
                                                   "dropped",  "unassigned", "piece", "end"};
    return names.at(static_cast<std::size_t>(kind));
}

// "letter", "punctuation, opening", ...: the classes of a character, empty when it has none.
std::string className(unsigned int character) {
    constexpr std::array<std::pair<unsigned int, const char *>, 15> names = {{
        {CharClassDigit, "digit"},
        {CharClassLetter, "letter"},
        {CharClassPunctuation, "punctuation"},
        {CharClassSpace, "space"},
        {CharClassOpening, "opening"},
        {CharClassClosing, "closing"},
        {CharClassBreak, "break"},
        {CharClassStop, "stop"},
        {CharClassSymbol, "symbol"},
        {CharClassMark, "combining mark"},
        {CharClassModifier, "modifier"},
        {CharClassFormat, "format"},
        {CharClassSubscript, "subscript"},
        {CharClassSuperscript, "superscript"},
        {CharClassControl, "control"},
    }};
    const unsigned int classes = zelkcharGetClass(character);
    std::string result;
    for (const auto &[bit, name] : names) {
        if ((classes & bit) != 0) {
            result += result.empty() ? "" : ", ";
            result += name;
        }
    }
    return result;
}

// What a finding says, in the words of a step.
std::string noteOfFinding(const zelkInsightStep &step) {
    switch (step.finding) {
    case ZelkInsightByteUnassigned:
        return "no character in this table";
    case ZelkInsightUtf8Malformed:
        return "malformed UTF-8";
    case ZelkInsightUtf8FourByte:
        return "four bytes, which the receiver does not read";
    case ZelkInsightTwoByteOdd:
        return "half a character";
    case ZelkInsightSurrogateLone:
        return "surrogate, no character by itself";
    case ZelkInsightMarkWithoutLetter:
        return "mark without a letter";
    case ZelkInsightMarkDropped:
        return "non-spacing mark that its letter cannot wear";
    case ZelkInsightControlDropped:
        return "control code";
    case ZelkInsightCompressedCut:
        return "unfinished code";
    case ZelkInsightCompressedRest:
        return "after the end of the text";
    case ZelkInsightCompressedUnknown:
        return "no code";
    case ZelkInsightTextAfterEnd:
        return "a zero byte ends the text";
    default:
        return {};
    }
}

void append(std::string &note, const std::string &more) {
    note += note.empty() || more.empty() ? "" : ", ";
    note += more;
}

std::string noteOf(const zelkInsightStep &step, const std::string &bytes, bool compressed) {
    const auto byte = static_cast<unsigned char>(bytes[step.offset]);
    const auto lastByte = static_cast<unsigned char>(bytes[step.offset + step.length - 1]);
    std::string note;
    if (step.kind == ZelkInsightStepSelector) {
        return standardMeaning(bytes.substr(0, step.length));
    }
    if (compressed && step.value != 0) {
        note = fmt::format("byte {:02X}", step.value);
    }
    if (step.finding == ZelkInsightEmphasis || step.finding == ZelkInsightEmphasisUnbalanced) {
        const unsigned int code = compressed || step.length > 1 ? 0 : byte;
        const bool on = code != 0 ? code == 0x86 : step.character == 0x86 || (!compressed && lastByte == 0x86);
        append(note, compressed && step.character == 0 ? "emphasis" : on ? "emphasis on" : "emphasis off");
    } else if (const std::string found = noteOfFinding(step); !found.empty()) {
        if (step.finding == ZelkInsightMarkWithoutLetter && step.character != 0) {
            append(note, className(step.character));
        }
        append(note, found);
    } else if (step.kind == ZelkInsightStepMark) {
        append(note, "non-spacing mark of the next letter");
    } else if (step.kind == ZelkInsightStepEnd) {
        append(note, compressed ? "end of the text" : "a zero byte ends the text");
    } else if (step.character == 0x0A) {
        append(note, "line break");
    } else if (step.kind == ZelkInsightStepText || step.kind == ZelkInsightStepControl) {
        append(note, className(step.character));
        if (!compressed && step.value != 0) {
            append(note, fmt::format("with the mark {:02X}", step.value));
        }
    }
    return note;
}

std::string sentenceOf(const zelkInsightFinding &finding) {
    switch (finding.kind) {
    case ZelkInsightSelectorReserved:
        return "the standard reserves this selector";
    case ZelkInsightSelectorUnsupported:
        return "this selector is not supported: the default table of the region is used";
    case ZelkInsightSelectorCut:
        return "the string ends inside its selector";
    case ZelkInsightByteUnassigned:
        return "no character in this table";
    case ZelkInsightUtf8Malformed:
        return "malformed UTF-8";
    case ZelkInsightUtf8FourByte:
        return fmt::format("{} has four bytes, which the receiver does not read", codePointName(finding.value));
    case ZelkInsightTwoByteOdd:
        return "the string ends inside a two-byte character";
    case ZelkInsightSurrogateLone:
        return fmt::format("{} is half of a pair", codePointName(finding.value));
    case ZelkInsightMarkWithoutLetter:
        return "a mark without a letter";
    case ZelkInsightMarkDropped:
        return "the letter cannot wear this mark";
    case ZelkInsightControlDropped:
        return "the control code is dropped";
    case ZelkInsightEmphasis:
        return "emphasised text";
    case ZelkInsightEmphasisUnbalanced:
        return "emphasis begins without an end, or ends without a beginning";
    case ZelkInsightCompressedCut:
        return "the text ends without an end code";
    case ZelkInsightCompressedRest:
        return "bytes after the end of the text";
    case ZelkInsightCompressedUnknown:
        return fmt::format("there is no code of encoding type {}", finding.value);
    case ZelkInsightByteAfterCount:
        return "the byte after the string decides about its last mark";
    case ZelkInsightTextAfterEnd:
        return "a zero byte ends the text early";
    default:
        return "does not fit";
    }
}

// ---- Explaining ----

void nameOverride(const DvbReader &reader, zelkInsightReason reason, Explanation &result) {
    result.override = overrideFor(reader, reason);
    if (result.override != nullptr) {
        result.reason += fmt::format(", overridden by {}", result.override->text());
    }
}

void explainByEvidence(const DvbReader &reader, const std::string &bytes, Explanation &result) {
    const zelkInsightSettings &settings = reader.insight();
    const int count = static_cast<int>(bytes.size());
    // A finding or two and a step for a byte; compressed text has at most eight of either.
    result.findings.resize(8 * bytes.size() + 8);
    result.steps.resize(8 * bytes.size() + 8);
    zelkInsightEvidence evidence{};
    evidence.findings = result.findings.data();
    evidence.findingRoom = static_cast<unsigned int>(result.findings.size());
    evidence.steps = result.steps.data();
    evidence.stepRoom = static_cast<unsigned int>(result.steps.size());
    std::string text(static_cast<std::size_t>(zelkInsightDecodeSize(&settings, bytes.c_str(), count)), '\0');
    text.resize(
        zelkInsightDecode(&settings, text.data(), static_cast<int>(text.size()), bytes.c_str(), count, &evidence));
    result.text = text;
    result.findings.resize(std::min<std::size_t>(result.findings.size(), evidence.findingCount));
    result.steps.resize(std::min<std::size_t>(result.steps.size(), evidence.stepCount));
    result.table = evidence.table <= ZelkInsightTableLatin9Marks ? evidence.table : -1;
    result.tableName = evidence.table == ZelkInsightTableCompressed
                           ? fmt::format("Huffman code of encoding type {}", evidence.extra)
                           : zelkInsightTableName(evidence.table);
    result.reason = reasonOf(reader, evidence, bytes.substr(0, evidence.selectorLength));
    nameOverride(reader, evidence.reason, result);
    if (evidence.reason == ZelkInsightByGuess) {
        result.reason += ", guessed from the bytes";
    }
}

// The system's converter reads GB 2312, character by character; a selector goes through it like text.
void explainGb2312(const DvbReader &reader, const std::string &bytes, Explanation &result) {
    const DvbConverter converter = reader.settings().converter();
    result.tableName = "GB 2312, read by the system's converter";
    result.reason = "no selector: the default table";
    nameOverride(reader, gb2312Reason(reader), result);
    const auto add = [&result](zelkInsightStepKind kind, std::size_t offset, std::size_t length,
                               const std::string &text, int finding) {
        const unsigned int character = text.empty() ? 0U : units(text).front();
        result.steps.push_back({kind, static_cast<unsigned int>(offset), static_cast<unsigned int>(length), 0, 0,
                                static_cast<unsigned int>(result.text.size()), static_cast<unsigned int>(text.size()),
                                character, 0, finding});
        result.text += text;
    };
    for (std::size_t i = 0; i < bytes.size();) {
        const bool single = static_cast<unsigned char>(bytes[i]) < 0x80;
        const std::size_t length = single ? 1 : std::min<std::size_t>(2, bytes.size() - i);
        const std::string piece = bytes.substr(i, length);
        const std::string text =
            converter.IconvConvert("gb2312", "utf-8", piece.data(), static_cast<unsigned int>(length));
        if (!single && text == piece) {
            // The receiver hands such a string on unchanged: what follows is no text.
            result.findings.push_back({ZelkInsightByteUnassigned, ZelkInsightError, static_cast<unsigned int>(i),
                                       static_cast<unsigned int>(bytes.size() - i),
                                       static_cast<unsigned int>(result.text.size()), 0,
                                       static_cast<unsigned char>(bytes[i])});
            add(ZelkInsightStepUnassigned, i, bytes.size() - i, {}, ZelkInsightByteUnassigned);
            return;
        }
        if (text.empty()) {
            add(ZelkInsightStepEnd, i, bytes.size() - i, {}, -1);
            return;
        }
        add(text == "\n" ? ZelkInsightStepControl : ZelkInsightStepText, i, length, text, -1);
        i += length;
    }
}

Explanation explain(const DvbReader &reader, const std::string &bytes) {
    Explanation result;
    result.region = reader.settings().region;
    result.selection = selectTable(reader.settings(), bytes);
    if (reader.readsGb2312(bytes)) {
        explainGb2312(reader, bytes, result);
    } else {
        explainByEvidence(reader, bytes, result);
    }
    return result;
}

// ---- Showing ----

fmt::text_style styleOf(zelkInsightStepKind kind) {
    switch (kind) {
    case ZelkInsightStepSelector:
        return fmt::fg(fmt::terminal_color::cyan);
    case ZelkInsightStepMark:
        return fmt::fg(fmt::terminal_color::magenta);
    case ZelkInsightStepControl:
    case ZelkInsightStepEnd:
        return fmt::fg(fmt::terminal_color::blue);
    case ZelkInsightStepDropped:
        return fmt::fg(fmt::terminal_color::yellow);
    case ZelkInsightStepUnassigned:
        return fmt::fg(fmt::terminal_color::red);
    default:
        return {};
    }
}

std::string textOf(const Explanation &explanation, const zelkInsightStep &step) {
    return explanation.text.substr(step.textOffset, step.textLength);
}

// The characters that a step gave: those of its text, and a surrogate as it was sent.
std::vector<std::string> codePointsOf(const Explanation &explanation, const zelkInsightStep &step) {
    std::vector<std::string> names;
    if (step.character > 0xFFFF || (step.character >= 0xD800 && step.character <= 0xDFFF)) {
        return {codePointName(step.character)};
    }
    for (const unsigned short character : units(textOf(explanation, step))) {
        names.push_back(codePointName(character));
    }
    return names;
}

// The bits of a step of compressed text, first bit first.
std::string bitsOf(const std::string &bytes, const zelkInsightStep &step) {
    std::string bits;
    for (std::size_t i = step.bitOffset; i < std::size_t{step.bitOffset} + step.bitCount; ++i) {
        bits.push_back((static_cast<unsigned char>(bytes[i / 8]) >> (7 - i % 8) & 1U) != 0 ? '1' : '0');
    }
    return bits;
}

std::string formatText(const std::string &bytes, const ExplainOptions &options, const Explanation &explanation) {
    const bool colour = useColour(options.colour);
    const bool compressed = explanation.selection.code == DvbCodeCompressed;
    std::string result = fmt::format("String   {}\n", hex(bytes));
    result += fmt::format("Region   {}\n", regionName(explanation.region));
    result += fmt::format("Code     {} ({})\n", static_cast<int>(explanation.selection.code),
                          codeName(explanation.selection.code));
    result += fmt::format("Table    {} ({})\n", explanation.tableName, explanation.reason);
    result += fmt::format("Text     {}\n\n", printable(explanation.text));

    Table table(compressed ? std::vector<std::string>{"Offset", "Bytes", "Bits", "Code point", "Text", "Kind", "Note"}
                           : std::vector<std::string>{"Offset", "Bytes", "Code point", "Text", "Kind", "Note"});
    for (const zelkInsightStep &step : explanation.steps) {
        std::vector<std::string> cells = {fmt::format("{}", step.offset), hex(bytes.substr(step.offset, step.length))};
        if (compressed) {
            cells.push_back(bitsOf(bytes, step));
        }
        cells.push_back(fmt::format("{}", fmt::join(codePointsOf(explanation, step), " ")));
        cells.push_back(printable(textOf(explanation, step)));
        cells.push_back(kindName(step.kind));
        cells.push_back(noteOf(step, bytes, compressed));
        table.add(cells, styleOf(step.kind));
    }
    result += table.format(colour);
    for (const zelkInsightFinding &finding : explanation.findings) {
        const std::string line = fmt::format("{} {} at {}: {}", severityName(finding.severity),
                                             zelkInsightKindName(finding.kind), finding.offset, sentenceOf(finding));
        const bool strong = colour && finding.severity != ZelkInsightNote;
        result +=
            (strong ? fmt::format(fmt::emphasis::bold | fmt::fg(fmt::terminal_color::red), "{}", line) : line) + '\n';
    }
    return result;
}

Json toJson(const std::string &bytes, const Explanation &explanation) {
    const bool compressed = explanation.selection.code == DvbCodeCompressed;
    Json steps = Json::array();
    for (const zelkInsightStep &step : explanation.steps) {
        Json entry = {{"offset", step.offset}, {"bytes", hex(bytes.substr(step.offset, step.length))}};
        if (step.bitCount != 0) {
            entry["bits"] = bitsOf(bytes, step);
        }
        entry["kind"] = kindName(step.kind);
        entry["codePoints"] = codePointsOf(explanation, step);
        entry["text"] = textOf(explanation, step);
        entry["note"] = noteOf(step, bytes, compressed);
        steps.push_back(entry);
    }
    Json findings = Json::array();
    for (const zelkInsightFinding &finding : explanation.findings) {
        findings.push_back({{"kind", zelkInsightKindName(finding.kind)},
                            {"severity", severityName(finding.severity)},
                            {"offset", finding.offset},
                            {"length", finding.length},
                            {"textOffset", finding.textOffset},
                            {"textLength", finding.textLength},
                            {"value", finding.value},
                            {"clause", zelkInsightKindClause(finding.kind)},
                            {"message", sentenceOf(finding)}});
    }
    Json result = {{"input", hex(bytes)},
                   {"region", regionName(explanation.region)},
                   {"code", static_cast<int>(explanation.selection.code)},
                   {"codeName", codeName(explanation.selection.code)},
                   {"extra", explanation.selection.extra},
                   {"table", explanation.tableName},
                   {"tableNumber", nullptr},
                   {"reason", explanation.reason},
                   {"override", nullptr},
                   {"text", explanation.text},
                   {"steps", steps},
                   {"findings", findings}};
    if (explanation.table >= 0) {
        result["tableNumber"] = explanation.table;
    }
    if (explanation.override != nullptr) {
        result["override"] = toJson(*explanation.override);
    }
    return result;
}

ExitStatus run(const ExplainOptions &options) {
    bool first = true;
    DvbReader reader(options.settings);
    reader.from(options.origin.origin());
    forEachString(options.strings, [&](const std::string &bytes) {
        const Explanation explanation = explain(reader, bytes);
        if (options.json) {
            write(jsonLine(toJson(bytes, explanation)));
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
