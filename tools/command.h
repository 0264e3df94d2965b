// The frame of a command: its options, how it runs, how it fails. A command is a struct of options, a function that
// declares them and one that runs; addCommand() joins the three. Whatever ends a command early is thrown, and main()
// alone turns it into a line on standard error and an exit status.
#pragma once

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace zelk::tool {

enum ExitStatus : int {
    ExitOk = 0,
    ExitNegative = 1, // nothing matched, or the text is invalid
    ExitBadInput = 2, // wrong usage or wrong input
    ExitInputOutput = 3
};

class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string &message) : std::runtime_error(message), status_(status) {}
    ExitStatus status() const { return status_; }

private:
    ExitStatus status_;
};

// The message says what was expected and what was found, in one line without a full stop.
template <class... Arguments>
[[noreturn]] void failInput(fmt::format_string<Arguments...> format, Arguments &&...arguments) {
    throw Failure(ExitBadInput, fmt::format(format, std::forward<Arguments>(arguments)...));
}

// Adds " : <text of errno>" itself.
[[noreturn]] void failSystem(const std::string &subject, int error);

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

// Names of character sets compare in this form: letter case, hyphens, underscores and blanks make no difference, so
// that ISO_8859-15, iso-8859-15 and ISO885915 are one.
std::string plainName(const std::string &name);

// The positional FILE... of the stream commands; none, or "-", is standard input.
CLI::Option *addFiles(CLI::App &command, std::vector<std::string> &files);

} // namespace zelk::tool
