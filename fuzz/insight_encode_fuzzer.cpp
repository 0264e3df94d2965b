// Encoding any bytes in any forms: what is said exactly reads back, budgets hold, pieces join to the text, and case and
// keys of the same bytes stay inside their outputs.
#include "fuzz.h"

#include "zelk_insight.h"

using fuzz::require;

namespace {

std::string decode(const std::string &string, dvbCharSet_t region) {
    const zelkInsightSettings settings = {region, DvbCodeNone, 0, 1, 0};
    const int size = static_cast<int>(string.size()) * 24 + 1;
    fuzz::Output<char> out(size);
    return out.text(zelkInsightDecode(&settings, out.data(), size, fuzz::block(string, 1).get(),
                                      static_cast<int>(string.size()), nullptr));
}

int take(const char *piece, unsigned int length, void *context) {
    static_cast<std::vector<std::string> *>(context)->emplace_back(piece, length);
    return 0;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const auto region = static_cast<dvbCharSet_t>(input.named(7));
    const unsigned int forms = input.unit() << 8U | input.byte();
    const zelkInsightEncodeSettings settings = {region, forms, input.byte()};
    const int budget = static_cast<int>(input.byte());
    const std::string text = input.rest();
    const auto in = fuzz::block(text);
    const int length = static_cast<int>(text.size());

    fuzz::Output<char> out(budget + 1);
    zelkInsightEncoded about{};
    const std::string string = out.text(zelkInsightEncode(&settings, out.data(), budget + 1, in.get(), length, &about));
    require(static_cast<int>(string.size()) <= budget, "the budget holds");
    require(about.used <= text.size(), "no more than the text is used");
    if (about.unsaid == 0) {
        require(decode(string, region) == text.substr(0, about.used), "what is said reads back");
    }

    std::vector<std::string> pieces;
    zelkInsightEncoded whole{};
    const unsigned int count = zelkInsightEncodePieces(&settings, budget, in.get(), length, take, &pieces, &whole);
    require(count == pieces.size(), "pieces are counted");
    std::string joined;
    for (const std::string &piece : pieces) {
        require(static_cast<int>(piece.size()) <= budget, "a piece holds its size");
        joined += decode(piece, region);
    }
    if (whole.unsaid == 0) {
        require(joined == text.substr(0, whole.used), "pieces read back");
    }

    for (const auto map : {zelkInsightLower, zelkInsightUpper, zelkInsightFold}) {
        const int room = 3 * length + 1;
        fuzz::Output<char> mapped(room);
        mapped.text(map(mapped.data(), room, in.get(), length));
    }
    const int keySize = zelkInsightSortKeySize(in.get(), length);
    for (const unsigned int options : {0U, 1U}) {
        fuzz::Output<char> key(keySize);
        const std::string bytes = key.text(zelkInsightSortKey(key.data(), keySize, in.get(), length, options));
        require(bytes.find('\0') == std::string::npos, "no byte of a key is zero");
    }
    fuzz::Output<char> compressed(4 * length + 5);
    require(zelkInsightCompress(1 + forms % 4, compressed.data(), 4 * length + 5, in.get(), length) != 0,
            "compressed text has room");
    return 0;
}
