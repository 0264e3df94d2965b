// What is known to be otherwise about single broadcasts: files in TOML, one layer upon the other, and the compact form
// that the library looks entries up in. Files are read and never written.
#pragma once

#include "zelk_insight.h"

#include <cstddef>
#include <string>
#include <vector>

namespace zelk::tool {

class Overrides {
public:
    // Adds the entries of a file; those of a later one count before those of an earlier one that are as narrow. What is
    // wrong with it is kept in problems(), and entries that cannot be understood are left out.
    void read(const std::string &file);

    // "file:7: expected ...", in order.
    const std::vector<std::string> &problems() const { return problems_; }

    std::size_t count() const { return sources_.size(); }

    // The text for zelkInsightFindOverride().
    const std::string &compact() const { return compact_; }

    // "file:7, source, date" of the entry that stands on a line of the compact form.
    std::string sourceOf(unsigned int line) const;

private:
    std::string compact_ = "zelk-overrides 1\n";
    std::vector<std::string> sources_;
    std::vector<std::string> problems_;
};

} // namespace zelk::tool
