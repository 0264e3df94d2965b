// The kernels of DVB tables with marks, each set of kernels, against the model that reads DVB strings character by
// character: every byte at every place of a block, every pair of mark and letter, every room, random and long texts,
// with unreadable pages on both sides of the input and canaries on both sides of the output.
#include "helpers/guard_pages.h"
#include "helpers/kernel_sets.h"
#include "helpers/text.h"
#include "reference/dvb_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using namespace zelk;
using namespace zelk_test;
using kernels::Candidate;
using kernels::Progress;
using tables::ByteSet;

using Characters = std::vector<unsigned int>;

// Tables of DVB text, as the model numbers them: the default table, and those that lose letters to its marks.
struct MarkedTable {
    unsigned int number;
    ByteSet set;
};

constexpr MarkedTable markedTables[] = {{0, ByteSet::DvbDefault}, {16, ByteSet::Iso8859_16}, {18, ByteSet::Iso8859_15}};

std::uint8_t byteAt(const std::string &text, std::size_t place) {
    return place < text.size() ? static_cast<std::uint8_t>(text[place]) : std::uint8_t{0};
}

// The characters of the first `count` bytes of a text that a zero byte follows.
Characters charactersOf(const MarkedTable &table, const std::string &text, std::size_t count) {
    Characters characters;
    ModelTableReader reader(table.number, 0);
    for (std::size_t i = 0; i < count; ++i) {
        if (const unsigned int character = reader.step(byteAt(text, i), byteAt(text, i + 1)); character != 0) {
            characters.push_back(character);
        }
    }
    return characters;
}

// What may stop a kernel: controls, what has no character, and marks, of which some compose by the rule alone.
bool mayStopAt(const MarkedTable &table, std::uint8_t byte) {
    return (byte & 0x7FU) < 0x20 || byte == 0x7F || dvbModelTables()[table.number][byte] == 0xFFFD ||
           (byte >= 0xC1 && byte <= 0xCF);
}

// One set of kernels.
class Bench {
public:
    explicit Bench(const Candidate &tested) : name_(tested.name), kernels_(*tested.kernels) {}

    // `absent` more units of room are stated, which do not exist.
    void expectStretch(const MarkedTable &table, const std::string &text, std::size_t room, std::size_t absent = 0) {
        char *const out = bytes_.last(room);
        const Progress done = kernels_.markedToUtf8(table.set, in_.atBack(text), text.size(), out, room + absent);
        expectStop(table, text, done, room / 3 + absent);
        const Characters characters = charactersOf(table, text, done.read);
        ASSERT_EQ(std::string(out, done.written), modelUtf8(characters, static_cast<int>(3 * text.size() + 1)))
            << name_ << ", table " << table.number;
        ASSERT_TRUE(bytes_.areKeptAfter(done.written)) << name_ << ", table " << table.number << ", room " << room;

        unsigned short *const units = units_.last(room);
        const Progress wide = kernels_.markedToUcs2(table.set, in_.atFront(text), text.size(), units, room + absent);
        expectStop(table, text, wide, room + absent);
        ASSERT_EQ(Characters(units, units + wide.written),
                  wide.read == done.read ? characters : charactersOf(table, text, wide.read))
            << name_ << ", table " << table.number;
        ASSERT_TRUE(units_.areKeptAfter(wide.written)) << name_ << ", table " << table.number << ", room " << room;
    }
    void expectStretch(const MarkedTable &table, const std::string &text) {
        expectStretch(table, text, 3 * text.size());
    }

private:
    // Characters that are sure to fit are taken: so many bytes of text, but for a mark in the last place of them.
    void expectStop(const MarkedTable &table, const std::string &text, const Progress &done, std::size_t sure) {
        ASSERT_LE(done.read, text.size()) << name_;
        ASSERT_TRUE(done.read == text.size() || done.read + 1 >= sure || mayStopAt(table, byteAt(text, done.read)))
            << name_ << ", table " << table.number << ", at " << done.read << " of " << text.size();
    }

    const char *name_;
    const kernels::Kernels &kernels_;
    GuardPages in_{1};
    Canaries<char> bytes_{8192};
    Canaries<unsigned short> units_{8192};
};

// Text of a kind: in a hundred letters so many with a mark, so many of the upper half, so many of any byte.
struct Kind {
    std::uint32_t marks;
    std::uint32_t upper;
    std::uint32_t any;
};

constexpr Kind kinds[] = {{0, 0, 0}, {15, 0, 0}, {0, 15, 0}, {15, 5, 0}, {60, 10, 0}, {15, 5, 2}, {10, 80, 5}};

std::string textOf(Random &random, std::size_t length, const Kind &kind) {
    const std::string marks = bytes("C1 C2 C3 C4 C5 C6 C7 C8 CA CB CD CE CF");
    const std::string letters = "aeiouncszAEIOUNCSZ";
    std::string text;
    while (text.size() < length) {
        if (random.chance(kind.marks)) {
            text += marks[random.below(static_cast<std::uint32_t>(marks.size()))];
            text += letters[random.below(static_cast<std::uint32_t>(letters.size()))];
        } else if (random.chance(kind.upper)) {
            text += static_cast<char>(random.chance(80) ? 0xE1 + random.below(0x1F) : 0xA1 + random.below(0x5F));
        } else if (random.chance(kind.any)) {
            text += static_cast<char>(random.below(256));
        } else {
            text += static_cast<char>(0x20 + random.below(0x5F));
        }
    }
    text.resize(length); // maybe after a mark
    return text;
}

TEST(DvbTableKernels, ConvertEveryShortText) {
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        for (const MarkedTable &table : markedTables) {
            ASSERT_NO_FATAL_FAILURE(bench.expectStretch(table, ""));
            for (unsigned int i = 0; i < 0x10000; ++i) {
                const std::string one(1, static_cast<char>(i >> 8U));
                if (table.number != 0 && (i >> 8U < 0xA0 || i >> 8U > 0xCF)) {
                    continue; // bytes without marks, as in the default table
                }
                const std::string two = one + static_cast<char>(i & 0xFFU);
                ASSERT_NO_FATAL_FAILURE(bench.expectStretch(table, two, 4 + i % 3));
            }
        }
    }
}

TEST(DvbTableKernels, ConvertEveryByteAtEveryPlaceOfABlock) {
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        for (unsigned int byte = 0; byte < 256; ++byte) {
            for (std::size_t place = 0; place < 66; ++place) {
                std::string text(64 + (byte + place) % 3, 'x');
                text[std::min(place, text.size() - 1)] = static_cast<char>(byte);
                const MarkedTable &table = markedTables[(byte + place) % 4 % 3];
                ASSERT_NO_FATAL_FAILURE(bench.expectStretch(table, text.substr(byte % 2 == 0 ? 0 : place / 2)));
            }
        }
    }
}

TEST(DvbTableKernels, ComposeEveryPairInABlock) {
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        for (unsigned int mark = 0xC0; mark <= 0xCF; ++mark) {
            for (unsigned int letter = 0x20; letter < 0x80; ++letter) {
                // A fifth of the places for each pair, all of them for each mark and each letter.
                for (std::size_t place = (mark + letter) % 5; place < 63; place += 5) {
                    std::string text(64 + letter % 3, 'x');
                    text[place] = static_cast<char>(mark);
                    text[place + 1] = static_cast<char>(letter);
                    text[(place + 33) % text.size()] = static_cast<char>(letter % 2 == 0 ? 0xF1 : 'y');
                    ASSERT_NO_FATAL_FAILURE(bench.expectStretch(markedTables[0], text));
                }
            }
        }
    }
}

TEST(DvbTableKernels, ConvertEveryLength) {
    Random random(1);
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        for (std::size_t length = 0; length <= 300; ++length) {
            for (const Kind &kind : kinds) {
                const std::string text = textOf(random, length, kind);
                ASSERT_NO_FATAL_FAILURE(bench.expectStretch(markedTables[random.below(3)], text));
                ASSERT_NO_FATAL_FAILURE(bench.expectStretch(markedTables[random.below(3)], text, 3 * length + 64));
            }
        }
    }
}

TEST(DvbTableKernels, ConvertInEveryRoom) {
    Random random(2);
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        for (const std::size_t length : {1U, 9U, 20U, 33U, 130U}) {
            for (const Kind &kind : kinds) {
                const std::string text = textOf(random, length, kind);
                for (std::size_t room = 0; room <= 3 * length + 4; ++room) {
                    ASSERT_NO_FATAL_FAILURE(bench.expectStretch(markedTables[random.below(3)], text, room));
                }
            }
        }
    }
}

// What is written is known from a first conversion; the second one has room for just that, and far more is stated.
TEST(DvbTableKernels, WriteNothingAfterTheTextWhateverRoomIsStated) {
    Random random(3);
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        for (std::size_t length = 0; length <= 300; ++length) {
            for (const Kind &kind : kinds) {
                const std::string text = textOf(random, length, kind);
                const MarkedTable &table = markedTables[random.below(3)];
                const auto most = static_cast<int>(3 * length + 1);
                const std::size_t size = modelUtf8(charactersOf(table, text, length), most).size();
                const std::size_t absent = length % 2 == 0 ? 65535 : 0x7FFFFFFF;
                ASSERT_NO_FATAL_FAILURE(bench.expectStretch(table, text, size, absent));
            }
        }
    }
}

TEST(DvbTableKernels, ConvertRandomTexts) {
    Random random(4);
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        for (int i = 0; i < 2000; ++i) {
            const Kind kind{random.below(50), random.below(50), random.chance(50) ? random.below(100) : 0};
            const std::string text = textOf(random, random.below(300), kind);
            const std::size_t room = random.chance(50) ? 3 * text.size() : random.below(900);
            ASSERT_NO_FATAL_FAILURE(bench.expectStretch(markedTables[random.below(3)], text, room));
        }
    }
}

TEST(DvbTableKernels, ConvertLongTexts) {
    Random random(5);
    for (const Kind &kind : kinds) {
        const std::string text = textOf(random, 2500, kind);
        for (const MarkedTable &table : markedTables) {
            for (const Candidate &kernels : kernelSets()) {
                Bench bench(kernels);
                ASSERT_NO_FATAL_FAILURE(bench.expectStretch(table, text));
            }
        }
    }
}

// As many characters of three bytes as a buffer may get, with ASCII and a mark where its end is: sanitizers look on.
TEST(DvbTableKernels, ConvertTheLongestCharactersThatAreBuffered) {
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        for (std::size_t before = 496; before < 530; ++before) {
            for (std::size_t ascii = 0; ascii < 9; ++ascii) {
                for (const std::size_t after : {0U, 1U, 5U, 6U, 7U, 8U, 20U}) {
                    const std::string text = std::string(before, '\xA4') + std::string(ascii, 'a') + "\xC2" + "e" +
                                             std::string(after, '\xA4');
                    ASSERT_NO_FATAL_FAILURE(bench.expectStretch(markedTables[0], text));
                }
            }
        }
    }
}

} // namespace
