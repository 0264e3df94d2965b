// zelk overrides: checks files of overrides, and writes them in the compact form that receivers hold.
#include "command.h"
#include "commands.h"
#include "overrides.h"
#include "stream.h"
#include "text.h"

namespace zelk::tool {

namespace {

struct OverridesOptions {
    std::string action;
    std::vector<std::string> files;
};

void declare(CLI::App &command, OverridesOptions &options) {
    command.add_option("action", options.action, "check, or compact: write the form that receivers hold")
        ->required()
        ->type_name("ACTION")
        ->check(oneOf({"check", "compact"}));
    command
        .add_option("files", options.files,
                    "Files of overrides, later ones count first; none: those of the system and of its user")
        ->type_name("FILE");
}

std::string describe(const OverrideLayer &layer) {
    const std::string state = !layer.readable      ? "not there"
                              : layer.entries == 1 ? "1 entry"
                                                   : fmt::format("{} entries", layer.entries);
    return fmt::format("{}: {}: {}\n", layer.name, onOneLine(layer.file), state);
}

// Each layer by its path, the last one counts first.
std::string describe(const Overrides &overrides) {
    std::string text;
    for (const OverrideLayer &layer : overrides.layers()) {
        text += describe(layer);
    }
    return text + fmt::format("entries: {}\n", overrides.count());
}

ExitStatus run(const OverridesOptions &options) {
    Overrides overrides;
    if (options.files.empty()) {
        overrides.readDefaults();
    }
    for (const std::string &file : options.files) {
        overrides.read(file);
    }
    for (const std::string &problem : overrides.problems()) {
        fmt::print(stderr, "zelk overrides: {}\n", onOneLine(problem));
    }
    if (!overrides.problems().empty()) {
        return ExitNegative;
    }
    write(options.action == "check" ? describe(overrides) : overrides.compact());
    return ExitOk;
}

} // namespace

void addOverridesCommand(CLI::App &app) {
    addCommand<OverridesOptions>(app, {"overrides", "Check files of overrides", group::dvb}, declare, run);
}

} // namespace zelk::tool
