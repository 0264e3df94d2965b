// What is known to be otherwise about single broadcasts: files in TOML, one layer upon the other, and the compact form
// that the library looks entries up in. Files are read and never written.
#pragma once

#include "zelk_insight.h"

#include <cstddef>
#include <string>
#include <vector>

namespace zelk::tool {

// What a file is a layer of: "system", "user", or "file" for one that the command line names.
struct OverrideLayer {
    const char *name;
    std::string file;
    bool readable = false;
    std::size_t entries = 0;
};

struct OverrideEntry {
    const char *layer;
    std::string file;
    std::size_t line;
    std::string source;
    std::string date; // "2026-11-01"

    // "file:7, source, date"
    std::string text() const;
};

class Overrides {
public:
    // Adds the layers of this system and of its user, by the XDG Base Directory Specification. A file that is not there
    // or not readable is a layer without entries.
    void readDefaults();

    // Adds the entries of a file; those of a later one count before those of an earlier one that are as narrow. What is
    // wrong with it is kept in problems(), and entries that cannot be understood are left out.
    void read(const std::string &file) { read({"file", file}); }

    // "file:7: expected ...", in order.
    const std::vector<std::string> &problems() const { return problems_; }

    // In the order in which they were read.
    const std::vector<OverrideLayer> &layers() const { return layers_; }

    std::size_t count() const { return entries_.size(); }

    // The text for zelkInsightFindOverride(), which knows one code of a language: an entry for one of two is two lines.
    const std::string &compact() const { return compact_; }

    // The entry that stands on a line of the compact form.
    const OverrideEntry &entryOf(unsigned int line) const;

private:
    void read(OverrideLayer layer);
    void readEntries(const OverrideLayer &layer);

    std::string compact_ = "zelk-overrides 1\n";
    std::vector<OverrideEntry> entries_;
    std::vector<std::size_t> entriesOfLines_;
    std::vector<OverrideLayer> layers_;
    std::vector<std::string> problems_;
};

} // namespace zelk::tool
