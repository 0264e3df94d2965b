// What is known of single broadcasts, looked up in its compact form: lines of text, read from the first to the last.
// Receivers hold a few hundred entries at most and look once for each service, so that nothing is indexed.
#include "zelk_insight.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>

namespace zelk::insight {
namespace {

constexpr std::string_view firstLine = "zelk-overrides 1";

// Takes what stands before `separator` off the text.
std::string_view takeUntil(std::string_view &text, char separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string_view taken(text.data(), end); // substr() refers to exceptions, which not every machine has
    text.remove_prefix(std::min(end + 1, text.size()));
    return taken;
}

std::optional<unsigned int> numberOf(std::string_view digits) {
    constexpr std::size_t mostDigits = 5; // of 65535
    unsigned int number = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') {
            return std::nullopt;
        }
        number = 10 * number + static_cast<unsigned int>(digit - '0');
    }
    return digits.empty() || digits.size() > mostDigits ? std::nullopt : std::optional(number);
}

struct Entry {
    zelkInsightSettings settings;
    unsigned int weight = 0; // a bit for each thing that it names of the broadcast, the narrower the higher
    bool applies = true;     // to the broadcast that is asked for
};

// A word of an entry; what a later version of this form may add makes the entry one for others.
void readWord(std::string_view word, const zelkInsightOrigin &origin, Entry &entry) {
    std::string_view value = word;
    const std::string_view key = takeUntil(value, '=');
    const std::optional<unsigned int> number = numberOf(value);
    const auto match = [&entry](bool holds, unsigned int weight) {
        entry.applies = holds;
        entry.weight |= weight; // once, however often it is named
    };
    const auto isText = [value](const char *text) { return text != nullptr && value == text; };
    if (key == "s") {
        match(number && *number == origin.service, 16);
    } else if (key == "t") {
        match(number && *number == origin.stream, 8);
    } else if (key == "n") {
        match(number && *number == origin.network, 4);
    } else if (key == "l") {
        match(isText(origin.language), 2);
    } else if (key == "c") {
        match(isText(origin.country), 1);
    } else if (key == "r" && number) {
        entry.settings.charSet = static_cast<dvbCharSet_t>(*number);
        entry.settings.options |= ZelkInsightRegionOverridden;
    } else if (key == "d" && number) {
        entry.settings.defaultCode = static_cast<DvbCode_t>(*number);
        entry.settings.options |= ZelkInsightOverridden;
    } else if (word == "i") {
        entry.settings.options |= ZelkInsightIgnoreSelector | ZelkInsightSelectorOverridden;
    } else {
        entry.applies = false;
    }
}

} // namespace
} // namespace zelk::insight

unsigned int zelkInsightFindOverride(const char *overrides, int length, const zelkInsightOrigin *origin,
                                     zelkInsightSettings *settings) {
    using namespace zelk::insight;
    std::string_view text;
    if (overrides != nullptr) {
        text = {overrides, length < 0 ? std::strlen(overrides) : static_cast<std::size_t>(length)};
    }
    if (takeUntil(text, '\n') != firstLine) {
        return 0;
    }
    const zelkInsightSettings given = *settings;
    unsigned int best = 0;
    unsigned int bestWeight = 0;
    for (unsigned int line = 2; !text.empty(); ++line) {
        std::string_view words = takeUntil(text, '\n');
        Entry entry{given, 0, true};
        entry.applies = !words.empty() && words.front() != '#';
        while (entry.applies && !words.empty()) {
            readWord(takeUntil(words, ' '), *origin, entry);
        }
        if (entry.applies && entry.weight != 0 && entry.weight >= bestWeight) {
            best = line;
            bestWeight = entry.weight;
            *settings = entry.settings;
        }
    }
    return best;
}
