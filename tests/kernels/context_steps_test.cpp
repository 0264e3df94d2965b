// The wide steps of the context-tree codes against a decoder over bit strings: every published table, any bytes, any
// room, between unreadable pages.
#include "detail/context_text.h"
#include "zelk.h"

#include "helpers/guard_pages.h"
#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/huffman_encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace {

using namespace zelk_test;
using zelk::detail::ContextText;

struct Table {
    const unsigned char *bytes;
    ContextCodes codes = contextCodes(bytes);
};

const std::array<Table, 4> &allTables() {
    static const std::array<Table, 4> tables{
        {{HuffmanDecodeTable_1}, {HuffmanDecodeTable_2}, {_title_dec_table}, {_desc_dec_table}}};
    return tables;
}

bool isGraphic(unsigned char character) {
    return character >= 0x20 && character < 0x80;
}

std::string modelText(const Table &table, const std::string &input) {
    std::string text;
    for (const DecodedCharacter &character : decodeContextBits(table.codes, bitsOf(input))) {
        text += static_cast<char>(character.value);
    }
    return text;
}

// Everything that `text` gives: runs into `room` bytes between guards, single characters between the runs.
std::string decoded(ContextText text, unsigned int room) {
    std::string characters;
    for (;;) {
        Guarded<unsigned char> out(room);
        const unsigned int count = text.run(out.data(), room);
        EXPECT_LE(count, room);
        for (unsigned int i = 0; i < count; ++i) {
            EXPECT_TRUE(isGraphic(out[i]));
            characters += static_cast<char>(out[i]);
        }
        const int character = text.next();
        if (character == ContextText::inputEnded) {
            EXPECT_EQ(text.run(out.data(), room), 0U) << "a run after the end";
            return characters;
        }
        characters += static_cast<char>(character);
    }
}

void expectDecoding(const Table &table, const std::string &input, GuardPages &pages) {
    const std::string expected = modelText(table, input);
    const auto *bitByBit = reinterpret_cast<const unsigned char *>(input.data());
    ASSERT_EQ(decoded(ContextText::bitByBit(table.bytes, bitByBit, input.size()), 64), expected);
    for (const unsigned int room : {0U, 1U, 11U, 12U, 13U, 14U, 15U, 16U, 23U, 64U, 300U}) {
        ASSERT_EQ(decoded(ContextText(table.bytes, pages.atBack(input), input.size()), room), expected) << room;
    }
    ASSERT_EQ(decoded(ContextText(table.bytes, pages.atFront(input), input.size()), 40), expected);
}

TEST(ContextSteps, AnyBytesOfAnyLength) {
    Random random(1);
    GuardPages pages(100);
    for (const Table &table : allTables()) {
        for (std::size_t length = 0; length < 40; ++length) {
            for (int repetition = 0; repetition < 8; ++repetition) {
                std::string input(length, '\0');
                std::generate(input.begin(), input.end(), [&] { return static_cast<char>(random.below(256)); });
                expectDecoding(table, input, pages);
            }
        }
    }
}

TEST(ContextSteps, AllInputsOfTwoBytes) {
    for (const Table &table : allTables()) {
        for (unsigned int value = 0; value < 0x10000; value += 7) {
            const std::string input{static_cast<char>(value >> 8U), static_cast<char>(value & 0xFFU)};
            ASSERT_EQ(decoded(ContextText(table.bytes, u8(input), 2), 32), modelText(table, input)) << value;
        }
    }
}

// Each character after each other one, in the middle of plain text: by its code, or escaped where it has none.
TEST(ContextSteps, EveryPairOfCharacters) {
    for (const Table &table : allTables()) {
        std::string text = "The ";
        for (unsigned int first = 1; first < 0x100; ++first) {
            for (unsigned int second = 1; second < 0x100; second += first < 0x80 && first >= 0x20 ? 1 : 37) {
                text += {static_cast<char>(first), static_cast<char>(second)};
            }
        }
        const std::string input = packed(contextBits(table.codes, text));
        const std::string back = decoded(ContextText(table.bytes, u8(input), input.size()), 200);
        ASSERT_EQ(back.substr(0, text.size()), text);
    }
}

TEST(ContextSteps, WordsOfEveryLengthCutEverywhere) {
    const std::string words = "The Secret of the Old Mill: Part 2 of 12. Caf\xC3\xA9, 7.30pm & more! (New)\tQ\x01Z";
    GuardPages pages(200);
    for (const Table &table : allTables()) {
        for (std::size_t length = 1; length <= words.size(); length += 3) {
            const std::string input = packed(contextBits(table.codes, words.substr(0, length) + '\0' + words));
            for (std::size_t cut = length % 5; cut <= input.size(); cut += 5) {
                expectDecoding(table, input.substr(0, cut), pages);
            }
        }
    }
}

// A text that ends inside the code of its end is not ended by it, even where what is missing are zeros; after common
// characters and rare ones.
TEST(ContextSteps, TheCodeOfTheEndIsCutOff) {
    GuardPages pages(100);
    for (const Table &table : allTables()) {
        for (unsigned int last = 0x20; last < 0x80; ++last) {
            for (std::size_t before = 0; before < 12; ++before) {
                const std::string text = std::string("The old mill").substr(before) + static_cast<char>(last);
                const std::string input = packed(contextBits(table.codes, text + '\0'));
                for (std::size_t missing = 0; missing < 4; ++missing) {
                    expectDecoding(table, input.substr(0, input.size() - missing), pages);
                }
            }
        }
    }
}

TEST(ContextSteps, EightBitsLeftOutShiftTheRest) {
    Random random(2);
    GuardPages pages(100);
    for (const Table &table : allTables()) {
        for (int repetition = 0; repetition < 500; ++repetition) {
            std::string input(random.below(24), '\0');
            std::generate(input.begin(), input.end(), [&] { return static_cast<char>(random.below(256)); });
            ContextText plain = ContextText::bitByBit(table.bytes, u8(input), input.size());
            ContextText stepping(table.bytes, pages.atBack(input), input.size());
            for (unsigned int skips = random.below(4); skips != 0; --skips) {
                for (unsigned int characters = random.below(6); characters != 0; --characters) {
                    ASSERT_EQ(stepping.next(), plain.next());
                }
                std::array<unsigned char, 40> run;
                const unsigned int count = stepping.run(run.data(), random.below(40));
                for (unsigned int i = 0; i < count; ++i) {
                    ASSERT_EQ(run[i], plain.next());
                }
                if (random.chance(50)) {
                    ASSERT_EQ(stepping.next(), plain.next());
                }
                plain.skipByte();
                stepping.skipByte();
            }
            ASSERT_EQ(decoded(stepping, 64), decoded(plain, 64));
        }
    }
}

TEST(ContextSteps, ATableOfTheCallersOwnHasNoSteps) {
    const std::string own(reinterpret_cast<const char *>(_title_dec_table), sizeof _title_dec_table);
    const std::string input = packed(contextBits(allTables()[2].codes, "The next programme"));
    ContextText text(u8(own), u8(input), input.size());
    Guarded<unsigned char> out(64);
    EXPECT_EQ(text.run(out.data(), 64), 0U);
    EXPECT_EQ(decoded(text, 64), modelText(allTables()[2], input));
}

// What the steps are for: they come through the text of a guide without help.
TEST(ContextSteps, ARunTakesPlainText) {
    for (const Table &table : allTables()) {
        const std::string words = "The detective returns to the village for a second case";
        const std::string input = packed(contextBits(table.codes, words));
        Guarded<unsigned char> out(80);
        ContextText text(table.bytes, u8(input), input.size());
        const unsigned int count = text.run(out.data(), 80);
        ASSERT_GE(count, words.size());
        EXPECT_EQ(std::string(reinterpret_cast<const char *>(out.data()), words.size()), words);
    }
}

} // namespace
