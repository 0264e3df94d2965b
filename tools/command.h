// The frame of a command: its options and how it runs. A command is a struct of options, a function that declares them
// and one that runs; addCommand() joins the three.
#pragma once

#include "failure.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

namespace zelk::tool {

// Headings of `zelk --help`.
namespace group {
inline constexpr const char *dvb = "DVB text";
inline constexpr const char *convert = "Conversion";
inline constexpr const char *lines = "Lists of lines";
inline constexpr const char *text = "UTF-8 text";
} // namespace group

struct CommandName {
    const char *name;
    const char *description;
    const char *group;
};

// `declare` binds command-line options to the fields; `run` works with them and returns the exit status.
template <class Options>
CLI::App &addCommand(CLI::App &app, const CommandName &command, void (*declare)(CLI::App &, Options &),
                     ExitStatus (*run)(const Options &)) {
    CLI::App *const added = app.add_subcommand(command.name, command.description)->group(command.group);
    const auto options = std::make_shared<Options>();
    declare(*added, *options);
    added->callback([options, run] {
        if (const ExitStatus status = run(*options); status != ExitOk) {
            throw CLI::RuntimeError(status);
        }
    });
    return *added;
}

// A value that is one of a few words; the message of a refusal lists them.
CLI::Validator oneOf(const std::vector<std::string> &words);

// A whole number in decimal, from `first` to `last`.
CLI::Validator numberFrom(int first, int last);

// A code of ISO 639 or 3166, of so many letters: small ones after it, or capitals. `form` is what a refusal expects.
CLI::Validator smallLetters(std::size_t least, std::size_t most, const std::string &form);
CLI::Validator capitals(std::size_t count, const std::string &form);

// The positional FILE... of the stream commands; none, or "-", is standard input.
CLI::Option *addFiles(CLI::App &command, std::vector<std::string> &files);

} // namespace zelk::tool
