#include "lint_broadcast.h"

#include "broadcast.h"
#include "facts.h"
#include "failure.h"
#include "signal_text.h"

#include <algorithm>

namespace zelk::tool {

namespace {

// Empty where the bytes are none of a code.
std::string languageOf(const std::string &code) {
    const bool letters =
        std::all_of(code.begin(), code.end(), [](char letter) { return letter >= 'a' && letter <= 'z'; });
    return letters ? code : std::string();
}

} // namespace

void forEachBroadcastText(const std::string &file, const std::function<void(LintedText)> &use) {
    Input input(file);
    ServiceInformation found;
    BroadcastReader reader(input, found);
    reader.open();
    while (reader.next()) {
    }
    found.finish();
    if (found.counts().sections == 0) {
        failInput("{}: expected service information, found {}", input.name(), reader.inventory().seen());
    }
    // The rules are those of DVB text.
    const auto at = [&](const std::string &place, const ServiceKey *service = nullptr) {
        return [&use, &file, &input, place, service](const char *member, const std::string &language,
                                                     const SentText &sent) {
            if (sent.form == TextForm::Dvb && !sent.bytes.empty()) {
                LintedText text;
                text.file = file == "-" ? std::string() : file;
                text.place = fmt::format("{}: {}", input.name(), place);
                text.member = member;
                text.language = languageOf(language);
                if (service != nullptr) {
                    text.network = service->originalNetwork;
                    text.stream = service->transportStream;
                    text.service = service->service;
                }
                text.bytes = sent.bytes;
                use(std::move(text));
            }
        };
    };
    for (const auto &[id, network] : found.networks()) {
        forEachText(network, at(fmt::format("network {:04x}", id)));
    }
    for (const auto &[id, bouquet] : found.bouquets()) {
        forEachText(bouquet, at(fmt::format("bouquet {:04x}", id)));
    }
    for (const auto &[key, service] : found.services()) {
        forEachText(service, at("service " + locator(key), &key));
    }
    for (const auto &[key, event] : found.events()) {
        forEachText(key, event, found.message(key),
                    at(fmt::format("event {} {:04x}", locator(key.service), key.event), &key.service));
    }
}

} // namespace zelk::tool
