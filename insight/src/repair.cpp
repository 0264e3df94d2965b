// Text that was decoded with the wrong table: back to its bytes, and forward again by the guess.
#include "decode.h"
#include "guess.h"

#include "zelk_insight.h"

#include <array>
#include <cstring>

using zelk::insight::sureEnough;

namespace {

// The tables that text is wrongly read with, as forms to send it in.
struct WrongTable {
    unsigned int form;
    zelkInsightTable table;
};

constexpr WrongTable wrongTables[] = {
    {0, ZelkInsightTableDefault},           {1, ZelkInsightTableIso8859_1},
    {9, static_cast<zelkInsightTable>(10)}, {15, static_cast<zelkInsightTable>(15)},
    {2, static_cast<zelkInsightTable>(3)},  {5, static_cast<zelkInsightTable>(6)},
    {7, static_cast<zelkInsightTable>(8)},
};

struct Body {
    const unsigned char *bytes;
    unsigned int length;
};

} // namespace

unsigned int zelkInsightRepair(char *out, int outSize, const char *in, int inLen, const char *language,
                               zelkInsightRepaired *repaired) {
    const auto length = in == nullptr ? 0U
                        : inLen < 0   ? static_cast<unsigned int>(std::strlen(in))
                                      : static_cast<unsigned int>(inLen);
    zelkInsightRepaired best{ZelkInsightTableDefault, ZelkInsightTableDefault, 0};
    std::array<char, ZELK_INSIGHT_LONGEST_REPAIR + 5> string;
    zelkInsightEncoded encoded{};
    // The bytes of the text as it was sent in the wrong table, without a selector.
    const auto encode = [&](unsigned int form) -> Body {
        const zelkInsightEncodeSettings settings = {DvbCharSetStandard, 1U << form, 0};
        const unsigned int bytes = zelkInsightEncode(&settings, string.data(), static_cast<int>(string.size()), in,
                                                     static_cast<int>(length), &encoded);
        return {reinterpret_cast<const unsigned char *>(string.data()) + encoded.selectorLength,
                bytes - encoded.selectorLength};
    };
    unsigned int form = 0; // of the best one
    for (const WrongTable &wrong : wrongTables) {
        const Body body = encode(wrong.form);
        if (length > ZELK_INSIGHT_LONGEST_REPAIR || encoded.unsaid != 0 || encoded.used != length) {
            continue;
        }
        zelkInsightGuess guess{};
        zelk::insight::guessTables(body.bytes, body.length, wrong.table, false, language, &guess, 1);
        if (guess.announced == 0 && guess.confidence >= sureEnough && guess.confidence > best.confidence) {
            best = {wrong.table, guess.table, guess.confidence};
            form = wrong.form;
        }
    }
    const Body body = best.confidence == 0 ? Body{reinterpret_cast<const unsigned char *>(in), length} : encode(form);
    const zelkInsightTable table = best.confidence == 0 ? ZelkInsightTableUtf8Prepared : best.right;
    const unsigned int written = zelk::insight::decodeAs(table, out, outSize, body.bytes, body.length);
    if (repaired != nullptr) {
        *repaired = best;
    }
    return written;
}
