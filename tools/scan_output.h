// The outputs of a scan: each writes the records that pass the filter, in its own form. docs/output.md describes them.
#pragma once

#include "facts.h"
#include "scan_filter.h"

#include <cstddef>

namespace zelk::tool {

// For people: tables, cut to `width` columns (0: not cut), and one block for each record with all it says.
void writeTable(const Facts &facts, const Filter &filter, bool colour, std::size_t width);
void writeText(const Facts &facts, const Filter &filter);

// For programs: one document, rows of comma-separated values, and a guide for recorders.
void writeJson(const Facts &facts, const Filter &filter);
void writeCsv(const Facts &facts, const Filter &filter);
void writeXmltv(const Facts &facts, const Filter &filter);

// Writes a line for each record as it comes: all of them as JSON, or those alone that a later version of a table
// brought or changed.
class LiveWriter {
public:
    struct Options {
        bool json = false;
        bool follow = false;
    };

    LiveWriter(const Options &options, const Facts &facts, const Filter &filter)
        : options_(options), facts_(facts), filter_(filter) {}

    void take(const Announcement &said);

    bool full() const { return filter_.limit() != 0 && written_ >= filter_.limit(); }

private:
    Json describe(const Announcement &said) const;
    std::string line(const Announcement &said) const;
    std::string formerName(const Announcement &said) const;

    Options options_;
    const Facts &facts_;
    const Filter &filter_;
    std::size_t written_ = 0;
};

// Calls use(kind, key, record) for every record that passes, up to the filter's limit: networks, bouquets, their
// streams, services, channels, events in the order of a viewer, times.
template <class Use>
void forEachRecord(const Facts &facts, const Filter &filter, Use use) {
    const ServiceInformation &found = facts.found();
    std::size_t used = 0;
    const auto wanted = [&](bool passes) { return passes && (filter.limit() == 0 || used++ < filter.limit()); };
    const auto visit = [&](RecordKind kind, const auto &records) {
        for (const auto &[key, record] : records) {
            const RecordKey any(std::in_place_type<std::decay_t<decltype(key)>>, key);
            if (wanted(filter.passes(kind, any))) {
                use(kind, key, record);
            }
        }
    };
    visit(RecordKind::Network, found.networks());
    visit(RecordKind::Bouquet, found.bouquets());
    visit(RecordKind::Stream, found.streams());
    visit(RecordKind::Service, found.services());
    visit(RecordKind::Channel, found.channels());
    for (const auto *entry : inOrder(found)) {
        if (wanted(filter.passes(entry->first, entry->second))) {
            use(RecordKind::Event, entry->first, entry->second);
        }
    }
    visit(RecordKind::Time, found.times());
}

} // namespace zelk::tool
