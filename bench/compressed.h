// Compressed English texts, made with the encoders of the tests.
#pragma once

#include "corpus.h"
#include "reference/huffman_encoder.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace zelk_bench {

using Encode = std::function<std::string(const std::string &)>;

inline Texts<char> compressedTexts(Length length, const std::string &selector, const Encode &encode) {
    const Texts<char> plain = makeTexts({english}, length);
    Texts<char> texts;
    for (std::size_t i = 0; i < plain.size(); ++i) {
        texts.add(selector + encode(std::string(plain[i].begin(), plain[i].end())));
    }
    return texts;
}

// The fewest bits in a Malaysian code, for texts of any length. A code that begins another must not be followed by the
// bit that leads on to it, so that the search keeps a best way for either first bit.
inline std::string malaysiaBits(const zelk_test::MalaysiaRows &rows, const std::string &escape,
                                const std::string &text) {
    struct Way {
        std::size_t bits = SIZE_MAX;
        std::string code;
        std::size_t next = 0;
        std::size_t nextBit = 0;
    };
    std::vector<std::array<Way, 2>> ways(text.size() + 1);
    ways[text.size()] = {Way{0, {}, 0, 0}, Way{0, {}, 0, 0}};
    for (std::size_t at = text.size(); at-- > 0;) {
        const auto consider = [&](const std::string &code, std::size_t next) {
            for (std::size_t bit = 0; bit < 2; ++bit) {
                const std::size_t rest = ways[next][bit].bits;
                Way &way = ways[at][code[0] == '1' ? 1 : 0];
                if (rest != SIZE_MAX && code.size() + rest < way.bits && !rows.isPath(code + (bit == 1 ? '1' : '0'))) {
                    way = {code.size() + rest, code, next, bit};
                }
            }
        };
        for (std::size_t length = 1; length <= 4 && at + length <= text.size(); ++length) {
            const auto row = rows.codeOf.find(text.substr(at, length));
            if (row != rows.codeOf.end()) {
                consider(row->second, at + length);
            }
        }
        consider(escape + zelk_test::bitsOf(static_cast<unsigned char>(text[at])), at + 1);
    }
    std::string bits;
    std::size_t bit = ways[0][0].bits <= ways[0][1].bits ? 0 : 1;
    for (std::size_t at = 0; at < text.size();) {
        const Way &way = ways[at][bit];
        bits += way.code;
        bit = way.nextBit;
        at = way.next;
    }
    return bits;
}

inline Encode streamEncoder(const unsigned char *table) {
    return [codes = zelk_test::contextCodes(table)](const std::string &text) {
        return zelk_test::encodeStreamText(codes, text);
    };
}

inline Encode guideEncoder(const unsigned char *table) {
    return [codes = zelk_test::contextCodes(table)](const std::string &text) {
        return zelk_test::encodeGuideText(codes, text);
    };
}

inline Encode malaysiaEncoder() {
    const auto rows = std::make_shared<zelk_test::MalaysiaRows>(BENCH_MALAYSIA_TABLES "/malaysia_en.tsv");
    return [rows, escape = zelk_test::MalaysiaEncoder(*rows).escape()](const std::string &text) {
        return zelk_test::packed(malaysiaBits(*rows, escape, text));
    };
}

} // namespace zelk_bench
