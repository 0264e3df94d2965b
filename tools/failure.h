// How what a command cannot do is said: thrown from wherever it is found. main() alone turns it into a line on standard
// error and an exit status.
#pragma once

#include <fmt/format.h>

#include <stdexcept>
#include <string>
#include <utility>

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

} // namespace zelk::tool
