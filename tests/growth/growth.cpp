// Calls every exported function on texts of n, 2n and 4n bytes of many kinds and counts the work of each call, for
// check_growth.py to compare: once as instructions.cpp counts it, once as basic_blocks.cpp does.
#include "growth/counter.h"
#include "helpers/every_function.h"
#include "helpers/text.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

using namespace zelk_test;

namespace {

// Whole pieces, so that texts of all sizes end alike.
std::string repeated(std::string_view piece, std::size_t size) {
    std::string text;
    while (text.size() + piece.size() <= size) {
        text += piece;
    }
    return text;
}

// Random bytes, the same again and again, so that no half of a text is harder than the other.
std::string repeatedRandom(std::size_t size) {
    Random numbers(1);
    std::string piece;
    while (piece.size() < 210) {
        piece += static_cast<char>(1 + numbers.below(255));
    }
    return repeated(piece, size);
}

// A kind of text: its first bytes, and what is repeated after them.
struct Kind {
    const char *name;
    std::string_view start;
    std::string_view piece;   // empty for random bytes
    bool forWrappers = false; // also for the packets and classes, which call what the others test on every kind
    bool compressed = false;  // a negative count would need the code's own end, which these texts lack

    std::string ofSize(std::size_t size) const {
        return std::string(start) + (piece.empty() ? repeatedRandom(size) : repeated(piece, size));
    }
};

constexpr Kind kinds[] = {
    {"English", "", "The evening news, and then the weather. "},
    {"one letter", "", "a"},
    {"accented Latin-1", "", "Caf\xE9 \xE0 la cr\xE8me ", true},
    {"Latin-1 without ASCII", "", "\xE9\xE8\xFC"},
    {"UTF-8 of one and two bytes", "", "P\xC5\x99\xC3\xADli\xC5\xA1 ", true},
    {"UTF-8 of three bytes", "", "\xE6\xB5\xB7\xE5\xB2\xB8"},
    {"DVB letters with marks", "", "\xC2o\xC8o\xCFs ", true},
    {"DVB marks alone", "", "\xC1\xC2\xCF"},
    {"controls", " ", "\x01\x1F\x7F", true},
    {"C1 controls and line breaks", "", "\x86z\x87\x8A\x9F"},
    {"UTF-8 controls", "\x15", "\xC2\x86y\xC2\x8A\xEE\x82\x8A"},
    {"quotes", "", "\"a\"\"'", true},
    {"markup", "", "<&>\"'", true},
    {"entities", "", "&amp;&#65;&l;&quot;", true},
    {"ampersands", "", "&"},
    {"references without an end", "", "&quot&#12"},
    {"continuation bytes", "", "\x80\xBF"},
    {"broken three-byte sequences", "", "\xE2\x82"},
    {"bytes of no sequence", "", "\xFF\xF0\xC0", true},
    {"overlong forms", "", "\xC0\x80\xE0\x80\x80"},
    {"U+FFFD", "", "\xEF\xBF\xBD"},
    {"ISO 8859-7 by selector", "\x03", "\xCD\xDD\xE1 "},
    {"ISO 8859-5 by selector", "\x01", "\xBF\xE0\xD8 \xF2"},
    {"Greek with controls", "\x03", "\xCD\x86\xE1\x8A"},
    {"Greek with marks", "\x03", "\xC1\xE1\xA2\xF9 \x87"},
    {"Arabic with controls", "\x02", "\xC7\x86\xE4\x8A"},
    {"DVB marks between controls", "", "\xC2o\x86\xC8\x8A"},
    {"two-byte text", "\x11", "\x6D\x77\x21\x16"},
    {"two-byte text with controls", "\x14", "\xE0\x8A\x6D\x77\xE0\x86", true},
    {"UTF-8 by selector", "\x15", "\xCE\x95lla\xCC\x81"},
    {"broken UTF-8 by selector", "\x15", "\xE2\x82\x80\xFF", true},
    {"prepared text", "\x1D", "\xCE\x95lla\xEF\xBF\xBD"},
    {"compressed, type 1", "\x1F\x01", "\x12\x34\x56", true, true},
    {"compressed, type 2", "\x1F\x02", "\x12\x34\x56", true, true},
    {"compressed, type 5", "\x1F\x05", "\x12\x34\x56", true, true},
    {"compressed, type 6", "\x1F\x06", "\x12\x34\x56", false, true},
    {"random bytes", "", "", true},
    {"random bytes in UTF-8", "\x15", ""},
};

// One measured call, of this name.
template <class Call>
void measure(const std::string &growth, const std::string &name, std::size_t size, Call call) {
    call(); // what happens once in a process is not counted
    startCounting();
    call();
    stopCounting(growth + '|' + name + '|' + std::to_string(size));
}

// Every call with a count and with a terminator; functions that write to a buffer also with hardly any room there.
void measureAll(const Kind &kind, std::size_t size) {
    AnyText counted(kind.ofSize(size));
    AnyText terminated(kind.ofSize(size));
    terminated.count = kind.compressed ? terminated.count : -1;
    AnyRoom room(counted.bytes.size());
    AnyRoom tight(counted.bytes.size());
    tight.size = 5; // full at once, or with a byte left, so that what is longer is skipped to the end of the text
    const auto nameOf = [&](const auto &function) { return std::string(function.name) + ": " + kind.name; };
    for (const PlainFunction &function : plainFunctions) {
        if (function.takesText) {
            measure("linear", nameOf(function), size, [&] {
                function.call(counted, room);
                function.call(terminated, room);
                function.call(counted, tight);
            });
        }
    }
    if (!kind.forWrappers) {
        return;
    }
    for (const PacketFunction &function : packetFunctions) {
        measure("linear", nameOf(function), size, [&] {
            std::free(function.call(counted));
            std::free(function.call(terminated));
        });
    }
    for (const StringFunction &function : stringFunctions) {
        measure("linear", nameOf(function), size, [&] {
            room.sum += static_cast<long>(function.call(counted).size() + function.call(terminated).size());
        });
    }
}

using Match = int(const char *text, const char *pattern);
constexpr Match *matchers[] = {zelk_patternWildcardMatch, zelk_patternWildcardMatchIgnoreCase,
                               zelk_patternWildcardMatchIgnoreControlChars,
                               zelk_patternWildcardMatchIgnoreCaseAndControlChars};

// What a text and a pattern repeat; the pattern has its start and end besides.
struct Patterns {
    std::string_view text;
    std::string_view start;
    std::string_view pattern;
    std::string_view end;
};

constexpr Patterns patterns[] = {
    {"a", "", "a*", "b"},         {"a", "", "a*a*a*a*", "b"}, {"ab", "", "ab*", "b"},     {"a", "", "*a", "b"},
    {"a", "", "?", "b"},          {"aB", "", "*?*b", "c"},    {"a", "", "***a", "z"},     {"aaaab", "", "*aab", "c"},
    {"a\x01", "", "a*\x02", "b"}, {"\x01", "", "\x02", "b"},  {"a", "", "aaaaaaaa*", ""}, {"a", "*", "a", "b*"},
    {"a", "*", "a", "?b*"},       {"a", "*a?", "a", "b*"},    {"a", "*b", "a", ""},
};

// Texts against patterns that stay, texts that stay against patterns that grow, and both growing.
void measureWildcards(std::size_t size) {
    constexpr std::size_t fixed = 40;
    volatile int result = 0; // so that no call is in vain
    for (const Patterns &row : patterns) {
        for (std::size_t i = 0; i < std::size(matchers); ++i) {
            const std::string name = "wildcard matcher " + std::to_string(i) + ": " + std::string(row.start) +
                                     std::string(row.pattern) + std::string(row.end);
            const auto match = [&](const std::string &growth, const std::string &what, std::size_t text,
                                   std::size_t pattern) {
                const std::string subject = repeated(row.text, text);
                const std::string wanted =
                    std::string(row.start) + repeated(row.pattern, pattern) + std::string(row.end);
                measure(growth, name + ", " + what, size,
                        [&] { result = matchers[i](subject.c_str(), wanted.c_str()); });
            };
            match("linear", "text grows", size, row.pattern.size());
            match("linear", "text grows, longer pattern", size, fixed);
            match("linear", "pattern grows", fixed, size);
            match("product", "both grow", size, size / 8);
        }
    }
}

} // namespace

int main() {
    for (const std::size_t size : {shortestText, 2 * shortestText, 4 * shortestText}) {
        for (const Kind &kind : kinds) {
            measureAll(kind, size);
        }
        measureWildcards(size);
    }
}
