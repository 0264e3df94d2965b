// One document with one record on each line, written as it is made.
#include "scan_output.h"
#include "stream.h"

namespace zelk::tool {

namespace {

constexpr RecordKind kinds[] = {RecordKind::Network, RecordKind::Bouquet, RecordKind::Stream, RecordKind::Service,
                                RecordKind::Channel, RecordKind::Event,   RecordKind::Time};

std::string arrayName(RecordKind kind) {
    return std::string(kindName(kind)) + 's';
}

} // namespace

void writeJson(const Facts &facts, const Filter &filter) {
    write("{");
    std::size_t opened = 0; // arrays
    bool empty = true;
    const auto openTo = [&](std::size_t wanted) {
        for (; opened < wanted; ++opened, empty = true) {
            write(opened == 0 ? "" : empty ? "]," : "\n],");
            write(fmt::format("\n\"{}\": [", arrayName(kinds[opened])));
        }
    };
    forEachRecord(facts, filter, [&](RecordKind kind, const auto &key, const auto &record) {
        openTo(static_cast<std::size_t>(std::find(std::begin(kinds), std::end(kinds), kind) - std::begin(kinds)) + 1);
        std::string line = jsonLine(facts.of(key, record));
        line.pop_back();
        write(empty ? "\n" : ",\n");
        write(line);
        empty = false;
    });
    openTo(std::size(kinds));
    write(empty ? "]\n}\n" : "\n]\n}\n");
}

} // namespace zelk::tool
