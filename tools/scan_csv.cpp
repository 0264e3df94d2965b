// The facts of the JSON document, a record on each row (RFC 4180). Lists stand in their fields as JSON.
#include "scan_output.h"
#include "stream.h"

#include <iterator>

namespace zelk::tool {

namespace {

// The columns, and the members of the records that stand in them: of the kinds that are named, else of all.
struct Column {
    const char *name;
    const char *member;
    const char *kinds;
};

constexpr Column columns[] = {
    {"network", "original_network", ""},
    {"network", "id", "network bouquet"},
    {"transport_stream", "transport_stream", ""},
    {"service", "service", ""},
    {"event", "event", ""},
    {"start", "start", ""},
    {"duration", "duration", ""},
    {"language", "language", ""},
    {"name", "name", ""},
    {"provider", "provider", ""},
    {"text", "text", ""},
    {"extended", "extended", ""},
    {"type", "type", ""},
    {"items", "items", ""},
    {"position", "position", ""},
    {"running_status", "running_status", ""},
    {"scrambled", "scrambled", ""},
    {"hidden", "hidden", ""},
    {"genres", "genres", ""},
    {"ratings", "ratings", ""},
    {"components", "components", ""},
    {"group", "group", ""},
    {"group_id", "id", "stream"},
    {"services", "services", ""},
    {"channel_numbers", "channel_numbers", ""},
    {"channel_number", "channel_number", ""},
    {"channel", "channel", ""},
    {"program", "program", ""},
    {"source", "source", ""},
    {"long_name", "long_name", ""},
    {"table", "table", ""},
    {"utc", "utc", ""},
    {"leap_seconds", "leap_seconds", ""},
    {"offsets", "offsets", ""},
    {"texts", "texts", ""},
};

// In quotes when it holds a separator, a quote or a line break; quotes within are doubled.
std::string quoted(const std::string &text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string result = "\"";
    for (const char c : text) {
        result.append(c == '"' ? 2 : 1, c);
    }
    return result + '"';
}

std::string cell(const Json &value) {
    return value.is_null()     ? std::string()
           : value.is_string() ? quoted(value.get<std::string>())
                               : quoted(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

bool hasKind(const Column &column, std::string_view kind) {
    return *column.kinds == 0 || std::string_view(column.kinds).find(kind) != std::string_view::npos;
}

// Columns of one name are one.
bool isFirst(std::size_t index) {
    return index == 0 || std::string_view(columns[index].name) != columns[index - 1].name;
}

} // namespace

void writeCsv(const Facts &facts, const Filter &filter) {
    std::string heading = "kind";
    for (std::size_t i = 0; i < std::size(columns); ++i) {
        heading += isFirst(i) ? std::string(",") + columns[i].name : "";
    }
    write(heading + "\r\n");
    forEachRecord(facts, filter, [&](RecordKind kind, const auto &key, const auto &record) {
        const Json values = facts.of(key, record);
        std::string row = kindName(kind);
        for (std::size_t i = 0; i < std::size(columns); ++i) {
            row += isFirst(i) ? "," : "";
            if (hasKind(columns[i], kindName(kind)) && values.contains(columns[i].member)) {
                row += cell(values[columns[i].member]);
            }
        }
        write(row + "\r\n");
    });
}

} // namespace zelk::tool
