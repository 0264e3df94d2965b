// Encoders of the compressed texts, which the library itself only decodes.
#pragma once

#include "reference/bit_string.h"
#include "reference/context_codes.h"
#include "reference/malaysia_rows.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zelk_test {

// The bits of `text` in a context-tree code. What has no code in its context is escaped; bytes of 0x80 and more and
// the byte after each of them are plain.
inline std::string contextBits(const ContextCodes &codes, std::string_view text) {
    std::string bits;
    unsigned char before = 0;
    for (const char c : text) {
        const auto character = static_cast<unsigned char>(c);
        if (before < 0x80) {
            std::string code;
            std::string escape;
            for (const auto &[candidate, meaning] : codes[before]) {
                std::string &found = meaning == escapeCharacter ? escape : code;
                if ((meaning == character || meaning == escapeCharacter) &&
                    (found.empty() || candidate.size() < found.size())) {
                    found = candidate;
                }
            }
            bits += code.empty() ? escape + bitsOf(character) : code;
        } else {
            bits += bitsOf(character);
        }
        before = character;
    }
    return bits;
}

// The bytes behind the selector of a compressed DVB text, types 1 and 2: the text and its end.
inline std::string encodeStreamText(const ContextCodes &codes, std::string_view text) {
    return packed(contextBits(codes, std::string(text) + '\0'));
}

// A compressed title or description: the text, its end, and the zero byte that decoders take for a terminator.
inline std::string encodeGuideText(const ContextCodes &codes, std::string_view text) {
    return encodeStreamText(codes, text) + '\0';
}

// The bytes behind the selector of a compressed DVB text, types 5 and 6, of Latin-1 text, in the fewest bits. Between
// the codes lies one trap: a code that begins another must not be followed by the bit that leads on to it.
class MalaysiaEncoder {
public:
    explicit MalaysiaEncoder(const MalaysiaRows &rows) : rows_(rows) {
        for (const std::string &path : rows.paths) {
            for (const char bit : {'0', '1'}) {
                const bool ends = bit == '1' && valueOf(path) == 0x7F;
                if (!rows.isCode(path) && !rows.isPath(path + bit) && !ends &&
                    (escape_.empty() || path.size() + 1 < escape_.size())) {
                    escape_ = path + bit;
                }
            }
        }
    }

    std::string encode(std::string_view latin1) const {
        // best[at][bit]: the fewest bits for the text from `at` on, of those that begin with `bit`.
        std::vector<std::array<std::string, 2>> best(latin1.size() + 1);
        std::vector<std::array<bool, 2>> possible(latin1.size() + 1, {false, false});
        possible[latin1.size()] = {true, true};
        for (std::size_t at = latin1.size(); at-- > 0;) {
            const auto consider = [&](const std::string &code, std::size_t next) {
                const auto first = static_cast<std::size_t>(code[0] - '0');
                for (const char bit : {'0', '1'}) {
                    const auto following = static_cast<std::size_t>(bit - '0');
                    if (!possible[next][following] || rows_.isPath(code + bit)) {
                        continue;
                    }
                    const std::string bits = code + best[next][following];
                    if (!possible[at][first] || bits.size() < best[at][first].size()) {
                        best[at][first] = bits;
                        possible[at][first] = true;
                    }
                }
            };
            for (std::size_t length = 1; length <= 4 && at + length <= latin1.size(); ++length) {
                const auto row = rows_.codeOf.find(std::string(latin1.substr(at, length)));
                if (row != rows_.codeOf.end()) {
                    consider(row->second, at + length);
                }
            }
            consider(escape_ + bitsOf(static_cast<unsigned char>(latin1[at])), at + 1);
        }
        const auto &choices = best[0];
        const bool second = !possible[0][0] || (possible[0][1] && choices[1].size() < choices[0].size());
        return packed(choices[second ? 1 : 0] + filler(choices[second ? 1 : 0].size()));
    }

    const std::string &escape() const { return escape_; }

private:
    // Bits that complete the last byte and mean nothing: the beginning of a long code.
    std::string filler(std::size_t bits) const {
        const std::size_t wanted = (8 - bits % 8) % 8;
        for (const std::string &path : rows_.paths) {
            if (path.size() == wanted && !rows_.isCode(path) && (path.empty() || path[0] == '0')) {
                return path;
            }
        }
        return {};
    }

    const MalaysiaRows &rows_;
    std::string escape_;
};

} // namespace zelk_test
