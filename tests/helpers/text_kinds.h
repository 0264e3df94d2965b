// Texts of every kind that a kernel treats in its own way, at any length. A text is cut where its length says, within a
// sequence, a reference or a pair of bytes too.
#pragma once

#include "helpers/text.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>

namespace zelk_test {

struct TextKind {
    const char *name;
    std::string_view start;  // DVB selectors
    std::string_view pieces; // of what follows, between vertical bars; empty for any bytes but zero
    int piece = 0;           // bytes of the pieces, where they have no bars between them
    bool needsCount = false; // without one, reading goes on until the code ends the text
    unsigned char sly = 0;   // a byte that stands at one place of the text, where it is not 0

    std::string ofLength(std::size_t length, Random &random) const {
        std::string text(start.substr(0, length));
        while (text.size() < length) {
            text += pieces.empty() ? std::string(1, static_cast<char>(1 + random.below(255))) : onePiece(random);
        }
        text.resize(length);
        if (sly != 0 && length > start.size()) {
            const auto places = static_cast<std::uint32_t>(length - start.size());
            text[start.size() + random.below(places)] = static_cast<char>(sly);
        }
        return text;
    }

private:
    std::string_view onePiece(Random &random) const {
        if (piece != 0) {
            const auto size = static_cast<std::size_t>(piece);
            return pieces.substr(random.below(static_cast<std::uint32_t>(pieces.size() / size)) * size, size);
        }
        const std::size_t place = random.below(static_cast<std::uint32_t>(pieces.size()));
        const std::size_t begin = place == 0 ? 0 : pieces.rfind('|', place - 1) + 1; // npos + 1 is 0
        return pieces.substr(begin, pieces.find('|', begin) - begin);
    }
};

inline constexpr TextKind textKinds[] = {
    {"ASCII", "", "abcdefghij klmnopqrstuvwxyz, ABCDEFGHIJKLMNOPQRSTUVWXYZ. 0123456789", 1},
    {"letters of single-byte sets", "", "abcde \xA4\xB1\xC0\xD4\xE9\xF8\xFC", 1},
    {"single-byte sets above ASCII", "", "\xA1\xA5\xAE\xB0\xBC\xC4\xD2\xDF\xE0\xEE\xF1\xFE", 1},
    {"UTF-8 of one and two bytes", "", "P|\xC5\x99|\xC3\xAD|li|\xC5\xA1"},
    {"UTF-8 of two bytes", "", "\xD0\xB4\xD0\xB0\xD1\x87\xD0\x9F\xCE\xA9\xDF\xBF", 2},
    {"UTF-8 of three bytes", "", "\xE6\xB5\xB7\xE5\xB2\xB8\xE2\x82\xAC\xED\xA0\x80\xEF\xBF\xBF", 3},
    {"UTF-8 of all lengths", "", "news |\xC3\xA9|\xE2\x82\xAC|a|\xD0\xB4|\xE6\xB5\xB7"},
    {"ASCII with one byte that begins no sequence", "", "abcdefgh ", 1, false, 0xFF},
    {"ASCII with one lead byte", "", "abcdefgh ", 1, false, 0xE2},
    {"UTF-8 of two bytes with one that is overlong", "", "\xD0\xB4\xD0\xB0\xD1\x87", 2, false, 0xC0},
    {"UTF-8 of three bytes with one that continues", "", "\xE6\xB5\xB7\xE5\xB2\xB8\xE2\x82\xAC", 3, false, 0x80},
    {"broken UTF-8", "", "a|\xE2\x82|\xC3|\x80|\xF0\x9F\x98\x80|\xE0\x80\x80|\xED\xA0\x80|\xEF\xBF\xBD"},
    {"letters with marks", "", "\xC2\x65|\xC8\x61|\xCF\x63|a|b| |\xC1|\xCA\xCA\x65"},
    {"sparse marks", "", "Evening |news, |weather, |\xC2\x65|\xC8\x6F"},
    {"controls and emphasis", "", "a|b| |\x86|\x87|\x8A|\x80|\x9F|\x09|\x0A|\x01|\x7F"},
    {"text with few controls", "", "Evening |news. |Then the |\x86|\x87|\x8A"},
    {"special characters of XML", "", "<&>\"'", 1},
    {"text with few special characters", "", "Evening |news and |weather |&|<|'"},
    {"references", "", "&amp;|&lt;|&gt;|&quot;|&apos;|&#65;|&#321;|&l;|&;|&#x41;|&#;|& |&xyz;|&apostle;|&#12"},
    {"text with few references", "", "Evening |news |and |weather. |Then |&amp;|&#228;|&quot;"},
    {"quotes", "", "a\"b'\"", 1},
    {"wildcards", "", "*e?az", 1},
    {"any bytes", "", ""},
    {"ISO 8859-5 by selector", "\x01", "\xBF\xE0\xD8 \xF2\xA6", 1},
    {"ISO 8859-7 by selector", "\x03", "a|b|\xCD|\xDD|\xE1|\x8A|\x86"},
    {"ISO 8859-9 by selector", "\x05", "abcd\xE7\xFD\xDD ", 1},
    {"ISO 8859-6 and Greek marks by selector", "\x02", "\xC7\xE4\xA8\xB4\xC1\xE1", 1},
    {"ISO 8859-15 by selector", {"\x10\x00\x0F", 3}, "abcd\xE9\xC2\xCF ", 1},
    {"ISO 8859-2 by a long selector", {"\x10\x00\x02", 3}, "ab|\xB1\xE6|\x87| |\xF3"},
    {"two-byte text by selector", "\x11", {"\x6D\x77\x21\x16\x00\x41\x04\x14\x00\x9F\xE0\x8A\xD8\x00", 14}, 2},
    {"two-byte ASCII by selector", "\x14", {"\0a\0b\0c\0d\0 ", 10}, 2},
    {"UTF-8 by selector", "\x15", "ab|\xC2\x86|\xC3\xA9|\xEE\x82\x8A|\xE2\x82\xAC|\x01"},
    {"broken UTF-8 by selector", "\x15", "a|\xE2\x82|\xC3|\xFF|\xF0\x9F"},
    {"prepared text", "\x1D", "ab|\xC3\xA9|\xE2\x82\xAC|\x01|\x0A"},
    {"compressed text of type 1", "\x1F\x01", "", 0, true},
    {"compressed text of type 2", "\x1F\x02", "", 0, true},
    {"compressed text of type 5", "\x1F\x05", "", 0, true},
    {"compressed text of type 6", "\x1F\x06", "", 0, true},
};

inline constexpr std::size_t longestText = 300;

// Where programs run slowly, as under Valgrind, the environment has tests take one of so many texts.
inline std::size_t textStride() {
    static const char *const stride = std::getenv("ZELK_TEST_STRIDE");
    static const int value = stride == nullptr ? 1 : std::atoi(stride);
    return static_cast<std::size_t>(std::max(value, 1));
}

// Calls use() with the kinds that a test takes at a length: all, or beyond two blocks of any kernel every fourth, so
// that four lengths have them all.
template <class Use>
void forKindsAtLength(std::size_t length, Use use) {
    constexpr std::size_t twoBlocks = 130;
    const std::size_t stride = textStride() * (length <= twoBlocks ? 1 : 4);
    std::size_t round = length;
    for (const TextKind &kind : textKinds) {
        if (++round % stride == 0) {
            use(kind);
        }
    }
}

} // namespace zelk_test
