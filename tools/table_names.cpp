#include "table_names.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>

namespace zelk::tool {

namespace {

struct NamedCode {
    const char *name;
    DvbCode_t code;
};

// Besides iso8859-1 to iso8859-16; in the form of plainName().
constexpr NamedCode namedCodes[] = {
    {"default", DvbCodeTable00},  {"none", DvbCodeNone},        {"prepared", DvbCodeUtf8Prepared},
    {"ucs2", DvbCodeUcs2},        {"utf8", DvbCodeUtf8},        {"compressed", DvbCodeCompressed},
    {"latin1", DvbCodeIso8859_1}, {"latin2", DvbCodeIso8859_2}, {"latin5", DvbCodeIso8859_9},
    {"latin9", DvbCodeIso8859_15}};

bool isSeparator(char character) {
    return character == '-' || character == '_' || character == ' ';
}

} // namespace

std::string plainName(const std::string &name) {
    std::string result;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char character = name[i];
        // "iso8859--1" is a mistake, not a way to write iso8859-1.
        const bool between = i > 0 && i + 1 < name.size() && !isSeparator(name[i - 1]) && !isSeparator(name[i + 1]);
        if (character >= 'A' && character <= 'Z') {
            result.push_back(static_cast<char>(character | 0x20));
        } else if (!isSeparator(character) || !between) {
            result.push_back(character);
        }
    }
    return result;
}

std::optional<DvbCode_t> codeOf(const std::string &value) {
    constexpr std::string_view iso = "iso8859";
    const std::string name = plainName(value);
    for (const NamedCode &named : namedCodes) {
        if (name == named.name) {
            return named.code;
        }
    }
    const bool part = name.substr(0, iso.size()) == iso;
    const std::string digits = part ? name.substr(iso.size()) : value;
    int number = 0;
    const char *const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    const int first = part ? DvbCodeIso8859_1 : DvbCodeTable00;
    const int last = part ? DvbCodeIso8859_16 : DvbCodeCompressed;
    if (error != std::errc{} || stop != end || number < first || number > last) {
        return std::nullopt;
    }
    return static_cast<DvbCode_t>(number);
}

const std::vector<std::string> &regionNames() {
    static const std::vector<std::string> names = {"iso8859-9",     "standard",   "iso8859-2", "iso8859-7",
                                                   "iso8859-9-alt", "iso8859-15", "gb2312"};
    return names;
}

std::optional<dvbCharSet_t> regionOf(const std::string &name) {
    const std::vector<std::string> &names = regionNames();
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? std::nullopt : std::optional(static_cast<dvbCharSet_t>(found - names.begin()));
}

std::string regionName(dvbCharSet_t region) {
    return regionNames().at(static_cast<std::size_t>(region));
}

} // namespace zelk::tool
