// zelk validate: is the text UTF-8? Sequences of four bytes are not for the library, nor is U+FFFD, the mark of earlier
// damage.
#include "command.h"
#include "commands.h"
#include "converter.h"

#include <algorithm>
#include <optional>

namespace zelk::tool {

namespace {

struct ValidateOptions {
    std::vector<std::string> files;
    bool lines = false;
    bool quiet = false;
};

void declare(CLI::App &command, ValidateOptions &options) {
    addFiles(command, options.files);
    command.add_flag("-l,--lines", options.lines, "Report every line that is invalid, not the file");
    command.add_flag("-q,--quiet", options.quiet, "Report by the exit status alone");
}

// All counted from 1.
struct Fault {
    std::size_t line;
    std::size_t offset; // byte of the file
    std::size_t column; // byte of the line
    const char *reason;
};

// What is wrong with the bytes at the head of a text, which are no character of the library.
const char *reasonOf(std::string_view text) {
    const auto at = [text](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0U;
    };
    const auto continues = [at](std::size_t index) { return (at(index) & 0xC0U) == 0x80; };
    const unsigned int lead = at(0);
    if (lead < 0x80) {
        return "cut sequence"; // it begins before this stretch
    }
    if (lead < 0xC0) {
        return "continuation byte without a beginning";
    }
    if (lead >= 0xF8) {
        return "byte that UTF-8 does not have";
    }
    if (lead >= 0xF0) {
        return "four-byte sequence";
    }
    if (lead == 0xEF && at(1) == 0xBF && at(2) == 0xBD) {
        return "U+FFFD, the mark of earlier damage";
    }
    if (!continues(1) || (lead >= 0xE0 && !continues(2))) {
        return "cut sequence";
    }
    if (lead < 0xC2 || (lead == 0xE0 && at(1) < 0xA0)) {
        return "overlong sequence";
    }
    return lead == 0xED && at(1) >= 0xA0 ? "surrogate" : "malformed sequence";
}

// Where the first surrogate begins, which the library takes for a character and UTF-8 does not; the length where there
// is none.
std::size_t surrogateIn(const std::string &text) {
    std::size_t at = text.find('\xED');
    while (at < text.size() && (at + 1 == text.size() || static_cast<unsigned char>(text[at + 1]) < 0xA0)) {
        at = text.find('\xED', at + 1);
    }
    return std::min(at, text.size());
}

// Walks through the input stretch by stretch and tells each line's first fault.
class Validator {
public:
    explicit Validator(std::function<void(const Fault &)> report) : report_(std::move(report)) {}

    void take(std::string_view text) {
        while (!text.empty()) {
            const std::size_t feed = text.find('\n');
            const std::size_t length = feed == std::string_view::npos ? text.size() : feed + 1;
            takeWithinLine(text.substr(0, length));
            offset_ += length;
            if (feed != std::string_view::npos) {
                ++line_;
                lineStart_ = offset_;
                lineIsInvalid_ = false;
            }
            text.remove_prefix(length);
        }
    }

private:
    void takeWithinLine(std::string_view text) {
        // A text ends at its terminator, not at a count: a count may cut a sequence off and still pass it.
        for (std::size_t at = 0; at < text.size() && !lineIsInvalid_;) {
            const std::size_t end = std::min(text.find('\0', at), text.size());
            const std::string part(text.substr(at, end - at));
            copy_.resize(part.size() + 1);
            int invalid = 0;
            const unsigned int valid =
                zelkUtf8CopyAndCheckIfValid(copy_.data(), static_cast<int>(copy_.size()),
                                            reinterpret_cast<const unsigned char *>(part.c_str()), -1, &invalid);
            const std::size_t good = std::min(invalid != 0 ? std::size_t{valid} : part.size(), surrogateIn(part));
            if (good < part.size()) {
                lineIsInvalid_ = true;
                const std::size_t offset = offset_ + at + good;
                report_({line_, offset + 1, offset - lineStart_ + 1, reasonOf(text.substr(at + good))});
            }
            at = end + 1;
        }
    }

    std::function<void(const Fault &)> report_;
    std::vector<unsigned char> copy_;
    std::size_t offset_ = 0;
    std::size_t line_ = 1;
    std::size_t lineStart_ = 0;
    bool lineIsInvalid_ = false;
};

// Returns whether the input is valid throughout.
bool validate(Input &input, const ValidateOptions &options) {
    std::optional<Fault> first;
    Validator validator([&](const Fault &fault) {
        if (options.lines && !options.quiet) {
            write(fmt::format("{}:{}:{}: byte {}: {}\n", input.name(), fault.line, fault.column, fault.offset,
                              fault.reason));
        }
        first = first.value_or(fault);
    });
    const Converter converter = holdCharacters([&validator](std::string_view in, bool, std::string &) {
        validator.take(in);
        return in.size();
    });
    convertStream(input, converter, [](std::string_view) {});
    if (!options.lines && !options.quiet) {
        write(first ? fmt::format("{}:{}:{}: byte {}: {}\n", input.name(), first->line, first->column, first->offset,
                                  first->reason)
                    : fmt::format("{}: valid\n", input.name()));
    }
    return !first.has_value();
}

ExitStatus run(const ValidateOptions &options) {
    bool valid = true;
    forEachInput(options.files, [&](Input &input) { valid = validate(input, options) && valid; });
    return valid ? ExitOk : ExitNegative;
}

} // namespace

void addValidateCommand(CLI::App &app) {
    addCommand<ValidateOptions>(app, {"validate", "Test whether text is valid UTF-8", group::text}, declare, run);
}

} // namespace zelk::tool
