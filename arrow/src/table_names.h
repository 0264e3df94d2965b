// The tables that a string may be read with, as the values of a dictionary.
#pragma once

#include "zelk_insight.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace zelk::arrow {

// The tables by name, and which place in that list each has.
class TableNames {
public:
    TableNames() {
        for (int table = 0; table <= lastTable; ++table) {
            const char *const name = zelkInsightTableName(static_cast<zelkInsightTable>(table));
            if (std::strcmp(name, "unknown") != 0) {
                places_[static_cast<std::size_t>(table)] = static_cast<std::int8_t>(names_.size());
                names_.push_back(name);
            }
        }
    }
    const std::vector<const char *> &all() const { return names_; }
    std::int8_t placeOf(zelkInsightTable table) const { return places_[static_cast<std::size_t>(table)]; }

private:
    static constexpr int lastTable = ZelkInsightTableCompressed;

    std::vector<const char *> names_;
    std::array<std::int8_t, lastTable + 1> places_{};
};

} // namespace zelk::arrow
