#include "sent_text.h"

#include "multiple_string.h"
#include "unicode.h"

#include <string_view>

namespace zelk::tool {

namespace {

// The bytes at the head of a text that name its character table.
std::string_view selectorOf(const std::string &text) {
    dvbCharSet_t region = DvbCharSetStandard;
    DvbCode_t code = DvbCodeNone;
    const std::size_t length = zelk_dvbGetDvbCode(text.c_str(), &region, &code, nullptr, DvbCodeNone, 0);
    return std::string_view(text).substr(0, length);
}

SentText sent(TextForm form, const std::string &bytes) {
    return {form, bytes};
}

} // namespace

std::size_t readAtscText(const SentText &sent, std::string &text) {
    text = sent.form == TextForm::Wide ? readWideText(sent.bytes) : readSegments(sent.bytes);
    return replaceInvalid(text);
}

// A line break at the head of a later piece is no selector when the first one had none.
std::vector<SentText> joinExtended(const Event &event) {
    constexpr char compressed = 0x1F;
    std::vector<SentText> texts;
    for (const auto &[number, piece] : event.extended) {
        if (piece.text.empty()) {
            continue;
        }
        const std::string_view selector = selectorOf(piece.text);
        const std::string_view before = texts.empty() ? std::string_view() : selectorOf(texts.back().bytes);
        const bool lineBreak = piece.text.front() == '\n' || piece.text.front() == '\r';
        if (!texts.empty() && before.empty() && lineBreak) {
            texts.back().bytes += piece.text;
        } else if (!texts.empty() && selector == before && piece.text.front() != compressed) {
            texts.back().bytes += piece.text.substr(selector.size());
        } else {
            texts.push_back({TextForm::Dvb, piece.text});
        }
    }
    return texts;
}

void forEachText(const NamedGroup &group, const UseText &use) {
    use("name", {}, sent(TextForm::Dvb, group.name));
}

void forEachText(const Service &service, const UseText &use) {
    use("provider", {}, sent(TextForm::Dvb, service.provider));
    use("name", {}, sent(TextForm::Dvb, service.name));
}

void forEachText(const Channel &channel, const UseText &use) {
    use("name", {}, sent(TextForm::Wide, channel.name));
    for (const LanguageText &name : channel.longNames) {
        use("long_name", name.language, sent(TextForm::Segments, name.segments));
    }
}

void forEachText(const EventKey &key, const Event &event, const Message *message, const UseText &use) {
    if (key.service.system == System::Atsc) {
        use("name", key.language, sent(TextForm::Segments, event.name));
        if (message != nullptr) {
            use("extended", key.language, sent(TextForm::Segments, message->segments));
        }
        for (const Rating &rating : event.ratings) {
            for (const LanguageText &meaning : rating.meaning) {
                use("ratings", meaning.language, sent(TextForm::Segments, meaning.segments));
            }
        }
        return;
    }
    use("name", key.language, sent(TextForm::Dvb, event.name));
    use("text", key.language, sent(TextForm::Dvb, event.text));
    for (const SentText &text : joinExtended(event)) {
        use("extended", key.language, text);
    }
    for (const auto &[number, piece] : event.extended) {
        for (const ExtendedItem &item : piece.items) {
            use("items", key.language, sent(TextForm::Dvb, item.description));
            use("items", key.language, sent(TextForm::Dvb, item.value));
        }
    }
    for (const Component &component : event.components) {
        use("components", component.language, sent(TextForm::Dvb, component.text));
    }
}

} // namespace zelk::tool
