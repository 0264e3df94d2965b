// zelk quote: the quoted parts of every line, or the lines without their quote characters.
#include "command.h"
#include "commands.h"
#include "stream.h"

#include "zelk.h"

namespace zelk::tool {

namespace {

struct QuoteOptions {
    std::string action;
    std::vector<std::string> files;
    std::string open = "\"";
    std::string close;
};

void declare(CLI::App &command, QuoteOptions &options) {
    command.add_option("action", options.action, "extract the quoted parts, or strip the quote characters")
        ->type_name("ACTION")
        ->required()
        ->check(oneOf({"extract", "strip"}));
    addFiles(command, options.files);
    command.add_option("--open", options.open, "Opening quote [\"]")->type_name("CHARACTER");
    command.add_option("--close", options.close, "Closing quote [the opening one]")->type_name("CHARACTER");
}

const unsigned char *bytesOf(const std::string &text) {
    return reinterpret_cast<const unsigned char *>(text.c_str());
}

unsigned short oneCharacter(const std::string &option, const std::string &value) {
    unsigned short character = 0;
    const auto length = static_cast<unsigned int>(value.size());
    if (zelkUtf8CharDecode(bytesOf(value), length, &character) != length || character == 0 || character == 0xFFFD) {
        failInput("{}: expected one UTF-8 character up to U+FFFF, found '{}'", option, value);
    }
    return character;
}

ExitStatus run(const QuoteOptions &options) {
    const unsigned short open = oneCharacter("--open", options.open);
    const unsigned short close = options.close.empty() ? open : oneCharacter("--close", options.close);
    bool any = false;
    forEachInput(options.files, [&](Input &input) {
        LineReader lines(input);
        std::string line;
        while (lines.next(line)) {
            std::string result(line.size() + 1, '\0');
            auto *const out = reinterpret_cast<unsigned char *>(result.data());
            const int size = static_cast<int>(result.size());
            if (options.action == "strip") {
                zelkUtf8RemoveQuotesFromString(out, size, bytesOf(line), open, close);
            } else if (zelkUtf8CopyQuoted(out, size, bytesOf(line), -1, open, close) == 0) {
                continue;
            }
            result.resize(result.find('\0')); // the library may count the terminator
            write(result + '\n');
            any = true;
        }
    });
    return any || options.action == "strip" ? ExitOk : ExitNegative;
}

} // namespace

void addQuoteCommand(CLI::App &app) {
    addCommand<QuoteOptions>(app, {"quote", "Extract or strip quoted parts of lines", group::lines}, declare, run);
}

} // namespace zelk::tool
