// Compressed English texts, made with the encoders of the tests.
#pragma once

#include "corpus.h"
#include "reference/huffman_encoder.h"

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
    return
        [rows, encoder = zelk_test::MalaysiaEncoder(*rows)](const std::string &text) { return encoder.encode(text); };
}

} // namespace zelk_bench
