// The table functions: read_ts gives every text of DVB broadcasts as sent, a row each; read_ts_services and
// read_ts_events give their records. The argument is a file or a pattern of the shell; files are read side by side.
#include "functions.h"

#include "tools/broadcast.h"
#include "zelk_insight.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
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
    std::string kind;  // network, bouquet, service or event
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

// The texts of the extended event descriptors, joined as far as they are one.
std::vector<std::string> joined(const Event &event) {
    std::vector<zelkInsightPiece> pieces;
    std::size_t size = 1;
    for (const auto &[number, piece] : event.extended) {
        pieces.push_back({piece.text.c_str(), static_cast<int>(piece.text.size())});
        size += piece.text.size();
    }
    std::vector<std::string> texts;
    for (std::size_t at = 0; at < pieces.size();) {
        std::string text(size, '\0');
        unsigned int used = 0;
        text.resize(zelkInsightJoinPieces(text.data(), static_cast<int>(size), pieces.data() + at,
                                          static_cast<unsigned int>(pieces.size() - at), &used));
        at += used;
        if (!text.empty()) {
            texts.push_back(text);
        }
    }
    return texts;
}

Record recordOf(const std::string &file, const char *kind, const ServiceKey &key) {
    Record record;
    record.file = file;
    record.kind = kind;
    record.network = key.originalNetwork;
    record.stream = key.transportStream;
    record.service = key.service;
    return record;
}

Record recordOf(const std::string &file, const EventKey &key, const Event &event) {
    Record record = recordOf(file, "event", key.service);
    record.event = key.event;
    if (event.start != tool::unknownTime) {
        record.start = event.start * 1000000;
    }
    if (event.duration != tool::unknownTime) {
        record.seconds = static_cast<std::uint32_t>(event.duration);
    }
    record.language = key.language;
    return record;
}

class Collector {
public:
    explicit Collector(std::string file) : file_(std::move(file)) {
        tool::Input input(file_);
        tool::BroadcastReader reader(input, found_);
        reader.open();
        while (reader.next()) {
        }
        found_.finish();
    }

    std::vector<Record> texts() const {
        std::vector<Record> records;
        const auto add = [&records](const Record &of, const char *field, const std::string &raw) {
            if (!raw.empty()) {
                records.push_back(of);
                records.back().field = field;
                records.back().raw = raw;
                records.back().text = decoded(raw);
            }
        };
        const auto addGroups = [&](const char *kind, const auto &groups) {
            for (const auto &[id, group] : groups) {
                Record record;
                record.file = file_;
                record.kind = kind;
                record.network = id;
                add(record, "name", group.name);
            }
        };
        addGroups("network", found_.networks());
        addGroups("bouquet", found_.bouquets());
        for (const auto &[key, service] : found_.services()) {
            const Record record = recordOf(file_, "service", key);
            add(record, "name", service.name);
            add(record, "provider", service.provider);
        }
        for (const auto &[key, event] : found_.events()) {
            if (key.service.system != tool::System::Dvb) {
                continue;
            }
            const Record record = recordOf(file_, key, event);
            add(record, "name", event.name);
            add(record, "text", event.text);
            for (const std::string &text : joined(event)) {
                add(record, "extended", text);
            }
            for (const auto &[number, piece] : event.extended) {
                for (const tool::ExtendedItem &item : piece.items) {
                    add(record, "item_description", item.description);
                    add(record, "item", item.value);
                }
            }
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
        return records;
    }

    std::vector<Record> events() const {
        std::vector<Record> records;
        for (const auto &[key, event] : found_.events()) {
            if (key.service.system != tool::System::Dvb) {
                continue;
            }
            records.push_back(recordOf(file_, key, event));
            Record &record = records.back();
            record.name = decoded(event.name);
            record.text = decoded(event.text);
            for (const std::string &text : joined(event)) {
                record.extended += decoded(text);
            }
        }
        return records;
    }

private:
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
                                                {"raw", DUCKDB_TYPE_BLOB, assignText<&Record::raw>},
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

void bind(duckdb_bind_info info) {
    for (const TableColumn &column : tableOf(duckdb_bind_get_extra_info(info)).columns) {
        duckdb_bind_add_result_column(info, column.name, Type(column.type).get());
    }
    duckdb_value argument = duckdb_bind_get_parameter(info, 0);
    char *const pattern = duckdb_get_varchar(argument);
    auto files = std::make_unique<Files>();
    glob_t matches{};
    if (glob(pattern, 0, nullptr, &matches) == 0) {
        files->names.assign(matches.gl_pathv, matches.gl_pathv + matches.gl_pathc);
    }
    globfree(&matches);
    if (files->names.empty()) {
        duckdb_bind_set_error(info, ("zelk: no file is called " + std::string(pattern)).c_str());
    }
    duckdb_free(pattern);
    duckdb_destroy_value(&argument);
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
