#include "text_encoder.h"

#include "zelk.h"

#include <iconv.h>
#include <utf8proc.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace zelk_samples {

namespace {

using CodePoints = std::vector<char32_t>;

CodePoints codePoints(std::string_view text) {
    CodePoints result;
    while (!text.empty()) {
        utf8proc_int32_t codePoint = 0;
        const utf8proc_ssize_t length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t *>(text.data()),
                                                         static_cast<utf8proc_ssize_t>(text.size()), &codePoint);
        if (length <= 0) {
            throw std::runtime_error("the text is not UTF-8");
        }
        result.push_back(static_cast<char32_t>(codePoint));
        text.remove_prefix(static_cast<std::size_t>(length));
    }
    return result;
}

std::string utf8(char32_t codePoint) {
    std::array<utf8proc_uint8_t, 4> bytes{};
    const utf8proc_ssize_t length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(codePoint), bytes.data());
    return {bytes.begin(), bytes.begin() + length};
}

[[noreturn]] void refuse(char32_t codePoint, const std::string &characters) {
    std::array<char, 16> name{};
    (void)std::snprintf(name.data(), name.size(), "U+%04X", static_cast<unsigned int>(codePoint));
    throw std::runtime_error(std::string(name.data()) + " has no place in " + characters);
}

bool isControl(char32_t codePoint) {
    return codePoint >= 0x80 && codePoint < 0xA0;
}

// ---- The default table ----

// Rows 0xA0-0xBF and 0xD0-0xFF, from EN 300 468 figure A.1; a blank stands for a place without a character. 0xE2 is
// shared by two letters that look alike: the barred D of Croatian and the Eth of Icelandic.
struct DefaultRow {
    unsigned int first;
    std::u32string_view characters;
};
constexpr std::array<DefaultRow, 5> defaultRows{{
    {0xA0, U"\u00A0¡¢£€¥ §¤‘“«←↑→↓"},
    {0xB0, U"°±²³×µ¶·÷’”»¼½¾¿"},
    {0xD0, U"―¹®©™♪¬¦    ⅛⅜⅝⅞"},
    {0xE0, U"ΩÆĐªĦ ĲĿŁØŒºÞŦŊŉ"},
    {0xF0, U"ĸæđðħıĳŀłøœßþŧŋ\u00AD"},
}};

// The marks stand before their letter in the broadcast and behind it in Unicode's decompositions.
struct Mark {
    char32_t combining;
    unsigned char byte;
};
constexpr std::array<Mark, 13> marks{{
    {0x0300, 0xC1},
    {0x0301, 0xC2},
    {0x0302, 0xC3},
    {0x0303, 0xC4},
    {0x0304, 0xC5},
    {0x0306, 0xC6},
    {0x0307, 0xC7},
    {0x0308, 0xC8},
    {0x030A, 0xCA},
    {0x0327, 0xCB},
    {0x030B, 0xCD},
    {0x0328, 0xCE},
    {0x030C, 0xCF},
}};

std::string encodeDefault(char32_t codePoint) {
    if ((codePoint >= 0x20 && codePoint < 0x7F) || isControl(codePoint)) {
        return {static_cast<char>(codePoint)};
    }
    for (const DefaultRow &row : defaultRows) {
        const std::size_t at = row.characters.find(codePoint);
        if (at != std::u32string_view::npos) {
            return {static_cast<char>(row.first + at)};
        }
    }
    utf8proc_uint8_t *decomposed = nullptr;
    const std::string text = utf8(codePoint);
    utf8proc_map(reinterpret_cast<const utf8proc_uint8_t *>(text.data()), static_cast<utf8proc_ssize_t>(text.size()),
                 &decomposed, UTF8PROC_DECOMPOSE);
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(decomposed, &std::free);
    const CodePoints parts = codePoints(reinterpret_cast<const char *>(decomposed));
    if (parts.size() == 2 && parts[0] < 0x7F) {
        for (const Mark &mark : marks) {
            if (mark.combining == parts[1]) {
                return {static_cast<char>(mark.byte), static_cast<char>(parts[0])};
            }
        }
    }
    refuse(codePoint, "the default table");
}

// ---- Other character sets ----

// One character in a set that iconv knows.
class Converter {
public:
    explicit Converter(const std::string &set) : set_(set), handle_(iconv_open(set.c_str(), "UTF-8")) {
        if (reinterpret_cast<std::intptr_t>(handle_) == -1) {
            throw std::runtime_error("iconv does not know " + set);
        }
    }
    ~Converter() { iconv_close(handle_); }
    Converter(const Converter &) = delete;
    Converter &operator=(const Converter &) = delete;

    std::string operator()(char32_t codePoint) const {
        std::string in = utf8(codePoint);
        std::array<char, 8> out{};
        char *from = in.data();
        char *to = out.data();
        std::size_t inLeft = in.size();
        std::size_t outLeft = out.size();
        if (iconv(handle_, &from, &inLeft, &to, &outLeft) != 0) {
            refuse(codePoint, set_);
        }
        return {out.data(), out.size() - outLeft};
    }

private:
    std::string set_;
    iconv_t handle_;
};

bool isUnicode(const std::string &characters) {
    return characters == "UTF-8" || characters == "UTF-16BE";
}

// In Unicode text the control codes of DVB stand in the private use area, in single-byte text where they always were.
std::string encodeWith(const std::string &characters, const std::string &text) {
    const Converter convert(characters);
    std::string result;
    for (const char32_t codePoint : codePoints(text)) {
        if (!isControl(codePoint)) {
            result += convert(codePoint);
        } else if (isUnicode(characters)) {
            result += convert(0xE000 + codePoint);
        } else {
            result += static_cast<char>(codePoint);
        }
    }
    return result;
}

std::string latin1(const std::string &text) {
    return encodeWith("ISO-8859-1", text);
}

// Whether a cut before `at` goes through a character.
bool cutsThrough(const std::string &characters, const std::string &body, std::size_t at) {
    const auto before = static_cast<unsigned char>(body[at - 1]);
    const auto behind = static_cast<unsigned char>(body[at]);
    if (characters == "DVB") {
        return before >= 0xC1 && before <= 0xCF;
    }
    return characters == "UTF-8" ? (behind & 0xC0U) == 0x80 : characters == "UTF-16BE" && at % 2 == 1;
}

} // namespace

TextEncoder::TextEncoder(const std::string &pieceTables)
    : code1_(zelk_test::contextCodes(HuffmanDecodeTable_1)), code2_(zelk_test::contextCodes(HuffmanDecodeTable_2)),
      english_(pieceTables + "/malaysia_en.tsv"), malay_(pieceTables + "/malaysia_ms.tsv"), englishEncoder_(english_),
      malayEncoder_(malay_) {}

std::string TextEncoder::encodeBody(const std::string &characters, const std::string &text) const {
    if (characters == "DVB") {
        std::string result;
        for (const char32_t codePoint : codePoints(text)) {
            result += encodeDefault(codePoint);
        }
        return result;
    }
    if (characters == "code 1" || characters == "code 2") {
        return zelk_test::encodeStreamText(characters == "code 1" ? code1_ : code2_, encodeWith("UTF-8", text));
    }
    if (characters == "pieces en" || characters == "pieces ms") {
        return (characters == "pieces en" ? englishEncoder_ : malayEncoder_).encode(latin1(text));
    }
    return encodeWith(characters, text);
}

std::string TextEncoder::encode(const Coding &coding, const std::string &text) const {
    return text.empty() ? std::string() : coding.selector + encodeBody(coding.characters, text);
}

std::vector<std::string> TextEncoder::encodePieces(const Coding &coding, const std::string &text,
                                                   std::size_t limit) const {
    std::vector<std::string> pieces;
    if (coding.compressed()) {
        for (std::string rest = text; !rest.empty();) {
            const std::size_t blank = rest.size() <= limit ? rest.size() : rest.rfind(' ', limit) + 1;
            pieces.push_back(encode(coding, rest.substr(0, blank)));
            rest.erase(0, blank);
        }
        return pieces;
    }
    std::string rest = text.empty() ? std::string() : encodeBody(coding.characters, text);
    while (!rest.empty()) {
        std::size_t cut = limit - coding.selector.size();
        if (rest.size() <= cut) {
            cut = rest.size();
        } else {
            const std::size_t whole = cut;
            while (cut > whole / 2 && !cutsThrough(coding.characters, rest, cut)) {
                --cut;
            }
            cut = cut > whole / 2 ? cut : whole;
        }
        pieces.push_back(coding.selector + rest.substr(0, cut));
        rest.erase(0, cut);
    }
    return pieces;
}

} // namespace zelk_samples
