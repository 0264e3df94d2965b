// What the records of a broadcast say, as JSON objects: each output writes these, in its own form.
#pragma once

#include "service_information.h"
#include "signal_text.h"

#include <string>
#include <vector>

namespace zelk::tool {

class Facts {
public:
    // `evidence`: with every text, what it was.
    Facts(const ServiceInformation &found, SignalReader &reader, bool evidence)
        : found_(found), reader_(reader), evidence_(evidence) {}

    Json of(std::uint16_t id, const NamedGroup &group) const;
    static Json of(const StreamKey &key, const Stream &stream);
    Json of(const ServiceKey &key, const Service &service) const;
    Json of(const ChannelKey &key, const Channel &channel) const;
    Json of(const EventKey &key, const Event &event) const;
    static Json of(std::uint8_t table, const TimeOfDay &time);

    // Of a record that is known.
    Json of(RecordKind kind, const RecordKey &key) const;

    std::string text(const SentText &sent) const { return reader_.text(sent); }

    const ServiceInformation &found() const { return found_; }

private:
    // Calls use(member, text in UTF-8) for each text that `each` visits, and adds their evidence.
    template <class Each, class Use>
    void readTexts(Json &record, const ServiceKey *service, Each each, Use use) const;

    const ServiceInformation &found_;
    SignalReader &reader_;
    bool evidence_;
};

// The word for a kind: "network", "event".
const char *kindName(RecordKind kind);

// How a service, or the source of an event, is called: "3201.0001.0065", of ATSC "source 12".
std::string locator(const ServiceKey &key);

// Three letters, or question marks where a broadcast sends others.
std::string languageText(const std::string &language);

// "2026-03-01T20:15:00Z" and "01:30:00"; null when unknown.
Json timeText(Seconds time);
Json durationText(Seconds duration);

// The events in the order in which a viewer meets them.
std::vector<const std::pair<const EventKey, Event> *> inOrder(const ServiceInformation &found);

} // namespace zelk::tool
