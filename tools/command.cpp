#include "command.h"

#include <fmt/format.h>

#include <charconv>
#include <system_error>

namespace zelk::tool {

namespace {

// As small letters or capitals differ from each other in ASCII.
constexpr char caseBit = 0x20;

CLI::Validator letters(std::size_t least, std::size_t most, char first, const std::string &form) {
    const auto check = [=](std::string &value) -> std::string {
        std::string changed = value;
        for (char &letter : changed) {
            letter = static_cast<char>((letter & ~caseBit) | (first & caseBit));
            if (letter < first || letter > first + ('z' - 'a')) {
                changed.clear();
                break;
            }
        }
        if (changed.size() < least || changed.size() > most) {
            return fmt::format("expected {}, found '{}'", form, value);
        }
        value = changed;
        return {};
    };
    return {check, {}};
}

} // namespace

CLI::Validator oneOf(const std::vector<std::string> &words) {
    const auto check = [words](const std::string &value) -> std::string {
        for (const std::string &word : words) {
            if (value == word) {
                return {};
            }
        }
        return fmt::format("expected one of {}, found '{}'", fmt::join(words, ", "), value);
    };
    return {check, fmt::format("{}", fmt::join(words, "|"))};
}

CLI::Validator numberFrom(int first, int last) {
    const auto check = [first, last](const std::string &value) -> std::string {
        int number = 0;
        const char *const end = value.data() + value.size();
        const auto [stop, error] = std::from_chars(value.data(), end, number);
        if (error == std::errc{} && stop == end && number >= first && number <= last) {
            return {};
        }
        return fmt::format("expected a number from {} to {}, found '{}'", first, last, value);
    };
    return {check, fmt::format("{}-{}", first, last)};
}

CLI::Validator smallLetters(std::size_t least, std::size_t most, const std::string &form) {
    return letters(least, most, 'a', form);
}

CLI::Validator capitals(std::size_t count, const std::string &form) {
    return letters(count, count, 'A', form);
}

CLI::Option *addFiles(CLI::App &command, std::vector<std::string> &files) {
    return command.add_option("files", files, "Files to read; none, or -, is standard input")->type_name("FILE");
}

} // namespace zelk::tool
