// XML escaping and unescaping byte by byte, as plain as can be. `in` is what a count leaves of a text, a zero byte ends
// it, and `size` counts the terminator, which the result lacks.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <string>

namespace zelk_test {

inline std::string modelEntity(char character) {
    switch (character) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&apos;";
    default:
        return std::string(1, character);
    }
}

// The text that the count and the zero byte leave.
inline std::string modelText(const std::string &in) {
    return in.substr(0, in.find('\0'));
}

inline std::string modelEscape(const std::string &in, int size) {
    std::string out;
    for (const char character : modelText(in)) {
        const std::string entity = modelEntity(character);
        if (out.size() + entity.size() + 1 > static_cast<std::size_t>(size)) {
            break;
        }
        out += entity;
    }
    return out;
}

inline std::string modelUnescape(const std::string &in, int size) {
    const std::string text = modelText(in);
    std::string out;
    std::size_t at = 0;
    while (at < text.size() && out.size() + 1 < static_cast<std::size_t>(size)) {
        std::size_t end = text.find(';', at);
        end = end == std::string::npos ? text.size() : end;
        if (text[at] == '&' && end - at <= 6) {
            const std::string name = text.substr(at, end - at);
            if (name.rfind("&#", 0) == 0) {
                out += static_cast<char>(std::strtoul(name.c_str() + 2, nullptr, 10) % 256);
                at = end + 1;
                continue;
            }
            char found = 0;
            for (const char character : {'\'', '"', '>', '<', '&'}) {
                if (modelEntity(character).rfind(name, 0) == 0) {
                    found = character;
                }
            }
            if (found != 0) {
                out += found;
                at = end + 1;
                continue;
            }
        }
        out += text[at++];
    }
    return out;
}

} // namespace zelk_test
