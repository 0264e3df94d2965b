// What a broadcast announces, as records: networks, bouquets, services and events of DVB (ETSI EN 300 468), channels
// and events of ATSC (A/65), and the time. Texts are bytes as broadcast, undecoded.
#pragma once

#include <compare>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace zelk::tool {

enum class System : std::uint8_t { Dvb, Atsc };

// Where a record comes from: a later section of the same table replaces it when its version differs.
struct Origin {
    std::uint8_t table = 0;
    std::uint8_t version = 0;
    std::uint16_t pid = 0;

    bool operator==(const Origin &other) const = default;
};

// Seconds since 1970-01-01 00:00 UTC. Events of ATSC count leap seconds, too: what the time table says is subtracted
// from them where they are shown.
using Seconds = std::int64_t;
inline constexpr Seconds unknownTime = std::numeric_limits<Seconds>::min();

struct ServiceKey {
    std::uint16_t originalNetwork = 0;
    std::uint16_t transportStream = 0;
    std::uint16_t service = 0; // of ATSC: the source, which stands alone
    System system = System::Dvb;

    auto operator<=>(const ServiceKey &other) const = default; // NOLINT(modernize-use-nullptr)
};

struct EventKey {
    ServiceKey service;
    std::uint16_t event = 0;
    std::string language; // ISO 639-2, three bytes, no capitals; empty for an event without a text

    auto operator<=>(const EventKey &other) const = default; // NOLINT(modernize-use-nullptr)
};

struct NamedGroup { // a network or a bouquet
    Origin origin;
    std::string name;

    bool operator==(const NamedGroup &other) const = default;
};

// A transport stream that a network or a bouquet lists.
struct StreamKey {
    bool bouquet = false;
    std::uint16_t group = 0;
    std::uint16_t originalNetwork = 0;
    std::uint16_t transportStream = 0;

    // NOLINTNEXTLINE(modernize-use-nullptr, readability-implicit-bool-conversion)
    auto operator<=>(const StreamKey &other) const = default;
};

struct ListedService {
    std::uint16_t service = 0;
    std::uint8_t type = 0;

    bool operator==(const ListedService &other) const = default;
};

struct ChannelNumber {
    std::uint16_t service = 0;
    std::uint16_t number = 0;
    bool visible = true;

    bool operator==(const ChannelNumber &other) const = default;
};

struct Stream {
    Origin origin;
    std::vector<ListedService> services;
    std::vector<ChannelNumber> numbers;

    bool operator==(const Stream &other) const = default;
};

struct Service {
    Origin origin;
    std::uint8_t type = 0; // EN 300 468, table 89
    std::uint8_t runningStatus = 0;
    bool scrambled = false;
    std::string provider;
    std::string name;

    bool operator==(const Service &other) const = default;
};

// A text of an ATSC multiple string structure: its segments, each with compression, mode, count and bytes.
struct LanguageText {
    std::string language;
    std::string segments;

    bool operator==(const LanguageText &other) const = default;
};

struct ChannelKey {
    std::uint16_t transportStream = 0;
    std::uint16_t major = 0;
    std::uint16_t minor = 0;

    auto operator<=>(const ChannelKey &other) const = default; // NOLINT(modernize-use-nullptr)
};

// A channel of an ATSC virtual channel table.
struct Channel {
    Origin origin;
    std::uint16_t program = 0;
    std::uint16_t source = 0;
    std::uint8_t type = 0; // A/53 service type
    bool scrambled = false;
    bool hidden = false;
    std::string name; // seven units of UTF-16, high byte first
    std::vector<LanguageText> longNames;

    bool operator==(const Channel &other) const = default;
};

struct ExtendedItem {
    std::string description;
    std::string value;

    bool operator==(const ExtendedItem &other) const = default;
};

// One extended event descriptor of the up to sixteen that carry a long text.
struct ExtendedPiece {
    std::vector<ExtendedItem> items;
    std::string text;

    bool operator==(const ExtendedPiece &other) const = default;
};

struct Genre {
    std::uint8_t code = 0; // EN 300 468, table 28; of ATSC, A/65 table 6.20
    std::uint8_t user = 0;

    bool operator==(const Genre &other) const = default;
};

struct Rating {
    std::string country;               // of DVB
    std::uint8_t value = 0;            // of DVB as broadcast; of ATSC the rating region
    std::vector<LanguageText> meaning; // of ATSC

    bool operator==(const Rating &other) const = default;
};

struct Component {
    std::uint8_t content = 0;   // stream_content
    std::uint8_t extension = 0; // stream_content_ext
    std::uint8_t type = 0;
    std::uint8_t tag = 0;
    std::string language;
    std::string text;

    bool operator==(const Component &other) const = default;
};

enum class Position : std::uint8_t { Schedule, Present, Following };

struct Event {
    Origin origin;
    std::optional<Origin> schedule; // of the schedule that lists an event, too, of which more is said elsewhere
    Position position = Position::Schedule;
    Seconds start = unknownTime;
    Seconds duration = unknownTime;
    std::uint8_t runningStatus = 0;
    bool scrambled = false;
    std::string name; // of ATSC, as the texts of LanguageText
    std::string text;
    std::map<std::uint8_t, ExtendedPiece> extended; // by descriptor number
    std::vector<Genre> genres;
    std::vector<Rating> ratings;
    std::vector<Component> components;

    bool operator==(const Event &other) const = default;
};

// An extended text of ATSC stands in a table of its own. Its event has one text in each language.
struct MessageKey {
    std::uint16_t source = 0;
    std::optional<std::uint16_t> event; // none: of the channel
    std::string language;

    auto operator<=>(const MessageKey &other) const = default; // NOLINT(modernize-use-nullptr)
};

struct Message {
    Origin origin;
    std::string segments;

    bool operator==(const Message &other) const = default;
};

struct LocalOffset {
    std::string country;
    std::uint8_t region = 0;
    int minutes = 0; // east of Greenwich
    Seconds change = unknownTime;
    int nextMinutes = 0;

    bool operator==(const LocalOffset &other) const = default;
};

// The time that a table said last; kept by table.
struct TimeOfDay {
    Origin origin;
    Seconds utc = unknownTime;
    std::vector<LocalOffset> offsets;
    std::optional<std::uint8_t> leapSeconds; // of ATSC: what its times are ahead of UTC

    bool operator==(const TimeOfDay &other) const = default;
};

enum class RecordKind { Network, Bouquet, Stream, Service, Channel, Event, Time };

// The key of a record within its kind: of a group its number, of a time its table.
using RecordKey = std::variant<std::uint16_t, StreamKey, ServiceKey, ChannelKey, EventKey, std::uint8_t>;

// All that one section says.
struct SectionRecords {
    std::vector<std::pair<std::uint16_t, NamedGroup>> networks;
    std::vector<std::pair<std::uint16_t, NamedGroup>> bouquets;
    std::vector<std::pair<StreamKey, Stream>> streams;
    std::vector<std::pair<ServiceKey, Service>> services;
    std::vector<std::pair<ChannelKey, Channel>> channels;
    std::vector<std::pair<EventKey, Event>> events;
    std::vector<std::pair<MessageKey, Message>> messages;
    std::vector<TimeOfDay> times;
    std::vector<std::uint16_t> pids; // of packets that carry further tables
    std::uint64_t malformed = 0;     // descriptors or loops that do not fit their frame
};

} // namespace zelk::tool
