// The texts of a broadcast as they were sent, of whichever system.
#pragma once

#include "announced.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

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

// A text of ATSC, which has the other forms, as UTF-8. Returns how many U+FFFD it holds.
std::size_t readAtscText(const SentText &sent, std::string &text);

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
