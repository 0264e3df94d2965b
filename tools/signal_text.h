// The texts of a broadcast as UTF-8, whichever system they are of, and what there was to say about each.
#pragma once

#include "announced.h"
#include "dvb_text.h"
#include "text.h"

#include <functional>
#include <string>

namespace zelk::tool {

enum class TextForm {
    Dvb,      // EN 300 468 annex A
    Segments, // of a multiple string structure, A/65
    Wide      // UTF-16, high byte first
};

// A text as it was sent.
struct SentText {
    TextForm form = TextForm::Dvb;
    std::string bytes;
};

class SignalReader {
public:
    explicit SignalReader(const DvbSettings &settings) : dvb_(settings) {}

    std::string text(const SentText &sent);

    // Where the texts come from that follow: what `service` and `language` point to outlives them. Null for a network.
    void from(const ServiceKey *service, const std::string &language);

    // Bytes in hexadecimal, the table that they were read with, and what was found in them.
    Json evidence(const SentText &sent) const;

    std::size_t unread() const { return dvb_.unread() + unread_; }

private:
    DvbReader dvb_;
    std::size_t unread_ = 0;
};

// The extended text of an event, joined: broadcasters cut a long text anywhere, between a mark and its letter too, and
// repeat the selector before each piece, so pieces of one selector are joined before they are decoded. Compressed
// pieces each stand for themselves.
std::vector<SentText> joinExtended(const Event &event);

// Calls use(member, language, text) for every text of a record, by the name that JSON has for it.
using UseText = std::function<void(const char *member, const std::string &language, const SentText &text)>;
void forEachText(const NamedGroup &group, const UseText &use);
void forEachText(const Service &service, const UseText &use);
void forEachText(const Channel &channel, const UseText &use);

// The message is the extended text of an ATSC event, or null.
void forEachText(const EventKey &key, const Event &event, const Message *message, const UseText &use);

} // namespace zelk::tool
