// DVB strings to UTF-8 for every command: whole, whatever their bytes grow to, and always valid. What cannot be read is
// U+FFFD and is counted.
#pragma once

#include "dvb_settings.h"

#include <cstddef>
#include <string>

namespace zelk::tool {

class DvbReader {
public:
    explicit DvbReader(const DvbSettings &settings) : settings_(settings) {}

    std::string text(const std::string &bytes);

    // Where the strings come from that follow; the texts that it points to outlive them.
    void from(const zelkInsightOrigin &origin) { origin_ = origin; }

    const zelkInsightOrigin &origin() const { return origin_; }
    const DvbSettings &settings() const { return settings_; }

    // U+FFFD written so far.
    std::size_t unread() const { return unread_; }

private:
    DvbSettings settings_;
    zelkInsightOrigin origin_ = unknownOrigin;
    std::size_t unread_ = 0;
};

// Says on standard error how many characters could not be read, where any could not: "zelk decode: ...". `subject` is
// empty or names the input.
void reportUnread(const std::string &command, const std::string &subject, std::size_t count);

} // namespace zelk::tool
