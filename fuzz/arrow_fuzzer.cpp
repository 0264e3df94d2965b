// Columns against their rows: any bytes, layout, slice, nulls and settings end in a status. Where the call is done,
// each row of the result is what the row gives alone, in memory of its own with a zero after it, and texts are UTF-8.
#include "fuzz.h"

#include "arrow/columns.h"

#include <array>
#include <climits>
#include <optional>

using fuzz::require;
using zelk_test::Cell;
using zelk_test::Cells;
using zelk_test::InputColumn;
using zelk_test::IntegerColumn;
using zelk_test::ResultColumn;

namespace {

// Some of the bits of `known`; at times the one after them, which is refused.
unsigned int someOf(fuzz::Input &input, unsigned int known) {
    const unsigned int byte = input.byte();
    return byte % 8 == 7 ? known + 1 : byte & known;
}

// The lines of what is left of the input, some of them null, and a slice of them.
struct Source {
    explicit Source(fuzz::Input &input)
        : layout(zelk_test::allLayouts[input.byte() % zelk_test::allLayouts.size()]), nulls(input.byte()),
          before(input.byte() % 4), after(input.byte() % 4), options(someOf(input, ZelkArrowLarge | ZelkArrowGrow)),
          stops(input.byte() % 8 == 0) {}

    void take(fuzz::Input &input) {
        std::string text = input.rest();
        for (std::size_t at = 0; at <= text.size();) {
            const std::size_t end = std::min(text.find('\n', at), text.size());
            const bool null = (nulls >> all.size() % 8 & 1U) != 0;
            all.push_back(null ? Cell() : Cell(text.substr(at, end - at)));
            at = end + 1;
        }
        before = std::min(before, all.size());
        after = std::min(after, all.size() - before);
        rows.assign(all.begin() + static_cast<std::ptrdiff_t>(before), all.end() - static_cast<std::ptrdiff_t>(after));
    }

    zelkArrowOutput output() const {
        return {options, stops ? [](std::int64_t, std::int64_t, void *) { return 1; } : zelkArrowProgress{}, nullptr};
    }
    bool large() const { return (options & ZelkArrowLarge) != 0; }

    // What becomes of a call whose settings are `sound`.
    zelkArrowStatus status(bool sound) const {
        const bool known = (options & ~static_cast<unsigned int>(ZelkArrowLarge | ZelkArrowGrow)) == 0;
        return !sound || !known ? ZelkArrowInvalid : stops ? ZelkArrowStopped : ZelkArrowDone;
    }

    zelk_test::Layout layout;
    unsigned int nulls;
    std::size_t before;
    std::size_t after;
    unsigned int options;
    bool stops;
    Cells all;
    Cells rows; // of the slice
};

// Calls function(settings, in, out) and, where it is done, check(result, row, bytes) for every row that is not null.
template <class Settings, class Function, class Check>
void run(const Source &source, const Settings &settings, bool sound, Function function, Check check) {
    const InputColumn column(source.layout, source.all, source.before, source.after);
    ResultColumn result;
    const zelkArrowStatus status = function(&settings, &column.schema, &column.array, &result.schema, &result.array);
    require(status == source.status(sound), "the status is what the settings say");
    require((status == ZelkArrowDone) == (result.array.release != nullptr) &&
                (status == ZelkArrowDone) == (result.schema.release != nullptr),
            "there is a result where the call is done, and only there");
    if (status != ZelkArrowDone) {
        return;
    }
    require(result.array.length == static_cast<std::int64_t>(source.rows.size()), "a result for every row");
    for (std::size_t row = 0; row < source.rows.size(); ++row) {
        const auto at = static_cast<std::int64_t>(row);
        require(source.rows[row] || !ResultColumn::isValid(result.array, at), "a null gives a null");
        if (source.rows[row]) {
            check(result, at, *source.rows[row]);
        }
    }
}

// The same where the result is one column of texts or bytes.
template <class Settings, class Function, class Model>
void runTexts(const Source &source, const Settings &settings, bool sound, char format, Function function, Model model) {
    run(source, settings, sound, function, [&](const ResultColumn &result, std::int64_t row, const std::string &bytes) {
        require(result.schema.format[0] == (source.large() ? format + 'A' - 'a' : format), "the type is as asked");
        const Cell cell = ResultColumn::cell(result.schema, result.array, row);
        require(cell == model(bytes), "a row is what it gives alone");
        require(format != 'u' || zelk_test::isUtf8(*cell), "the text is UTF-8");
    });
}

// The column of a struct, or the only one, in the order of the bits that were asked for.
class Fields {
public:
    Fields(const ResultColumn &result, unsigned int columns, std::int64_t row)
        : result_(result), columns_(columns), row_(row) {
        // The first finding has nulls of its own.
        require(columns == ZelkArrowFirstFinding || ResultColumn::isValid(result.array, row),
                "only a null gives a null");
    }

    // Moves on; true where the next of the columns was asked for.
    bool next() {
        const bool asked = (columns_ >> bit_++ & 1U) != 0;
        place_ += asked ? 1 : 0;
        return asked;
    }
    Cell cell() const { return ResultColumn::cell(schema(), array(), row_); }
    template <class Value>
    Value value() const {
        return ResultColumn::value<Value>(array(), row_);
    }

private:
    bool alone() const { return (columns_ & (columns_ - 1)) == 0; }
    const ArrowSchema &schema() const { return alone() ? result_.schema : *result_.schema.children[place_ - 1]; }
    const ArrowArray &array() const { return alone() ? result_.array : *result_.array.children[place_ - 1]; }

    const ResultColumn &result_;
    unsigned int columns_;
    std::int64_t row_;
    unsigned int bit_ = 0;
    std::size_t place_ = 0;
};

// ---- Decoding ----

using Settings = std::vector<std::optional<std::int64_t>>;

// Settings of rows, those of no setting and beyond an int among them.
Settings settingsOf(unsigned int seed, std::size_t count) {
    Settings values;
    for (std::size_t i = 0; i < count; ++i) {
        const std::int64_t value = (seed + 7 * i) % 32;
        values.push_back(value == 31   ? std::optional(INT64_MAX)
                         : value == 30 ? std::optional(INT64_MIN)
                         : value == 29 ? std::nullopt
                                       : std::optional(value));
    }
    return values;
}

int settingAt(const std::optional<Settings> &values, std::int64_t row, int otherwise) {
    const std::int64_t value = values ? (*values)[static_cast<std::size_t>(row)].value_or(otherwise) : otherwise;
    return static_cast<int>(std::clamp<std::int64_t>(value, INT_MIN, INT_MAX));
}

void checkDecoded(Fields fields, const zelkInsightSettings &settings, const std::string &bytes) {
    const auto in = fuzz::block(bytes, 1);
    const auto length = static_cast<int>(bytes.size());
    fuzz::Output<char> out(length * 24 + 1);
    zelkInsightFinding first{};
    zelkInsightEvidence evidence{};
    evidence.findings = &first;
    evidence.findingRoom = 1;
    const std::string text =
        out.text(zelkInsightDecode(&settings, out.data(), length * 24 + 1, in.get(), length, &evidence));
    if (fields.next()) {
        require(fields.cell() == text && zelk_test::isUtf8(text), "the text is the row's");
    }
    if (fields.next()) {
        require(fields.cell() == zelkInsightTableName(evidence.table), "the table is the row's");
    }
    if (fields.next()) {
        const auto code = std::min(static_cast<unsigned int>(evidence.code), 255U);
        require(fields.value<std::uint8_t>() == code, "the code is the row's");
    }
    if (fields.next()) {
        require(fields.value<std::uint32_t>() == evidence.findingCount, "the findings are the row's");
    }
    if (fields.next()) {
        const Cell expected = evidence.findingCount == 0 ? Cell() : Cell(zelkInsightKindName(first.kind));
        require(fields.cell() == expected, "the first finding is the row's");
    }
    const bool table = fields.next();
    const Cell guessedTable = table ? fields.cell() : Cell();
    const bool confidence = fields.next();
    if (table || confidence) {
        zelkInsightGuess guess{};
        zelkInsightGuessTables(&settings, in.get(), length, nullptr, &guess, 1);
        require(!table || guessedTable == zelkInsightTableName(guess.table), "the guess is the row's");
        require(!confidence || fields.value<std::uint16_t>() == guess.confidence, "the confidence is the row's");
    }
    if (fields.next()) {
        const auto textLength = static_cast<int>(text.size());
        const int size = zelkInsightSortKeySize(text.data(), textLength);
        fuzz::Output<char> key(size);
        const std::string expected = key.text(zelkInsightSortKey(key.data(), size, text.data(), textLength, 0));
        require(fields.cell() == expected, "the key is the row's");
    }
}

void decode(fuzz::Input &input, Source &source) {
    constexpr unsigned int all = 255;
    constexpr unsigned int guesses = ZelkArrowGuessedTable | ZelkArrowConfidence;
    zelkArrowDecodeSettings settings{};
    settings.columns = input.byte() | (input.byte() % 16 == 0 ? all + 1 : 0);
    if (input.byte() % 16 != 0) { // a guess takes much longer than all else
        settings.columns &= ~guesses;
    }
    settings.reading.charSet = static_cast<dvbCharSet_t>(input.named(7));
    settings.reading.defaultCode = static_cast<DvbCode_t>(input.named(23));
    settings.reading.defaultExtra = static_cast<int>(input.named(7));
    settings.reading.flags = input.byte();
    settings.reading.options = input.byte() & 7U;
    settings.output = source.output();
    std::array<unsigned int, 3> seeds{};
    std::generate(seeds.begin(), seeds.end(), [&]() { return input.byte(); });
    source.take(input);

    std::array<std::optional<Settings>, 3> values;
    std::array<std::optional<IntegerColumn<std::int64_t>>, 3> columns;
    const std::array<zelkArrowColumn *, 3> places = {&settings.charSets, &settings.defaultCodes, &settings.flags};
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (seeds[i] % 4 == 0) {
            values[i] = settingsOf(seeds[i] / 4, source.rows.size());
            columns[i].emplace("l", *values[i]);
            *places[i] = columns[i]->column();
        }
    }
    run(source, settings, settings.columns <= all, zelkArrowDecode,
        [&](const ResultColumn &result, std::int64_t row, const std::string &bytes) {
            zelkInsightSettings reading = settings.reading;
            reading.charSet = static_cast<dvbCharSet_t>(settingAt(values[0], row, reading.charSet));
            reading.defaultCode = static_cast<DvbCode_t>(settingAt(values[1], row, reading.defaultCode));
            reading.flags = static_cast<unsigned int>(settingAt(values[2], row, static_cast<int>(reading.flags)));
            const unsigned int asked = settings.columns == 0 ? 1U : settings.columns;
            checkDecoded(Fields(result, asked, row), reading, bytes);
        });
}

// ---- The others ----

void encode(fuzz::Input &input, Source &source) {
    constexpr unsigned int all = 15;
    zelkArrowEncodeSettings settings{};
    settings.columns = input.byte() % (all + 2);
    settings.sending.charSet = static_cast<dvbCharSet_t>(input.named(7));
    settings.sending.forms = input.unit() << 8U;
    settings.sending.forms |= input.byte();
    settings.sending.options = input.byte();
    settings.mostBytes = input.size();
    settings.output = source.output();
    source.take(input);
    const bool sound = settings.columns <= all && settings.mostBytes >= 0;
    run(source, settings, sound, zelkArrowEncode,
        [&](const ResultColumn &result, std::int64_t row, const std::string &text) {
            const auto length = static_cast<int>(text.size());
            const int ample = 4 * length + 16;
            const int size = settings.mostBytes == 0 || settings.mostBytes >= ample ? ample : settings.mostBytes + 1;
            fuzz::Output<char> out(size);
            zelkInsightEncoded encoded{};
            const std::string bytes =
                out.text(zelkInsightEncode(&settings.sending, out.data(), size, text.data(), length, &encoded));
            Fields fields(result, settings.columns == 0 ? 1U : settings.columns, row);
            require(!fields.next() || fields.cell() == bytes, "the string is the row's");
            require(!fields.next() || fields.cell() == zelkInsightTableName(encoded.table), "the table is the row's");
            require(!fields.next() || fields.value<std::uint32_t>() == encoded.unsaid, "what is unsaid is the row's");
            require(!fields.next() || fields.value<std::uint32_t>() == encoded.used, "what is used is the row's");
        });
}

void convert(fuzz::Input &input, Source &source) {
    constexpr unsigned int sets = 4;
    zelkArrowConvertSettings settings{};
    settings.set = static_cast<zelkArrowSet>(input.named(sets));
    settings.number = static_cast<int>(input.byte()) + (settings.set == ZelkArrowWindows ? 1240 : -1);
    settings.output = source.output();
    source.take(input);
    const bool sound = static_cast<unsigned int>(settings.set) < sets;
    runTexts(source, settings, sound, 'u', zelkArrowConvert, [&](const std::string &row) {
        if (settings.set == ZelkArrowUcs2High || settings.set == ZelkArrowUcs2Low) {
            return zelk_test::utf16ToUtf8(row, settings.set == ZelkArrowUcs2High);
        }
        const auto in = fuzz::block(row);
        const auto length = static_cast<int>(row.size());
        fuzz::Output<char> out(3 * length + 1);
        return out.text(settings.set == ZelkArrowIso8859
                            ? zelk_isoToUtf8(static_cast<unsigned int>(settings.number), out.data(), 3 * length + 1,
                                             in.get(), length)
                            : zelk_winToUtf8(settings.number, 0, out.data(), 3 * length + 1, in.get(), length));
    });
}

void sortKeys(fuzz::Input &input, Source &source) {
    const zelkArrowSortKeySettings settings = {someOf(input, ZelkInsightNatural), source.output()};
    source.take(input);
    runTexts(source, settings, settings.options <= ZelkInsightNatural, 'z', zelkArrowSortKeys,
             [&](const std::string &row) {
                 const auto length = static_cast<int>(row.size());
                 const int size = zelkInsightSortKeySize(row.data(), length);
                 fuzz::Output<char> key(size);
                 return key.text(zelkInsightSortKey(key.data(), size, row.data(), length, settings.options));
             });
}

void match(fuzz::Input &input, Source &source) {
    constexpr std::array matchers = {zelk_patternWildcardMatch, zelk_patternWildcardMatchIgnoreCase,
                                     zelk_patternWildcardMatchIgnoreControlChars,
                                     zelk_patternWildcardMatchIgnoreCaseAndControlChars};
    const unsigned int options = input.byte() % 6;
    const std::string pattern = fuzz::upToZero(input.line());
    source.take(input);
    const zelkArrowMatchSettings settings = {pattern.c_str(), options, source.output()};
    run(source, settings, options < matchers.size(), zelkArrowMatch,
        [&](const ResultColumn &result, std::int64_t row, const std::string &text) {
            const bool told = (ResultColumn::value<unsigned char>(result.array, row / 8) >> row % 8 & 1) != 0;
            const auto in = fuzz::terminated(text);
            require(ResultColumn::isValid(result.array, row), "only a null gives a null");
            require(told == (matchers[options](in.get(), pattern.c_str()) == 0), "a match is the row's");
        });
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    constexpr std::array functions = {decode, decode, decode, encode, convert, sortKeys, match};
    const auto function = functions[input.byte() % functions.size()];
    Source source(input);
    function(input, source);
    return 0;
}
