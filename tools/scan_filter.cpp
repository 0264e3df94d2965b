#include "scan_filter.h"

#include "command.h"
#include "words.h"

#include "zelk.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>

namespace zelk::tool {

namespace {

// "2026-03-01T18:00", with seconds and a Z or without; a date alone is its first second.
std::optional<Seconds> parseTime(const std::string &text) {
    int fields[6] = {0, 1, 1, 0, 0, 0};
    constexpr std::string_view form = "0000-00-00T00:00:00";
    constexpr std::size_t lengths[] = {10, 16, 19};
    const std::string_view digits = std::string_view(text).substr(0, text.size() - (text.ends_with('Z') ? 1 : 0));
    if (std::find(std::begin(lengths), std::end(lengths), digits.size()) == std::end(lengths)) {
        return std::nullopt;
    }
    std::size_t field = 0;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const bool digit = digits[i] >= '0' && digits[i] <= '9';
        if (digit != (form[i] == '0') || (!digit && digits[i] != form[i])) {
            return std::nullopt;
        }
        field += digit ? 0 : 1;
        fields[field] = digit ? (i == 0 || form[i - 1] != '0' ? 0 : fields[field] * 10) + (digits[i] - '0') : 0;
    }
    using namespace std::chrono;
    const year_month_day date{year(fields[0]), month(static_cast<unsigned int>(fields[1])),
                              day(static_cast<unsigned int>(fields[2]))};
    if (!date.ok() || fields[3] > 23 || fields[4] > 59 || fields[5] > 59) {
        return std::nullopt;
    }
    const auto time = hours(fields[3]) + minutes(fields[4]) + seconds(fields[5]);
    return (sys_seconds(sys_days(date)) + time).time_since_epoch().count();
}

// A number in decimal, or in hexadecimal after 0x.
std::optional<unsigned int> parseNumber(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x");
    text.remove_prefix(hexadecimal ? 2 : 0);
    unsigned int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, hexadecimal ? 16 : 10);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

bool matches(const std::string &name, const std::string &pattern) {
    return zelk_patternWildcardMatchIgnoreCase(name.c_str(), pattern.c_str()) == 0;
}

std::string lower(std::string text) {
    for (char &c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
    }
    return text;
}

void addTime(CLI::App &command, const char *name, std::optional<Seconds> &time, const char *description) {
    command
        .add_option_function<std::string>(
            name, [&time](const std::string &text) { time = parseTime(text); }, description)
        ->type_name("TIME")
        ->check([](const std::string &text) {
            return parseTime(text) ? std::string()
                                   : fmt::format("expected a time in UTC such as 2026-03-01T18:00, found '{}'", text);
        });
}

} // namespace

void addFilterOptions(CLI::App &command, FilterOptions &options) {
    command
        .add_option(
            "--service", options.services,
            "Only this service: a number, a locator as 3201.0001.0065, a channel as 5.1, or a name with wildcards")
        ->type_name("SERVICE")
        ->allow_extra_args(false);
    command.add_flag("--now", options.now, "Only events that are on now");
    command.add_flag("--next", options.next, "Only events that are on next");
    addTime(command, "--from", options.from, "Only events that end after TIME (UTC)");
    addTime(command, "--until", options.until, "Only events that begin before TIME (UTC)");
    command.add_option("--genre", options.genres, "Only events of a genre: a word of its name, or its number")
        ->type_name("GENRE")
        ->allow_extra_args(false);
    command.add_option("--language", options.languages, "Only events in a language, as deu")
        ->type_name("LANGUAGE")
        ->allow_extra_args(false)
        ->transform(smallLetters(3, 3, "a language of three letters such as deu"));
}

bool Filter::choosesEvents() const {
    return options_.now || options_.next || options_.from || options_.until || !options_.genres.empty() ||
           !options_.languages.empty();
}

bool Filter::passes(const ServiceKey &key) const {
    if (options_.services.empty()) {
        return true;
    }
    if (key.system == System::Atsc) {
        const auto &channels = facts_.found().channels();
        return std::any_of(channels.begin(), channels.end(), [&](const auto &channel) {
            return channel.second.source == key.service && passes(channel.first, channel.second);
        });
    }
    const auto known = facts_.found().services().find(key);
    return std::any_of(options_.services.begin(), options_.services.end(), [&](const std::string &wanted) {
        return parseNumber(wanted) == key.service || lower(wanted) == locator(key) ||
               (known != facts_.found().services().end() &&
                matches(facts_.of(known->first, known->second).at("name"), wanted));
    });
}

bool Filter::passes(const ChannelKey &key, const Channel &channel) const {
    return options_.services.empty() ||
           std::any_of(options_.services.begin(), options_.services.end(), [&](const std::string &wanted) {
               const Json record = facts_.of(key, channel);
               return parseNumber(wanted) == channel.program || record.at("channel") == wanted ||
                      matches(record.at("name"), wanted) || matches(record.at("long_name"), wanted);
           });
}

bool Filter::hasGenre(System system, const Event &event) const {
    return std::any_of(options_.genres.begin(), options_.genres.end(), [&](const std::string &wanted) {
        const auto number = parseNumber(wanted);
        return std::any_of(event.genres.begin(), event.genres.end(), [&](const Genre &genre) {
            const bool whole = system == System::Dvb && number && (*number & 0x0FU) == 0;
            return number ? *number == (whole ? genre.code & 0xF0U : genre.code)
                          : lower(genreName(system, genre)).find(lower(wanted)) != std::string::npos;
        });
    });
}

bool Filter::passes(const EventKey &key, const Event &event) const {
    if (options_.now || options_.next) {
        const Position position = facts_.found().positionOf(key, event);
        if (!(options_.now && position == Position::Present) && !(options_.next && position == Position::Following)) {
            return false;
        }
    }
    const Seconds start = facts_.found().startOf(key, event);
    if (options_.from || options_.until) {
        const Seconds end = start == unknownTime || event.duration == unknownTime ? start : start + event.duration;
        if (start == unknownTime || (options_.from && end <= *options_.from) ||
            (options_.until && start >= *options_.until)) {
            return false;
        }
    }
    const auto spoken = [&language = key.language, other = otherLanguageCode(key.language)](const std::string &wanted) {
        return wanted == language || wanted == other;
    };
    return (options_.languages.empty() || std::any_of(options_.languages.begin(), options_.languages.end(), spoken)) &&
           (options_.genres.empty() || hasGenre(key.service.system, event)) && passes(key.service);
}

bool Filter::passes(RecordKind kind, const RecordKey &key) const {
    if (kind == RecordKind::Event) {
        const auto &event = *facts_.found().events().find(std::get<EventKey>(key));
        return passes(event.first, event.second);
    }
    if (choosesEvents()) {
        return false;
    }
    if (kind == RecordKind::Service) {
        return passes(std::get<ServiceKey>(key));
    }
    if (kind == RecordKind::Channel) {
        const auto &channel = *facts_.found().channels().find(std::get<ChannelKey>(key));
        return passes(channel.first, channel.second);
    }
    return options_.services.empty();
}

} // namespace zelk::tool
