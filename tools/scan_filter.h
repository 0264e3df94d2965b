// Which records a scan writes.
#pragma once

#include "cli_names.h"
#include "facts.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace zelk::tool {

struct FilterOptions {
    std::vector<std::string> services;
    std::vector<std::string> genres;
    std::vector<std::string> languages;
    std::optional<Seconds> from;
    std::optional<Seconds> until;
    bool now = false;
    bool next = false;
    std::size_t limit = 0; // records; 0 is all
};

// --service, --genre, --language, --from, --until, --now, --next
void addFilterOptions(CLI::App &command, FilterOptions &options);

class Filter {
public:
    Filter(const FilterOptions &options, const Facts &facts) : options_(options), facts_(facts) {}

    // Where events are chosen, all but events is left out; where services are, all that belongs to none of them.
    bool passes(RecordKind kind, const RecordKey &key) const;

    bool passes(const EventKey &key, const Event &event) const;

    // How many records are wanted; 0 is all.
    std::size_t limit() const { return options_.limit; }

private:
    bool choosesEvents() const;
    bool passes(const ServiceKey &key) const;
    bool passes(const ChannelKey &key, const Channel &channel) const;
    bool hasGenre(System system, const Event &event) const;

    const FilterOptions &options_;
    const Facts &facts_;
};

} // namespace zelk::tool
