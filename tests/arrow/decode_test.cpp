// A column decodes to what its rows decode to, each alone: whatever the layout, the slice, the nulls and the
// neighbours. What a row decodes to is libzelk-insight's affair, and tested there.
#include "columns.h"
#include "helpers/guard_pages.h"

#include <gtest/gtest.h>

#include <array>

using namespace zelk_test;

namespace {

constexpr unsigned int allColumns = 255;

zelkInsightSettings standard() {
    return {DvbCharSetStandard, DvbCodeNone, 0, 0, 0};
}

zelkArrowDecodeSettings wanting(unsigned int columns) {
    zelkArrowDecodeSettings settings{};
    settings.columns = columns;
    settings.reading = standard();
    return settings;
}

struct Expected {
    std::string text;
    std::string table;
    DvbCode_t code;
    unsigned int findings;
    Cell firstFinding;
    std::string guessedTable;
    unsigned int confidence;
    std::string sortKey;
};

// The row by itself, in memory of its own, a zero after it.
Expected expectedOf(const std::string &row, const zelkInsightSettings &settings) {
    std::string text(row.size() * 24 + 1, '\0');
    std::array<zelkInsightFinding, 1> first{};
    zelkInsightEvidence evidence{};
    evidence.findings = first.data();
    evidence.findingRoom = 1;
    const auto length = static_cast<int>(row.size());
    text.resize(
        zelkInsightDecode(&settings, text.data(), static_cast<int>(text.size()), row.c_str(), length, &evidence));
    zelkInsightGuess guess{};
    zelkInsightGuessTables(&settings, row.c_str(), length, nullptr, &guess, 1);
    std::string key(text.size() * 9 + 4, '\0');
    key.resize(
        zelkInsightSortKey(key.data(), static_cast<int>(key.size()), text.data(), static_cast<int>(text.size()), 0));
    return {text,
            zelkInsightTableName(evidence.table),
            evidence.code,
            evidence.findingCount,
            evidence.findingCount == 0 ? Cell() : Cell(zelkInsightKindName(first[0].kind)),
            zelkInsightTableName(guess.table),
            guess.confidence,
            key};
}

Cells expectedTexts(const Cells &rows, const zelkInsightSettings &settings) {
    Cells result;
    for (const Cell &row : rows) {
        result.push_back(row ? Cell(expectedOf(*row, settings).text) : Cell());
    }
    return result;
}

Cells slice(const Cells &cells, std::size_t before, std::size_t after) {
    return {cells.begin() + static_cast<std::ptrdiff_t>(before), cells.end() - static_cast<std::ptrdiff_t>(after)};
}

} // namespace

TEST(ArrowDecode, TextsAreThoseOfTheRowsInEveryLayoutSliceAndNullPattern) {
    std::mt19937 random(20261122);
    for (const unsigned int nulls : {0U, 1U, 7U, 8U}) {
        for (const std::size_t count : {0U, 1U, 7U, 8U, 9U, 255U, 256U, 257U, 700U}) {
            const Cells rows = randomCells(random, count, nulls);
            const Cells expected = expectedTexts(rows, standard());
            for (const Layout layout : allLayouts) {
                const std::size_t before = count < 3 ? 0 : random() % (count / 2);
                const std::size_t after = count < 3 ? 0 : random() % (count / 2);
                for (const bool sliced : {false, true}) {
                    const InputColumn column(layout, rows, sliced ? before : 0, sliced ? after : 0);
                    ResultColumn result;
                    ASSERT_EQ(zelkArrowDecode(nullptr, &column.schema, &column.array, &result.schema, &result.array),
                              ZelkArrowDone);
                    EXPECT_STREQ(result.schema.format, "u");
                    const Cells texts = result.cells();
                    EXPECT_EQ(texts, sliced ? slice(expected, before, after) : expected);
                    for (const Cell &text : texts) {
                        EXPECT_TRUE(isUtf8(text.value_or("")));
                    }
                }
            }
        }
    }
}

TEST(ArrowDecode, EveryColumnOfAStructIsThatOfTheRows) {
    std::mt19937 random(7);
    const Cells rows = randomCells(random, 600, 1);
    const InputColumn column(Layout::Binary, rows);
    const zelkArrowDecodeSettings settings = wanting(allColumns);
    ResultColumn result;
    ASSERT_EQ(zelkArrowDecode(&settings, &column.schema, &column.array, &result.schema, &result.array), ZelkArrowDone);
    ASSERT_STREQ(result.schema.format, "+s");
    ASSERT_EQ(result.array.n_children, 8);
    constexpr std::array names = {"text",          "table",         "code",       "findings",
                                  "first_finding", "guessed_table", "confidence", "sort_key"};
    std::array<Cells, 8> texts;
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_STREQ(result.schema.children[i]->name, names[i]);
        EXPECT_EQ(result.array.children[i]->length, 600);
    }
    for (const std::size_t i : {0U, 1U, 4U, 5U, 7U}) {
        texts[i] = ResultColumn::cellsOf(*result.schema.children[i], *result.array.children[i]);
    }
    const auto codes = ResultColumn::valuesOf<std::uint8_t>(*result.array.children[2]);
    const auto findings = ResultColumn::valuesOf<std::uint32_t>(*result.array.children[3]);
    const auto confidences = ResultColumn::valuesOf<std::uint16_t>(*result.array.children[6]);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(ResultColumn::isValid(result.array, static_cast<std::int64_t>(i)), rows[i].has_value());
        if (!rows[i]) {
            EXPECT_FALSE(texts[0][i] || texts[1][i] || codes[i] || findings[i] || texts[4][i] || texts[5][i] ||
                         confidences[i] || texts[7][i]);
            continue;
        }
        const Expected expected = expectedOf(*rows[i], standard());
        EXPECT_EQ(texts[0][i], expected.text);
        EXPECT_EQ(texts[1][i], expected.table);
        EXPECT_EQ(codes[i], expected.code);
        EXPECT_EQ(findings[i], expected.findings);
        EXPECT_EQ(texts[4][i], expected.firstFinding);
        EXPECT_EQ(texts[5][i], expected.guessedTable);
        EXPECT_EQ(confidences[i], expected.confidence);
        EXPECT_EQ(texts[7][i], expected.sortKey);
    }
}

TEST(ArrowDecode, AColumnByItselfIsTheOneOfTheStruct) {
    std::mt19937 random(8);
    const Cells rows = randomCells(random, 300, 2);
    const InputColumn column(Layout::View, rows);
    const zelkArrowDecodeSettings all = wanting(allColumns);
    ResultColumn whole;
    ASSERT_EQ(zelkArrowDecode(&all, &column.schema, &column.array, &whole.schema, &whole.array), ZelkArrowDone);
    for (unsigned int i = 0; i < 8; ++i) {
        const zelkArrowDecodeSettings settings = wanting(1U << i);
        ResultColumn one;
        ASSERT_EQ(zelkArrowDecode(&settings, &column.schema, &column.array, &one.schema, &one.array), ZelkArrowDone);
        const ArrowSchema &type = *whole.schema.children[i];
        const ArrowArray &array = *whole.array.children[i];
        ASSERT_STREQ(one.schema.format, type.format);
        if (type.dictionary != nullptr || std::string_view("uz").find(type.format[0]) != std::string_view::npos) {
            EXPECT_EQ(one.cells(), ResultColumn::cellsOf(type, array));
        } else if (*type.format == 'I') {
            EXPECT_EQ(ResultColumn::valuesOf<std::uint32_t>(one.array), ResultColumn::valuesOf<std::uint32_t>(array));
        } else if (*type.format == 'S') {
            EXPECT_EQ(ResultColumn::valuesOf<std::uint16_t>(one.array), ResultColumn::valuesOf<std::uint16_t>(array));
        } else {
            EXPECT_STREQ(type.format, "C");
            EXPECT_EQ(ResultColumn::valuesOf<std::uint8_t>(one.array), ResultColumn::valuesOf<std::uint8_t>(array));
        }
    }
}

TEST(ArrowDecode, RowsOfAFixedSize) {
    const std::string bytes = "\x01\xD0\xC2"
                              "Caf\xC2"
                              "e\xC2";
    const std::array<const void *, 2> buffers = {nullptr, bytes.data()};
    ArrowSchema schema{};
    schema.format = "w:3";
    ArrowArray array{};
    array.length = 2;
    array.offset = 1;
    array.n_buffers = 2;
    array.buffers = const_cast<const void **>(buffers.data());
    ResultColumn result;
    ASSERT_EQ(zelkArrowDecode(nullptr, &schema, &array, &result.schema, &result.array), ZelkArrowDone);
    EXPECT_EQ(result.cells(), expectedTexts({"Caf", "\xC2"
                                                    "e\xC2"},
                                            standard()));
}

TEST(ArrowDecode, ARowThatEndsWithAMarkKnowsNothingOfTheNext) {
    // An acute accent composes with the letter after it, which here is another row's.
    const Cells rows = {"Caf\xC2", "e", "\xC2", "a"};
    const InputColumn column(Layout::Binary, rows);
    ResultColumn result;
    ASSERT_EQ(zelkArrowDecode(nullptr, &column.schema, &column.array, &result.schema, &result.array), ZelkArrowDone);
    EXPECT_EQ(result.cells(), expectedTexts(rows, standard()));
    EXPECT_EQ(result.cells()[1], "e");
    EXPECT_EQ(result.cells()[3], "a");
}

TEST(ArrowDecode, NothingAfterTheLastRowIsRead) {
    std::mt19937 random(9);
    GuardPages pages(4096);
    for (int round = 0; round < 3000; ++round) {
        const std::string row = randomString(random);
        const std::array<std::int32_t, 2> offsets = {0, static_cast<std::int32_t>(row.size())};
        const std::array<const void *, 3> buffers = {nullptr, offsets.data(), pages.atBack(row)};
        ArrowSchema schema{};
        schema.format = "z";
        ArrowArray array{};
        array.length = 1;
        array.n_buffers = 3;
        array.buffers = const_cast<const void **>(buffers.data());
        for (const unsigned int columns : {1U, allColumns}) {
            const zelkArrowDecodeSettings settings = wanting(columns);
            ResultColumn result;
            ASSERT_EQ(zelkArrowDecode(&settings, &schema, &array, &result.schema, &result.array), ZelkArrowDone);
            const Cell text = columns == 1
                                  ? result.cells()[0]
                                  : ResultColumn::cell(*result.schema.children[0], *result.array.children[0], 0);
            EXPECT_EQ(text, expectedOf(row, standard()).text);
        }
    }
}

TEST(ArrowDecode, SettingsComeFromColumnsRowByRow) {
    std::mt19937 random(10);
    const Cells rows = randomCells(random, 500, 1);
    std::vector<std::optional<std::int8_t>> regions;
    std::vector<std::optional<std::uint64_t>> codes;
    std::vector<std::optional<std::int32_t>> flags;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        regions.push_back(random() % 5 == 0 ? std::nullopt : std::optional(static_cast<std::int8_t>(random() % 9)));
        codes.push_back(random() % 5 == 0 ? std::nullopt : std::optional<std::uint64_t>(random() % 26));
        flags.push_back(static_cast<std::int32_t>(random() % 2));
    }
    codes[3] = UINT64_MAX; // more than an int holds
    const IntegerColumn<std::int8_t> regionColumn("c", regions);
    const IntegerColumn<std::uint64_t> codeColumn("L", codes);
    const IntegerColumn<std::int32_t> flagColumn("i", flags);
    zelkArrowDecodeSettings settings = wanting(ZelkArrowText);
    settings.reading.charSet = DvbCharSetIso8859_2;
    settings.reading.defaultCode = DvbCodeIso8859_5;
    settings.reading.defaultExtra = 1;
    settings.charSets = regionColumn.column();
    settings.defaultCodes = codeColumn.column();
    settings.flags = flagColumn.column();
    for (const unsigned int columns : {1U, 9U}) {
        settings.columns = columns;
        const InputColumn column(Layout::LargeBinary, rows);
        ResultColumn result;
        ASSERT_EQ(zelkArrowDecode(&settings, &column.schema, &column.array, &result.schema, &result.array),
                  ZelkArrowDone);
        const Cells texts = columns == 1 ? result.cells()
                                         : ResultColumn::cellsOf(*result.schema.children[0], *result.array.children[0]);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            zelkInsightSettings one = settings.reading;
            one.charSet = static_cast<dvbCharSet_t>(regions[i].value_or(DvbCharSetIso8859_2));
            one.defaultCode = i == 3 ? static_cast<DvbCode_t>(INT32_MAX)
                                     : static_cast<DvbCode_t>(codes[i].value_or(DvbCodeIso8859_5));
            one.flags = static_cast<unsigned int>(*flags[i]);
            EXPECT_EQ(texts[i], rows[i] ? Cell(expectedOf(*rows[i], one).text) : Cell()) << i;
        }
    }
}

TEST(ArrowDecode, OptionsOfTheReadingHold) {
    const Cells rows = {"\x05"
                        "Ren\xE9",
                        "Caf\xC2"
                        "e",
                        "\x15\xC3\xA9"};
    zelkArrowDecodeSettings settings = wanting(ZelkArrowText);
    settings.reading.options = ZelkInsightIgnoreSelector;
    const InputColumn column(Layout::Binary, rows);
    ResultColumn result;
    ASSERT_EQ(zelkArrowDecode(&settings, &column.schema, &column.array, &result.schema, &result.array), ZelkArrowDone);
    EXPECT_EQ(result.cells(), expectedTexts(rows, settings.reading));
}

TEST(ArrowDecode, LargeTypesOnRequest) {
    const Cells rows = {"one", std::nullopt, "", "four"};
    const InputColumn column(Layout::Binary, rows);
    zelkArrowDecodeSettings settings = wanting(ZelkArrowText | ZelkArrowSortKey);
    settings.output.options = ZelkArrowLarge;
    ResultColumn result;
    ASSERT_EQ(zelkArrowDecode(&settings, &column.schema, &column.array, &result.schema, &result.array), ZelkArrowDone);
    EXPECT_STREQ(result.schema.children[0]->format, "U");
    EXPECT_STREQ(result.schema.children[1]->format, "Z");
    EXPECT_EQ(ResultColumn::cellsOf(*result.schema.children[0], *result.array.children[0]), rows);
}

TEST(ArrowDecode, AChildMayBeMovedAway) {
    const Cells rows = {"one", "two"};
    const InputColumn column(Layout::Binary, rows);
    const zelkArrowDecodeSettings settings = wanting(ZelkArrowText | ZelkArrowTable);
    ResultColumn moved;
    {
        ResultColumn result;
        ASSERT_EQ(zelkArrowDecode(&settings, &column.schema, &column.array, &result.schema, &result.array),
                  ZelkArrowDone);
        moved.array = *result.array.children[0];
        result.array.children[0]->release = nullptr;
        moved.schema = *result.schema.children[0];
        result.schema.children[0]->release = nullptr;
    }
    EXPECT_EQ(moved.cells(), rows);
}

TEST(ArrowDecode, ProgressIsToldAndMayStop) {
    const Cells rows(150000, Cell("a"));
    const InputColumn column(Layout::Binary, rows);
    struct Told {
        std::vector<std::int64_t> done;
        std::size_t most;
    } told{{}, 99};
    zelkArrowDecodeSettings settings = wanting(ZelkArrowText);
    settings.output.context = &told;
    settings.output.progress = [](std::int64_t done, std::int64_t count, void *context) {
        auto &seen = *static_cast<Told *>(context);
        EXPECT_EQ(count, 150000);
        seen.done.push_back(done);
        return seen.done.size() == seen.most ? 1 : 0;
    };
    {
        ResultColumn result;
        EXPECT_EQ(zelkArrowDecode(&settings, &column.schema, &column.array, &result.schema, &result.array),
                  ZelkArrowDone);
        EXPECT_EQ(told.done, (std::vector<std::int64_t>{65536, 131072, 150000}));
    }
    told = {{}, 2};
    ResultColumn result;
    EXPECT_EQ(zelkArrowDecode(&settings, &column.schema, &column.array, &result.schema, &result.array),
              ZelkArrowStopped);
    EXPECT_EQ(told.done.size(), 2U);
    EXPECT_EQ(result.array.release, nullptr);
}

namespace {

zelkArrowStatus decodeStatus(const ArrowSchema *schema, const ArrowArray *array,
                             const zelkArrowDecodeSettings *settings = nullptr) {
    ResultColumn result;
    const zelkArrowStatus status = zelkArrowDecode(settings, schema, array, &result.schema, &result.array);
    EXPECT_EQ(result.array.release == nullptr, status != ZelkArrowDone);
    EXPECT_EQ(result.schema.release == nullptr, status != ZelkArrowDone);
    return status;
}

} // namespace

TEST(ArrowDecode, WhatIsNoColumnOfBytesIsRefusedByName) {
    InputColumn column(Layout::Binary, {"one", "two"});
    for (const char *const format : {"i", "+l", "b", "tdD", "", "zz", "w"}) {
        column.schema.format = format;
        EXPECT_EQ(decodeStatus(&column.schema, &column.array), ZelkArrowWrongType) << format;
        column.array.length = 0;
        EXPECT_EQ(decodeStatus(&column.schema, &column.array), ZelkArrowWrongType) << format;
        column.array.length = 2;
    }
    column.schema.format = "w:x";
    EXPECT_EQ(decodeStatus(&column.schema, &column.array), ZelkArrowInvalid);
    column.schema.format = "w:99999999999999999999999";
    EXPECT_EQ(decodeStatus(&column.schema, &column.array), ZelkArrowTooLarge);
    EXPECT_EQ(decodeStatus(nullptr, &column.array), ZelkArrowInvalid);
    EXPECT_EQ(decodeStatus(&column.schema, nullptr), ZelkArrowInvalid);
}

TEST(ArrowDecode, ColumnsThatContradictThemselvesAreRefused) {
    {
        InputColumn column(Layout::Binary, {"one", "two"});
        const std::array<std::int32_t, 3> backwards = {0, 3, 1};
        column.array.buffers[1] = backwards.data();
        EXPECT_EQ(decodeStatus(&column.schema, &column.array), ZelkArrowInvalid);
        const std::array<std::int32_t, 3> tooLong = {0, ZELK_ARROW_LONGEST_ROW + 1, INT32_MAX};
        column.array.buffers[1] = tooLong.data();
        EXPECT_EQ(decodeStatus(&column.schema, &column.array), ZelkArrowTooLarge);
    }
    InputColumn column(Layout::Binary, {"one", "two"});
    column.array.length = -1;
    EXPECT_EQ(decodeStatus(&column.schema, &column.array), ZelkArrowInvalid);
    column.array.length = 2;
    column.array.offset = -1;
    EXPECT_EQ(decodeStatus(&column.schema, &column.array), ZelkArrowInvalid);
    column.array.offset = 0;
    column.array.n_buffers = 1;
    EXPECT_EQ(decodeStatus(&column.schema, &column.array), ZelkArrowInvalid);

    InputColumn views(Layout::View, {"a text of more than twelve bytes"});
    const std::array<std::int32_t, 4> outside = {32, 0, 2, 0};
    views.array.buffers[1] = outside.data();
    EXPECT_EQ(decodeStatus(&views.schema, &views.array), ZelkArrowInvalid);
    const std::array<std::int32_t, 4> negative = {-1, 0, 0, 0};
    views.array.buffers[1] = negative.data();
    EXPECT_EQ(decodeStatus(&views.schema, &views.array), ZelkArrowInvalid);

    InputColumn dictionary(Layout::Dictionary, {"one", "two"});
    const std::array<std::uint16_t, 2> beyond = {1, 2};
    dictionary.array.buffers[1] = beyond.data();
    EXPECT_EQ(decodeStatus(&dictionary.schema, &dictionary.array), ZelkArrowInvalid);
    dictionary.schema.format = "u";
    EXPECT_EQ(decodeStatus(&dictionary.schema, &dictionary.array), ZelkArrowWrongType);
}

TEST(ArrowDecode, BuffersThatAreNotThereAreRefused) {
    for (const Layout layout : {Layout::Binary, Layout::LargeText, Layout::View, Layout::Dictionary}) {
        InputColumn column(layout, {"one", "a text of more than twelve bytes"});
        const void *const first = std::exchange(column.array.buffers[1], nullptr);
        EXPECT_EQ(decodeStatus(&column.schema, &column.array), ZelkArrowInvalid);
        column.array.buffers[1] = first;
        if (layout != Layout::Dictionary) {
            column.array.buffers[2] = nullptr;
            column.array.buffers[layout == Layout::View ? 3 : 2] = nullptr;
            EXPECT_EQ(decodeStatus(&column.schema, &column.array), ZelkArrowInvalid);
        }
    }
    InputColumn empty(Layout::Binary, {"", ""});
    empty.array.buffers[2] = nullptr; // nothing is looked for in it
    EXPECT_EQ(decodeStatus(&empty.schema, &empty.array), ZelkArrowDone);

    const InputColumn column(Layout::Binary, {"one", "two"});
    const IntegerColumn<std::int8_t> regions("c", {1, 1});
    ArrowArray withoutValues = *regions.column().array;
    std::array<const void *, 2> buffers = {nullptr, nullptr};
    withoutValues.buffers = buffers.data();
    zelkArrowDecodeSettings settings = wanting(ZelkArrowText);
    settings.charSets = {regions.column().schema, &withoutValues};
    EXPECT_EQ(decodeStatus(&column.schema, &column.array, &settings), ZelkArrowInvalid);
}

TEST(ArrowDecode, ColumnsWithoutRowsNeedNoBuffersButTheirType) {
    ArrowArray none{};
    ArrowSchema schema{};
    schema.format = "z";
    ArrowSchema integers{};
    integers.format = "i";
    zelkArrowDecodeSettings settings = wanting(ZelkArrowText);
    settings.charSets = {&integers, &none};
    EXPECT_EQ(decodeStatus(&schema, &none, &settings), ZelkArrowDone);
    schema.format = "i";
    schema.dictionary = &integers;
    EXPECT_EQ(decodeStatus(&schema, &none), ZelkArrowWrongType);

    int calls = 0;
    schema = {};
    schema.format = "z";
    settings = wanting(ZelkArrowText);
    settings.output.context = &calls;
    settings.output.progress = [](std::int64_t done, std::int64_t rows, void *context) {
        EXPECT_EQ(done + rows, 0);
        return (*static_cast<int *>(context))++;
    };
    EXPECT_EQ(decodeStatus(&schema, &none, &settings), ZelkArrowDone);
    EXPECT_EQ(decodeStatus(&schema, &none, &settings), ZelkArrowStopped);
    EXPECT_EQ(calls, 2);
}

TEST(ArrowDecode, CodesThatAreNoneDoNotLookLikeOthers) {
    const InputColumn column(Layout::Binary, {"one"});
    zelkArrowDecodeSettings settings = wanting(ZelkArrowCode);
    for (const int code : {300, -1, 255, 254}) {
        settings.reading.defaultCode = static_cast<DvbCode_t>(code);
        ResultColumn result;
        ASSERT_EQ(zelkArrowDecode(&settings, &column.schema, &column.array, &result.schema, &result.array),
                  ZelkArrowDone);
        EXPECT_EQ(static_cast<const std::uint8_t *>(result.array.buffers[1])[0], code == 254 ? 254 : 255) << code;
    }
}

TEST(ArrowDecode, SettingsThatDoNotFitAreRefused) {
    const InputColumn column(Layout::Binary, {"one", "two"});
    zelkArrowDecodeSettings settings = wanting(256);
    EXPECT_EQ(decodeStatus(&column.schema, &column.array, &settings), ZelkArrowInvalid);
    settings = wanting(ZelkArrowText);
    settings.output.options = 4;
    EXPECT_EQ(decodeStatus(&column.schema, &column.array, &settings), ZelkArrowInvalid);
    settings = wanting(ZelkArrowText);
    const IntegerColumn<std::int8_t> tooShort("c", {1});
    settings.charSets = tooShort.column();
    EXPECT_EQ(decodeStatus(&column.schema, &column.array, &settings), ZelkArrowInvalid);
    const IntegerColumn<std::int8_t> noInteger("b", {1, 1});
    settings.charSets = noInteger.column();
    EXPECT_EQ(decodeStatus(&column.schema, &column.array, &settings), ZelkArrowWrongType);
}

TEST(ArrowDecode, AColumnOfNullsHasNoType) {
    ArrowSchema schema{};
    schema.format = "n";
    ArrowArray array{};
    array.length = 3;
    array.null_count = 3;
    ResultColumn result;
    ASSERT_EQ(zelkArrowDecode(nullptr, &schema, &array, &result.schema, &result.array), ZelkArrowDone);
    EXPECT_EQ(result.cells(), Cells(3));
}

TEST(ArrowStatus, EveryStatusHasAText) {
    for (int status = ZelkArrowDone; status <= ZelkArrowStopped; ++status) {
        EXPECT_STRNE(zelkArrowStatusText(static_cast<zelkArrowStatus>(status)), "unknown");
    }
    EXPECT_STREQ(zelkArrowStatusText(static_cast<zelkArrowStatus>(99)), "unknown");
}
