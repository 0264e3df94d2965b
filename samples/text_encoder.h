// Writes text as DVB strings (ETSI EN 300 468, Annex A): the encoding side that the library does not have. Nothing here
// is taken from the library's tables save the codes of compressed text, so what it decodes is checked from outside.
#pragma once

#include "reference/context_codes.h"
#include "reference/huffman_encoder.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zelk_samples {

// How a text is sent: the bytes of the selector, and what the text behind it is made of: "DVB" (the default table with
// diacritical marks), "code 1" or "code 2" (compressed by context), "pieces en" or "pieces ms" (compressed by pieces),
// or else a character set that iconv knows.
struct Coding {
    std::string selector;
    std::string characters;

    bool compressed() const { return selector.substr(0, 1) == "\x1F" && characters != "DVB"; }
};

class TextEncoder {
public:
    // `pieceTables` is the folder that holds malaysia_en.tsv and malaysia_ms.tsv.
    explicit TextEncoder(const std::string &pieceTables);
    TextEncoder(const TextEncoder &) = delete;
    TextEncoder &operator=(const TextEncoder &) = delete;

    // The bytes of a DVB string. The control codes U+0080-U+009F are sent as the form of the text has them. Throws
    // std::runtime_error when the text cannot be sent so. An empty text has no selector either.
    std::string encode(const Coding &coding, const std::string &text) const;

    // The same in pieces of at most `limit` bytes, each with the selector. The cuts are as unkind as a broadcaster's:
    // between a mark and its letter, or inside a character. Compressed text is cut between words before compression.
    std::vector<std::string> encodePieces(const Coding &coding, const std::string &text, std::size_t limit) const;

private:
    std::string encodeBody(const std::string &characters, const std::string &text) const;

    zelk_test::ContextCodes code1_;
    zelk_test::ContextCodes code2_;
    zelk_test::MalaysiaRows english_;
    zelk_test::MalaysiaRows malay_;
    zelk_test::MalaysiaEncoder englishEncoder_;
    zelk_test::MalaysiaEncoder malayEncoder_;
};

} // namespace zelk_samples
