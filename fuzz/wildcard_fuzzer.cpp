// Wildcard patterns against a matcher that fills the whole table of text and pattern positions, in the four variants,
// and comparison without control characters against the texts stripped of them.
#include "fuzz.h"

#include <cctype>

namespace {

bool isControl(char byte) {
    const int low = byte & 0x7F;
    return low < 0x20 || low == 0x7F;
}

std::string prepared(const std::string &text, bool ignoreCase, bool ignoreControls) {
    std::string result;
    for (const char byte : text) {
        if (!ignoreControls || !isControl(byte)) {
            const int character = static_cast<unsigned char>(byte);
            result += static_cast<char>(ignoreCase ? std::tolower(character) : character);
        }
    }
    return result;
}

// matches[t][p]: the text from t on matches the pattern from p on. The byte after a star is looked for as it is, and
// matching goes on at that byte of the pattern; stars at the end match any rest.
bool matchesByTable(const std::string &text, const std::string &pattern) {
    const std::size_t lastStars = pattern.find_last_not_of('*') + 1;
    std::vector<char> after(pattern.size() + 1); // matches[t + 1]
    for (std::size_t p = 0; p <= pattern.size(); ++p) {
        after[p] = p >= lastStars;
    }
    for (std::size_t t = text.size(); t-- > 0;) {
        std::vector<char> matches(pattern.size() + 1); // matches[t]; at the pattern's end nothing does
        for (std::size_t p = pattern.size(); p-- > 0;) {
            if (pattern[p] == '*') {
                const bool last = p + 1 == pattern.size();
                matches[p] = last || after[p] != 0 || (text[t] == pattern[p + 1] && matches[p + 1] != 0);
            } else {
                matches[p] = (pattern[p] == '?' || pattern[p] == text[t]) && after[p + 1] != 0;
            }
        }
        after.swap(matches);
    }
    return after[0] != 0;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string pattern = fuzz::upToZero(input.line());
    const std::string text = fuzz::upToZero(input.rest());
    const auto textBlock = fuzz::terminated(text);
    const auto patternBlock = fuzz::terminated(pattern);
    const auto check = [&](auto match, bool ignoreCase, bool ignoreControls) {
        const bool expected =
            matchesByTable(prepared(text, ignoreCase, ignoreControls), prepared(pattern, ignoreCase, ignoreControls));
        fuzz::require((match(textBlock.get(), patternBlock.get()) == 0) == expected, "matches as the table says");
    };
    check(zelk_patternWildcardMatch, false, false);
    check(zelk_patternWildcardMatchIgnoreCase, true, false);
    check(zelk_patternWildcardMatchIgnoreControlChars, false, true);
    check(zelk_patternWildcardMatchIgnoreCaseAndControlChars, true, true);

    const auto equal = [&](auto compare, bool ignoreCase) {
        const bool same = prepared(text, ignoreCase, true) == prepared(pattern, ignoreCase, true);
        fuzz::require((compare(textBlock.get(), patternBlock.get()) == 0) == same, "equal without controls");
        fuzz::require((compare(patternBlock.get(), textBlock.get()) == 0) == same, "equal either way");
    };
    equal(zelk_patternCompareIgnoreControlChars, false);
    equal(zelk_patternCompareIgnoreCaseAndControlChars, true);
    return 0;
}
