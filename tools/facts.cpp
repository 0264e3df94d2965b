#include "facts.h"

#include "words.h"

#include <algorithm>
#include <chrono>
#include <tuple>

namespace zelk::tool {

namespace {

Json ofService(const ServiceKey &key) {
    if (key.system == System::Atsc) {
        return {{"source", key.service}};
    }
    return {
        {"original_network", key.originalNetwork}, {"transport_stream", key.transportStream}, {"service", key.service}};
}

const char *positionName(Position position) {
    switch (position) {
    case Position::Present:
        return "present";
    case Position::Following:
        return "following";
    case Position::Schedule:
        break;
    }
    return "schedule";
}

std::string offsetText(int minutes) {
    const int size = std::abs(minutes);
    return fmt::format("{}{:02}:{:02}", minutes < 0 ? '-' : '+', size / 60, size % 60);
}

const char *timeTableName(std::uint8_t table) {
    return table == 0x70 ? "TDT" : table == 0x73 ? "TOT" : "STT";
}

} // namespace

const char *kindName(RecordKind kind) {
    switch (kind) {
    case RecordKind::Network:
        return "network";
    case RecordKind::Bouquet:
        return "bouquet";
    case RecordKind::Stream:
        return "stream";
    case RecordKind::Service:
        return "service";
    case RecordKind::Channel:
        return "channel";
    case RecordKind::Event:
        return "event";
    case RecordKind::Time:
        break;
    }
    return "time";
}

std::string locator(const ServiceKey &key) {
    return key.system == System::Atsc
               ? fmt::format("source {}", key.service)
               : fmt::format("{:04x}.{:04x}.{:04x}", key.originalNetwork, key.transportStream, key.service);
}

std::string languageText(const std::string &language) {
    std::string result;
    for (const char letter : language) {
        result += letter >= 'a' && letter <= 'z' ? letter : '?';
    }
    return result;
}

Json timeText(Seconds time) {
    if (time == unknownTime) {
        return nullptr;
    }
    using namespace std::chrono;
    const sys_seconds moment{seconds(time)};
    const sys_days day = floor<days>(moment);
    const year_month_day date = day;
    const hh_mm_ss clock(moment - day);
    return fmt::format("{}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                       static_cast<unsigned int>(date.month()), static_cast<unsigned int>(date.day()),
                       clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

Json durationText(Seconds duration) {
    if (duration == unknownTime) {
        return nullptr;
    }
    return fmt::format("{:02}:{:02}:{:02}", duration / 3600, duration / 60 % 60, duration % 60);
}

std::vector<const std::pair<const EventKey, Event> *> inOrder(const ServiceInformation &found) {
    std::vector<const std::pair<const EventKey, Event> *> order;
    order.reserve(found.events().size());
    for (const auto &event : found.events()) {
        order.push_back(&event);
    }
    // What has no start comes last.
    const auto start = [](const Event &event) { return static_cast<std::uint64_t>(event.start); };
    std::stable_sort(order.begin(), order.end(), [start](const auto *a, const auto *b) {
        return std::tuple(a->first.service, start(a->second)) < std::tuple(b->first.service, start(b->second));
    });
    return order;
}

template <class Each, class Use>
void Facts::readTexts(Json &record, const ServiceKey *service, Each each, Use use) const {
    Json texts = Json::array();
    each([&](const char *member, const std::string &language, const SentText &sent) {
        reader_.from(service, language);
        use(std::string_view(member), reader_.text(sent));
        if (evidence_ && !sent.bytes.empty()) {
            Json entry = {{"member", member}};
            if (!language.empty()) {
                entry["language"] = languageText(language);
            }
            entry.update(reader_.evidence(sent));
            texts.push_back(std::move(entry));
        }
    });
    if (evidence_) {
        record["texts"] = std::move(texts);
    }
}

Json Facts::of(std::uint16_t id, const NamedGroup &group) const {
    Json record = {{"id", id}, {"name", ""}};
    readTexts(
        record, nullptr, [&](const UseText &use) { forEachText(group, use); },
        [&record](std::string_view, std::string text) { record["name"] = std::move(text); });
    return record;
}

Json Facts::of(const StreamKey &key, const Stream &stream) {
    Json record = {{"group", key.bouquet ? "bouquet" : "network"},
                   {"id", key.group},
                   {"original_network", key.originalNetwork},
                   {"transport_stream", key.transportStream}};
    for (const ListedService &service : stream.services) {
        record["services"].push_back({{"service", service.service}, {"type", service.type}});
    }
    for (const ChannelNumber &number : stream.numbers) {
        record["channel_numbers"].push_back(
            {{"service", number.service}, {"number", number.number}, {"visible", number.visible}});
    }
    return record;
}

Json Facts::of(const ServiceKey &key, const Service &service) const {
    Json record = ofService(key);
    record["type"] = service.type;
    record["name"] = "";
    record["provider"] = "";
    record["running_status"] = runningStatusName(service.runningStatus);
    record["scrambled"] = service.scrambled;
    if (const ChannelNumber *const number = found_.channelNumber(key)) {
        record["channel_number"] = number->number;
    }
    readTexts(
        record, &key, [&](const UseText &use) { forEachText(service, use); },
        [&record](std::string_view member, std::string text) { record[std::string(member)] = std::move(text); });
    return record;
}

Json Facts::of(const ChannelKey &key, const Channel &channel) const {
    Json record = {{"channel", fmt::format("{}.{}", key.major, key.minor)},
                   {"transport_stream", key.transportStream},
                   {"program", channel.program},
                   {"source", channel.source},
                   {"type", channel.type},
                   {"name", ""},
                   {"long_name", ""},
                   {"scrambled", channel.scrambled},
                   {"hidden", channel.hidden}};
    readTexts(
        record, nullptr, [&](const UseText &use) { forEachText(channel, use); },
        [&record](std::string_view member, std::string text) {
            Json &place = record[std::string(member)];
            if (place.get_ref<const std::string &>().empty()) { // the first of several languages
                place = std::move(text);
            }
        });
    return record;
}

Json Facts::of(const EventKey &key, const Event &event) const {
    Json record = ofService(key.service);
    record["event"] = key.event;
    record["language"] = languageText(key.language);
    record["position"] = positionName(found_.positionOf(key, event));
    record["start"] = timeText(found_.startOf(key, event));
    record["duration"] = durationText(event.duration);
    if (key.service.system == System::Dvb) {
        record["running_status"] = runningStatusName(event.runningStatus);
        record["scrambled"] = event.scrambled;
    }
    record["name"] = "";
    record["text"] = "";
    std::string extended;
    std::vector<std::string> items;
    std::vector<std::string> components;
    std::vector<std::string> ratings;
    readTexts(
        record, &key.service, [&](const UseText &use) { forEachText(key, event, found_.message(key), use); },
        [&](std::string_view member, std::string text) {
            if (member == "extended") {
                extended += text;
            } else if (member == "items") {
                items.push_back(std::move(text));
            } else if (member == "components") {
                components.push_back(std::move(text));
            } else if (member == "ratings") {
                ratings.push_back(std::move(text));
            } else {
                record[std::string(member)] = std::move(text);
            }
        });
    Json texts = evidence_ ? std::move(record["texts"]) : Json();
    record.erase("texts");
    record["extended"] = extended;
    for (std::size_t i = 0; i + 1 < items.size(); i += 2) {
        record["items"].push_back({{"description", items[i]}, {"item", items[i + 1]}});
    }
    for (const Genre &genre : event.genres) {
        Json entry = {{"code", genre.code}, {"name", genreName(key.service.system, genre)}};
        if (key.service.system == System::Dvb) {
            entry["user"] = genre.user;
        }
        record["genres"].push_back(std::move(entry));
    }
    std::size_t meaning = 0;
    for (const Rating &rating : event.ratings) {
        Json entry;
        if (key.service.system == System::Atsc) {
            entry["region"] = rating.value;
            entry["meaning"] = Json::array();
            for (std::size_t i = 0; i < rating.meaning.size(); ++i) {
                entry["meaning"].push_back(ratings[meaning++]);
            }
        } else {
            entry = {{"country", printable(rating.country)}, {"value", rating.value}};
            if (rating.value >= 1 && rating.value <= 0x0F) {
                constexpr unsigned int ageOfZero = 3;
                entry["age"] = rating.value + ageOfZero;
            }
        }
        record["ratings"].push_back(std::move(entry));
    }
    for (std::size_t i = 0; i < event.components.size(); ++i) {
        const Component &component = event.components[i];
        record["components"].push_back({{"content", component.content},
                                        {"extension", component.extension},
                                        {"type", component.type},
                                        {"tag", component.tag},
                                        {"kind", componentName(component)},
                                        {"language", languageText(component.language)},
                                        {"text", components[i]}});
    }
    if (evidence_) {
        record["texts"] = std::move(texts);
    }
    return record;
}

Json Facts::of(std::uint8_t table, const TimeOfDay &time) {
    Json record = {{"table", timeTableName(table)}, {"utc", timeText(time.utc)}};
    if (time.leapSeconds) {
        record["leap_seconds"] = *time.leapSeconds;
    }
    for (const LocalOffset &offset : time.offsets) {
        record["offsets"].push_back({{"country", printable(offset.country)},
                                     {"region", offset.region},
                                     {"offset", offsetText(offset.minutes)},
                                     {"change", timeText(offset.change)},
                                     {"next_offset", offsetText(offset.nextMinutes)}});
    }
    return record;
}

Json Facts::of(RecordKind kind, const RecordKey &key) const {
    const auto lookUp = [this, &key](const auto &records) {
        const auto found = records.find(std::get<typename std::decay_t<decltype(records)>::key_type>(key));
        return this->of(found->first, found->second);
    };
    switch (kind) {
    case RecordKind::Network:
        return lookUp(found_.networks());
    case RecordKind::Bouquet:
        return lookUp(found_.bouquets());
    case RecordKind::Stream:
        return lookUp(found_.streams());
    case RecordKind::Service:
        return lookUp(found_.services());
    case RecordKind::Channel:
        return lookUp(found_.channels());
    case RecordKind::Event:
        return lookUp(found_.events());
    case RecordKind::Time:
        break;
    }
    return lookUp(found_.times());
}

} // namespace zelk::tool
