// The decoder of Malaysian pieces against a plain one that works on the data files' own strings.
#include "detail/huffman_malaysia.h"
#include "zelk.h"

#include "helpers/guard_pages.h"
#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/huffman_encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace zelk_test;
using zelk::detail::malaysiaDecode;

constexpr unsigned int english = 5;
constexpr unsigned int malay = 6;

const MalaysiaRows &rowsOf(unsigned int tableId) {
    static const MalaysiaRows englishRows(MALAYSIA_TABLES "/malaysia_en.tsv");
    static const MalaysiaRows malayRows(MALAYSIA_TABLES "/malaysia_ms.tsv");
    return tableId == malay ? malayRows : englishRows;
}

// Into a buffer that holds the longest text possible: four bytes for every four bits, and a literal at the end.
std::string decoded(unsigned int tableId, const std::string &input) {
    Guarded<unsigned char> out(8 * input.size() + 2);
    int length = -1;
    EXPECT_EQ(decompressMalaysiaHuffmanTable(tableId, u8(input), static_cast<int>(input.size()), out.data(), &length),
              0);
    EXPECT_GE(length, 0);
    EXPECT_LE(static_cast<std::size_t>(length), out.size());
    const auto count = static_cast<std::size_t>(length);
    for (std::size_t i = count; i < out.size(); ++i) {
        EXPECT_EQ(out[i], Guarded<unsigned char>::pattern()) << "no terminator, nothing after the text";
    }
    return {reinterpret_cast<const char *>(out.data()), count};
}

void expectAsModel(unsigned int tableId, const std::string &input) {
    const std::string expected = decodeMalaysiaBits(rowsOf(tableId), bitsOf(input));
    ASSERT_EQ(decoded(tableId, input), expected);
    int length = -1;
    ASSERT_EQ(decompressMalaysiaHuffmanTable(tableId, u8(input), static_cast<int>(input.size()), nullptr, &length), 0);
    ASSERT_EQ(static_cast<std::size_t>(length), expected.size()) << "measured";
}

// Bits of whole bytes; blanks between the codes are for the reader.
std::string whole(std::string bits) {
    bits.erase(std::remove(bits.begin(), bits.end(), ' '), bits.end());
    EXPECT_EQ(bits.size() % 8, 0U) << bits;
    return packed(bits);
}

// Bits and then blanks of the text, up to the end of a byte and further.
std::string withBlanks(unsigned int tableId, std::string bits) {
    for (int i = 0; i < 6; ++i) {
        bits += rowsOf(tableId).codeOf.at(" ");
    }
    bits.resize(bits.size() - bits.size() % 8);
    return packed(bits);
}

TEST(HuffmanMalaysia, PublishedRows) {
    struct Row {
        unsigned int tableId;
        const char *code;
        const char *piece;
    };
    const Row rows[] = {
        {malay, "010101101", "di A"},   {malay, "010111001", "sika"},   {malay, "011100010", "ng m"},
        {malay, "011110011", "aksi"},   {malay, "101000100", "ma. "},   {malay, "101010111", "ikan"},
        {malay, "1000", " "},           {malay, "1100", "a"},           {malay, "00101", "e"},
        {malay, "01101", "i"},          {malay, "10111", "n"},          {malay, "0001100", "yang"},
        {malay, "01001011", "dan "},    {malay, "110111011", "nya "},   {malay, "11111111", ". "},
        {malay, "1010001001", "9"},     {malay, "110100010", "j"},      {english, "100010011", "This"},
        {english, "101100111", "show"}, {english, "110000001", " Thi"}, {english, "110000010", " sho"},
        {english, "110000011", "s an"}, {english, "110001011", "is s"}, {english, "110001100", "for "},
        {english, "110010000", "tion"}, {english, "1101", " "},         {english, "00011", "r"},
        {english, "01000", "n"},        {english, "01010", "o"},        {english, "01101", "s"},
        {english, "01110", "t"},        {english, "111111110", "ma"},   {english, "111111111", "ea"},
        {english, "1001010100", "A"},
    };
    EXPECT_EQ(std::size(rows), 34U);
    for (const Row &row : rows) {
        EXPECT_EQ(rowsOf(row.tableId).pieceOf.at(row.code), row.piece);
        // Eight times a code is a whole number of bytes; "ma. " would lead on to 9, and has a test of its own.
        std::string bits;
        std::string text;
        for (int i = 0; i < 8; ++i) {
            bits += row.code;
            text += row.piece;
        }
        if (row.piece != std::string("ma. ")) {
            EXPECT_EQ(decoded(row.tableId, whole(bits)), text) << row.code;
        }
    }
}

TEST(HuffmanMalaysia, TableSixIsMalayAllOthersEnglish) {
    const std::string input = whole("0001100"
                                    "1"); // Malay "yang", then the beginning of a code
    EXPECT_EQ(decoded(malay, input), "yang");
    for (const unsigned int tableId : {0U, 1U, 4U, 5U, 7U, 262U, UINT_MAX}) {
        EXPECT_EQ(decoded(tableId, input), decoded(english, input));
        EXPECT_EQ(decoded(tableId, input).substr(0, 1), "r");
    }
}

TEST(HuffmanMalaysia, NothingInNothingOut) {
    const unsigned char src[] = {0x88};
    for (const int srcLength : {0, -1, INT_MIN}) {
        Guarded<unsigned char> out(4);
        int length = -7;
        EXPECT_EQ(decompressMalaysiaHuffmanTable(malay, src, srcLength, out.data(), &length), 0);
        EXPECT_EQ(length, 0);
        EXPECT_TRUE(out.untouched());
        EXPECT_EQ(decompressMalaysiaHuffmanTable(malay, nullptr, srcLength, nullptr, &length), 0);
        EXPECT_EQ(length, 0);
    }
    for (const int srcLength : {1, INT_MAX}) {
        int length = -7;
        EXPECT_EQ(decompressMalaysiaHuffmanTable(malay, nullptr, srcLength, nullptr, &length), 0);
        EXPECT_EQ(length, 0);
    }
}

TEST(HuffmanMalaysia, StreamThatEndsAfterACodeWritesItsPiece) {
    EXPECT_EQ(decoded(malay, whole("1000 1100")), " a");
    EXPECT_EQ(decoded(malay, whole("11111111")), ". ");
    EXPECT_EQ(decoded(malay, whole("1000 00101 10111 10111 00101")), " enne");
    EXPECT_EQ(decoded(english, whole("1101 1101")), "  ");
    EXPECT_EQ(decoded(english, whole("1101 01000 00011 1001010100")), " nrA");
}

TEST(HuffmanMalaysia, StreamThatEndsInsideACodeWritesNothingForIt) {
    EXPECT_EQ(decoded(malay, whole("1000 1010")), " ");
    EXPECT_EQ(decoded(malay, whole("10100010")), "");
    EXPECT_EQ(decoded(english, whole("11111111")), "");
    EXPECT_EQ(decoded(english, whole("1101 1111")), " ");
}

TEST(HuffmanMalaysia, OneCodeIsTheBeginningOfAnother) {
    // "ma. " before a 0 bit, which is then the first of the next code; before a 1 bit the code is that of 9.
    EXPECT_EQ(decoded(malay, whole("101000100 0001100")), "ma. yang");
    EXPECT_EQ(decoded(malay, whole("1010001001 1100 11")), "9a");
    EXPECT_EQ(decoded(malay, whole("1010001001 1010001001 1100")), "99a");
    EXPECT_EQ(decoded(malay, whole("1100 1100 1000 11111111 101000100 00101 00101 1")), "aa . ma. ee");
    // At the end of the input it stands alone.
    EXPECT_EQ(decoded(malay, whole("00101 00101 00101 101000100")), "eeema. ");
}

// Every bit path that leads nowhere, as far as the next bit: each is an escape, but for those that end the text.
std::vector<std::string> deadEnds(const MalaysiaRows &rows) {
    std::vector<std::string> result;
    for (const std::string &path : rows.paths) {
        for (const char bit : {'0', '1'}) {
            if (!rows.isCode(path) && !rows.isPath(path + bit)) {
                result.push_back(path + bit);
            }
        }
    }
    return result;
}

bool endsText(const std::string &deadEnd) {
    return deadEnd.back() == '1' && valueOf(deadEnd.substr(0, deadEnd.size() - 1)) == 0x7F;
}

TEST(HuffmanMalaysia, EscapesGiveLatin1Characters) {
    for (const unsigned int tableId : {english, malay}) {
        int escapes = 0;
        for (const std::string &deadEnd : deadEnds(rowsOf(tableId))) {
            if (endsText(deadEnd)) {
                continue;
            }
            ++escapes;
            for (unsigned int literal = 0; literal < 0x100; ++literal) {
                const std::string input = withBlanks(tableId, deadEnd + bitsOf(static_cast<unsigned char>(literal)));
                const std::string expected = utf8OfLatin1(literal) + "    ";
                ASSERT_EQ(decoded(tableId, input).substr(0, expected.size()), expected) << deadEnd;
                expectAsModel(tableId, input);
            }
        }
        EXPECT_GT(escapes, 0);
    }
}

TEST(HuffmanMalaysia, EscapedE9) {
    for (const unsigned int tableId : {english, malay}) {
        const std::string escape = MalaysiaEncoder(rowsOf(tableId)).escape();
        const std::string text = decoded(tableId, packed(escape + bitsOf("\xE9")));
        EXPECT_EQ(text.substr(0, 2), "\xC3\xA9");
    }
}

// From none to seven bits of the literal are there; letters before the escape bring it to the right place.
TEST(HuffmanMalaysia, InputThatEndsInsideALiteralGivesAZero) {
    for (const unsigned int tableId : {english, malay}) {
        const MalaysiaRows &rows = rowsOf(tableId);
        const std::string escape = MalaysiaEncoder(rows).escape();
        std::set<std::size_t> present;
        for (const auto &[code, piece] : rows.pieceOf) {
            for (const auto &[next, nextPiece] : rows.pieceOf) {
                const std::string bits = code + next + escape;
                const std::size_t missing = (8 - bits.size() % 8) % 8;
                if (rows.isPath(code + next[0]) || rows.isPath(next + escape[0]) || !present.insert(missing).second) {
                    continue;
                }
                const std::string text = piece + nextPiece + '\0';
                EXPECT_EQ(decoded(tableId, packed(bits + std::string(missing, '1'))), text);
            }
        }
        EXPECT_EQ(present.size(), 8U);
    }
}

TEST(HuffmanMalaysia, SevenOnesBeforeALeadingNowhereOneEndTheText) {
    for (const unsigned int tableId : {english, malay}) {
        int ends = 0;
        for (const std::string &deadEnd : deadEnds(rowsOf(tableId))) {
            if (!endsText(deadEnd)) {
                continue;
            }
            ++ends;
            const std::string blank = rowsOf(tableId).codeOf.at(" ");
            EXPECT_EQ(decoded(tableId, withBlanks(tableId, blank + blank + deadEnd)), "  ") << deadEnd;
        }
        if (ends == 0) {
            GTEST_SKIP() << "these rows leave no such path";
        }
    }
}

TEST(HuffmanMalaysia, ZeroBitAfterTheEndPathIsAnEscape) {
    for (const unsigned int tableId : {english, malay}) {
        int found = 0;
        for (const std::string &deadEnd : deadEnds(rowsOf(tableId))) {
            if (deadEnd.back() == '0' && valueOf(deadEnd.substr(0, deadEnd.size() - 1)) == 0x7F) {
                ++found;
                EXPECT_EQ(decoded(tableId, packed(deadEnd + bitsOf("@"))).substr(0, 1), "@");
            }
        }
        if (found == 0) {
            GTEST_SKIP() << "these rows leave no such path";
        }
    }
}

// Each code alone and before a sample of the others.
TEST(HuffmanMalaysia, EveryCode) {
    for (const unsigned int tableId : {english, malay}) {
        const MalaysiaRows &rows = rowsOf(tableId);
        std::size_t at = 0;
        for (const auto &[code, piece] : rows.pieceOf) {
            const std::string twice = piece == "ma. " ? code + "0" + code : code + code;
            EXPECT_EQ(decoded(tableId, packed(twice)).substr(0, piece.size()), piece);
            std::string bits;
            for (const auto &[next, nextPiece] : rows.pieceOf) {
                bits += ++at % 11 == 0 ? code + next : "";
            }
            expectAsModel(tableId, packed(bits));
        }
    }
}

TEST(HuffmanMalaysia, SampleOfTwoBytes) {
    for (const unsigned int tableId : {english, malay}) {
        for (unsigned int pair = 0; pair < 0x10000; pair += 11) {
            const std::string input = {static_cast<char>(pair >> 8), static_cast<char>(pair & 0xFF)};
            unsigned char out[18];
            int length = 0;
            ASSERT_EQ(decompressMalaysiaHuffmanTable(tableId, u8(input), 2, out, &length), 0);
            ASSERT_EQ(std::string(reinterpret_cast<const char *>(out), static_cast<std::size_t>(length)),
                      decodeMalaysiaBits(rowsOf(tableId), bitsOf(input)))
                << pair;
        }
    }
}

TEST(HuffmanMalaysia, RandomBytes) {
    Random random(53);
    for (int round = 0; round < 1500; ++round) {
        std::string input(random.below(50), '\0');
        for (char &byte : input) {
            byte = static_cast<char>(random.below(256));
        }
        expectAsModel(random.chance(50) ? english : malay, input);
    }
}

TEST(HuffmanMalaysia, NoByteOutsideTheInputIsRead) {
    Random random(54);
    GuardPages pages(64);
    for (int round = 0; round < 1500; ++round) {
        std::string input(random.below(40), '\0');
        for (char &byte : input) {
            byte = static_cast<char>(random.below(256));
        }
        const unsigned int tableId = random.chance(50) ? english : malay;
        const std::string expected = decodeMalaysiaBits(rowsOf(tableId), bitsOf(input));
        for (const unsigned char *place : {pages.atBack(input), pages.atFront(input)}) {
            Guarded<unsigned char> out(expected.size());
            ASSERT_EQ(malaysiaDecode(tableId, place, static_cast<int>(input.size()), out.data(), -1),
                      static_cast<int>(expected.size()));
            ASSERT_EQ(std::string(reinterpret_cast<const char *>(out.data()), expected.size()), expected);
        }
    }
}

TEST(HuffmanMalaysia, EncodedTextsComeBack) {
    const char *const texts[] = {
        "",
        "9",
        "ma. ",
        "ma. 9",
        "drama. drama. ma. ma. 99 ma.",
        "This is a show for the nation, isn't it?",
        "Berita terkini dari dalam dan luar negara. Siapa yang menang?",
        "caf\xE9 \\ '\x01\x7F\xFF",
    };
    for (const unsigned int tableId : {english, malay}) {
        const MalaysiaEncoder encoder(rowsOf(tableId));
        for (const std::string text : texts) {
            std::string utf8;
            for (const char c : text) {
                utf8 += utf8OfLatin1(static_cast<unsigned char>(c));
            }
            EXPECT_EQ(decoded(tableId, encoder.encode(text)), utf8);
        }
        for (unsigned int first = 1; first < 0x100; first += 3) {
            for (unsigned int second = 1; second < 0x100; second += 5) {
                const std::string text = {static_cast<char>(first), static_cast<char>(second)};
                ASSERT_EQ(decoded(tableId, encoder.encode(text)), utf8OfLatin1(first) + utf8OfLatin1(second));
            }
        }
    }
}

TEST(HuffmanMalaysia, LongText) {
    std::string input;
    Random random(54);
    while (input.size() < 70000) {
        input += static_cast<char>(random.below(256));
    }
    for (const unsigned int tableId : {english, malay}) {
        expectAsModel(tableId, input);
    }
}

TEST(HuffmanMalaysia, BoundedOutputEndsWithTheLastPieceThatFits) {
    Random random(55);
    for (const unsigned int tableId : {english, malay}) {
        const MalaysiaEncoder encoder(rowsOf(tableId));
        std::vector<std::string> inputs = {encoder.encode("This show is for the nation"),
                                           encoder.encode("yang \xE9\xFF drama. 9")};
        // The most characters for the fewest bits: more of them would fit into the window than into the room left.
        const auto &codes = rowsOf(tableId).pieceOf; // pieces by code
        const auto densest = std::max_element(codes.begin(), codes.end(), [](const auto &left, const auto &right) {
            return left.second.size() * right.first.size() < right.second.size() * left.first.size();
        });
        std::string dense;
        for (int i = 0; i < 40; ++i) {
            dense += densest->first;
        }
        inputs.push_back(whole(dense));
        for (int i = 0; i < 8; ++i) {
            std::string input(12, '\0');
            for (char &byte : input) {
                byte = static_cast<char>(random.below(256));
            }
            inputs.push_back(input);
        }
        for (const std::string &input : inputs) {
            const std::string full = decodeMalaysiaBits(rowsOf(tableId), bitsOf(input));
            const auto srcLength = static_cast<int>(input.size());
            for (std::size_t capacity = 0; capacity <= full.size() + 3; ++capacity) {
                const std::string expected = decodeMalaysiaBits(rowsOf(tableId), bitsOf(input), capacity);
                Guarded<unsigned char> out(capacity);
                const int length =
                    malaysiaDecode(tableId, u8(input), srcLength, out.data(), static_cast<long long>(capacity));
                ASSERT_EQ(length, static_cast<int>(expected.size()));
                ASSERT_EQ(std::string(reinterpret_cast<const char *>(out.data()), expected.size()), expected);
                ASSERT_EQ(malaysiaDecode(tableId, u8(input), srcLength, nullptr, static_cast<long long>(capacity)),
                          length);
            }
            for (const long long capacity : {-1LL, LLONG_MIN, LLONG_MAX, 1LL << 32}) {
                Guarded<unsigned char> out(full.size());
                EXPECT_EQ(malaysiaDecode(tableId, u8(input), srcLength, out.data(), capacity),
                          static_cast<int>(full.size()));
                EXPECT_EQ(std::string(reinterpret_cast<const char *>(out.data()), full.size()), full);
            }
        }
    }
}

TEST(HuffmanMalaysia, FirstCallsFromSeveralThreads) {
    const std::string input = MalaysiaEncoder(rowsOf(malay)).encode("yang pertama. ");
    std::array<std::string, 4> texts;
    std::vector<std::thread> threads;
    for (std::string &text : texts) {
        threads.emplace_back([&] { text = decoded(malay, input); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (const std::string &text : texts) {
        EXPECT_EQ(text, "yang pertama. ");
    }
}

} // namespace
