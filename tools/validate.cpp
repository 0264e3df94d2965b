// zelk validate: is the text UTF-8? Sequences of four bytes are not, nor is U+FFFD, the mark of earlier damage.
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

struct Fault {
    std::size_t line;
    std::size_t offset; // in the file
    std::size_t column; // bytes of the line before it, and one
};

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
            if (invalid != 0) {
                lineIsInvalid_ = true;
                const std::size_t offset = offset_ + at + valid;
                report_({line_, offset, offset - lineStart_ + 1});
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
            write(fmt::format("{}:{}: invalid at byte {}\n", input.name(), fault.line, fault.column));
        }
        first = first.value_or(fault);
    });
    const Converter converter = holdCharacters([&validator](std::string_view in, bool, std::string &) {
        validator.take(in);
        return in.size();
    });
    convertStream(input, converter, [](std::string_view) {});
    if (!options.lines && !options.quiet) {
        write(first ? fmt::format("{}: invalid at offset {}, line {}\n", input.name(), first->offset, first->line)
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
