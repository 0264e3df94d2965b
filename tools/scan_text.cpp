// A block for each record: what it is, then a line for each thing that it says.
#include "scan_output.h"
#include "stream.h"

namespace zelk::tool {

namespace {

std::string plain(const Json &value) {
    return value.is_string() ? printable(value.get<std::string>()) : value.dump();
}

// The values of an object in a list, in its own words: "content 1, type 3, language deu".
std::string entryText(const Json &entry) {
    if (!entry.is_object()) {
        return plain(entry);
    }
    std::string result;
    for (const auto &[name, value] : entry.items()) {
        // empty() of JSON is not that of its text. NOLINTNEXTLINE(readability-container-size-empty)
        if (!value.is_null() && value != "") {
            result +=
                (result.empty() ? "" : ", ") + name + ' ' +
                (value.is_structured() ? value.dump(-1, ' ', false, Json::error_handler_t::replace) : plain(value));
        }
    }
    return result;
}

} // namespace

void writeText(const Facts &facts, const Filter &filter) {
    bool first = true;
    forEachRecord(facts, filter, [&](RecordKind kind, const auto &key, const auto &record) {
        std::string block = first ? "" : "\n";
        first = false;
        block += kindName(kind);
        block += '\n';
        const Json values = facts.of(key, record);
        for (const auto &[name, value] : values.items()) {
            if (value.is_array()) {
                for (const Json &entry : value) {
                    block += fmt::format("  {}: {}\n", name, entryText(entry));
                }
            } else if (!value.is_null() && value != "") { // NOLINT(readability-container-size-empty)
                block += fmt::format("  {}: {}\n", name, plain(value));
            }
        }
        write(block);
    });
}

} // namespace zelk::tool
