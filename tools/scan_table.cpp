// What a person wants to see at a glance, in columns.
#include "scan_output.h"
#include "stream.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace zelk::tool {

namespace {

std::string shown(const Json &record, const char *member) {
    const auto found = record.find(member);
    return found == record.end() || found->is_null() ? std::string()
           : found->is_string()                      ? printable(found->get<std::string>())
                                                     : found->dump();
}

// All that an event says besides its name.
std::string textOf(const Json &event) {
    std::string text = event["text"];
    const std::string extended = event["extended"];
    text += (!text.empty() && !extended.empty() ? "\n" : "") + extended;
    for (const Json &item : event.value("items", Json::array())) {
        text += (text.empty() ? "" : "\n") + item["description"].get<std::string>() + ": " +
                item["item"].get<std::string>();
    }
    return printable(text);
}

std::string genresOf(const Json &event) {
    std::string names;
    for (const Json &genre : event.value("genres", Json::array())) {
        names += (names.empty() ? "" : ", ") + genre["name"].get<std::string>();
    }
    return names;
}

// Of 2026-03-01T18:30:00Z or 00:30:00 what a person reads: no seconds where there are none.
std::string inMinutes(std::string time) {
    std::replace(time.begin(), time.end(), 'T', ' ');
    for (const std::string_view end : {"Z", ":00"}) {
        time.resize(time.size() - (time.ends_with(end) ? end.size() : 0));
    }
    return time;
}

class Tables {
public:
    Tables(bool colour, std::size_t width) : colour_(colour), width_(width) {}
    ~Tables() = default;
    Tables(const Tables &) = delete;
    Tables &operator=(const Tables &) = delete;

    // Begins a table where the kind of records changes. Names and what follows them are text.
    void add(RecordKind kind, const std::vector<std::string> &heading, std::vector<std::string> cells) {
        if (!table_ || kind != kind_) {
            flush();
            kind_ = kind;
            table_.emplace(
                heading, static_cast<std::size_t>(std::find(heading.begin(), heading.end(), "NAME") - heading.begin()));
        }
        table_->add(std::move(cells));
    }

    void flush() {
        if (table_) {
            write(first_ ? "" : "\n");
            write(table_->format(colour_, width_));
            table_.reset();
            first_ = false;
        }
    }

private:
    bool colour_;
    std::size_t width_;
    bool first_ = true;
    RecordKind kind_ = RecordKind::Network;
    std::optional<Table> table_;
};

} // namespace

void writeTable(const Facts &facts, const Filter &filter, bool colour, std::size_t width) {
    Tables tables(colour, width);
    const bool numbers = std::any_of(facts.found().streams().begin(), facts.found().streams().end(),
                                     [](const auto &entry) { return !entry.second.numbers.empty(); });
    const bool genres = std::any_of(facts.found().events().begin(), facts.found().events().end(),
                                    [](const auto &entry) { return !entry.second.genres.empty(); });
    forEachRecord(facts, filter, [&](RecordKind kind, const auto &key, const auto &record) {
        if (kind == RecordKind::Stream) {
            return; // what they say of services stands there
        }
        const Json values = facts.of(key, record);
        const auto value = [&values](const char *member) { return shown(values, member); };
        if constexpr (std::is_same_v<std::decay_t<decltype(key)>, std::uint16_t>) {
            tables.add(kind, {kind == RecordKind::Network ? "NETWORK" : "BOUQUET", "NAME"},
                       {fmt::format("{:04x}", key), value("name")});
        } else if constexpr (std::is_same_v<std::decay_t<decltype(key)>, ServiceKey>) {
            std::vector<std::string> heading = {"SERVICE", "TYPE", "NAME", "PROVIDER"};
            std::vector<std::string> cells = {locator(key), fmt::format("{:02x}", record.type), value("name"),
                                              value("provider")};
            if (numbers) {
                heading.insert(heading.begin() + 2, "CHANNEL");
                cells.insert(cells.begin() + 2, value("channel_number"));
            }
            tables.add(kind, heading, std::move(cells));
        } else if constexpr (std::is_same_v<std::decay_t<decltype(key)>, ChannelKey>) {
            tables.add(kind, {"CHANNEL", "SOURCE", "TYPE", "NAME", "LONG NAME"},
                       {value("channel"), value("source"), fmt::format("{:02x}", record.type), value("name"),
                        value("long_name")});
        } else if constexpr (std::is_same_v<std::decay_t<decltype(key)>, EventKey>) {
            std::vector<std::string> heading = {"SERVICE", "EVENT", "START (UTC)", "LENGTH", "LANG", "NAME", "TEXT"};
            std::vector<std::string> cells = {locator(key.service),
                                              fmt::format("{:04x}", key.event),
                                              inMinutes(value("start")),
                                              inMinutes(value("duration")),
                                              value("language"),
                                              value("name"),
                                              textOf(values)};
            if (genres) {
                heading.insert(heading.end() - 1, "GENRE");
                cells.insert(cells.end() - 1, genresOf(values));
            }
            tables.add(kind, heading, std::move(cells));
        } else if constexpr (std::is_same_v<std::decay_t<decltype(key)>, std::uint8_t>) {
            tables.add(kind, {"TIME", "UTC"}, {value("table"), value("utc")});
        }
    });
    tables.flush();
}

} // namespace zelk::tool
