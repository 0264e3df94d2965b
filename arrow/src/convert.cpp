// Columns of text in other character sets, encoding, keys and patterns.
#include "batch.h"
#include "table_names.h"

#include <bit>
#include <cstring>

namespace zelk::arrow {
namespace {

// UCS-2 to UTF-8, with pairs of surrogates joined: of three bytes each, they give a character of four. In place, for no
// text grows.
std::size_t joinSurrogates(unsigned char *text, std::size_t length) {
    constexpr unsigned char lead = 0xED; // U+D000 to U+DFFF
    constexpr std::array<unsigned char, 3> replacement = {0xEF, 0xBF, 0xBD};
    unsigned char *const end = text + length;
    auto *from = static_cast<unsigned char *>(std::memchr(text, lead, length));
    if (from == nullptr) {
        return length;
    }
    const auto isHigh = [end](const unsigned char *at) {
        return end - at >= 3 && at[0] == lead && (at[1] & 0xF0) == 0xA0;
    };
    const auto isLow = [end](const unsigned char *at) {
        return end - at >= 3 && at[0] == lead && (at[1] & 0xF0) == 0xB0;
    };
    unsigned char *to = from;
    while (from < end) {
        if (isHigh(from) && isLow(from + 3)) {
            const unsigned int character = 0x10000U + ((from[1] & 0x0FU) << 16U | (from[2] & 0x3FU) << 10U |
                                                       (from[4] & 0x0FU) << 6U | (from[5] & 0x3FU));
            *to++ = static_cast<unsigned char>(0xF0U | character >> 18U);
            *to++ = static_cast<unsigned char>(0x80U | (character >> 12U & 0x3FU));
            *to++ = static_cast<unsigned char>(0x80U | (character >> 6U & 0x3FU));
            *to++ = static_cast<unsigned char>(0x80U | (character & 0x3FU));
            from += 6;
        } else if (isHigh(from) || isLow(from)) {
            to = std::copy(replacement.begin(), replacement.end(), to);
            from += 3;
        } else {
            *to++ = *from++;
        }
    }
    return static_cast<std::size_t>(to - text);
}

// Text in single bytes gives three for each; a unit of two gives three.
int mostUtf8(const Row &row) {
    return 3 * row.length + 1;
}

void convert(const zelkArrowConvertSettings &settings, const ArrowSchema *schema, const ArrowArray *in,
             ArrowSchema *outSchema, ArrowArray *out) {
    const auto run = [&](auto write) {
        convertRows(Texts::Kind::Text, settings.output, schema, in, outSchema, out, mostUtf8, write);
    };
    const auto unitsBy = [&](auto encode) {
        run([encode](const Row &row, char *room, int size) {
            auto *const text = reinterpret_cast<unsigned char *>(room);
            return joinSurrogates(
                text, encode(text, size, reinterpret_cast<const unsigned char *>(row.bytes), row.length / 2));
        });
    };
    switch (settings.set) {
    case ZelkArrowIso8859:
        return run([&](const Row &row, char *room, int size) {
            return zelk_isoToUtf8(static_cast<unsigned int>(settings.number), room, size, row.bytes, row.length);
        });
    case ZelkArrowWindows:
        return run([&](const Row &row, char *room, int size) {
            return zelk_winToUtf8(settings.number, 0, room, size, row.bytes, row.length);
        });
    case ZelkArrowUcs2High:
        return unitsBy(zelkUtf8EncodeNotAlignedText);
    case ZelkArrowUcs2Low:
        return unitsBy(zelkUtf8EncodeNotAlignedInverseText);
    }
    fail(ZelkArrowInvalid);
}

void encode(const zelkArrowEncodeSettings &settings, const ArrowSchema *schema, const ArrowArray *in,
            ArrowSchema *outSchema, ArrowArray *out) {
    const unsigned int chosen = settings.columns != 0 ? settings.columns : static_cast<unsigned int>(ZelkArrowBytes);
    if (chosen >= 2 * ZelkArrowUsed || settings.mostBytes < 0) {
        fail(ZelkArrowInvalid);
    }
    const Rows rows(schema, in);
    const std::int64_t count = rows.count();
    Texts strings(Texts::Kind::Bytes, settings.output.options, count);
    Values<std::int8_t> tables(count);
    Values<std::uint32_t> unsaid(count);
    Values<std::uint32_t> used(count);
    const TableNames names;
    const int mostBytes = settings.mostBytes == 0 ? INT_MAX - 1 : std::min(settings.mostBytes, INT_MAX - 1);
    Validity validity = forEachRow(rows, settings.output, [&](std::int64_t at, const Row &row) {
        // Compressed text has four bytes for each byte at most, and its end; a selector has three.
        const int size = std::min(4 * row.length + 16, mostBytes + 1);
        zelkInsightEncoded encoded{};
        strings.add(zelkInsightEncode(&settings.sending, strings.room(static_cast<std::size_t>(size)), size, row.bytes,
                                      row.length, &encoded));
        tables.set(at, names.placeOf(encoded.table));
        unsaid.set(at, encoded.unsaid);
        used.set(at, encoded.used);
    });
    std::vector<Column> columns;
    if ((chosen & ZelkArrowBytes) != 0) {
        columns.push_back(strings.finish("bytes"));
    }
    if ((chosen & ZelkArrowSentTable) != 0) {
        columns.push_back(tables.finish("c", "table", count));
        columns.back().dictionary = dictionaryOf(names.all());
    }
    if ((chosen & ZelkArrowUnsaid) != 0) {
        columns.push_back(unsaid.finish("I", "unsaid", count));
    }
    if ((chosen & ZelkArrowUsed) != 0) {
        columns.push_back(used.finish("I", "used", count));
    }
    handOver(std::move(columns), !std::has_single_bit(chosen), std::move(validity), count, outSchema, out);
}

using Matcher = int (*)(const char *, const char *);

Matcher matcherFor(unsigned int options) {
    switch (options) {
    case 0:
        return zelk_patternWildcardMatch;
    case ZelkArrowIgnoreCase:
        return zelk_patternWildcardMatchIgnoreCase;
    case ZelkArrowIgnoreControls:
        return zelk_patternWildcardMatchIgnoreControlChars;
    case ZelkArrowIgnoreCase | ZelkArrowIgnoreControls:
        return zelk_patternWildcardMatchIgnoreCaseAndControlChars;
    default:
        fail(ZelkArrowInvalid);
    }
}

void match(const zelkArrowMatchSettings &settings, const ArrowSchema *schema, const ArrowArray *in,
           ArrowSchema *outSchema, ArrowArray *out) {
    if (settings.pattern == nullptr) {
        fail(ZelkArrowInvalid);
    }
    const Matcher matches = matcherFor(settings.options);
    const Rows rows(schema, in);
    const std::int64_t count = rows.count();
    Values<unsigned char> bits((count + 7) / 8);
    unsigned int byte = 0;
    Copier copier;
    Validity validity = forEachRow(rows, settings.output, [&](std::int64_t at, const Row &row) {
        const auto place = static_cast<unsigned int>(at & 7);
        byte = (place == 0 ? 0 : byte) | (matches(copier.copy(row), settings.pattern) == 0 ? 1U : 0U) << place;
        bits.set(at >> 3, static_cast<unsigned char>(byte));
    });
    std::vector<Column> columns;
    columns.push_back(bits.finish("b", "", count));
    handOver(std::move(columns), false, std::move(validity), count, outSchema, out);
}

} // namespace
} // namespace zelk::arrow

zelkArrowStatus zelkArrowConvert(const zelkArrowConvertSettings *settings, const struct ArrowSchema *schema,
                                 const struct ArrowArray *in, struct ArrowSchema *outSchema, struct ArrowArray *out) {
    using namespace zelk::arrow;
    return statusOf([&]() {
        if (settings == nullptr) {
            fail(ZelkArrowInvalid);
        }
        convert(*settings, schema, in, outSchema, out);
    });
}

zelkArrowStatus zelkArrowEncode(const zelkArrowEncodeSettings *settings, const struct ArrowSchema *schema,
                                const struct ArrowArray *in, struct ArrowSchema *outSchema, struct ArrowArray *out) {
    using namespace zelk::arrow;
    constexpr zelkArrowEncodeSettings standardSettings = {ZelkArrowBytes, {DvbCharSetStandard, 0, 0}, 0, plainOutput};
    return statusOf([&]() { encode(settings == nullptr ? standardSettings : *settings, schema, in, outSchema, out); });
}

zelkArrowStatus zelkArrowSortKeys(const zelkArrowSortKeySettings *settings, const struct ArrowSchema *schema,
                                  const struct ArrowArray *in, struct ArrowSchema *outSchema, struct ArrowArray *out) {
    using namespace zelk::arrow;
    constexpr zelkArrowSortKeySettings standardSettings = {0, plainOutput};
    const zelkArrowSortKeySettings &how = settings == nullptr ? standardSettings : *settings;
    return statusOf([&]() {
        if ((how.options & ~static_cast<unsigned int>(ZelkInsightNatural)) != 0) {
            fail(ZelkArrowInvalid);
        }
        convertRows(
            Texts::Kind::Bytes, how.output, schema, in, outSchema, out,
            [](const Row &row) { return zelkInsightSortKeySize(row.bytes, row.length); },
            [&](const Row &row, char *room, int size) {
                return zelkInsightSortKey(room, size, row.bytes, row.length, how.options);
            });
    });
}

zelkArrowStatus zelkArrowMatch(const zelkArrowMatchSettings *settings, const struct ArrowSchema *schema,
                               const struct ArrowArray *in, struct ArrowSchema *outSchema, struct ArrowArray *out) {
    using namespace zelk::arrow;
    return statusOf([&]() {
        if (settings == nullptr) {
            fail(ZelkArrowInvalid);
        }
        match(*settings, schema, in, outSchema, out);
    });
}

const char *zelkArrowStatusText(zelkArrowStatus status) {
    switch (status) {
    case ZelkArrowDone:
        return "done";
    case ZelkArrowNoMemory:
        return "out of memory";
    case ZelkArrowWrongType:
        return "a column of this type is not taken";
    case ZelkArrowInvalid:
        return "a column or a setting contradicts itself";
    case ZelkArrowTooLarge:
        return "the texts pass 2147483647 bytes, or a row is too long";
    case ZelkArrowStopped:
        return "stopped";
    }
    return "unknown";
}
