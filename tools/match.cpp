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
};

void declare(CLI::App &command, MatchOptions &options) {
    command.add_option("pattern", options.pattern, "The whole line: * is any text, ? any byte")
        ->type_name("PATTERN")
        ->required();
    addFiles(command, options.files);
    command.add_flag("-i,--ignore-case", options.ignoreCase, "Let small and capital ASCII letters match");
    command.add_flag("--ignore-control", options.ignoreControl, "Skip control characters in line and pattern");
    command.add_flag("-v,--invert", options.invert, "Write the lines that do not match");
}

ExitStatus run(const MatchOptions &options) {
    const auto match = options.ignoreControl
                           ? (options.ignoreCase ? zelk_patternWildcardMatchIgnoreCaseAndControlChars
                                                 : zelk_patternWildcardMatchIgnoreControlChars)
                           : (options.ignoreCase ? zelk_patternWildcardMatchIgnoreCase : zelk_patternWildcardMatch);
    bool any = false;
    forEachInput(options.files, [&](Input &input) {
        LineReader lines(input);
        std::string line;
        while (lines.next(line)) {
            if ((match(line.c_str(), options.pattern.c_str()) == 0) != options.invert) {
                write(line);
                write("\n");
                any = true;
            }
        }
    });
    return any ? ExitOk : ExitNegative;
}

} // namespace

void addMatchCommand(CLI::App &app) {
    addCommand<MatchOptions>(app, {"match", "Write the lines that match a wildcard pattern", group::lines}, declare,
                             run);
}

} // namespace zelk::tool
