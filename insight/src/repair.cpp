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

unsigned int copied(char *out, int outSize, const char *in, unsigned int length) {
    const auto *const bytes = reinterpret_cast<const unsigned char *>(in);
    return zelk::insight::decodeAs(ZelkInsightTableUtf8Prepared, out, outSize, bytes, length);
}

} // namespace

unsigned int zelkInsightRepair(char *out, int outSize, const char *in, int inLen, const char *language,
                               zelkInsightRepaired *repaired) {
    const auto length = in == nullptr ? 0U
                        : inLen < 0   ? static_cast<unsigned int>(std::strlen(in))
                                      : static_cast<unsigned int>(inLen);
    zelkInsightRepaired best{ZelkInsightTableDefault, ZelkInsightTableDefault, 0};
    std::array<char, ZELK_INSIGHT_LONGEST_REPAIR + 5> string;
    for (const WrongTable &wrong : wrongTables) {
        const zelkInsightEncodeSettings settings = {DvbCharSetStandard, 1U << wrong.form, 0};
        zelkInsightEncoded encoded{};
        const unsigned int bytes = zelkInsightEncode(&settings, string.data(), static_cast<int>(string.size()), in,
                                                     static_cast<int>(length), &encoded);
        if (length == 0 || length > ZELK_INSIGHT_LONGEST_REPAIR || encoded.unsaid != 0 || encoded.used != length) {
            continue;
        }
        const auto *const body = reinterpret_cast<const unsigned char *>(string.data()) + encoded.selectorLength;
        zelkInsightGuess guess{};
        zelk::insight::guessTables(body, bytes - encoded.selectorLength, wrong.table, false, language, &guess, 1);
        if (guess.announced == 0 && guess.confidence >= sureEnough && guess.confidence > best.confidence) {
            best = {wrong.table, guess.table, guess.confidence};
        }
    }
    unsigned int written = 0;
    if (best.confidence == 0) {
        written = length == 0 ? copied(out, outSize, "", 0) : copied(out, outSize, in, length);
    } else {
        for (const WrongTable &wrong : wrongTables) {
            if (wrong.table == best.wrong) {
                const zelkInsightEncodeSettings settings = {DvbCharSetStandard, 1U << wrong.form, 0};
                zelkInsightEncoded encoded{};
                const unsigned int bytes = zelkInsightEncode(&settings, string.data(), static_cast<int>(string.size()),
                                                             in, static_cast<int>(length), &encoded);
                written = zelk::insight::decodeAs(best.right, out, outSize,
                                                  reinterpret_cast<const unsigned char *>(string.data()) +
                                                      encoded.selectorLength,
                                                  bytes - encoded.selectorLength);
            }
        }
    }
    if (repaired != nullptr) {
        *repaired = best;
    }
    return written;
}
