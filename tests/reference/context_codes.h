// The codes of a context-tree table as strings of bits, and the plainest decoder over them.
#pragma once

#include "reference/bit_string.h"

#include <array>
#include <cstddef>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zelk_test {

constexpr unsigned char escapeCharacter = 0x1B;

using CodeMap = std::map<std::string, unsigned char>; // code -> character

// By the character before: its codes; for decoders, characters by the number of their code; for encoders, the shortest
// code of each character.
struct ContextCodes : std::array<CodeMap, 128> {
    std::array<std::unordered_map<std::size_t, unsigned char>, 128> byNumber;
    std::array<std::map<unsigned char, std::string>, 128> shortest;
};

inline void collectCodes(const unsigned char *tree, unsigned int node, const std::string &path, CodeMap &codes) {
    for (const char bit : {'0', '1'}) {
        const unsigned int next = tree[2 * node + (bit == '1' ? 1 : 0)];
        if (next < 0x80) {
            collectCodes(tree, next, path + bit, codes);
        } else {
            codes[path + bit] = static_cast<unsigned char>(next - 0x80);
        }
    }
}

inline ContextCodes contextCodes(const unsigned char *table) {
    ContextCodes codes;
    for (std::size_t context = 0; context < codes.size(); ++context) {
        const std::size_t offset = table[2 * context] * std::size_t{256} + table[2 * context + 1];
        collectCodes(table + offset, 0, "", codes[context]);
        for (const auto &[code, character] : codes[context]) {
            std::string &shortest = codes.shortest[context][character];
            shortest = shortest.empty() || code.size() < shortest.size() ? code : shortest;
            codes.byNumber[context][numberOf(code)] = character;
        }
    }
    return codes;
}

struct DecodedCharacter {
    unsigned char value;
    std::size_t end; // bits of the input up to and with this character
};

// All characters that the bits hold, end-of-text characters among them; an unfinished one is dropped.
inline std::vector<DecodedCharacter> decodeContextBits(const ContextCodes &codes, std::string_view bits) {
    constexpr std::size_t longest = std::numeric_limits<std::size_t>::max() / 2; // beyond any code
    std::vector<DecodedCharacter> text;
    unsigned char before = 0;
    std::size_t at = 0;
    for (;;) {
        bool literal = before >= 0x80;
        unsigned char character = 0;
        if (!literal) {
            const auto &byNumber = codes.byNumber[before];
            std::size_t number = 1;
            auto found = byNumber.end();
            while (found == byNumber.end()) {
                if (at == bits.size() || number >= longest) {
                    return text;
                }
                number = number * 2 + (bits[at++] == '1' ? 1 : 0);
                found = byNumber.find(number);
            }
            character = found->second;
            literal = character == escapeCharacter;
        }
        if (literal) {
            if (at + 8 > bits.size()) {
                return text;
            }
            character = static_cast<unsigned char>(valueOf(bits.substr(at, 8)));
            at += 8;
        }
        text.push_back({character, at});
        before = character;
    }
}

} // namespace zelk_test
