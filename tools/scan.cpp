// `zelk scan`: lists the networks, bouquets, services and events of a transport stream with their decoded texts.
#include "command.h"
#include "commands.h"
#include "dvb_text.h"
#include "service_information.h"
#include "stream.h"
#include "stream_inventory.h"
#include "text.h"
#include "transport_stream.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <optional>
#include <tuple>
#include <unistd.h>

namespace zelk::tool {

namespace {

struct ScanOptions {
    std::string file = "-";
    DvbSettings dvb;
    bool json = false;
    bool csv = false;
    bool ndjson = false;
    bool follow = false;
    std::size_t limit = 0;    // records; 0 is all
    unsigned int seconds = 0; // 0 is to the end
    Colour colour = Colour::Auto;
};

// ---- What a record says, decoded ----

struct ScannedItem {
    std::string description;
    std::string value;
};

struct ScannedEvent {
    std::string start;    // "2026-03-01T20:15:00Z", or empty when it is not known
    std::string duration; // "01:30:00", likewise
    std::string name;
    std::string text;
    std::string extended;
    std::vector<ScannedItem> items;
};

std::optional<unsigned int> fromBcd(std::uint8_t byte, unsigned int limit) {
    const unsigned int tens = byte >> 4U;
    const unsigned int ones = byte & 0x0FU;
    const unsigned int value = tens * 10 + ones;
    return tens < 10 && ones < 10 && value < limit ? std::optional(value) : std::nullopt;
}

std::string timeOfDay(const std::uint8_t *bcd, unsigned int hourLimit) {
    const auto hours = fromBcd(bcd[0], hourLimit);
    const auto minutes = fromBcd(bcd[1], 60);
    const auto seconds = fromBcd(bcd[2], 60);
    return hours && minutes && seconds ? fmt::format("{:02}:{:02}:{:02}", *hours, *minutes, *seconds) : std::string();
}

std::string startTime(const std::array<std::uint8_t, 5> &start) {
    const std::string time = timeOfDay(&start[2], 24);
    if (time.empty()) {
        return {};
    }
    using namespace std::chrono;
    const sys_days modifiedJulianEpoch = year{1858} / November / 17;
    const year_month_day date = modifiedJulianEpoch + days{start[0] << 8U | start[1]};
    return fmt::format("{}-{:02}-{:02}T{}Z", static_cast<int>(date.year()), static_cast<unsigned int>(date.month()),
                       static_cast<unsigned int>(date.day()), time);
}

// The bytes at the head of a text that name its character table.
std::string_view selectorOf(const std::string &text) {
    dvbCharSet_t region = DvbCharSetStandard;
    DvbCode_t code = DvbCodeNone;
    const std::size_t length = zelk_dvbGetDvbCode(text.c_str(), &region, &code, nullptr, DvbCodeNone, 0);
    return std::string_view(text).substr(0, length);
}

// Broadcasters cut a long text anywhere, between a mark and its letter too, and repeat the selector before each piece:
// pieces of one selector are joined before they are decoded. Compressed pieces each stand for themselves. A line break
// at the head of a later piece is no selector when the first one had none.
std::string decodePieces(DvbReader &reader, const std::map<std::uint8_t, ExtendedPiece> &pieces) {
    constexpr char compressed = 0x1F;
    std::string result;
    std::string run;
    for (const auto &[number, piece] : pieces) {
        if (piece.text.empty()) {
            continue;
        }
        const std::string_view selector = selectorOf(piece.text);
        const std::string_view runSelector = selectorOf(run);
        const bool lineBreak = piece.text.front() == '\n' || piece.text.front() == '\r';
        if (run.empty()) {
            run = piece.text;
        } else if (runSelector.empty() && lineBreak) {
            run += piece.text;
        } else if (selector == runSelector && piece.text.front() != compressed) {
            run += piece.text.substr(selector.size());
        } else {
            result += reader.text(run);
            run = piece.text;
        }
    }
    return result + reader.text(run);
}

ScannedEvent decodeEvent(DvbReader &reader, const Event &event) {
    ScannedEvent result;
    result.start = startTime(event.start);
    result.duration = timeOfDay(event.duration.data(), 100);
    result.name = reader.text(event.name);
    result.text = reader.text(event.text);
    result.extended = decodePieces(reader, event.extended);
    for (const auto &[number, piece] : event.extended) {
        for (const ExtendedItem &item : piece.items) {
            result.items.push_back({reader.text(item.description), reader.text(item.value)});
        }
    }
    return result;
}

// The three numbers that name a service, as in a dvb:// locator.
std::string locator(const ServiceKey &key) {
    return fmt::format("{:04x}.{:04x}.{:04x}", key.originalNetwork, key.transportStream, key.service);
}

// Events in the order in which a viewer meets them.
std::vector<const std::pair<const EventKey, Event> *> inOrder(const std::map<EventKey, Event> &events) {
    std::vector<const std::pair<const EventKey, Event> *> order;
    order.reserve(events.size());
    for (const auto &event : events) {
        order.push_back(&event);
    }
    std::stable_sort(order.begin(), order.end(), [](const auto *a, const auto *b) {
        return std::tie(a->first.service, a->second.start) < std::tie(b->first.service, b->second.start);
    });
    return order;
}

// ---- Output ----

std::string languageText(const std::string &language) {
    std::string result;
    for (const char letter : language) {
        result += letter >= 'a' && letter <= 'z' ? letter : '?';
    }
    return result;
}

void writeTable(const ServiceInformation &found, DvbReader &reader, bool colour) {
    const auto decoded = [&reader](const std::string &text) { return printable(reader.text(text)); };
    bool first = true;
    const auto show = [&first, colour](const Table &table) {
        write(first ? "" : "\n");
        write(table.format(colour));
        first = false;
    };
    const auto showGroups = [&](const char *heading, const std::map<std::uint16_t, NamedGroup> &groups) {
        if (groups.empty()) {
            return;
        }
        Table table({heading, "NAME"});
        for (const auto &[id, group] : groups) {
            table.add({fmt::format("{:04x}", id), decoded(group.name)});
        }
        show(table);
    };
    showGroups("NETWORK", found.networks());
    showGroups("BOUQUET", found.bouquets());
    if (!found.services().empty()) {
        Table table({"SERVICE", "TYPE", "NAME", "PROVIDER"});
        for (const auto &[key, service] : found.services()) {
            table.add(
                {locator(key), fmt::format("{:02x}", service.type), decoded(service.name), decoded(service.provider)});
        }
        show(table);
    }
    if (!found.events().empty()) {
        Table table({"SERVICE", "EVENT", "START", "DURATION", "LANGUAGE", "NAME", "TEXT"});
        for (const auto *entry : inOrder(found.events())) {
            const auto &[key, event] = *entry;
            const ScannedEvent scanned = decodeEvent(reader, event);
            const bool both = !scanned.text.empty() && !scanned.extended.empty();
            std::string text = scanned.text + (both ? "\n" : "") + scanned.extended;
            for (const ScannedItem &item : scanned.items) {
                text += (text.empty() ? "" : "\n") + item.description + ": " + item.value;
            }
            table.add({locator(key.service), fmt::format("{:04x}", key.event), scanned.start, scanned.duration,
                       languageText(key.language), printable(scanned.name), printable(text)});
        }
        show(table);
    }
}

// One document with one record on each line, written as it is made.
class JsonDocument {
public:
    JsonDocument() { write("{"); }

    template <class Records, class Convert>
    void array(const char *name, const Records &records, Convert convert) {
        write(fmt::format("{}\n\"{}\": [", firstArray_ ? "" : ",", name));
        firstArray_ = false;
        bool firstRecord = true;
        for (const auto &record : records) {
            std::string line = jsonLine(convert(record));
            line.pop_back();
            write(firstRecord ? "\n" : ",\n");
            write(line);
            firstRecord = false;
        }
        write(firstRecord ? "]" : "\n]");
    }
    static void end() { write("\n}\n"); }

private:
    bool firstArray_ = true;
};

Json jsonKey(const ServiceKey &key) {
    return {
        {"original_network", key.originalNetwork}, {"transport_stream", key.transportStream}, {"service", key.service}};
}

Json jsonGroup(std::uint16_t id, const NamedGroup &group, DvbReader &reader) {
    return {{"id", id}, {"name", reader.text(group.name)}};
}

Json jsonService(const ServiceKey &key, const Service &service, DvbReader &reader) {
    Json record = jsonKey(key);
    record["type"] = service.type;
    record["name"] = reader.text(service.name);
    record["provider"] = reader.text(service.provider);
    return record;
}

Json jsonItems(const ScannedEvent &event) {
    Json items = Json::array();
    for (const ScannedItem &item : event.items) {
        items.push_back({{"description", item.description}, {"item", item.value}});
    }
    return items;
}

Json jsonEvent(const EventKey &key, const Event &event, DvbReader &reader) {
    const ScannedEvent scanned = decodeEvent(reader, event);
    const auto known = [](const std::string &time) { return time.empty() ? Json() : Json(time); };
    Json record = jsonKey(key.service);
    record["event"] = key.event;
    record["language"] = languageText(key.language);
    record["start"] = known(scanned.start);
    record["duration"] = known(scanned.duration);
    record["name"] = scanned.name;
    record["text"] = scanned.text;
    record["extended"] = scanned.extended;
    if (!scanned.items.empty()) {
        record["items"] = jsonItems(scanned);
    }
    return record;
}

void writeJson(const ServiceInformation &found, DvbReader &reader) {
    const auto group = [&reader](const auto &entry) { return jsonGroup(entry.first, entry.second, reader); };
    JsonDocument document;
    document.array("networks", found.networks(), group);
    document.array("bouquets", found.bouquets(), group);
    document.array("services", found.services(),
                   [&reader](const auto &entry) { return jsonService(entry.first, entry.second, reader); });
    document.array("events", inOrder(found.events()),
                   [&reader](const auto *entry) { return jsonEvent(entry->first, entry->second, reader); });
    JsonDocument::end();
}

// ---- As it comes ----

const char *kindName(RecordKind kind) {
    switch (kind) {
    case RecordKind::Network:
        return "network";
    case RecordKind::Bouquet:
        return "bouquet";
    case RecordKind::Service:
        return "service";
    case RecordKind::Event:
        break;
    }
    return "event";
}

// Writes a line for each record: all of them as JSON, or those alone that a later version of a table brought or
// changed.
class LiveWriter {
public:
    LiveWriter(const ScanOptions &options, const ServiceInformation &found, DvbReader &reader)
        : options_(options), found_(found), reader_(reader) {}

    void take(const Announcement &said) {
        if (full() || (options_.follow && (!said.later || !(said.isNew || said.differs)))) {
            return;
        }
        ++written_;
        write(options_.ndjson ? jsonLine(describe(said)) : line(said));
    }

    bool full() const { return options_.limit != 0 && written_ >= options_.limit; }

private:
    Json record(const Announcement &said) {
        switch (said.kind) {
        case RecordKind::Network:
            return jsonGroup(said.group, found_.networks().at(said.group), reader_);
        case RecordKind::Bouquet:
            return jsonGroup(said.group, found_.bouquets().at(said.group), reader_);
        case RecordKind::Service:
            return jsonService(said.key.service, found_.services().at(said.key.service), reader_);
        case RecordKind::Event:
            break;
        }
        return jsonEvent(said.key, found_.events().at(said.key), reader_);
    }

    // The type of a service is a number of its own: what kind of record this is goes by "type" in every line, and the
    // service's number by "service_type".
    Json describe(const Announcement &said) {
        Json result = {
            {"type", kindName(said.kind)}, {"table_id", said.origin.table}, {"version", said.origin.version}};
        if (options_.follow) {
            result["change"] = said.isNew ? "new" : "changed";
            if (!said.isNew) {
                result["former_name"] = reader_.text(said.formerName);
            }
        }
        const Json facts = record(said);
        for (const auto &[name, value] : facts.items()) {
            result[name == "type" ? "service_type" : name] = value;
        }
        return result;
    }

    std::string line(const Announcement &said) {
        const Json facts = record(said);
        std::string result = kindName(said.kind);
        if (said.kind == RecordKind::Service || said.kind == RecordKind::Event) {
            result += ' ' + locator(said.key.service);
        } else {
            result += fmt::format(" {:04x}", said.group);
        }
        if (said.kind == RecordKind::Event) {
            result += fmt::format(" {:04x} {}", said.key.event, facts["start"].is_null() ? "-" : facts["start"]);
        }
        const std::string name = facts["name"];
        const std::string former = reader_.text(said.formerName);
        const bool renamed = !said.isNew && name != former;
        return result +
               (said.isNew ? " new: "
                : renamed  ? " renamed: "
                           : " changed: ") +
               (renamed ? printable(former) + " -> " : "") + printable(name) + '\n';
    }

    const ScanOptions &options_;
    const ServiceInformation &found_;
    DvbReader &reader_;
    std::size_t written_ = 0;
};

// A field as in RFC 4180: in quotes when it holds a separator, a quote or a line break; quotes within are doubled.
std::string csvField(const std::string &text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string result = "\"";
    for (const char c : text) {
        result.append(c == '"' ? 2 : 1, c);
    }
    return result + '"';
}

void writeCsvRow(const std::vector<std::string> &fields) {
    std::string line;
    for (const std::string &field : fields) {
        line += csvField(field) + ',';
    }
    line.pop_back();
    write(line + "\r\n");
}

// The facts of the JSON document, a record on each row; a list of items stands in its field as JSON.
void writeCsv(const ServiceInformation &found, DvbReader &reader) {
    const auto number = [](unsigned int value) { return std::to_string(value); };
    writeCsvRow({"kind", "network", "transport_stream", "service", "event", "start", "duration", "language", "name",
                 "provider", "text", "extended", "type", "items"});
    const auto writeGroups = [&](const char *kind, const std::map<std::uint16_t, NamedGroup> &groups) {
        for (const auto &[id, group] : groups) {
            writeCsvRow({kind, number(id), "", "", "", "", "", "", reader.text(group.name), "", "", "", "", ""});
        }
    };
    writeGroups("network", found.networks());
    writeGroups("bouquet", found.bouquets());
    for (const auto &[key, service] : found.services()) {
        writeCsvRow({"service", number(key.originalNetwork), number(key.transportStream), number(key.service), "", "",
                     "", "", reader.text(service.name), reader.text(service.provider), "", "", number(service.type),
                     ""});
    }
    for (const auto *entry : inOrder(found.events())) {
        const auto &[key, event] = *entry;
        const ScannedEvent scanned = decodeEvent(reader, event);
        writeCsvRow({"event", number(key.service.originalNetwork), number(key.service.transportStream),
                     number(key.service.service), number(key.event), scanned.start, scanned.duration,
                     languageText(key.language), scanned.name, "", scanned.text, scanned.extended, "",
                     scanned.items.empty() ? "" : jsonItems(scanned).dump()});
    }
}

// ---- Progress and report ----

// A bar on standard error, on a terminal only and only once reading has taken noticeable time.
class Progress {
public:
    explicit Progress(const std::string &file) : shown_(isatty(STDERR_FILENO) != 0), drawn_(Clock::now()) {
        std::error_code failed;
        const std::uintmax_t size = file == "-" ? 0 : std::filesystem::file_size(file, failed);
        size_ = failed ? 0 : size;
    }
    ~Progress() {
        if (visible_) {
            fmt::print(stderr, "\r\x1B[K");
        }
    }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void tell(std::uint64_t bytes) {
        if (!shown_ || Clock::now() - drawn_ < std::chrono::milliseconds(200)) {
            return;
        }
        drawn_ = Clock::now();
        visible_ = true;
        if (size_ == 0) {
            fmt::print(stderr, "\r\x1B[K{} MiB", bytes >> 20U);
        } else {
            constexpr std::uint64_t width = 40;
            const std::uint64_t done = std::min<std::uint64_t>(bytes, size_);
            fmt::print(stderr, "\r\x1B[K[{:<{}}] {:3} %", std::string(done * width / size_, '#'), width,
                       done * 100 / size_);
        }
        (void)std::fflush(stderr);
    }

private:
    using Clock = std::chrono::steady_clock;

    bool shown_;
    bool visible_ = false;
    std::uint64_t size_ = 0;
    Clock::time_point drawn_;
};

void report(const std::string &name, const StreamCounts &stream, const SectionCounts &sections) {
    const auto tell = [&name](std::uint64_t count, const char *one, const char *many) {
        if (count != 0) {
            fmt::print(stderr, "zelk scan: {}: {} {}\n", name, count, count == 1 ? one : many);
        }
    };
    tell(stream.skippedBytes, "byte between packets skipped", "bytes between packets skipped");
    tell(stream.damagedPackets + sections.damagedPackets, "damaged packet", "damaged packets");
    tell(sections.discontinuities, "discontinuity", "discontinuities");
    tell(sections.badSections, "section with a wrong checksum or length", "sections with a wrong checksum or length");
    tell(sections.brokenSections, "section broken off", "sections broken off");
    tell(sections.malformed, "malformed entry", "malformed entries");
    tell(sections.dropped, "record left out: too many for one scan", "records left out: too many for one scan");
    tell(stream.truncatedBytes, "byte of an unfinished packet at the end", "bytes of an unfinished packet at the end");
}

ExitStatus runScan(const ScanOptions &options) {
    const bool live = options.ndjson || options.follow;
    if (options.follow && (options.json || options.csv)) {
        failInput("expected --follow alone or with --ndjson");
    }
    endInputOnSignals();
    Input input(options.file);
    if (options.seconds != 0) {
        input.endAt(Input::Clock::now() + std::chrono::seconds(options.seconds));
    }
    PacketReader packets(input);
    if (!packets.open()) {
        failInput("{}: expected a transport stream, found no packets", input.name());
    }
    ServiceInformation found;
    StreamInventory inventory;
    DvbReader reader(options.dvb);
    LiveWriter writer(options, found, reader);
    if (live) {
        found.watch([&writer](const Announcement &said) { writer.take(said); });
    }
    {
        Progress progress(options.file);
        const Packet *packet = nullptr;
        const auto full = [&] { return live ? writer.full() : options.limit != 0 && found.records() >= options.limit; };
        while (!full() && (packet = packets.next()) != nullptr) {
            found.push(*packet);
            if (found.counts().sections == 0) {
                inventory.push(*packet);
            }
            if (packets.counts().packets % 1024 == 0) {
                progress.tell(packets.counts().bytes);
            }
        }
        found.finish();
    }
    if (options.json) {
        writeJson(found, reader);
    } else if (options.csv) {
        writeCsv(found, reader);
    } else if (!live) {
        writeTable(found, reader, useColour(options.colour));
    }
    flushOutput();
    report(input.name(), packets.counts(), found.counts());
    reportUnread("scan", input.name(), reader.unread());
    if (found.counts().sections == 0) {
        fmt::print(stderr, "zelk scan: {}: found no service information; seen: {}; missing: {}\n", input.name(),
                   inventory.seen(), inventory.missing());
        return ExitNegative;
    }
    return ExitOk;
}

void declareScan(CLI::App &command, ScanOptions &options) {
    command.add_option("file", options.file, "Transport stream to read; none, or -, is standard input")
        ->type_name("FILE");
    addDvbOptions(command, options.dvb);
    CLI::Option *const json = command.add_flag("--json", options.json, "Write one JSON document");
    command.add_flag("--csv", options.csv, "Write comma-separated values (RFC 4180)")->excludes(json);
    command.add_flag("--ndjson", options.ndjson, "Write each record as it comes, one JSON object a line")
        ->excludes("--json")
        ->excludes("--csv");
    command.add_flag("--follow", options.follow, "Write only what a later version of a table brings or changes");
    command.add_option("--limit", options.limit, "End after COUNT records")
        ->type_name("COUNT")
        ->check(numberFrom(1, 1000000000));
    command.add_option("--duration", options.seconds, "End after SECONDS")
        ->type_name("SECONDS")
        ->check(numberFrom(1, 1000000000));
    addColourOption(command, options.colour);
    command.footer("Packets of 188, 192 and 204 bytes are told apart. Damage is counted on standard error and never "
                   "fatal.\nExit status: 0 success; 1 no service information found; 2 wrong usage or not a transport "
                   "stream; 3 a file could not be "
                   "read or written.");
}

} // namespace

void addScanCommand(CLI::App &app) {
    addCommand<ScanOptions>(app,
                            {"scan", "List services, networks, bouquets and events of a transport stream", group::dvb},
                            declareScan, runScan);
}

} // namespace zelk::tool
