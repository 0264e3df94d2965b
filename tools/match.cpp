// zelk match: the lines that a wildcard pattern covers from end to end.
#include "command.h"
#include "commands.h"
#include "stream.h"

#include "zelk.h"

namespace zelk::tool {

namespace {

struct MatchOptions {
    std::string pattern;
    std::vector<std::string> files;
    bool ignoreCase = false;
    bool ignoreControl = false;
    bool invert = false;
    bool count = false;
};

void declare(CLI::App &command, MatchOptions &options) {
    command.add_option("pattern", options.pattern, "The whole line: * is any text, ? any byte")
        ->type_name("PATTERN")
        ->required();
    addFiles(command, options.files);
    command.add_flag("-i,--ignore-case", options.ignoreCase, "Let small and capital ASCII letters match");
    command.add_flag("--ignore-control", options.ignoreControl, "Skip control characters in line and pattern");
    command.add_flag("-v,--invert", options.invert, "Write the lines that do not match");
    command.add_flag("-c,--count", options.count, "Write how many lines match, not the lines");
}

ExitStatus run(const MatchOptions &options) {
    const auto match = options.ignoreControl
                           ? (options.ignoreCase ? zelk_patternWildcardMatchIgnoreCaseAndControlChars
                                                 : zelk_patternWildcardMatchIgnoreControlChars)
                           : (options.ignoreCase ? zelk_patternWildcardMatchIgnoreCase : zelk_patternWildcardMatch);
    std::size_t count = 0;
    forEachInput(options.files, [&](Input &input) {
        LineReader lines(input);
        std::string line;
        while (lines.next(line)) {
            if ((match(line.c_str(), options.pattern.c_str()) == 0) != options.invert) {
                ++count;
                write(options.count ? "" : line + '\n');
            }
        }
    });
    if (options.count) {
        write(fmt::format("{}\n", count));
    }
    return count != 0 ? ExitOk : ExitNegative;
}

} // namespace

void addMatchCommand(CLI::App &app) {
    addCommand<MatchOptions>(app, {"match", "Write the lines that match a wildcard pattern", group::lines}, declare,
                             run);
}

} // namespace zelk::tool
