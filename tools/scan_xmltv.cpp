// A guide for recorders and media centres, by the document type definition of XMLTV. A programme is an event in all of
// its languages; one without a start or a name has no place there.
#include "scan_output.h"
#include "stream.h"

#include "zelk.hpp"

#include <set>

namespace zelk::tool {

namespace {

// Characters that XML 1.0 has no place for are left out.
std::string escaped(const std::string &text) {
    std::string allowed;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        const bool nothing = text.compare(at, 3, "\xEF\xBF\xBE") == 0 || text.compare(at, 3, "\xEF\xBF\xBF") == 0;
        if (nothing) {
            at += 2;
        } else if (byte >= 0x20 || byte == '\t' || byte == '\n') {
            allowed += text[at];
        }
    }
    return XmlConverter::xmlify(allowed);
}

std::string element(const char *name, const std::string &attributes, const std::string &text) {
    return fmt::format("    <{0}{1}>{2}</{0}>\n", name, attributes, escaped(text));
}

std::string languageAttribute(const std::string &language) {
    return language.size() == 3 && language.find('?') == std::string::npos ? fmt::format(" lang=\"{}\"", language)
                                                                           : std::string();
}

std::string channelId(const ServiceKey &key) {
    return key.system == System::Atsc ? fmt::format("source-{}.atsc", key.service) : locator(key) + ".dvb";
}

std::string timeAttribute(const char *name, Seconds time) {
    std::string digits = timeText(time);
    std::erase_if(digits, [](char c) { return c < '0' || c > '9'; });
    return fmt::format(" {}=\"{} +0000\"", name, digits);
}

std::string channelElement(const Facts &facts, const ServiceKey &key) {
    std::vector<std::string> names;
    const ServiceInformation &found = facts.found();
    const auto add = [&names](const std::string &name) {
        if (!name.empty()) {
            names.push_back(name);
        }
    };
    if (const auto service = found.services().find(key); service != found.services().end()) {
        const Json record = facts.of(service->first, service->second);
        add(record["name"]);
        add(record.contains("channel_number") ? record["channel_number"].dump() : "");
    }
    for (const auto &[channelKey, channel] : found.channels()) {
        if (key.system == System::Atsc && channel.source == key.service) {
            const Json record = facts.of(channelKey, channel);
            add(record["long_name"]);
            add(record["name"]);
            add(record["channel"]);
        }
    }
    if (names.empty()) {
        names.push_back(locator(key));
    }
    std::string result = fmt::format("  <channel id=\"{}\">\n", channelId(key));
    for (const std::string &name : names) {
        result += element("display-name", {}, name);
    }
    return result + "  </channel>\n";
}

// ---- What the components of a programme are: EN 300 468, table 26 ----

std::string videoElement(const Component &component) {
    const unsigned int type = component.type;
    const bool mpeg2 = component.content == 1;
    const bool h264 = component.content == 5;
    const bool hevc = component.content == 9 && component.extension == 0;
    if ((!mpeg2 && !h264 && !hevc) || type == 0 || type > 0x10) {
        return {};
    }
    const bool high = hevc || type >= 0x09;
    const bool square = !hevc && (type & 3U) == 1;
    return fmt::format("    <video>\n      <present>yes</present>\n      <aspect>{}</aspect>\n{}    </video>\n",
                       square ? "4:3" : "16:9", high ? "      <quality>HDTV</quality>\n" : "");
}

std::string audioElement(const Component &component) {
    if (component.content != 2) {
        return {};
    }
    const char *const kind = component.type == 1   ? "mono"
                             : component.type == 2 ? "bilingual"
                             : component.type == 3 ? "stereo"
                             : component.type == 5 ? "surround"
                                                   : "";
    return *kind == 0 ? std::string() : fmt::format("    <audio>\n      <stereo>{}</stereo>\n    </audio>\n", kind);
}

std::string subtitlesElement(const Component &component) {
    if (component.content != 3) {
        return {};
    }
    const char *const kind = component.type == 0x01                             ? "teletext"
                             : component.type >= 0x10 && component.type <= 0x2F ? "onscreen"
                             : component.type == 0x30                           ? "deaf-signed"
                                                                                : "";
    const std::string language = languageText(component.language);
    return *kind == 0 ? std::string()
                      : fmt::format("    <subtitles type=\"{}\">\n      <language>{}</language>\n    </subtitles>\n",
                                    kind, escaped(language));
}

// ---- A programme ----

// The parts of a programme, in the order of the definition.
struct Programme {
    std::string titles;
    std::string subTitles;
    std::string descriptions;
    std::string categories;
    std::string video;
    std::string audio;
    std::string subtitles;
    std::string ratings;
};

std::string descriptionOf(const Json &event) {
    std::string result = event["extended"];
    for (const Json &item : event.value("items", Json::array())) {
        result += (result.empty() ? "" : "\n") + item["description"].get<std::string>() + ": " +
                  item["item"].get<std::string>();
    }
    return result;
}

// What one language says: a short text is a title of its own beside a longer one.
void addTexts(const Json &event, Programme &programme) {
    const std::string language = languageAttribute(event["language"]);
    const auto add = [&language](std::string &part, const char *name, const std::string &text) {
        part += text.empty() ? "" : element(name, language, text);
    };
    const std::string text = event["text"];
    const std::string description = descriptionOf(event);
    add(programme.titles, "title", event["name"]);
    add(programme.subTitles, "sub-title", description.empty() ? "" : text);
    add(programme.descriptions, "desc", description.empty() ? text : description);
}

void addCommon(const Json &record, const Event &event, Programme &programme) {
    for (const Json &genre : record.value("genres", Json::array())) {
        programme.categories += element("category", " lang=\"en\"", genre["name"]);
    }
    for (const Component &component : event.components) {
        programme.video += programme.video.empty() ? videoElement(component) : "";
        programme.audio += programme.audio.empty() ? audioElement(component) : "";
        programme.subtitles += subtitlesElement(component);
    }
    const auto addRating = [&programme](const std::string &system, const std::string &value) {
        programme.ratings += fmt::format("    <rating system=\"{}\">\n      <value>{}</value>\n    </rating>\n",
                                         escaped(system), escaped(value));
    };
    for (const Json &rating : record.value("ratings", Json::array())) {
        if (rating.contains("age")) {
            addRating(rating["country"], rating["age"].dump());
        }
        for (const Json &meaning : rating.value("meaning", Json::array())) {
            addRating("region " + rating["region"].dump(), meaning);
        }
    }
}

void writeProgramme(const Facts &facts, const EventKey &key, const Event &event, const Programme &programme) {
    const Seconds start = facts.found().startOf(key, event);
    if (start == unknownTime || programme.titles.empty()) {
        return;
    }
    write(fmt::format("  <programme{}{} channel=\"{}\">\n", timeAttribute("start", start),
                      event.duration == unknownTime ? std::string() : timeAttribute("stop", start + event.duration),
                      channelId(key.service)));
    write(programme.titles + programme.subTitles + programme.descriptions + programme.categories + programme.video +
          programme.audio + programme.subtitles + programme.ratings);
    write("  </programme>\n");
}

} // namespace

void writeXmltv(const Facts &facts, const Filter &filter) {
    const ServiceInformation &found = facts.found();
    std::set<ServiceKey> channels;
    for (const auto &[key, event] : found.events()) {
        if (filter.passes(key, event)) {
            channels.insert(key.service);
        }
    }
    for (const auto &[key, service] : found.services()) {
        if (filter.passes(RecordKind::Service, RecordKey(std::in_place_type<ServiceKey>, key))) {
            channels.insert(key);
        }
    }
    for (const auto &[key, channel] : found.channels()) {
        if (filter.passes(RecordKind::Channel, RecordKey(std::in_place_type<ChannelKey>, key))) {
            channels.insert({0, 0, channel.source, System::Atsc});
        }
    }
    write(fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE tv SYSTEM \"xmltv.dtd\">\n"
                      "<tv generator-info-name=\"zelk {}.{}.{}\">\n",
                      ZELK_VERSION_MAJOR, ZELK_VERSION_MINOR, ZELK_VERSION_PATCH));
    for (const ServiceKey &channel : channels) {
        write(channelElement(facts, channel));
    }
    const std::pair<const EventKey, Event> *last = nullptr;
    Programme programme;
    const auto finish = [&] {
        if (last != nullptr) {
            writeProgramme(facts, last->first, last->second, programme);
        }
        programme = {};
    };
    for (const auto *entry : inOrder(found)) {
        if (!filter.passes(entry->first, entry->second)) {
            continue;
        }
        const bool sameEvent =
            last != nullptr && last->first.service == entry->first.service && last->first.event == entry->first.event;
        if (!sameEvent) {
            finish();
        }
        const Json record = facts.of(entry->first, entry->second);
        addTexts(record, programme);
        if (!sameEvent) {
            addCommon(record, entry->second, programme);
        }
        last = entry;
    }
    finish();
    write("</tv>\n");
}

} // namespace zelk::tool
