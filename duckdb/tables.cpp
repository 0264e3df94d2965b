// The table functions: read_ts gives every text of broadcasts, those of DVB as sent too, a row each; read_ts_services
// and read_ts_events give their records. The argument is a file or a pattern of the shell; files are read side by side.
#include "functions.h"

#include "tools/broadcast.h"
#include "tools/sent_text.h"
#include "tools/unicode.h"
#include "zelk_insight.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <glob.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace zelk::duckdb {
namespace {

using tool::Event;
using tool::EventKey;
using tool::ServiceInformation;
using tool::ServiceKey;

// A row of any of the tables. What a table does not have stays null.
struct Record {
    std::string file;
    std::string kind;  // network, bouquet, service, channel or event
    std::string field; // which of its texts
    std::optional<std::uint32_t> network, stream, service, event, type;
    std::optional<std::int64_t> start;    // microseconds since 1970, UTC
    std::optional<std::uint32_t> seconds; // of its duration
    std::string language;
    std::string raw;
    std::string name;
    std::string provider;
    std::string text;
    std::string extended;
};

std::string decoded(const std::string &bytes) {
    std::string text(
        static_cast<std::size_t>(zelkInsightDecodeSize(nullptr, bytes.c_str(), static_cast<int>(bytes.size()))), '\0');
    text.resize(zelkInsightDecode(nullptr, text.data(), static_cast<int>(text.size()), bytes.c_str(),
                                  static_cast<int>(bytes.size()), nullptr));
    return text;
}

std::string textOf(const tool::SentText &sent) {
    if (sent.form == tool::TextForm::Dvb) {
        return decoded(sent.bytes);
    }
    std::string text;
    tool::readAtscText(sent, text);
    return text;
}

Record recordOf(const std::string &file, const char *kind, const ServiceKey &key) {
    Record record;
    record.file = file;
    record.kind = kind;
    if (key.system == tool::System::Dvb) { // ATSC has no networks
        record.network = key.originalNetwork;
    }
    record.stream = key.transportStream;
    record.service = key.service;
    return record;
}

Record recordOf(const std::string &file, const tool::ChannelKey &key, const tool::Channel &channel) {
    Record record;
    record.file = file;
    record.kind = "channel";
    record.stream = key.transportStream;
    record.service = channel.program;
    return record;
}

class Collector {
public:
    explicit Collector(const std::string &file) : file_(file) {
        tool::replaceInvalid(file_);                   // names of files are bytes, and a column has text
        tool::Input input(file == "-" ? "./-" : file); // which is no standard input here
        tool::BroadcastReader reader(input, found_);
        reader.open();
        while (reader.next()) {
        }
        found_.finish();
    }

    std::vector<Record> texts() const {
        std::vector<Record> records;
        const auto addTo = [&records](const Record &of) {
            return [&records, of](const char *field, const std::string &language, const tool::SentText &sent) {
                if (sent.bytes.empty()) {
                    return;
                }
                records.push_back(of);
                Record &record = records.back();
                record.field = field;
                record.language = language;
                record.text = textOf(sent);
                if (sent.form == tool::TextForm::Dvb) {
                    record.raw = sent.bytes;
                }
            };
        };
        const auto addGroups = [&](const char *kind, const auto &groups) {
            for (const auto &[id, group] : groups) {
                Record record;
                record.file = file_;
                record.kind = kind;
                record.network = id;
                tool::forEachText(group, addTo(record));
            }
        };
        addGroups("network", found_.networks());
        addGroups("bouquet", found_.bouquets());
        for (const auto &[key, service] : found_.services()) {
            tool::forEachText(service, addTo(recordOf(file_, "service", key)));
        }
        for (const auto &[key, channel] : found_.channels()) {
            tool::forEachText(channel, addTo(recordOf(file_, key, channel)));
        }
        for (const auto &[key, event] : found_.events()) {
            tool::forEachText(key, event, found_.message(key), addTo(eventRecord(key, event)));
        }
        return records;
    }

    std::vector<Record> services() const {
        std::vector<Record> records;
        for (const auto &[key, service] : found_.services()) {
            records.push_back(recordOf(file_, "service", key));
            records.back().type = service.type;
            records.back().name = decoded(service.name);
            records.back().provider = decoded(service.provider);
        }
        for (const auto &[key, channel] : found_.channels()) {
            records.push_back(recordOf(file_, key, channel));
            records.back().type = channel.type;
            records.back().name = textOf({tool::TextForm::Wide, channel.name});
        }
        return records;
    }

    std::vector<Record> events() const {
        std::vector<Record> records;
        for (const auto &[key, event] : found_.events()) {
            records.push_back(eventRecord(key, event));
            Record &record = records.back();
            tool::forEachText(key, event, found_.message(key),
                              [&record](std::string_view field, const std::string &, const tool::SentText &sent) {
                                  std::string *const text = field == "name"       ? &record.name
                                                            : field == "text"     ? &record.text
                                                            : field == "extended" ? &record.extended
                                                                                  : nullptr;
                                  if (text != nullptr) {
                                      *text += textOf(sent);
                                  }
                              });
        }
        return records;
    }

private:
    Record eventRecord(const EventKey &key, const Event &event) const {
        Record record = recordOf(file_, "event", key.service);
        if (key.service.system == tool::System::Atsc) { // whose events name a source
            record.stream = record.service = std::nullopt;
            for (const auto &[place, channel] : found_.channels()) {
                if (channel.source == key.service.service) {
                    record.stream = place.transportStream;
                    record.service = channel.program;
                }
            }
        }
        record.event = key.event;
        const tool::Seconds start = found_.startOf(key, event);
        if (start != tool::unknownTime) {
            record.start = start * 1000000;
        }
        if (event.duration != tool::unknownTime) {
            record.seconds = static_cast<std::uint32_t>(event.duration);
        }
        record.language = key.language;
        return record;
    }

    std::string file_;
    ServiceInformation found_;
};

// A table: its columns, each with what a record has for it.
struct TableColumn {
    const char *name;
    duckdb_type type;
    void (*assign)(duckdb_vector vector, idx_t row, const Record &record);
};

struct Table {
    const char *name;
    std::vector<Record> (Collector::*collect)() const;
    std::vector<TableColumn> columns;
};

template <auto member>
void assignText(duckdb_vector vector, idx_t row, const Record &record) {
    assign(vector, row, record.*member);
}

template <class Value, auto member>
void assignValue(duckdb_vector vector, idx_t row, const Record &record) {
    if (const auto &value = record.*member) {
        valuesOf<Value>(vector)[row] = static_cast<Value>(*value);
    } else {
        setNull(vector, row);
    }
}

// A language is three bytes of a broadcast, which may be anything.
void assignLanguage(duckdb_vector vector, idx_t row, const Record &record) {
    const auto isLetter = [](char byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z'); };
    if (record.language.empty() || !std::all_of(record.language.begin(), record.language.end(), isLetter)) {
        setNull(vector, row);
    } else {
        assign(vector, row, record.language);
    }
}

// Texts of ATSC are no DVB strings.
void assignRaw(duckdb_vector vector, idx_t row, const Record &record) {
    if (record.raw.empty()) {
        setNull(vector, row);
    } else {
        assign(vector, row, record.raw);
    }
}

const std::array<Table, 3> &tables() {
    constexpr auto text = DUCKDB_TYPE_VARCHAR;
    constexpr auto number = DUCKDB_TYPE_UINTEGER;
    const TableColumn file = {"file", text, assignText<&Record::file>};
    const TableColumn network = {"original_network", number, assignValue<std::uint32_t, &Record::network>};
    const TableColumn stream = {"transport_stream", number, assignValue<std::uint32_t, &Record::stream>};
    const TableColumn service = {"service", number, assignValue<std::uint32_t, &Record::service>};
    const TableColumn event = {"event", number, assignValue<std::uint32_t, &Record::event>};
    const TableColumn start = {"start", DUCKDB_TYPE_TIMESTAMP, assignValue<std::int64_t, &Record::start>};
    const TableColumn seconds = {"seconds", number, assignValue<std::uint32_t, &Record::seconds>};
    const TableColumn language = {"language", text, assignLanguage};
    static const std::array<Table, 3> all = {{{"read_ts",
                                               &Collector::texts,
                                               {file,
                                                {"kind", text, assignText<&Record::kind>},
                                                network,
                                                stream,
                                                service,
                                                event,
                                                start,
                                                language,
                                                {"field", text, assignText<&Record::field>},
                                                {"raw", DUCKDB_TYPE_BLOB, assignRaw},
                                                {"text", text, assignText<&Record::text>}}},
                                              {"read_ts_services",
                                               &Collector::services,
                                               {file,
                                                network,
                                                stream,
                                                service,
                                                {"type", number, assignValue<std::uint32_t, &Record::type>},
                                                {"name", text, assignText<&Record::name>},
                                                {"provider", text, assignText<&Record::provider>}}},
                                              {"read_ts_events",
                                               &Collector::events,
                                               {file,
                                                network,
                                                stream,
                                                service,
                                                event,
                                                start,
                                                seconds,
                                                language,
                                                {"name", text, assignText<&Record::name>},
                                                {"text", text, assignText<&Record::text>},
                                                {"extended", text, assignText<&Record::extended>}}}}};
    return all;
}

struct Files {
    std::vector<std::string> names;
};

struct Progress {
    std::atomic<std::size_t> next{0}; // the file that nobody reads yet
};

struct Reading {
    std::vector<Record> records;
    std::size_t at = 0;
};

template <class Owned>
void destroy(void *owned) {
    delete static_cast<Owned *>(owned);
}

const Table &tableOf(void *extra) {
    return *static_cast<const Table *>(extra);
}

// The file of exactly this name, else those that match it as a pattern.
std::vector<std::string> filesOf(const std::string &pattern) {
    std::error_code failed;
    if (std::filesystem::exists(pattern, failed)) {
        return {pattern};
    }
    glob_t matches{};
    std::vector<std::string> names;
    if (glob(pattern.c_str(), 0, nullptr, &matches) == 0) {
        names.assign(matches.gl_pathv, matches.gl_pathv + matches.gl_pathc);
    }
    globfree(&matches);
    return names;
}

// DuckDB gives an internal error where the text of a null is asked for.
std::optional<std::string> textIn(duckdb_value value) {
    if (value == nullptr || duckdb_is_null_value(value)) {
        return std::nullopt;
    }
    char *const text = duckdb_get_varchar(value);
    std::string result = text;
    duckdb_free(text);
    return result;
}

void bind(duckdb_bind_info info) {
    const Table &table = tableOf(duckdb_bind_get_extra_info(info));
    for (const TableColumn &column : table.columns) {
        duckdb_bind_add_result_column(info, column.name, Type(column.type).get());
    }
    duckdb_value argument = duckdb_bind_get_parameter(info, 0);
    const std::optional<std::string> pattern = textIn(argument);
    duckdb_destroy_value(&argument);
    if (!pattern) {
        const std::string message = "zelk: " + std::string(table.name) + " expected the name of a file, found null";
        duckdb_bind_set_error(info, message.c_str());
        return;
    }
    auto files = std::make_unique<Files>();
    files->names = filesOf(*pattern);
    if (files->names.empty()) {
        duckdb_bind_set_error(info, ("zelk: no file is called " + *pattern).c_str());
        return;
    }
    duckdb_bind_set_bind_data(info, files.release(), destroy<Files>);
}

void begin(duckdb_init_info info) {
    const auto &files = *static_cast<Files *>(duckdb_init_get_bind_data(info));
    duckdb_init_set_max_threads(info, files.names.size());
    duckdb_init_set_init_data(info, new Progress, destroy<Progress>);
}

void beginThread(duckdb_init_info info) {
    duckdb_init_set_init_data(info, new Reading, destroy<Reading>);
}

void fill(duckdb_function_info info, duckdb_data_chunk chunk) {
    const Table &table = tableOf(duckdb_function_get_extra_info(info));
    const auto &files = *static_cast<Files *>(duckdb_function_get_bind_data(info));
    auto &progress = *static_cast<Progress *>(duckdb_function_get_init_data(info));
    auto &reading = *static_cast<Reading *>(duckdb_function_get_local_init_data(info));
    try {
        while (reading.at == reading.records.size()) {
            const std::size_t file = progress.next.fetch_add(1);
            if (file >= files.names.size()) {
                duckdb_data_chunk_set_size(chunk, 0);
                return;
            }
            reading.records = (Collector(files.names[file]).*table.collect)();
            reading.at = 0;
        }
        const std::size_t count =
            std::min<std::size_t>(reading.records.size() - reading.at, static_cast<std::size_t>(duckdb_vector_size()));
        for (std::size_t i = 0; i < table.columns.size(); ++i) {
            duckdb_vector vector = duckdb_data_chunk_get_vector(chunk, i);
            for (std::size_t row = 0; row < count; ++row) {
                table.columns[i].assign(vector, row, reading.records[reading.at + row]);
            }
        }
        reading.at += count;
        duckdb_data_chunk_set_size(chunk, count);
    } catch (const std::exception &error) {
        duckdb_function_set_error(info, error.what());
    }
}

} // namespace

bool registerTables(duckdb_connection connection) {
    return std::all_of(tables().begin(), tables().end(), [connection](const Table &table) {
        duckdb_table_function function = duckdb_create_table_function();
        duckdb_table_function_set_name(function, table.name);
        duckdb_table_function_add_parameter(function, Type(DUCKDB_TYPE_VARCHAR).get());
        duckdb_table_function_set_extra_info(function, const_cast<Table *>(&table), nullptr);
        duckdb_table_function_set_bind(function, bind);
        duckdb_table_function_set_init(function, begin);
        duckdb_table_function_set_local_init(function, beginThread);
        duckdb_table_function_set_function(function, fill);
        const bool registered = duckdb_register_table_function(connection, function) == DuckDBSuccess;
        duckdb_destroy_table_function(&function);
        return registered;
    });
}

} // namespace zelk::duckdb
