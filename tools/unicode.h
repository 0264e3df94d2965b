// UTF-8 beside UCS-2, made valid, and made printable.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utf8proc.h>
#include <vector>

namespace zelk::tool {

// Calls use(codePoint, bytes) for every character, with codePoint -1 for a byte that begins none.
template <class Use>
void forEachCharacter(std::string_view text, Use use) {
    while (!text.empty()) {
        utf8proc_int32_t codePoint = -1;
        const utf8proc_ssize_t count = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t *>(text.data()),
                                                        static_cast<utf8proc_ssize_t>(text.size()), &codePoint);
        const std::size_t length = count > 0 ? static_cast<std::size_t>(count) : 1;
        use(count > 0 ? codePoint : -1, text.substr(0, length));
        text.remove_prefix(length);
    }
}

// One UCS-2 unit as UTF-8.
std::string utf8(unsigned short character);

std::string utf8(const std::vector<unsigned short> &units);

// UTF-8 as UCS-2 units, U+FFFD where it is malformed.
std::vector<unsigned short> units(const std::string &text);

// Makes text valid UTF-8: one U+FFFD for each byte that begins no character, and for each surrogate. Returns how many
// U+FFFD it holds then.
std::size_t replaceInvalid(std::string &text);

// Text that is safe on a terminal and stays in its line: controls, format characters and malformed bytes are written
// as escapes (\n, \u0085, \xE9), a backslash as two.
std::string printable(std::string_view text);

// The same without the second backslash, for names and messages.
std::string onOneLine(std::string_view text);

} // namespace zelk::tool
