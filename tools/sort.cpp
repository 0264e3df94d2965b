// zelk sort: lines in alphabetical order, equal lines in the order of the input.
#include "command.h"
#include "commands.h"
#include "stream.h"

#include "zelk.h"

#include <algorithm>

namespace zelk::tool {

namespace {

struct SortOptions {
    std::vector<std::string> files;
    bool reverse = false;
};

void declare(CLI::App &command, SortOptions &options) {
    addFiles(command, options.files);
    command.add_flag("-r,--reverse", options.reverse, "Sort the last line first");
}

ExitStatus run(const SortOptions &options) {
    std::vector<std::string> lines;
    forEachInput(options.files, [&lines](Input &input) {
        LineReader reader(input);
        std::string line;
        while (reader.next(line)) {
            lines.push_back(line);
        }
    });
    std::stable_sort(lines.begin(), lines.end(), [&options](const std::string &a, const std::string &b) {
        const int order = zelkCollate(0, a.c_str(), b.c_str());
        return options.reverse ? order > 0 : order < 0;
    });
    for (const std::string &line : lines) {
        write(line);
        write("\n");
    }
    return ExitOk;
}

} // namespace

void addSortCommand(CLI::App &app) {
    addCommand<SortOptions>(app, {"sort", "Sort lines alphabetically", group::lines}, declare, run);
}

} // namespace zelk::tool
