// Makes a small DVB multiplex and the listing of what it says, both from one file of programmes in plain words:
//
//     make_multiplex programmes.json PIECE-TABLES multiplex.ts multiplex.expected.json
//
// The listing is written from the words themselves, never from decoded bytes, so a decoder that agrees with it has
// read the multiplex right.
#include "listing.h"
#include "text_encoder.h"

#include "helpers/sections.h"

#include <dvbpsi/dvbpsi.h>
#include <dvbpsi/psi.h>

#include <dvbpsi/descriptor.h>

#include <dvbpsi/bat.h>
#include <dvbpsi/eit.h>
#include <dvbpsi/nit.h>
#include <dvbpsi/pat.h>
#include <dvbpsi/sdt.h>

#include <dvbpsi/dr_40.h>
#include <dvbpsi/dr_47.h>
#include <dvbpsi/dr_48.h>
#include <dvbpsi/dr_4d.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using zelk_samples::Coding;
using zelk_samples::Json;
using zelk_samples::TextEncoder;
using zelk_test::bigEndian;
using zelk_test::loop;

constexpr std::uint16_t originalNetwork = 0x3201;
constexpr std::uint16_t ownStream = 1; // the multiplex itself; the other one is only announced
constexpr std::uint16_t otherStream = 2;
constexpr std::uint8_t earlierVersion = 4;
constexpr std::uint8_t laterVersion = 5;
constexpr std::size_t pieceLimit = 160; // bytes of an extended text in one descriptor

// ---- The programmes ----

struct Text {
    Coding coding;
    std::string words;
    std::string shown;
};

// What a receiver shows of the words: the line break code is a line feed, the emphasis codes are gone.
std::string shownOf(const std::string &words) {
    std::string result;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string_view two = std::string_view(words).substr(i, 2);
        if (two == "\u008A") {
            result += '\n';
            ++i;
        } else if (two == "\u0086" || two == "\u0087") {
            ++i;
        } else {
            result += words[i];
        }
    }
    return result;
}

std::string fromHex(const std::string &hex) {
    std::string result;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 3) {
        result += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return result;
}

struct Item {
    Text description;
    Text value;
};

struct Genre {
    std::uint8_t code = 0;
    std::string name;
};

struct Event {
    unsigned int id = 0;
    std::string start;
    std::string duration;
    Text name;
    Text earlierName; // of a first version of the schedule
    Text text;
    Text extended;
    std::vector<Item> items;
    std::vector<Genre> genres;
};

struct Service {
    std::uint16_t transportStream = ownStream;
    std::uint16_t id = 0;
    std::uint16_t channelNumber = 0; // 0: it has none
    std::string language;
    Text provider;
    Text name;
    std::vector<Event> events;
};

struct Group {
    std::uint16_t id = 0;
    Text name;
};

struct Time {
    std::string utc;
    std::string country;
    std::string offset; // "+01:00"
    std::string change;
    std::string nextOffset;
};

struct Programmes {
    Time time;
    std::vector<Group> networks;
    std::vector<Group> bouquets;
    std::vector<Service> services;
};

class ProgrammeReader {
public:
    explicit ProgrammeReader(const Json &file) {
        for (const auto &[name, coding] : file.at("codings").items()) {
            codings_[name] = {fromHex(coding.at("selector")), coding.at("characters")};
        }
    }

    // A text is a string in the coding of its service, or an object that names its own coding, and what is shown where
    // that differs.
    Text text(const Json &value, const std::string &coding) const {
        if (value.is_null()) {
            return {};
        }
        const std::string words = value.is_string() ? value : value.at("text");
        const std::string own = value.is_string() ? coding : value.value("coding", coding);
        const std::string shown = value.is_string() ? shownOf(words) : value.value("shown", shownOf(words));
        return {codings_.at(own), words, shown};
    }

    std::vector<Group> groups(const Json &values) const {
        std::vector<Group> result;
        for (const Json &value : values) {
            result.push_back({value.at("id"), text(value.at("name"), "default")});
        }
        return result;
    }

    Event event(const Json &value, const std::string &coding) const {
        Event result;
        result.start = value.at("start");
        result.duration = value.at("duration");
        result.name = text(value.at("name"), coding);
        result.earlierName = text(value.value("earlier_name", Json()), coding);
        result.text = text(value.value("text", Json()), coding);
        result.extended = text(value.value("extended", Json()), coding);
        if (value.contains("genre")) {
            result.genres.push_back({value["genre"].at("code"), value["genre"].at("name")});
        }
        for (const Json &item : value.value("items", Json::array())) {
            result.items.push_back({text(item.at(0), coding), text(item.at(1), coding)});
        }
        return result;
    }

    Service service(const Json &value) const {
        const std::string coding = value.at("coding");
        Service result;
        result.transportStream = value.value("transport_stream", ownStream);
        result.id = value.at("service");
        result.channelNumber = value.value("channel_number", std::uint16_t{0});
        result.language = value.at("language");
        result.provider = text(value.at("provider"), coding);
        result.name = text(value.at("name"), coding);
        for (const Json &entry : value.at("events")) {
            result.events.push_back(event(entry, coding));
            result.events.back().id = static_cast<unsigned int>(result.events.size());
        }
        return result;
    }

private:
    std::map<std::string, Coding> codings_;
};

Programmes readProgrammes(const std::string &path) {
    std::ifstream file(path);
    const Json json = Json::parse(file);
    const ProgrammeReader reader(json);
    const Json &time = json.at("time");
    Programmes result{
        {time.at("utc"), time.at("country"), time.at("offset"), time.at("change"), time.at("next_offset")},
        reader.groups(json.at("networks")),
        reader.groups(json.at("bouquets")),
        {}};
    for (const Json &service : json.at("services")) {
        result.services.push_back(reader.service(service));
    }
    return result;
}

// ---- The listing ----

Json namesOf(const std::vector<Group> &groups) {
    Json result = Json::array();
    for (const Group &group : groups) {
        result.push_back({{"id", group.id}, {"name", group.name.shown}});
    }
    return result;
}

Json keyOf(const Service &service) {
    return {
        {"original_network", originalNetwork}, {"transport_stream", service.transportStream}, {"service", service.id}};
}

Json listing(const Programmes &programmes) {
    Json services = Json::array();
    Json numbers = Json::array();
    Json events = Json::array();
    for (const Service &service : programmes.services) {
        Json record = keyOf(service);
        record["type"] = 1;
        record["name"] = service.name.shown;
        record["provider"] = service.provider.shown;
        record["running_status"] = "running";
        record["scrambled"] = false;
        if (service.channelNumber != 0) {
            record["channel_number"] = service.channelNumber;
            numbers.push_back({{"service", service.id}, {"number", service.channelNumber}, {"visible", true}});
        }
        services.push_back(record);
        for (const Event &event : service.events) {
            Json entry = keyOf(service);
            entry["event"] = event.id;
            entry["language"] = service.language;
            entry["position"] = event.id == 1 ? "present" : event.id == 2 ? "following" : "schedule";
            entry["start"] = event.start + ":00Z";
            entry["duration"] = event.duration + ":00";
            entry["running_status"] = event.id == 1 ? "running" : "not running";
            entry["scrambled"] = false;
            entry["name"] = event.name.shown;
            entry["text"] = event.text.shown;
            entry["extended"] = event.extended.shown;
            for (const Item &item : event.items) {
                entry["items"].push_back({{"description", item.description.shown}, {"item", item.value.shown}});
            }
            for (const Genre &genre : event.genres) {
                entry["genres"].push_back({{"code", genre.code}, {"name", genre.name}, {"user", 0}});
            }
            events.push_back(entry);
        }
    }
    Json streams = Json::array();
    for (const Group &network : programmes.networks) {
        streams.push_back({{"group", "network"},
                           {"id", network.id},
                           {"original_network", originalNetwork},
                           {"transport_stream", streams.empty() ? ownStream : otherStream}});
    }
    streams[0]["channel_numbers"] = numbers;
    const Time &time = programmes.time;
    const std::string utc = time.utc + ":00Z";
    const Json offset = {{"country", time.country},
                         {"region", 0},
                         {"offset", time.offset},
                         {"change", time.change + ":00Z"},
                         {"next_offset", time.nextOffset}};
    return {{"networks", namesOf(programmes.networks)},
            {"bouquets", namesOf(programmes.bouquets)},
            {"streams", streams},
            {"services", services},
            {"channels", Json::array()},
            {"events", events},
            {"times", Json::array({{{"table", "TDT"}, {"utc", utc}},
                                   {{"table", "TOT"}, {"utc", utc}, {"offsets", Json::array({offset})}}})}};
}

// ---- Sections ----

using Bytes = std::vector<std::uint8_t>;

// The handle that libdvbpsi's generators write their complaints to: each ends the program.
class Generator {
public:
    Generator() : handle_(dvbpsi_new(&Generator::complain, DVBPSI_MSG_ERROR)) { handle_->p_sys = this; }
    ~Generator() { dvbpsi_delete(handle_); }
    Generator(const Generator &) = delete;
    Generator &operator=(const Generator &) = delete;

    dvbpsi_t *get() const { return handle_; }

    // Takes a list of sections over. The library's generators know one table identifier for each kind of table and
    // number sections in their own way: what differs is set afterwards and the section is built again.
    template <class Change>
    void take(dvbpsi_psi_section_t *sections, std::vector<Bytes> &out, Change change) const {
        for (dvbpsi_psi_section_t *section = sections; section != nullptr; section = section->p_next) {
            change(*section);
            dvbpsi_BuildPSISection(handle_, section);
            out.emplace_back(section->p_data, section->p_data + 3 + section->i_length);
        }
        dvbpsi_DeletePSISections(sections);
        if (failed_) {
            throw std::runtime_error("a section could not be made");
        }
    }

private:
    static void complain(dvbpsi_t *handle, dvbpsi_msg_level_t /*level*/, const char *message) {
        std::cerr << message << '\n';
        static_cast<Generator *>(handle->p_sys)->failed_ = true;
    }

    dvbpsi_t *handle_;
    bool failed_ = false;
};

template <class Length, std::size_t size>
void put(const std::string &text, std::uint8_t (&bytes)[size], Length &length) {
    if (text.size() > size) {
        throw std::runtime_error("a text is too long for its descriptor");
    }
    std::copy(text.begin(), text.end(), bytes);
    length = static_cast<Length>(text.size());
}

// What libdvbpsi makes, and the function that takes it away.
template <auto remove>
struct Remover {
    template <class Made>
    void operator()(Made *made) const {
        remove(made);
    }
};
using Descriptor = std::unique_ptr<dvbpsi_descriptor_t, Remover<&dvbpsi_DeleteDescriptors>>;
using ProgramAssociation = std::unique_ptr<dvbpsi_pat_t, Remover<&dvbpsi_pat_delete>>;
using NetworkTable = std::unique_ptr<dvbpsi_nit_t, Remover<&dvbpsi_nit_delete>>;
using BouquetTable = std::unique_ptr<dvbpsi_bat_t, Remover<&dvbpsi_bat_delete>>;
using ServiceTable = std::unique_ptr<dvbpsi_sdt_t, Remover<&dvbpsi_sdt_delete>>;
using EventTable = std::unique_ptr<dvbpsi_eit_t, Remover<&dvbpsi_eit_delete>>;

Descriptor networkName(const std::string &name) {
    dvbpsi_network_name_dr_t content{};
    put(name, content.i_name_byte, content.i_name_length);
    return Descriptor(dvbpsi_GenNetworkNameDr(&content, false));
}

Descriptor bouquetName(const std::string &name) {
    dvbpsi_bouquet_name_dr_t content{};
    put(name, content.i_char, content.i_name_length);
    return Descriptor(dvbpsi_GenBouquetNameDr(&content, false));
}

Descriptor serviceNames(const std::string &provider, const std::string &name) {
    dvbpsi_service_dr_t content{};
    content.i_service_type = 1;
    put(provider, content.i_service_provider_name, content.i_service_provider_name_length);
    put(name, content.i_service_name, content.i_service_name_length);
    return Descriptor(dvbpsi_GenServiceDr(&content, false));
}

Descriptor shortEvent(const std::string &language, const std::string &name, const std::string &text) {
    dvbpsi_short_event_dr_t content{};
    std::copy_n(language.begin(), sizeof content.i_iso_639_code, content.i_iso_639_code);
    put(name, content.i_event_name, content.i_event_name_length);
    put(text, content.i_text, content.i_text_length);
    if (5 + name.size() + text.size() > 255) {
        throw std::runtime_error("a name and its text are too long for one descriptor");
    }
    return Descriptor(dvbpsi_GenShortEventDr(&content, false));
}

Descriptor descriptorOf(std::uint8_t tag, std::string content) {
    if (content.size() > 255) {
        throw std::runtime_error("a descriptor is too long");
    }
    return Descriptor(dvbpsi_NewDescriptor(tag, static_cast<std::uint8_t>(content.size()),
                                           reinterpret_cast<std::uint8_t *>(content.data())));
}

// Written here because libdvbpsi's own generator of this descriptor writes its items over the byte that counts them.
Descriptor extendedEvent(std::size_t number, std::size_t last, const std::string &language, const std::string &items,
                         const std::string &text) {
    std::string content;
    content += static_cast<char>(number << 4U | last);
    content += language;
    content += static_cast<char>(items.size());
    content += items;
    content += static_cast<char>(text.size());
    content += text;
    return descriptorOf(0x4E, content);
}

// Decimal digits two to a byte, as times are broadcast.
unsigned int bcd(const std::string &twoDigits) {
    return static_cast<unsigned int>(std::stoi(twoDigits, nullptr, 16));
}

// "2026-03-01T18:00" as Modified Julian Date and time of day.
std::uint64_t startTime(const std::string &start) {
    using namespace std::chrono;
    const year_month_day date(year(std::stoi(start.substr(0, 4))),
                              month(static_cast<unsigned int>(std::stoi(start.substr(5, 2)))),
                              day(static_cast<unsigned int>(std::stoi(start.substr(8, 2)))));
    const sys_days epoch = year(1858) / November / 17;
    const auto modifiedJulianDate = static_cast<std::uint64_t>((sys_days(date) - epoch).count());
    return modifiedJulianDate << 24U | bcd(start.substr(11, 2)) << 16U | bcd(start.substr(14, 2)) << 8U;
}

std::uint32_t durationOf(const std::string &duration) {
    return bcd(duration.substr(0, 2)) << 16U | bcd(duration.substr(3, 2)) << 8U;
}

// Where receivers list a service: a private descriptor that most countries share.
Descriptor channelNumbers(const std::vector<Service> &services) {
    constexpr unsigned int visible = 0xFC00;
    std::string content;
    for (const Service &service : services) {
        if (service.channelNumber != 0) {
            content += bigEndian(service.id, 2) + bigEndian(visible | service.channelNumber, 2);
        }
    }
    return descriptorOf(0x83, content);
}

Descriptor content(const std::vector<Genre> &genres) {
    std::string bytes;
    for (const Genre &genre : genres) {
        bytes += bigEndian(genre.code, 1) + '\0';
    }
    return descriptorOf(0x54, bytes);
}

class Tables {
public:
    Tables(const Programmes &programmes, const TextEncoder &encoder) : programmes_(programmes), encoder_(encoder) {}

    std::vector<Bytes> programAssociation() const {
        const ProgramAssociation pat(dvbpsi_pat_new(ownStream, laterVersion, true));
        dvbpsi_pat_program_add(pat.get(), 0, 0x0010);
        std::vector<Bytes> sections;
        generator_.take(dvbpsi_pat_sections_generate(generator_.get(), pat.get(), 0), sections, [](auto &) {});
        return sections;
    }

    std::vector<Bytes> networks() const {
        std::vector<Bytes> sections;
        std::uint8_t table = 0x40; // the first network is the one that carries this multiplex
        for (const Group &network : programmes_.networks) {
            const NetworkTable nit(dvbpsi_nit_new(table, network.id, network.id, laterVersion, true));
            const Descriptor name = networkName(encode(network.name));
            dvbpsi_nit_descriptor_add(nit.get(), name->i_tag, name->i_length, name->p_data);
            dvbpsi_nit_ts_t *const stream =
                dvbpsi_nit_ts_add(nit.get(), table == 0x40 ? ownStream : otherStream, originalNetwork);
            if (table == 0x40) {
                const Descriptor numbers = channelNumbers(programmes_.services);
                dvbpsi_nit_ts_descriptor_add(stream, numbers->i_tag, numbers->i_length, numbers->p_data);
            }
            generator_.take(dvbpsi_nit_sections_generate(generator_.get(), nit.get(), table), sections, [](auto &) {});
            table = 0x41;
        }
        return sections;
    }

    // Without a loop of transport streams: libdvbpsi's generator counts a byte too many there.
    std::vector<Bytes> bouquets() const {
        std::vector<Bytes> sections;
        for (const Group &bouquet : programmes_.bouquets) {
            const BouquetTable bat(dvbpsi_bat_new(0x4A, bouquet.id, laterVersion, true));
            const Descriptor name = bouquetName(encode(bouquet.name));
            dvbpsi_bat_bouquet_descriptor_add(bat.get(), name->i_tag, name->i_length, name->p_data);
            generator_.take(dvbpsi_bat_sections_generate(generator_.get(), bat.get()), sections, [](auto &) {});
        }
        return sections;
    }

    // A few services at a time: libdvbpsi's generator does not see that a service no longer fits its section.
    std::vector<Bytes> services() const {
        constexpr std::size_t atATime = 8;
        std::vector<Bytes> sections;
        for (const std::uint16_t stream : {ownStream, otherStream}) {
            std::vector<const Service *> services;
            for (const Service &service : programmes_.services) {
                if (service.transportStream == stream) {
                    services.push_back(&service);
                }
            }
            const std::uint8_t table = stream == ownStream ? 0x42 : 0x46;
            for (std::size_t from = 0; from < services.size(); from += atATime) {
                const ServiceTable sdt(dvbpsi_sdt_new(table, stream, laterVersion, true, originalNetwork));
                for (std::size_t i = from; i < std::min(from + atATime, services.size()); ++i) {
                    const Service &service = *services[i];
                    dvbpsi_sdt_service_t *entry = dvbpsi_sdt_service_add(sdt.get(), service.id, true, true, 4, false);
                    const Descriptor names = serviceNames(encode(service.provider), encode(service.name));
                    dvbpsi_sdt_service_descriptor_add(entry, names->i_tag, names->i_length, names->p_data);
                }
                generator_.take(dvbpsi_sdt_sections_generate(generator_.get(), sdt.get()), sections,
                                [&](dvbpsi_psi_section_t &section) {
                                    section.i_table_id = table;
                                    section.i_number = static_cast<std::uint8_t>(from / atATime);
                                    section.i_last_number = static_cast<std::uint8_t>((services.size() - 1) / atATime);
                                });
            }
        }
        return sections;
    }

    // The present event in section 0 and the following one in section 1.
    std::vector<Bytes> presentAndFollowing(const Service &service) const {
        std::vector<Bytes> sections;
        const std::size_t count = std::min<std::size_t>(service.events.size(), 2);
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint8_t table = service.transportStream == ownStream ? 0x4E : 0x4F;
            takeEvents(service, {&service.events[i]}, table, laterVersion, sections,
                       [i, count](dvbpsi_psi_section_t &section) {
                           section.i_number = static_cast<std::uint8_t>(i);
                           section.i_last_number = static_cast<std::uint8_t>(count - 1);
                           section.p_data[12] = section.i_last_number; // of the segment
                       });
        }
        return sections;
    }

    // The schedule leaves the long texts to the table of present and following events where an event stands in both.
    std::vector<Bytes> schedule(const Service &service, std::uint8_t version) const {
        std::vector<const Event *> events;
        for (const Event &event : service.events) {
            events.push_back(&event);
        }
        std::vector<Bytes> sections;
        const std::uint8_t table = service.transportStream == ownStream ? 0x50 : 0x60;
        takeEvents(service, events, table, version, sections, [](auto &) {});
        return sections;
    }

    // libdvbpsi's generator gives the short sections of these no checksum.
    std::vector<Bytes> times() const {
        const Time &time = programmes_.time;
        const std::string utc = bigEndian(startTime(time.utc), 5);
        const auto clock = [](const std::string &offset) { return bigEndian(durationOf(offset.substr(1)) >> 8U, 2); };
        const std::string offset = time.country + bigEndian(0x02U | (time.offset[0] == '-' ? 1U : 0U), 1) +
                                   clock(time.offset) + bigEndian(startTime(time.change), 5) + clock(time.nextOffset);
        const std::string date = zelk_test::shortSection(0x70, utc, false);
        const std::string withOffset =
            zelk_test::shortSection(0x73, utc + loop(zelk_test::descriptor(0x58, offset)), true);
        return {{date.begin(), date.end()}, {withOffset.begin(), withOffset.end()}};
    }

private:
    std::string encode(const Text &text) const { return encoder_.encode(text.coding, text.words); }

    static void add(dvbpsi_eit_event_t *entry, const Descriptor &descriptor) {
        dvbpsi_eit_event_descriptor_add(entry, descriptor->i_tag, descriptor->i_length, descriptor->p_data);
    }

    void addExtended(dvbpsi_eit_event_t *entry, const Service &service, const Event &event) const {
        std::string items;
        for (const Item &item : event.items) {
            for (const Text *text : {&item.description, &item.value}) {
                const std::string bytes = encode(*text);
                items += static_cast<char>(bytes.size());
                items += bytes;
            }
        }
        const std::vector<std::string> pieces =
            encoder_.encodePieces(event.extended.coding, event.extended.words, pieceLimit);
        for (std::size_t i = 0; i < pieces.size(); ++i) {
            add(entry, extendedEvent(i, pieces.size() - 1, service.language, i == 0 ? items : "", pieces[i]));
        }
    }

    template <class Change>
    void takeEvents(const Service &service, const std::vector<const Event *> &events, std::uint8_t table,
                    std::uint8_t version, std::vector<Bytes> &sections, Change change) const {
        const EventTable eit(
            dvbpsi_eit_new(table, service.id, version, true, service.transportStream, originalNetwork, 0, table));
        for (const Event *event : events) {
            const bool earlier = version == earlierVersion && !event->earlierName.words.empty();
            dvbpsi_eit_event_t *entry =
                dvbpsi_eit_event_add(eit.get(), static_cast<std::uint16_t>(event->id), startTime(event->start),
                                     durationOf(event->duration), event->id == 1 ? 4 : 1, false, 0);
            add(entry,
                shortEvent(service.language, encode(earlier ? event->earlierName : event->name), encode(event->text)));
            if (!event->genres.empty()) {
                add(entry, content(event->genres));
            }
            const bool elsewhere = table >= 0x50 && event->id <= 2;
            if (!elsewhere) {
                addExtended(entry, service, *event);
            }
        }
        generator_.take(dvbpsi_eit_sections_generate(generator_.get(), eit.get(), table), sections, change);
    }

    const Programmes &programmes_;
    const TextEncoder &encoder_;
    Generator generator_;
};

// ---- Packets ----

class Multiplex {
public:
    explicit Multiplex(const std::string &path) : file_(path, std::ios::binary) {}

    // Sends sections one behind the other; the last packet is filled up.
    void send(std::uint16_t pid, const std::vector<Bytes> &sections) {
        Bytes queue;
        std::vector<std::size_t> starts;
        for (const Bytes &section : sections) {
            starts.push_back(queue.size());
            queue.insert(queue.end(), section.begin(), section.end());
        }
        for (std::size_t at = 0; at < queue.size();) {
            const auto start = std::lower_bound(starts.begin(), starts.end(), at);
            const bool begins = start != starts.end() && *start < at + 183;
            // A section may not begin in a packet that does not say so: an empty adaptation field takes its byte.
            const bool tight = start != starts.end() && *start == at + 183;
            const std::size_t count = std::min<std::size_t>(begins || tight ? 183 : 184, queue.size() - at);
            const unsigned int counter = continuity_[pid]++ % 16U;
            Bytes packet{0x47, static_cast<std::uint8_t>((begins ? 0x40U : 0U) | pid >> 8U),
                         static_cast<std::uint8_t>(pid), static_cast<std::uint8_t>((tight ? 0x30U : 0x10U) | counter)};
            if (begins || tight) {
                packet.push_back(tight ? 0 : static_cast<std::uint8_t>(*start - at));
            }
            const auto from = queue.begin() + static_cast<std::ptrdiff_t>(at);
            packet.insert(packet.end(), from, from + static_cast<std::ptrdiff_t>(count));
            packet.resize(188, 0xFF);
            file_.write(reinterpret_cast<const char *>(packet.data()), 188);
            at += count;
        }
    }

private:
    std::ofstream file_;
    std::map<std::uint16_t, unsigned int> continuity_;
};

void makeMultiplex(const Programmes &programmes, const TextEncoder &encoder, const std::string &path) {
    const Tables tables(programmes, encoder);
    Multiplex multiplex(path);
    // Two rounds, as a receiver that waits would see; the first still has the earlier schedule.
    for (const std::uint8_t version : {earlierVersion, laterVersion}) {
        multiplex.send(0x0000, tables.programAssociation());
        multiplex.send(0x0010, tables.networks());
        multiplex.send(0x0011, tables.services());
        multiplex.send(0x0011, tables.bouquets());
        std::vector<Bytes> events;
        for (const Service &service : programmes.services) {
            const bool changes = std::any_of(service.events.begin(), service.events.end(),
                                             [](const Event &event) { return !event.earlierName.words.empty(); });
            if (version == laterVersion || changes) {
                for (const Bytes &section : tables.schedule(service, version)) {
                    events.push_back(section);
                }
            }
            if (version == laterVersion) {
                for (const Bytes &section : tables.presentAndFollowing(service)) {
                    events.push_back(section);
                }
            }
        }
        multiplex.send(0x0012, events);
        multiplex.send(0x0014, tables.times());
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 5) {
        std::cerr << "usage: make_multiplex programmes.json PIECE-TABLES multiplex.ts multiplex.expected.json\n";
        return 2;
    }
    try {
        const Programmes programmes = readProgrammes(argv[1]);
        makeMultiplex(programmes, TextEncoder(argv[2]), argv[3]);
        zelk_samples::writeListing(argv[4], listing(programmes));
    } catch (const std::exception &error) {
        std::cerr << "make_multiplex: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
