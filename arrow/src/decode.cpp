// Columns of DVB strings.
//
// Where texts alone are asked for, a string in a single-byte table, as most are, goes straight to libmurn-zelk: what
// such a table gives is valid UTF-8. All else goes to libzelk-insight, which sees to that, and has the evidence.
#include "batch.h"
#include "table_names.h"

#include <bit>

namespace zelk::arrow {
namespace {

constexpr zelkArrowDecodeSettings standardSettings = {ZelkArrowText,      {DvbCharSetStandard, DvbCodeNone, 0, 0, 0},
                                                      {nullptr, nullptr}, {nullptr, nullptr},
                                                      {nullptr, nullptr}, plainOutput};

constexpr unsigned int allColumns = 2 * ZelkArrowSortKey - 1;
constexpr unsigned int ofEvidence = ZelkArrowTable | ZelkArrowCode | ZelkArrowFindingCount | ZelkArrowFirstFinding;
constexpr unsigned int ofGuess = ZelkArrowGuessedTable | ZelkArrowConfidence;

// A column that not every call asks for.
template <class Value>
class Chosen {
public:
    Chosen(bool chosen, std::int64_t rows) : chosen_(chosen), values_(chosen ? rows : 0) {}
    void set(std::int64_t row, Value value) {
        if (chosen_) {
            values_.set(row, value);
        }
    }
    void finish(std::vector<Column> &columns, const char *format, const char *name, std::int64_t rows) {
        if (chosen_) {
            columns.push_back(values_.finish(format, name, rows));
        }
    }
    bool finish(std::vector<Column> &columns, const char *name, const std::vector<const char *> &names,
                std::int64_t rows) {
        finish(columns, "c", name, rows);
        if (chosen_) {
            columns.back().dictionary = dictionaryOf(names);
        }
        return chosen_;
    }

private:
    bool chosen_;
    Values<Value> values_;
};

// What libmurn-zelk decodes with a single-byte table, whose characters are no surrogates.
bool isTableText(const Row &row, DvbCode_t defaultCode) {
    const auto first = static_cast<unsigned char>(row.bytes[0]);
    return first >= 0x20 ? static_cast<unsigned int>(defaultCode) < DvbCodeUtf8Prepared : first - 1U < 0x0B;
}

class Decoder {
public:
    Decoder(const zelkArrowDecodeSettings &settings, const ArrowSchema *schema, const ArrowArray *in)
        : settings_(settings),
          columns_(settings.columns != 0 ? settings.columns : static_cast<unsigned int>(ZelkArrowText)),
          rows_(schema, in), charSets_(settings.charSets, rows_.count()),
          defaultCodes_(settings.defaultCodes, rows_.count()), flags_(settings.flags, rows_.count()) {
        if ((columns_ & ~allColumns) != 0) {
            fail(ZelkArrowInvalid);
        }
    }

    void run(ArrowSchema *outSchema, ArrowArray *out) {
        if (columns_ == ZelkArrowText) {
            decodeTexts(outSchema, out);
        } else {
            decodeEvidence(outSchema, out);
        }
    }

private:
    zelkInsightSettings reading(std::int64_t row) const {
        zelkInsightSettings result = settings_.reading;
        result.charSet = static_cast<dvbCharSet_t>(charSets_.at(row, result.charSet));
        result.defaultCode = static_cast<DvbCode_t>(defaultCodes_.at(row, result.defaultCode));
        result.flags = static_cast<unsigned int>(flags_.at(row, static_cast<int>(result.flags)));
        return result;
    }

    void decodeTexts(ArrowSchema *outSchema, ArrowArray *out) {
        Texts texts(Texts::Kind::Text, settings_.output.options, rows_.count());
        Validity validity = forEachRow(rows_, settings_.output, [&](std::int64_t at, const Row &row) {
            if (row.length == 0) {
                texts.add(0);
                return;
            }
            const zelkInsightSettings how = reading(at);
            const char *const bytes = copier_.guarded(row);
            if (how.options == 0 && isTableText(row, how.defaultCode)) [[likely]] {
                const int size = 3 * row.length + 1;
                texts.add(zelk_dvb8ToUtf8(how.charSet, texts.room(static_cast<std::size_t>(size)), size, bytes,
                                          row.length, how.defaultCode, how.defaultExtra, how.flags));
                return;
            }
            const int size = zelkInsightDecodeSize(&how, bytes, row.length);
            texts.add(
                zelkInsightDecode(&how, texts.room(static_cast<std::size_t>(size)), size, bytes, row.length, nullptr));
        });
        std::vector<Column> columns;
        columns.push_back(texts.finish(""));
        handOver(std::move(columns), false, std::move(validity), rows_.count(), outSchema, out);
    }

    bool wants(unsigned int columns) const { return (columns_ & columns) != 0; }

    void decodeEvidence(ArrowSchema *outSchema, ArrowArray *out) {
        const std::int64_t count = rows_.count();
        const bool wantsText = wants(ZelkArrowText);
        const bool wantsKeys = wants(ZelkArrowSortKey);
        const bool wantsDecoding = wants(ZelkArrowText | ZelkArrowSortKey | ofEvidence);
        Texts texts(Texts::Kind::Text, settings_.output.options, wantsText ? count : 0);
        Texts keys(Texts::Kind::Bytes, settings_.output.options, wantsKeys ? count : 0);
        Chosen<std::int8_t> tables(wants(ZelkArrowTable), count);
        Chosen<std::uint8_t> codes(wants(ZelkArrowCode), count);
        Chosen<std::uint32_t> findings(wants(ZelkArrowFindingCount), count);
        Chosen<std::int8_t> kinds(wants(ZelkArrowFirstFinding), count);
        Chosen<std::int8_t> guessed(wants(ZelkArrowGuessedTable), count);
        Chosen<std::uint16_t> confidence(wants(ZelkArrowConfidence), count);
        Validity found(wants(ZelkArrowFirstFinding) ? count : 0);
        const TableNames names;
        Block scratch;

        Validity validity = forEachRow(rows_, settings_.output, [&](std::int64_t at, const Row &row) {
            const zelkInsightSettings how = reading(at);
            const char *const bytes = row.length == 0 ? row.bytes : copier_.guarded(row);
            if (wantsDecoding) {
                const int size = zelkInsightDecodeSize(&how, bytes, row.length);
                char *room = nullptr;
                if (wantsText) {
                    room = texts.room(static_cast<std::size_t>(size));
                } else {
                    if (scratch.capacity() < static_cast<std::size_t>(size)) {
                        scratch.grow(static_cast<std::size_t>(size));
                    }
                    room = scratch.as<char>();
                }
                zelkInsightFinding first;
                zelkInsightEvidence evidence{};
                evidence.findings = &first;
                evidence.findingRoom = 1;
                const unsigned int length =
                    zelkInsightDecode(&how, room, size, bytes, row.length, wants(ofEvidence) ? &evidence : nullptr);
                if (wantsKeys) {
                    const int keySize = sortKeySize(length);
                    keys.add(zelkInsightSortKey(keys.room(static_cast<std::size_t>(keySize)), keySize, room,
                                                static_cast<int>(length), 0));
                }
                if (wantsText) {
                    texts.add(length);
                }
                tables.set(at, names.placeOf(evidence.table));
                codes.set(at, codeOf(evidence.code));
                findings.set(at, evidence.findingCount);
                const bool any = evidence.findingCount != 0;
                kinds.set(at, any ? static_cast<std::int8_t>(first.kind) : std::int8_t{0});
                if (!any && wants(ZelkArrowFirstFinding)) {
                    found.clear(at);
                }
            }
            if (wants(ofGuess)) {
                zelkInsightGuess guess;
                zelkInsightGuessTables(&how, bytes, row.length, nullptr, &guess, 1);
                guessed.set(at, names.placeOf(guess.table));
                confidence.set(at, static_cast<std::uint16_t>(guess.confidence));
            }
        });

        std::vector<Column> columns;
        if (wantsText) {
            columns.push_back(texts.finish("text"));
        }
        tables.finish(columns, "table", names.all(), count);
        codes.finish(columns, "C", "code", count);
        findings.finish(columns, "I", "findings", count);
        if (kinds.finish(columns, "first_finding", kindNames(), count)) {
            columns.back().nullCount = found.nullCount();
            columns.back().validity = found.take();
        }
        guessed.finish(columns, "guessed_table", names.all(), count);
        confidence.finish(columns, "S", "confidence", count);
        if (wantsKeys) {
            columns.push_back(keys.finish("sort_key"));
        }
        handOver(std::move(columns), !std::has_single_bit(columns_), std::move(validity), count, outSchema, out);
    }

    // 9 bytes for each byte of the text, and 4: zelkInsightSortKeySize(), without a walk over the text.
    static int sortKeySize(unsigned int length) {
        if (length > (INT_MAX - 4) / 9) {
            fail(ZelkArrowTooLarge);
        }
        return static_cast<int>(9 * length + 4);
    }

    // A default code may be any int; those that are no code come as the last one that the type holds.
    static std::uint8_t codeOf(DvbCode_t code) {
        const auto number = static_cast<unsigned int>(code);
        return static_cast<std::uint8_t>(std::min(number, 255U));
    }

    static std::vector<const char *> kindNames() {
        std::vector<const char *> result;
        result.reserve(ZelkInsightKindCount);
        for (int kind = 0; kind < ZelkInsightKindCount; ++kind) {
            result.push_back(zelkInsightKindName(static_cast<zelkInsightKind>(kind)));
        }
        return result;
    }

    const zelkArrowDecodeSettings &settings_;
    unsigned int columns_;
    Rows rows_;
    Integers charSets_;
    Integers defaultCodes_;
    Integers flags_;
    Copier copier_;
};

} // namespace
} // namespace zelk::arrow

zelkArrowStatus zelkArrowDecode(const zelkArrowDecodeSettings *settings, const struct ArrowSchema *schema,
                                const struct ArrowArray *in, struct ArrowSchema *outSchema, struct ArrowArray *out) {
    using namespace zelk::arrow;
    return statusOf(
        [&]() { Decoder(settings == nullptr ? standardSettings : *settings, schema, in).run(outSchema, out); });
}
