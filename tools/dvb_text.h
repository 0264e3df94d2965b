// DVB strings to UTF-8 for every command: whole, whatever their bytes grow to, and always valid. What cannot be read is
// U+FFFD and is counted.
#pragma once

#include "dvb_settings.h"

#include <cstddef>
#include <string>

namespace zelk::tool {

class DvbReader {
public:
    // Reads the overrides, too. Throws Failure where one cannot be read.
    explicit DvbReader(const DvbSettings &settings);

    std::string text(const std::string &bytes);

    // Where the strings come from that follow.
    void from(const zelkInsightOrigin &origin);

    // How strings from there are read, with what is known about them.
    const DvbSettings &settings() const { return current_; }
    const zelkInsightSettings &insight() const { return insight_; }

    // What is known about them, or null.
    const OverrideEntry * override() const { return line_ == 0 ? nullptr : &overrides_.entryOf(line_); }

    // Whether the system's converter reads a string.
    bool readsGb2312(const std::string &bytes) const;

    // U+FFFD written so far.
    std::size_t unread() const { return unread_; }

private:
    DvbSettings given_;
    Overrides overrides_;
    DvbSettings current_;
    zelkInsightSettings insight_{};
    unsigned int line_ = 0; // of the compact form of the overrides
    std::size_t unread_ = 0;
};

// Says on standard error how many characters could not be read, where any could not: "zelk decode: ...". `subject` is
// empty or names the input.
void reportUnread(const std::string &command, const std::string &subject, std::size_t count);

} // namespace zelk::tool
