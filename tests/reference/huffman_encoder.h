// Encoders of the compressed texts, which the library itself only decodes.
#pragma once

#include "reference/bit_string.h"
#include "reference/context_codes.h"
#include "reference/malaysia_rows.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
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
            const auto &shortest = codes.shortest[before];
            const auto code = character == escapeCharacter ? shortest.end() : shortest.find(character);
            if (code != shortest.end()) {
                bits += code->second;
            } else {
                const auto escape = shortest.find(escapeCharacter);
                bits += (escape == shortest.end() ? "" : escape->second) + bitsOf(character);
            }
        } else {
            bits += bitsOf(character);
        }
        before = character;
    }
    return bits;
}

// The bytes after the selector of a compressed DVB text, types 1 and 2: the text and its end.
inline std::string encodeStreamText(const ContextCodes &codes, std::string_view text) {
    return packed(contextBits(codes, std::string(text) + '\0'));
}

// A compressed title or description: the text, its end, and the zero byte that decoders take for a terminator.
inline std::string encodeGuideText(const ContextCodes &codes, std::string_view text) {
    return encodeStreamText(codes, text) + '\0';
}

// The bytes after the selector of a compressed DVB text, types 5 and 6, of Latin-1 text, in the fewest bits. Between
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

    // From the end of the text to its begin: the fewest bits for the rest, of those that begin with a 0 and of those
    // that begin with a 1.
    std::string encode(std::string_view latin1) const {
        std::vector<std::array<Way, 2>> ways(latin1.size() + 1);
        ways[latin1.size()] = {Way{0, {}, 0, 0}, Way{0, {}, 0, 0}};
        for (std::size_t at = latin1.size(); at-- > 0;) {
            const auto consider = [&](const std::string &code, std::size_t next) {
                Way &way = ways[at][code[0] == '1' ? 1 : 0];
                for (std::size_t bit = 0; bit < 2; ++bit) {
                    const std::size_t rest = ways[next][bit].bits;
                    if (rest != impossible && code.size() + rest < way.bits &&
                        !rows_.isPath(code + (bit == 1 ? '1' : '0'))) {
                        way = {code.size() + rest, code, next, bit};
                    }
                }
            };
            for (std::size_t length = 1; length <= 4 && at + length <= latin1.size(); ++length) {
                const auto row = rows_.codeOf.find(latin1.substr(at, length));
                if (row != rows_.codeOf.end()) {
                    consider(row->second, at + length);
                }
            }
            consider(escape_ + bitsOf(static_cast<unsigned char>(latin1[at])), at + 1);
        }
        std::string bits;
        std::size_t bit = ways[0][0].bits <= ways[0][1].bits ? 0 : 1;
        for (std::size_t at = 0; at < latin1.size();) {
            const Way &way = ways[at][bit];
            bits += way.code;
            bit = way.nextBit;
            at = way.next;
        }
        return packed(bits + filler(bits.size()));
    }

    const std::string &escape() const { return escape_; }

private:
    static constexpr std::size_t impossible = SIZE_MAX;

    // The next code, where the text goes on after it, and the bit that begins the rest.
    struct Way {
        std::size_t bits = impossible;
        std::string code;
        std::size_t next = 0;
        std::size_t nextBit = 0;
    };

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
