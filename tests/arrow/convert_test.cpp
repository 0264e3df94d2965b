// Encoding, other character sets, keys and patterns: a column gives what its rows give, each alone.
#include "columns.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>

using namespace zelk_test;

namespace {

std::string randomUnits(std::mt19937 &random) {
    std::string bytes;
    for (unsigned int i = static_cast<unsigned int>(random() % 30); i > 0; --i) {
        const auto kind = random() % 4;
        const auto unit = static_cast<unsigned int>(kind == 0   ? 0xD7F0 + random() % 0x820
                                                    : kind == 1 ? random() % 0x10000
                                                                : 0x20 + random() % 0x500);
        bytes += static_cast<char>(unit >> 8);
        bytes += static_cast<char>(unit & 0xFF);
    }
    return random() % 4 == 0 ? bytes + "\xD8" : bytes;
}

template <class Settings, class Function, class Model>
void compare(Function function, const Settings &settings, const Cells &rows, const char *format, Model model) {
    for (const Layout layout : allLayouts) {
        const InputColumn column(layout, rows, 2, 1);
        ResultColumn result;
        ASSERT_EQ(function(&settings, &column.schema, &column.array, &result.schema, &result.array), ZelkArrowDone);
        EXPECT_STREQ(result.schema.format, format);
        const Cells cells = result.cells();
        ASSERT_EQ(cells.size() + 3, rows.size());
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const Cell &row = rows[i + 2];
            ASSERT_EQ(cells[i], row ? Cell(model(*row)) : Cell()) << i;
        }
    }
}

} // namespace

TEST(ArrowConvert, Ucs2InBothByteOrdersWithSurrogates) {
    std::mt19937 random(1);
    Cells rows(400);
    for (Cell &row : rows) {
        if (random() % 8 != 0) {
            row = randomUnits(random);
        }
    }
    for (const bool highFirst : {true, false}) {
        const zelkArrowConvertSettings settings = {
            highFirst ? ZelkArrowUcs2High : ZelkArrowUcs2Low, 0, {0, nullptr, nullptr}};
        compare(zelkArrowConvert, settings, rows, "u", [&](const std::string &row) {
            const std::string text = utf16ToUtf8(row, highFirst);
            EXPECT_TRUE(isUtf8(text));
            return text;
        });
    }
}

TEST(ArrowConvert, Iso8859AndWindows) {
    std::mt19937 random(2);
    const Cells rows = randomCells(random, 300, 1);
    for (const int part : {1, 5, 7, 12, 15, 99, -1}) {
        compare(zelkArrowConvert, zelkArrowConvertSettings{ZelkArrowIso8859, part, {0, nullptr, nullptr}}, rows, "u",
                [&](const std::string &row) {
                    std::string text(3 * row.size() + 1, '\0');
                    text.resize(zelk_isoToUtf8(static_cast<unsigned int>(part), text.data(),
                                               static_cast<int>(text.size()), row.c_str(),
                                               static_cast<int>(row.size())));
                    EXPECT_TRUE(isUtf8(text));
                    return text;
                });
    }
    for (const int page : {1250, 1251, 1257, 437}) {
        compare(zelkArrowConvert, zelkArrowConvertSettings{ZelkArrowWindows, page, {0, nullptr, nullptr}}, rows, "u",
                [&](const std::string &row) {
                    std::string text(3 * row.size() + 1, '\0');
                    text.resize(zelk_winToUtf8(page, 0, text.data(), static_cast<int>(text.size()), row.c_str(),
                                               static_cast<int>(row.size())));
                    EXPECT_TRUE(isUtf8(text));
                    return text;
                });
    }
}

TEST(ArrowConvert, ASetWithoutANameIsRefused) {
    const InputColumn column(Layout::Binary, {"a"});
    const zelkArrowConvertSettings settings = {static_cast<zelkArrowSet>(9), 0, {0, nullptr, nullptr}};
    ResultColumn result;
    EXPECT_EQ(zelkArrowConvert(&settings, &column.schema, &column.array, &result.schema, &result.array),
              ZelkArrowInvalid);
    EXPECT_EQ(zelkArrowConvert(nullptr, &column.schema, &column.array, &result.schema, &result.array),
              ZelkArrowInvalid);
}

TEST(ArrowEncode, StringsAreThoseOfTheRows) {
    const Cells rows = {
        "x", "y", "Caf\xC3\xA9", std::nullopt, "", "\xCE\x93\xCE\xB1\xCE\xBB", "\xF0\x9F\x98\x80", "broken \xFF", "z"};
    for (const int most : {0, 4, INT_MAX}) {
        zelkArrowEncodeSettings settings{};
        settings.sending.charSet = DvbCharSetStandard;
        settings.mostBytes = most;
        compare(zelkArrowEncode, settings, rows, "z", [&](const std::string &row) {
            std::string bytes(4 * row.size() + 16, '\0');
            bytes.resize(zelkInsightEncode(&settings.sending, bytes.data(),
                                           most == 4 ? most + 1 : static_cast<int>(bytes.size()), row.data(),
                                           static_cast<int>(row.size()), nullptr));
            return bytes;
        });
    }
}

TEST(ArrowEncode, WhatBecameOfThem) {
    const Cells rows = {"Caf\xC3\xA9", std::nullopt, "\xCE\x93\xCE\xB1 \xD0\x96"};
    const InputColumn column(Layout::Text, rows);
    zelkArrowEncodeSettings settings{};
    settings.columns = ZelkArrowBytes | ZelkArrowSentTable | ZelkArrowUnsaid | ZelkArrowUsed;
    settings.sending = {DvbCharSetStandard, 1U << 7U, 0}; // ISO 8859-7 has no Cyrillic, and no acute e
    ResultColumn result;
    ASSERT_EQ(zelkArrowEncode(&settings, &column.schema, &column.array, &result.schema, &result.array), ZelkArrowDone);
    const auto texts = [&](int child) {
        return ResultColumn::cellsOf(*result.schema.children[child], *result.array.children[child]);
    };
    EXPECT_EQ(texts(0), (Cells{"\x03"
                               "Caf?",
                               std::nullopt, "\x03\xC3\xE1 ?"}));
    EXPECT_EQ(texts(1), (Cells{"ISO 8859-7", std::nullopt, "ISO 8859-7"}));
    using Counts = std::vector<std::optional<std::uint32_t>>;
    EXPECT_EQ(ResultColumn::valuesOf<std::uint32_t>(*result.array.children[2]), (Counts{1, std::nullopt, 1}));
    EXPECT_EQ(ResultColumn::valuesOf<std::uint32_t>(*result.array.children[3]), (Counts{5, std::nullopt, 7}));
    settings.columns = 16;
    EXPECT_EQ(zelkArrowEncode(&settings, &column.schema, &column.array, &result.schema, &result.array),
              ZelkArrowInvalid);
    settings.columns = 1;
    settings.mostBytes = -1;
    EXPECT_EQ(zelkArrowEncode(&settings, &column.schema, &column.array, &result.schema, &result.array),
              ZelkArrowInvalid);
}

TEST(ArrowSortKeys, KeysAreThoseOfTheRows) {
    std::mt19937 random(3);
    Cells rows = randomCells(random, 200, 1);
    rows[5] = "BBC 10";
    rows[6] = "BBC 2";
    for (const unsigned int options : {0U, static_cast<unsigned int>(ZelkInsightNatural)}) {
        compare(zelkArrowSortKeys, zelkArrowSortKeySettings{options, {0, nullptr, nullptr}}, rows, "z",
                [&](const std::string &row) {
                    std::string key(9 * row.size() + 4, '\0');
                    key.resize(zelkInsightSortKey(key.data(), static_cast<int>(key.size()), row.data(),
                                                  static_cast<int>(row.size()), options));
                    return key;
                });
    }
}

TEST(ArrowSortKeys, UnknownOptionsAreRefused) {
    const InputColumn column(Layout::Binary, {"a"});
    const zelkArrowSortKeySettings settings = {2 * ZelkInsightNatural, {0, nullptr, nullptr}};
    ResultColumn result;
    EXPECT_EQ(zelkArrowSortKeys(&settings, &column.schema, &column.array, &result.schema, &result.array),
              ZelkArrowInvalid);
}

TEST(ArrowMatch, BooleansAreThoseOfTheRows) {
    constexpr std::array matchers = {zelk_patternWildcardMatch, zelk_patternWildcardMatchIgnoreCase,
                                     zelk_patternWildcardMatchIgnoreControlChars,
                                     zelk_patternWildcardMatchIgnoreCaseAndControlChars};
    std::mt19937 random(4);
    Cells rows;
    for (int i = 0; i < 300; ++i) {
        std::string row;
        for (auto length = random() % 6; length > 0; --length) {
            row += "abAB\x01"[random() % 5];
        }
        rows.push_back(random() % 8 == 0 ? Cell() : Cell(row));
    }
    rows[9] = std::string("ab\0c", 4);
    for (const char *const pattern : {"a*", "*b", "a?b", "", "*", "ab"}) {
        for (unsigned int options = 0; options < matchers.size(); ++options) {
            const zelkArrowMatchSettings settings = {pattern, options, {0, nullptr, nullptr}};
            for (const std::size_t before : {0U, 3U}) {
                const InputColumn column(Layout::Text, rows, before);
                ResultColumn result;
                ASSERT_EQ(zelkArrowMatch(&settings, &column.schema, &column.array, &result.schema, &result.array),
                          ZelkArrowDone);
                EXPECT_STREQ(result.schema.format, "b");
                for (std::size_t i = before; i < rows.size(); ++i) {
                    const auto at = static_cast<std::int64_t>(i - before);
                    EXPECT_EQ(ResultColumn::isValid(result.array, at), rows[i].has_value());
                    if (rows[i]) {
                        const bool told = (ResultColumn::value<unsigned char>(result.array, at / 8) >> at % 8 & 1) != 0;
                        EXPECT_EQ(told, matchers[options](rows[i]->c_str(), pattern) == 0) << *rows[i] << pattern;
                    }
                }
            }
        }
    }
    const InputColumn column(Layout::Text, rows);
    ResultColumn result;
    for (const zelkArrowMatchSettings &wrong : {zelkArrowMatchSettings{nullptr, 0, {0, nullptr, nullptr}},
                                                zelkArrowMatchSettings{"*", 4, {0, nullptr, nullptr}}}) {
        EXPECT_EQ(zelkArrowMatch(&wrong, &column.schema, &column.array, &result.schema, &result.array),
                  ZelkArrowInvalid);
    }
}
