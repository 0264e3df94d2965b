#include "strings.h"

#include "command.h"
#include "stream.h"
#include "text.h"

#include <algorithm>
#include <string_view>

namespace zelk::tool {

namespace {

// Far above any string of a broadcast, yet a bound for what a wrong file can cost.
constexpr std::size_t longestLine = 1U << 20U;

constexpr std::string_view blanks = " \t\r\v\f";

int digitValue(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    const char lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

} // namespace

std::string parseHex(std::string_view text, const std::string &place) {
    std::string bytes;
    std::size_t at = 0;
    while ((at = text.find_first_not_of(blanks, at)) != std::string_view::npos) {
        const std::size_t end = std::min(text.find_first_of(blanks, at), text.size());
        std::string_view word = text.substr(at, end - at);
        const std::string shown = printable(word.substr(0, 20));
        if (word.starts_with("0x") || word.starts_with("0X")) {
            word.remove_prefix(2);
        }
        if (!std::all_of(word.begin(), word.end(), [](char digit) { return digitValue(digit) >= 0; })) {
            failInput("{}: expected hexadecimal bytes, found '{}'", place, shown);
        }
        if (word.empty() || word.size() % 2 != 0) {
            failInput("{}: expected two hexadecimal digits for each byte, found '{}'", place, shown);
        }
        for (std::size_t i = 0; i < word.size(); i += 2) {
            bytes.push_back(static_cast<char>(digitValue(word[i]) * 16 + digitValue(word[i + 1])));
        }
        at = end;
    }
    return bytes;
}

void addStringOptions(CLI::App &command, StringOptions &options) {
    command.add_option("strings", options.strings, "Strings as hexadecimal bytes, blanks and 0x allowed")
        ->type_name("STRING");
    command.add_option("-f,--file", options.files, "Read strings from a file, one per line; - is standard input")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command.add_flag("-r,--raw", options.raw, "Strings are raw bytes, not hexadecimal");
}

void forEachString(const StringOptions &options, const std::function<void(const std::string &)> &use) {
    forEachPlacedString(options, [&use](const std::string &bytes, const StringPlace & /*place*/) { use(bytes); });
}

void forEachPlacedString(const StringOptions &options,
                         const std::function<void(const std::string &, const StringPlace &)> &use) {
    std::size_t number = 0;
    for (const std::string &string : options.strings) {
        const std::string place = fmt::format("argument {}", ++number);
        use(options.raw ? string : parseHex(string, place), {place, {}, 0});
    }
    if (!options.strings.empty() && options.files.empty()) {
        return;
    }
    const bool standardInput = options.files.empty();
    std::size_t file = 0;
    forEachInput(options.files, [&](Input &input) {
        const std::string name = standardInput || options.files[file] == "-" ? std::string() : options.files[file];
        ++file;
        LineReader lines(input, longestLine);
        std::string line;
        while (lines.next(line)) {
            const std::string place = lines.place();
            use(options.raw ? line : parseHex(line, place), {place, name, lines.number()});
        }
    });
}

} // namespace zelk::tool
