#include "unicode.h"

#include "zelk.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace zelk::tool {

namespace {

bool isShown(utf8proc_int32_t codePoint) {
    switch (utf8proc_category(codePoint)) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_CS:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return false;
    default:
        return true;
    }
}

std::string escaped(std::string_view text, bool backslashes) {
    std::string result;
    forEachCharacter(text, [&](utf8proc_int32_t codePoint, std::string_view bytes) {
        if (codePoint < 0) {
            fmt::format_to(std::back_inserter(result), "\\x{:02X}", static_cast<unsigned char>(bytes.front()));
        } else if (codePoint == '\n') {
            result += "\\n";
        } else if (codePoint == '\\' && backslashes) {
            result += "\\\\";
        } else if (!isShown(codePoint)) {
            fmt::format_to(std::back_inserter(result), "\\u{:04X}", codePoint);
        } else {
            result += bytes;
        }
    });
    return result;
}

} // namespace

std::string utf8(unsigned short character) {
    unsigned char bytes[4];
    const unsigned int count = zelkUtf8CharEncode(character, bytes, sizeof bytes);
    return {reinterpret_cast<const char *>(bytes), count};
}

std::string utf8(const std::vector<unsigned short> &units) {
    std::string result;
    for (const unsigned short unit : units) {
        result += utf8(unit);
    }
    return result;
}

std::vector<unsigned short> units(const std::string &text) {
    std::vector<unsigned short> result;
    const auto *const bytes = reinterpret_cast<const unsigned char *>(text.data());
    for (std::size_t at = 0; at < text.size();) {
        unsigned short character = 0xFFFD; // stays when the last sequence is cut off
        at += zelkUtf8CharDecode(bytes + at, static_cast<unsigned int>(text.size() - at), &character);
        result.push_back(character);
    }
    return result;
}

std::size_t replaceInvalid(std::string &text) {
    const auto plain = [](char byte) { return static_cast<signed char>(byte) >= 0; };
    std::size_t count = 0;
    if (std::all_of(text.begin(), text.end(), plain)) {
        return count;
    }
    std::string result;
    std::size_t surrogate = 0; // bytes left of the one that is being passed over
    forEachCharacter(text, [&](utf8proc_int32_t codePoint, std::string_view bytes) {
        if (surrogate > 0 && codePoint < 0) {
            --surrogate;
            return;
        }
        surrogate = 0;
        if (codePoint >= 0 && codePoint != 0xFFFD) {
            result += bytes;
            return;
        }
        const char *const end = text.data() + text.size();
        if (codePoint < 0 && end - bytes.data() >= 3 && bytes[0] == '\xED' && (bytes[1] & 0xE0) == 0xA0 &&
            (bytes[2] & 0xC0) == 0x80) {
            surrogate = 2;
        }
        result += "\xEF\xBF\xBD";
        ++count;
    });
    text = std::move(result);
    return count;
}

std::string printable(std::string_view text) {
    return escaped(text, true);
}

std::string onOneLine(std::string_view text) {
    return escaped(text, false);
}

} // namespace zelk::tool
