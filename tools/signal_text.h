// The texts of a broadcast as UTF-8, whichever system they are of, and what there was to say about each.
#pragma once

#include "announced.h"
#include "dvb_text.h"
#include "sent_text.h"
#include "text.h"

#include <string>

namespace zelk::tool {

class SignalReader {
public:
    explicit SignalReader(const DvbSettings &settings) : dvb_(settings) {}

    std::string text(const SentText &sent);

    // Where the texts come from that follow. Null for a network.
    void from(const ServiceKey *service, const std::string &language);

    // Bytes in hexadecimal, the table that they were read with and why, and what was found in them.
    Json evidence(const SentText &sent) const;

    std::size_t unread() const { return dvb_.unread() + unread_; }

private:
    DvbReader dvb_;
    std::size_t unread_ = 0;
};

} // namespace zelk::tool
