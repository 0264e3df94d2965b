// zelk sort: lines in alphabetical order, equal lines in the order of the input.
#include "command.h"
#include "commands.h"
#include "stream.h"

#include "zelk.h"
#include "zelk_insight.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace zelk::tool {

namespace {

struct SortOptions {
    std::vector<std::string> files;
    std::string output;
    std::size_t key = 0; // field of a line, from 1; 0 is the whole line
    bool natural = false;
    bool reverse = false;
    bool unique = false;
};

void declare(CLI::App &command, SortOptions &options) {
    addFiles(command, options.files);
    command.add_flag("-r,--reverse", options.reverse, "Sort the last line first");
    command.add_flag("-n,--natural", options.natural, "Sort numbers within lines by their value");
    command.add_option("-k,--key", options.key, "Sort by a field, from 1, and those after it; fields end at a tab")
        ->type_name("FIELD")
        ->check(numberFrom(1, 1000000));
    command.add_flag("-u,--unique", options.unique,
                     "Write the first of the lines that are the same, or whose keys are");
    command.add_option("-o,--output", options.output, "Write to a file, which may be one that is read")
        ->type_name("FILE");
}

// From the given field on; empty when the line has fewer.
std::string_view keyOf(std::string_view line, std::size_t field) {
    for (; field > 1; --field) {
        const std::size_t tab = line.find('\t');
        line = tab == std::string_view::npos ? std::string_view() : line.substr(tab + 1);
    }
    return line;
}

int collate(std::string_view a, std::string_view b) {
    return zelkCollate(0, std::string(a).c_str(), std::string(b).c_str());
}

// Two of them compare as their texts do, numbers by value.
std::string naturalKey(std::string_view text) {
    const auto length = static_cast<int>(text.size());
    std::string key(static_cast<std::size_t>(zelkInsightSortKeySize(text.data(), length)), '\0');
    key.resize(zelkInsightSortKey(key.data(), static_cast<int>(key.size()), text.data(), length, ZelkInsightNatural));
    return key;
}

struct Line {
    std::string text;
    std::string key; // of --natural
};

void writeLines(const std::vector<Line> &lines, const std::string &name) {
    std::optional<OutputFile> file;
    if (!name.empty()) {
        file.emplace(name);
    }
    for (const Line &line : lines) {
        file ? file->write(line.text + '\n') : write(line.text + '\n');
    }
    if (file) {
        file->close();
    }
}

ExitStatus run(const SortOptions &options) {
    std::vector<Line> lines;
    forEachInput(options.files, [&](Input &input) {
        LineReader reader(input);
        std::string line;
        while (reader.next(line)) {
            lines.push_back({line, options.natural ? naturalKey(keyOf(line, options.key)) : std::string()});
        }
    });
    // The order of letters knows no Arabic and no punctuation: for --unique, what differs in these is not the same.
    const auto compare = [&options](const Line &a, const Line &b) {
        if (options.natural) {
            return a.key.compare(b.key);
        }
        const std::string_view first = keyOf(a.text, options.key);
        const std::string_view second = keyOf(b.text, options.key);
        const int order = collate(first, second);
        return order == 0 && options.unique ? first.compare(second) : order;
    };
    std::stable_sort(lines.begin(), lines.end(), [&](const Line &a, const Line &b) {
        return options.reverse ? compare(a, b) > 0 : compare(a, b) < 0;
    });
    if (options.unique) {
        const auto end =
            std::unique(lines.begin(), lines.end(), [&](const Line &a, const Line &b) { return compare(a, b) == 0; });
        lines.erase(end, lines.end());
    }
    writeLines(lines, options.output);
    return ExitOk;
}

} // namespace

void addSortCommand(CLI::App &app) {
    addCommand<SortOptions>(app, {"sort", "Sort lines alphabetically", group::lines}, declare, run);
}

} // namespace zelk::tool
