// The streaming decoder of compressed DVB text against a decoder over bit strings, answer by answer.
#include "zelk.h"

#include "helpers/text.h"
#include "reference/huffman_encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace zelk_test;

constexpr unsigned short nextByte = 0xFFFE;
constexpr unsigned short textEnd = 0xFFFF;

using Answers = std::vector<unsigned short>;

const ContextCodes &codesOf(unsigned int tableId) {
    static const ContextCodes codes[] = {contextCodes(HuffmanDecodeTable_1), contextCodes(HuffmanDecodeTable_2)};
    return codes[tableId - 1];
}

HuffmanStreamState initialised(unsigned int tableId) {
    HuffmanStreamState state;
    std::memset(&state, 0xA7, sizeof state);
    zelkInitHuffmanDecoder(&state, tableId);
    return state;
}

// Everything that a byte-by-byte caller is told, ends of text included; the caller goes on after them.
Answers answersTo(unsigned int tableId, const std::string &bytes) {
    HuffmanStreamState state = initialised(tableId);
    Answers answers;
    for (const char byte : bytes) {
        do {
            answers.push_back(zelkHuffmanDecode(&state, static_cast<unsigned char>(byte)));
        } while (answers.back() != nextByte);
    }
    return answers;
}

// A character is answered to the byte that holds its last bit, and every byte ends with the wish for the next.
Answers modelAnswersTo(unsigned int tableId, const std::string &bytes) {
    const std::vector<DecodedCharacter> text = decodeContextBits(codesOf(tableId), bitsOf(bytes));
    Answers answers;
    auto character = text.begin();
    for (std::size_t byte = 1; byte <= bytes.size(); ++byte) {
        for (; character != text.end() && character->end <= 8 * byte; ++character) {
            answers.push_back(character->value == 0 ? textEnd : character->value);
        }
        answers.push_back(nextByte);
    }
    return answers;
}

// What the usual caller gets: characters up to the end of the text.
std::string decoded(unsigned int tableId, const std::string &bytes) {
    std::string text;
    for (const unsigned short answer : answersTo(tableId, bytes)) {
        if (answer == textEnd) {
            break;
        }
        if (answer != nextByte) {
            text += static_cast<char>(answer);
        }
    }
    return text;
}

TEST(HuffmanStream, InitSetsModeContextAndTable) {
    HuffmanStreamState state = initialised(1);
    EXPECT_EQ(state.mode, 0);
    EXPECT_EQ(state.value, 0);
    EXPECT_EQ(state.table, HuffmanDecodeTable_1);
    state = initialised(2);
    EXPECT_EQ(state.mode, 0);
    EXPECT_EQ(state.value, 0);
    EXPECT_EQ(state.table, HuffmanDecodeTable_2);
    EXPECT_EQ(state.treeOffset, 0xA7A7) << "the first byte sets it";
    EXPECT_EQ(static_cast<unsigned int>(state.bitIndex), 0xA7A7A7A7U) << "and this";
}

TEST(HuffmanStream, UnknownTableIsUnusableForGood) {
    for (const unsigned int tableId : {0U, 3U, 4U, 5U, 6U, 255U, 257U, UINT_MAX}) {
        HuffmanStreamState state = initialised(tableId);
        EXPECT_EQ(state.mode, -1);
        EXPECT_EQ(state.value, 0);
        for (unsigned int byte = 0; byte < 0x100; ++byte) {
            EXPECT_EQ(zelkHuffmanDecode(&state, byte), textEnd);
        }
        EXPECT_EQ(state.mode, -1);
    }
}

TEST(HuffmanStream, UnknownTableLeavesTheTablePointerAlone) {
    HuffmanStreamState state = initialised(1);
    zelkInitHuffmanDecoder(&state, 3);
    EXPECT_EQ(state.table, HuffmanDecodeTable_1);
}

TEST(HuffmanStream, StrangeModesEndTheText) {
    for (const int mode : {INT_MIN, -2, -1, 4, 5, INT_MAX}) {
        HuffmanStreamState state = initialised(1);
        state.mode = mode;
        EXPECT_EQ(zelkHuffmanDecode(&state, 0x00), textEnd);
        EXPECT_EQ(state.mode, mode);
    }
}

TEST(HuffmanStream, ByteZeroOfTableOneBeginsWithT) {
    const Answers answers = answersTo(1, bytes("00"));
    ASSERT_GE(answers.size(), 2U);
    EXPECT_EQ(answers.front(), 'T');
    EXPECT_EQ(answers.back(), nextByte);
    EXPECT_EQ(answers, modelAnswersTo(1, bytes("00")));
}

TEST(HuffmanStream, LargeInputValueChangesNothing) {
    for (const unsigned int value : {0x100U, 0x1FFU, 0xFFFFU, 0x10000U, UINT_MAX}) {
        HuffmanStreamState state = initialised(2);
        EXPECT_EQ(zelkHuffmanDecode(&state, 0xFF), 'T');
        const HuffmanStreamState before = state;
        EXPECT_EQ(zelkHuffmanDecode(&state, value), nextByte);
        EXPECT_EQ(std::memcmp(&before, &state, sizeof state), 0);
    }
    HuffmanStreamState unusable = initialised(3);
    EXPECT_EQ(zelkHuffmanDecode(&unusable, 0x100), nextByte) << "the value is looked at before the mode";
}

TEST(HuffmanStream, ModesFollowTheInput) {
    HuffmanStreamState state = initialised(1);
    EXPECT_EQ(zelkHuffmanDecode(&state, 0x00), 'T'); // 00
    EXPECT_EQ(state.mode, 2);
    EXPECT_EQ(state.value, 'T');
    EXPECT_EQ(state.bitIndex, 5);
    EXPECT_EQ(state.treeOffset, 256);

    // A code that a byte cuts.
    std::string longCode;
    for (const auto &[code, character] : codesOf(2)[0]) {
        longCode = code.size() > longCode.size() ? code : longCode;
    }
    ASSERT_GT(longCode.size(), 8U);
    state = initialised(2);
    EXPECT_EQ(zelkHuffmanDecode(&state, valueOf(longCode.substr(0, 8))), nextByte);
    EXPECT_EQ(state.mode, 1);
    EXPECT_EQ(state.bitIndex, 7);
    EXPECT_EQ(state.treeOffset, 256);
    unsigned int node = 0;
    for (const char bit : longCode.substr(0, 8)) {
        node = HuffmanDecodeTable_2[256 + 2 * node + (bit == '1' ? 1 : 0)];
    }
    EXPECT_EQ(state.value, 256 + 2 * node) << "where the code goes on";
}

std::string escapeOf(unsigned int tableId, unsigned char context) {
    for (const auto &[code, character] : codesOf(tableId)[context]) {
        if (character == escapeCharacter) {
            return code;
        }
    }
    return {};
}

// Leads of all lengths bring the escape's end to every bit of a byte.
TEST(HuffmanStream, EscapeAtEveryAlignment) {
    const std::string sentence = "The quick brown fox jumps over the lazy dog. A talk show about events of 1957.";
    for (const unsigned int tableId : {1U, 2U}) {
        const ContextCodes &codes = codesOf(tableId);
        std::set<std::size_t> alignments;
        for (std::size_t length = 0; length <= sentence.size(); ++length) {
            const std::string lead = sentence.substr(0, length);
            const unsigned char context = lead.empty() ? 0 : static_cast<unsigned char>(lead.back());
            alignments.insert((contextBits(codes, lead) + escapeOf(tableId, context)).size() % 8);
            for (const char *literals : {"\x01", "\x7F", "\x80", "\xC3\xA9", "\xE2\x82\xAC", "\xFF\xFF\x01", "~"}) {
                const std::string text = lead + literals + " end";
                const std::string compressed = encodeStreamText(codes, text);
                EXPECT_EQ(decoded(tableId, compressed), text);
                EXPECT_EQ(answersTo(tableId, compressed), modelAnswersTo(tableId, compressed));
            }
        }
        EXPECT_EQ(alignments.size(), 8U) << "table " << tableId;
    }
}

TEST(HuffmanStream, EscapeThatEndsItsByteMakesTheNextByteTheLiteral) {
    // After a control character the escape is one bit: each of them moves the alignment by one.
    for (const unsigned int tableId : {1U, 2U}) {
        std::string bits = escapeOf(tableId, 0);
        std::string text;
        while (bits.size() % 8 != 0) {
            bits += bitsOf(static_cast<unsigned char>(0x05)) + "0";
            text += '\x05';
        }
        const std::string first = packed(bits);
        HuffmanStreamState state = initialised(tableId);
        for (const char byte : first) {
            while (zelkHuffmanDecode(&state, static_cast<unsigned char>(byte)) != nextByte) {
            }
        }
        EXPECT_EQ(state.mode, 3);
        EXPECT_EQ(state.bitIndex, -1);
        EXPECT_EQ(state.value, static_cast<unsigned char>(first.back())) << "the byte is saved";
        EXPECT_EQ(zelkHuffmanDecode(&state, 'q'), 'q');
        EXPECT_EQ(state.mode, 2);
        EXPECT_EQ(state.value, 'q');
        EXPECT_EQ(state.bitIndex, -1);
        EXPECT_EQ(zelkHuffmanDecode(&state, 'q'), nextByte);
        EXPECT_EQ(state.mode, 2);
        EXPECT_EQ(state.bitIndex, 7);
        EXPECT_EQ(decoded(tableId, first + 'q'), text + 'q');
    }
}

TEST(HuffmanStream, LiteralsFollowEachOtherWithoutEscape) {
    for (const unsigned int tableId : {1U, 2U}) {
        const std::string bits = escapeOf(tableId, 0) + bitsOf("\xC3\xA9\xE2") + bitsOf("A");
        HuffmanStreamState state = initialised(tableId);
        Answers characters;
        for (const char byte : packed(bits)) {
            for (;;) {
                const unsigned short answer = zelkHuffmanDecode(&state, static_cast<unsigned char>(byte));
                if (answer >= nextByte || characters.size() == 4) {
                    break;
                }
                characters.push_back(answer);
                EXPECT_EQ(state.mode, answer < 0x80 ? 2 : 3);
                EXPECT_EQ(state.value, answer < 0x80 ? answer : 0xFFFF);
            }
        }
        EXPECT_EQ(characters, (Answers{0xC3, 0xA9, 0xE2, 'A'}));
    }
}

TEST(HuffmanStream, EscapedZeroEndsTheText) {
    for (const unsigned int tableId : {1U, 2U}) {
        const std::string input = packed(escapeOf(tableId, 0) + bitsOf(std::string(1, '\0')));
        HuffmanStreamState state = initialised(tableId);
        Answers answers;
        for (const char byte : input) {
            do {
                answers.push_back(zelkHuffmanDecode(&state, static_cast<unsigned char>(byte)));
            } while (answers.back() < nextByte);
        }
        EXPECT_EQ(answers.back(), textEnd);
        EXPECT_EQ(state.mode, 2);
        EXPECT_EQ(state.value, 0);
    }
}

// Every character in every context, in its code or escaped; what follows a literal without a tree is a sample.
TEST(HuffmanStream, EveryPairOfCharacters) {
    for (const unsigned int tableId : {1U, 2U}) {
        for (unsigned int first = 1; first < 0x100; ++first) {
            const unsigned int step = first < 0x80 ? 1 : 13;
            for (unsigned int second = 1; second < 0x100; second += step) {
                const std::string text = {static_cast<char>(first), static_cast<char>(second)};
                ASSERT_EQ(decoded(tableId, encodeStreamText(codesOf(tableId), text)), text) << first << ' ' << second;
            }
        }
    }
}

// Every code of every context, the second escape of a control context and the ends of text among them.
TEST(HuffmanStream, EveryCode) {
    for (const unsigned int tableId : {1U, 2U}) {
        for (unsigned int context = 0; context < 0x80; ++context) {
            const std::string before = context == 0 ? "" : std::string(1, static_cast<char>(context));
            for (const auto &[code, character] : codesOf(tableId)[context]) {
                const std::string input = packed(contextBits(codesOf(tableId), before) + code + bitsOf("\x81x"));
                ASSERT_EQ(answersTo(tableId, input), modelAnswersTo(tableId, input)) << context << ' ' << code;
            }
        }
    }
}

TEST(HuffmanStream, SampleOfTwoBytes) {
    for (const unsigned int tableId : {1U, 2U}) {
        for (unsigned int pair = 0; pair < 0x10000; pair += 23) {
            const std::string input = {static_cast<char>(pair >> 8), static_cast<char>(pair & 0xFF)};
            ASSERT_EQ(answersTo(tableId, input), modelAnswersTo(tableId, input)) << pair;
        }
    }
}

TEST(HuffmanStream, RandomBytes) {
    Random random(52);
    for (int round = 0; round < 2000; ++round) {
        std::string input(random.below(60), '\0');
        for (char &byte : input) {
            byte = static_cast<char>(random.below(256));
        }
        const unsigned int tableId = 1 + random.below(2);
        ASSERT_EQ(answersTo(tableId, input), modelAnswersTo(tableId, input)) << round;
    }
}

TEST(HuffmanStream, LongText) {
    Random random(53);
    std::string text;
    while (text.size() < 70000) {
        text += random.chance(2) ? static_cast<char>(0x80 + random.below(0x80))
                                 : "The quick brown fox. Comedy drama, 2/6; [S] (1957)"[random.below(50)];
    }
    for (const unsigned int tableId : {1U, 2U}) {
        EXPECT_EQ(decoded(tableId, encodeStreamText(codesOf(tableId), text)), text);
    }
}

TEST(HuffmanStream, StatesAreIndependent) {
    const std::string one = encodeStreamText(codesOf(1), "Formula Drift Series 2017");
    const std::string two = encodeStreamText(codesOf(2), "A dynamic and provocative talk show.");
    HuffmanStreamState states[] = {initialised(1), initialised(2)};
    std::string texts[2];
    bool ended[2] = {false, false};
    for (std::size_t at = 0; at < std::max(one.size(), two.size()); ++at) {
        for (std::size_t i = 0; i < 2; ++i) {
            const std::string &input = i == 0 ? one : two;
            while (at < input.size() && !ended[i]) {
                const unsigned short answer = zelkHuffmanDecode(&states[i], static_cast<unsigned char>(input[at]));
                if (answer >= nextByte) {
                    ended[i] = answer == textEnd;
                    break;
                }
                texts[i] += static_cast<char>(answer);
            }
        }
    }
    EXPECT_EQ(texts[0], "Formula Drift Series 2017");
    EXPECT_EQ(texts[1], "A dynamic and provocative talk show.");
    EXPECT_TRUE(ended[0] && ended[1]);
}

// As broadcast, after the selector 1F and the type.
TEST(HuffmanStream, BroadcastTexts) {
    struct Text {
        unsigned int tableId;
        const char *compressed;
        const char *text;
    };
    const Text texts[] = {
        {1, "3650", "T"},
        {1, "3ae0", "TV"},
        {1, "64539f72197a88", "Lorem ipsum"},
        {1, "645d5806d7dc865ea2", "Lorem ipsum"},
        {1, "c70b5fed6cd0ef99f35f8b821398", "Formula Drift Series 2017"},
        {2, "fdea4000", "T"},
        {2, "f5288000", "TV"},
        {2, "b69dcfd2a5a4eaa0", "Lorem ipsum"},
        {2, "b69ddcb1b7f4a9693aa8", "Lorem ipsum"},
        {2,
         "6936e07b8bd77d2d7c9b57c050bf2478cff0fbb3ecd942cc9df079a3bda42e52e39f7aef3d71535bf14cbb985e33a3b0a60bbcfbe96b"
         "e4dab57acbf91d9b669f66c508",
         "For luxury jewellery without the expensive price tag, join TJC as we present a stunning selection of opulent "
         "jewellery at affordable prices."},
    };
    for (const Text &text : texts) {
        EXPECT_EQ(decoded(text.tableId, bytes(text.compressed)), text.text);
    }
}

} // namespace
