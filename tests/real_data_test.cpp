// Strings that broadcasters sent, against what readers of other authors made of them. The data is not part of this
// project: the environment variable ZELK_REAL_DATA names the folder with strings.tsv and unit_strings.tsv. Their rows
// are bytes in hexadecimal, kind, source/language, and the expected text or nothing.
#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/dvb_model.h"

#include "zelk.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace zelk_test;

struct Row {
    std::string text;
    std::string kind;
    std::string source;
    std::string expected;
    std::string place; // for messages
};

std::string unescaped(const std::string &field) {
    std::string result;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 1 < field.size()) {
            const char letter = field[++i];
            result += letter == 'n' ? '\n' : letter == 'r' ? '\r' : letter == 't' ? '\t' : letter;
        } else {
            result += field[i];
        }
    }
    return result;
}

std::vector<Row> readRows(const std::string &folder) {
    std::vector<Row> rows;
    for (const char *name : {"/strings.tsv", "/unit_strings.tsv"}) {
        std::ifstream file(folder + name, std::ios::binary);
        EXPECT_TRUE(file) << folder << name;
        int number = 0;
        for (std::string line; std::getline(file, line);) {
            std::vector<std::string> fields{""};
            for (const char c : line) {
                if (c == '\t') {
                    fields.emplace_back();
                } else {
                    fields.back() += c;
                }
            }
            fields.resize(4);
            const std::string source = fields[2].substr(0, fields[2].find('/'));
            rows.push_back(
                {bytes(fields[0].c_str()), fields[1], source, unescaped(fields[3]),
                 std::string(name + 1) + ':' + std::to_string(++number) + ' ' + fields[2] + ' ' + fields[0]});
        }
    }
    return rows;
}

// Kinds that are no DVB strings: fields of the North American system, and text without a selector in a set that only
// the test knows.
bool isDvb(const Row &row) {
    return row.kind.rfind("atsc", 0) != 0 && row.kind.rfind("channel", 0) != 0 && row.kind.rfind("raw", 0) != 0;
}

class RealData : public testing::Test {
protected:
    void SetUp() override {
        const char *const folder = std::getenv("ZELK_REAL_DATA");
        if (folder == nullptr) {
            GTEST_SKIP() << "ZELK_REAL_DATA names no folder";
        }
        static const std::vector<Row> read = readRows(folder);
        rows_ = &read;
        ASSERT_GT(rows_->size(), 10'000U);
    }

    const std::vector<Row> &rows() const { return *rows_; }

private:
    const std::vector<Row> *rows_ = nullptr;
};

struct PacketDeleter {
    void operator()(void *packet) const { std::free(packet); }
};

std::string packetText(CharPacket *made) {
    const std::unique_ptr<CharPacket, PacketDeleter> packet(made);
    EXPECT_NE(packet, nullptr);
    EXPECT_LT(packet->length, packet->capacity);
    EXPECT_EQ(packet->chars[packet->length], 0);
    return {packet->chars, packet->length};
}

int lengthOf(const std::string &text) {
    return static_cast<int>(text.size());
}

std::string toUtf8(const Row &row, int region, DvbCode_t code, int room) {
    Guarded<char> out(static_cast<std::size_t>(room));
    const unsigned int count = zelk_dvb8ToUtf8(static_cast<dvbCharSet_t>(region), out.data(), room, row.text.c_str(),
                                               lengthOf(row.text), code, 0, 0);
    EXPECT_LT(count, static_cast<unsigned int>(room)) << row.place;
    EXPECT_EQ(out[count], 0) << row.place;
    return {out.data(), count};
}

// ---- Nothing that was sent leaves the buffers, and all ways of asking give one answer ----

TEST_F(RealData, EveryStringInEveryRegionStaysInsideItsBuffer) {
    for (const Row &row : rows()) {
        const int length = lengthOf(row.text);
        const char *const in = row.text.c_str();
        const int type = row.text[0] == '\x1F' ? row.text[1] & ~4 : 0;
        const bool compressed = type == 1 || type == 2;
        const int bound = zelk_dvb8ToUtf8MaxLength(in, length, DvbCodeNone, 0);
        std::map<std::pair<int, unsigned int>, std::string> models;
        for (int region = 0; region <= 7; ++region) {
            const auto charSet = static_cast<dvbCharSet_t>(region);
            const std::string text = toUtf8(row, region, DvbCodeNone, bound + 1);
            const zelk::DvbConverter converter(charSet, 0);
            ASSERT_EQ(packetText(zelkConvertDvb8ToUtf8(charSet, in, length, DvbCodeNone, 0, 0)), text) << row.place;
            const std::string prepared = converter.preprocessDvbStringToUtf8(row.text);
            ASSERT_EQ(prepared, '\x1D' + text) << row.place;
            // In the region of GB2312 the class hands text without a selector to iconv.
            const auto first = static_cast<unsigned char>(row.text[0]);
            const bool unmarked = first == 0 || first >= 0x20;
            if (region != DvbCharSetGb2312 || !unmarked) {
                ASSERT_EQ(converter.convertDvb8ToUtf8(row.text), text) << row.place;
            } else {
                (void)converter.convertDvb8ToUtf8(row.text);
            }
            const std::string units = converter.convertDvb8ToUnicode(row.text);
            ASSERT_EQ(units.size() % 2, 1U) << row.place;
            if (!compressed) {
                const ModelSelection selection = modelSelect(region, &row.text, row.text.size(), 18, 0);
                std::string &model = models[{selection.code, modelTable(selection.charSet, selection.code)}];
                if (model.empty()) { // most regions read most strings alike, and the model is slow
                    model = modelUtf8(modelCharacters(selection, row.text, true, 0), bound + 1);
                }
                ASSERT_EQ(text, model) << row.place << " in region " << region;
            }
        }
    }
}

TEST_F(RealData, EveryStringFitsSmallBuffers) {
    std::size_t number = 0;
    for (const Row &row : rows()) {
        const int bound = zelk_dvb8ToUtf8MaxLength(row.text.c_str(), lengthOf(row.text), DvbCodeNone, 0);
        const std::string whole = toUtf8(row, DvbCharSetStandard, DvbCodeNone, bound + 1);
        // One size for each row, another one for the next: all sizes come up many times over.
        const int room = 1 + static_cast<int>(number++ % (whole.size() + 1));
        const std::string part = toUtf8(row, DvbCharSetStandard, DvbCodeNone, room);
        ASSERT_LT(part.size(), static_cast<std::size_t>(room)) << row.place;
        // A character that does not fit is left out and shorter ones after it may follow: at most two bytes differ.
        ASSERT_GE(part.size() + 3, std::min<std::size_t>(static_cast<std::size_t>(room), whole.size())) << row.place;
        const std::size_t same = part.size() > 2 ? part.size() - 2 : 0;
        ASSERT_EQ(part.substr(0, same), whole.substr(0, same)) << row.place;
    }
}

// ---- The expected texts ----

// How a source has to be read. All were read in the standard region; strings without a selector are in the default
// table save where the country's receivers have ISO 8859-1 there.
struct Setting {
    std::string_view source;
    DvbCode_t defaultCode;
};
constexpr Setting settings[] = {
    {"eu-sat-1", DvbCodeIso8859_1}, // "D\xFCsseldorf", "\xD6sterreich"
    {"fr-dtt-1", DvbCodeIso8859_1}, // "Tv Num\xE9ric"
};

// Where the other reader differs by design: what it gives, and what this library gives in its place. A row without
// that character is compared as it is.
struct Deviation {
    const char *reason;
    std::vector<std::string_view> sources;
    std::string_view theirs;
    std::string_view ours;
};
const std::vector<Deviation> deviations = {
    {"0xE0 of the default table is the Greek letter U+03A9, not the Ohm sign that has its shape",
     {"cz-dtt-1", "fr-sat-1", "fr-sat-2", "it-sat-1"},
     "\u2126",
     "\u03A9"},
    {"0xE2 of the default table is the Eth U+00D0, not the barred D that shares its place",
     {"cz-dtt-1", "fr-sat-1", "fr-sat-2", "it-sat-1"},
     "\u0110",
     "\u00D0"},
    {"the control code 0x8A is a line feed; these readers leave it in the text",
     {"at-dtt-1", "fr-dtt-8"},
     "\u008A",
     "\n"},
    {"0xC2 g is g with an acute, U+01F5; the other reader gives it the cedilla of its lower case",
     {"unit-4"},
     "\u0123",
     "\u01F5"},
};

std::string replaced(std::string text, std::string_view from, std::string_view to, std::size_t &count) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
        ++count;
    }
    return text;
}

TEST_F(RealData, DvbStringsReadAsExpected) {
    std::vector<std::size_t> used(deviations.size());
    std::size_t trailingTabs = 0;
    std::size_t compared = 0;
    for (const Row &row : rows()) {
        if (row.expected.empty() || !isDvb(row)) {
            continue;
        }
        DvbCode_t code = DvbCodeNone;
        for (const Setting &setting : settings) {
            code = setting.source == row.source ? setting.defaultCode : code;
        }
        std::string expected = row.expected;
        for (std::size_t i = 0; i < deviations.size(); ++i) {
            const auto &sources = deviations[i].sources;
            if (std::find(sources.begin(), sources.end(), row.source) != sources.end()) {
                expected = replaced(expected, deviations[i].theirs, deviations[i].ours, used[i]);
            }
        }
        // One reader trims a tab at the end; outside the default table a tab is a character like any other.
        if (row.source == "eu-sat-1" && row.text.back() == '\t') {
            expected += '\t';
            ++trailingTabs;
        }
        const zelk::DvbConverter converter(DvbCharSetStandard, code, 0, 0);
        EXPECT_EQ(converter.convertDvb8ToUtf8(row.text), expected) << row.place;
        const int bound = zelk_dvb8ToUtf8MaxLength(row.text.c_str(), lengthOf(row.text), code, 0);
        EXPECT_EQ(toUtf8(row, DvbCharSetStandard, code, bound + 1), expected) << row.place;
        ++compared;
    }
    EXPECT_EQ(compared, 2425U);
    for (std::size_t i = 0; i < deviations.size(); ++i) {
        EXPECT_GT(used[i], 0U) << "never met: " << deviations[i].reason;
    }
    EXPECT_EQ(trailingTabs, 1U);
}

// Without the setting of its country a Latin-1 string shows the default table's letters.
TEST_F(RealData, UnmarkedLatinNeedsItsDefaultCode) {
    std::size_t different = 0;
    for (const Row &row : rows()) {
        for (const Setting &setting : settings) {
            if (row.source == setting.source && !row.expected.empty()) {
                const zelk::DvbConverter plain(DvbCharSetStandard, 0);
                different += plain.convertDvb8ToUtf8(row.text) != row.expected ? 1 : 0;
            }
        }
    }
    EXPECT_EQ(different, 7U);
}

// ---- Text outside DVB strings ----

// The ISO 8859 functions leave Arabic, Hebrew and Thai out: outside ASCII every byte is U+FFFD.
std::string withoutPart(const std::string &text) {
    std::string result;
    for (const char c : text) {
        result += static_cast<unsigned char>(c) < 0x80 ? std::string(1, c) : "\uFFFD";
    }
    return result;
}

TEST_F(RealData, RawSetsReadAsExpected) {
    std::size_t compared = 0;
    for (const Row &row : rows()) {
        constexpr std::string_view iso = "raw_iso8859_";
        if (row.kind.rfind(iso, 0) == 0) {
            const auto part = static_cast<unsigned int>(std::stoul(row.kind.substr(iso.size())));
            const bool leftOut = part == 6 || part == 8 || part == 11;
            EXPECT_EQ(packetText(zelkConvertIsoToUtf8(part, row.text.c_str(), lengthOf(row.text))),
                      leftOut ? withoutPart(row.text) : row.expected)
                << row.place;
            const zelk::DvbConverter converter(DvbCharSetStandard, static_cast<DvbCode_t>(part), 0, 0);
            EXPECT_EQ(converter.convertDvb8ToUtf8(row.text), row.expected) << row.place;
            ++compared;
        } else if (row.kind == "raw_gb2312") {
            const zelk::DvbConverter converter(DvbCharSetGb2312, 0);
            EXPECT_EQ(converter.convertDvb8ToUtf8(row.text), row.expected) << row.place;
            ++compared;
        }
    }
    EXPECT_EQ(compared, 4U);
}

// The North American tables. The other reader ends a text at the code's end character; this decoder has no end symbol,
// writes the zero like any character and goes on: its text up to the first zero is the expected one. A zero byte at
// the end of the input is a terminator to it, so one is added to rows that end with a zero byte of the code.
TEST_F(RealData, CompressedNorthAmericanTextReadsAsExpected) {
    const zelk::ProgramTitleDecoder titles(0);
    const zelk::ProgramDescriptionDecoder descriptions(0);
    std::size_t compared = 0;
    for (const Row &row : rows()) {
        if (row.kind != "atsc_title-t" && row.kind != "atsc_text-d") {
            continue;
        }
        Guarded<unsigned char> out(1000);
        unsigned int length = 1000;
        const zelk::HuffmanDecoder &decoder = row.kind == "atsc_title-t"
                                                  ? static_cast<const zelk::HuffmanDecoder &>(titles)
                                                  : static_cast<const zelk::HuffmanDecoder &>(descriptions);
        const std::string input = row.text + '\0';
        const int status = decoder.decode(u8(input), static_cast<unsigned int>(input.size()), out.data(), &length);
        ASSERT_EQ(status, 0) << row.place;
        ASSERT_GE(length, 2U) << row.place; // the terminator and a spare byte are counted
        const std::string text(reinterpret_cast<const char *>(out.data()), length - 2);
        EXPECT_EQ(text.substr(0, text.find('\0')), row.expected) << row.place;
        ++compared;
    }
    EXPECT_EQ(compared, 6U);
}

} // namespace
