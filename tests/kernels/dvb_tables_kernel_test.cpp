// The kernels of DVB tables, each instruction set's own, against the model that reads DVB strings character by
// character: every byte at every place of a block, every pair of mark and letter, every room, random and long texts,
// with unreadable pages on both sides of input and output.
#include "kernels/byte_sets.h"

#include "helpers/guard_pages.h"
#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/dvb_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using namespace zelk;
using namespace zelk_test;
using tables::ByteSet;
using tables::DvbTable;

using Characters = std::vector<unsigned int>;
using TextToUtf8 = unsigned int(char *, int, const unsigned char *, int, DvbTable, unsigned int);
using TextToUcs2 = unsigned int(unsigned short *, int, const unsigned char *, int, DvbTable, unsigned int);

struct Kernels {
    const char *name;
    kernels::Progress (*stretchToUtf8)(ByteSet, char *, const unsigned char *, const unsigned char *);
    kernels::Progress (*stretchToUcs2)(ByteSet, unsigned short *, const unsigned char *, const unsigned char *);
    TextToUtf8 *markedToUtf8;
    TextToUtf8 *cleanToUtf8;
    TextToUcs2 *markedToUcs2;
    TextToUcs2 *cleanToUcs2;
};

std::vector<Kernels> kernelsOfThisMachine() {
    std::vector<Kernels> all{{"portable", kernels::portable::markedByteSetToUtf8,
                              kernels::portable::markedByteSetToUcs2, kernels::portable::markedTextToUtf8,
                              kernels::portable::cleanTextToUtf8, kernels::portable::markedTextToUcs2,
                              kernels::portable::cleanTextToUcs2}};
#if defined(ZELK_HAS_AVX512_KERNELS)
    if (kernels::instructionSet() == kernels::InstructionSet::Avx512) {
        all.push_back({"avx512", kernels::avx512::markedByteSetToUtf8, kernels::avx512::markedByteSetToUcs2,
                       kernels::avx512::markedTextToUtf8, kernels::avx512::cleanTextToUtf8,
                       kernels::avx512::markedTextToUcs2, kernels::avx512::cleanTextToUcs2});
    }
#endif
    return all;
}

// The default table, those that lose letters to its marks; letters of one and two bytes, a few of three, most of three,
// none at all.
constexpr unsigned int markedTables[] = {0, 16, 18};
constexpr unsigned int cleanTables[] = {3, 6, 15, 12, 1};

std::uint8_t byteAt(const std::string &text, std::size_t place) {
    return place < text.size() ? static_cast<std::uint8_t>(text[place]) : std::uint8_t{0};
}

// The characters of the first `count` bytes of a text behind which there is a zero byte.
Characters charactersOf(unsigned int table, const std::string &text, std::size_t count, unsigned int flags) {
    Characters characters;
    ModelTableReader reader(table, flags);
    for (std::size_t i = 0; i < count; ++i) {
        if (const unsigned int character = reader.step(byteAt(text, i), byteAt(text, i + 1)); character != 0) {
            characters.push_back(character);
        }
    }
    return characters;
}

// What may stop a kernel: controls, what has no character, and marks.
bool mayStop(unsigned int table, std::uint8_t byte) {
    return (byte & 0x7FU) < 0x20 || byte == 0x7F || dvbModelTables()[table][byte] == 0xFFFD ||
           (byte >= 0xC1 && byte <= 0xCF);
}

// One kernel between unreadable pages.
class Bench {
public:
    explicit Bench(const Kernels &tested) : kernels_(tested) {}

    void expectText(unsigned int table, const std::string &text, int room, unsigned int flags = 0) {
        const DvbTable row = tables::dvbTables[table];
        const bool marked = row.marks == tables::latinMarks;
        // The last mark of a text looks at the byte behind it.
        const unsigned char *const in = in_.atBack(marked ? text + '\0' : text);
        const int length = static_cast<int>(text.size());
        const Characters characters = charactersOf(table, text, text.size(), flags);
        const std::string expected = modelUtf8(characters, room);
        for (unsigned char *const place : {out_.back(static_cast<std::size_t>(room)), out_.front()}) {
            char *const out = reinterpret_cast<char *>(place);
            const auto convert = marked ? kernels_.markedToUtf8 : kernels_.cleanToUtf8;
            const unsigned int written = convert(out, room, in, length, row, flags);
            ASSERT_EQ(std::string(out, written), expected) << kernels_.name << ", table " << table;
            ASSERT_EQ(out[written], 0);
        }
        auto *const units = reinterpret_cast<unsigned short *>(out_.back(2 * static_cast<std::size_t>(room)));
        const auto convert = marked ? kernels_.markedToUcs2 : kernels_.cleanToUcs2;
        const unsigned int count = convert(units, room, in, length, row, flags);
        const auto fits = static_cast<std::ptrdiff_t>(std::min(characters.size(), static_cast<std::size_t>(room - 1)));
        ASSERT_EQ(Characters(units, units + count), Characters(characters.begin(), characters.begin() + fits))
            << kernels_.name << ", table " << table << ", room " << room;
        ASSERT_EQ(units[count], 0);
    }
    // No byte behind the text is read.
    void expectStretch(unsigned int table, const std::string &text) {
        const ByteSet set = tables::dvbTables[table].set;
        const unsigned char *const in = in_.atBack(text);
        const std::size_t room = 3 * text.size() + 1;
        char *const out = reinterpret_cast<char *>(out_.back(room));
        const kernels::Progress done = kernels_.stretchToUtf8(set, out, in, in + text.size());
        ASSERT_LE(done.read, text.size());
        ASSERT_TRUE(done.read == text.size() || mayStop(table, byteAt(text, done.read))) << kernels_.name;
        ASSERT_EQ(std::string(out, done.written),
                  modelUtf8(charactersOf(table, text, done.read, 0), static_cast<int>(room)))
            << kernels_.name << ", table " << table;
        auto *const units = reinterpret_cast<unsigned short *>(out_.back(2 * text.size()));
        const kernels::Progress wide = kernels_.stretchToUcs2(set, units, in, in + text.size());
        ASSERT_LE(wide.read, text.size());
        ASSERT_TRUE(wide.read == text.size() || mayStop(table, byteAt(text, wide.read))) << kernels_.name;
        ASSERT_EQ(Characters(units, units + wide.written), charactersOf(table, text, wide.read, 0))
            << kernels_.name << ", table " << table;
    }
    void expectMarked(unsigned int table, const std::string &text, int room) {
        expectText(table, text, room);
        expectStretch(table, text);
    }

private:
    const Kernels &kernels_;
    GuardPages in_{1};
    GuardPages out_{2 * std::size_t{8192}};
};

constexpr int roomFor(const std::string &text) {
    return 3 * static_cast<int>(text.size()) + 1;
}

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
    text.resize(length); // maybe behind a mark
    return text;
}

TEST(DvbTableKernels, ConvertEveryShortText) {
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        Bench bench(kernels);
        for (const unsigned int table : markedTables) {
            ASSERT_NO_FATAL_FAILURE(bench.expectMarked(table, "", 1));
            for (unsigned int i = 0; i < 0x10000; ++i) {
                const std::string one(1, static_cast<char>(i >> 8U));
                if (table != 0 && (i >> 8U < 0xA0 || i >> 8U > 0xCF)) {
                    continue; // bytes without marks, as in the default table
                }
                const std::string two = one + static_cast<char>(i & 0xFFU);
                ASSERT_NO_FATAL_FAILURE(bench.expectMarked(table, two, 1 + static_cast<int>(i % 7)));
                ASSERT_NO_FATAL_FAILURE(bench.expectText(table, two, 200, i & 1U));
            }
        }
        for (const unsigned int table : cleanTables) {
            for (unsigned int byte = 0; byte < 256; ++byte) {
                for (int room = 1; room < 6; ++room) {
                    const std::string one(1, static_cast<char>(byte));
                    ASSERT_NO_FATAL_FAILURE(bench.expectText(table, one, room, byte & 1U));
                    ASSERT_NO_FATAL_FAILURE(bench.expectText(table, one + one, 200));
                }
            }
        }
    }
}

TEST(DvbTableKernels, BehindTheTerminatorOfAPlainNameNothingIsWritten) {
    for (const Kernels &kernel : kernelsOfThisMachine()) {
        if (std::string(kernel.name) == "portable") {
            continue; // stores the entry of a character whole
        }
        for (int length = 1; length <= 64; ++length) {
            const std::string text(static_cast<std::size_t>(length), 'x');
            Guarded<char> out(1000);
            ASSERT_EQ(kernel.markedToUtf8(out.data(), 1000, u8(text), length, tables::dvbTables[0], 0), text.size());
            for (std::size_t i = text.size() + 1; i < out.size(); ++i) {
                ASSERT_EQ(out[i], Guarded<char>::pattern()) << kernel.name << ", length " << length;
            }
        }
    }
}

TEST(DvbTableKernels, ConvertEveryByteAtEveryPlaceOfABlock) {
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        Bench bench(kernels);
        for (unsigned int byte = 0; byte < 256; ++byte) {
            for (std::size_t place = 0; place < 66; ++place) {
                std::string text(64 + (byte + place) % 3, 'x');
                text[std::min(place, text.size() - 1)] = static_cast<char>(byte);
                for (const unsigned int table : markedTables) {
                    ASSERT_NO_FATAL_FAILURE(bench.expectStretch(table, text));
                }
                ASSERT_NO_FATAL_FAILURE(bench.expectText(cleanTables[place % 5], text, roomFor(text)));
            }
        }
    }
}

TEST(DvbTableKernels, ComposeEveryPairInABlock) {
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        Bench bench(kernels);
        for (unsigned int mark = 0xC0; mark <= 0xCF; ++mark) {
            for (unsigned int letter = 0x40; letter < 0x80; ++letter) {
                // A third of the places for each pair, all of them for each mark and each letter.
                for (std::size_t place = (mark + letter) % 3; place < 65; place += 3) {
                    std::string text(66, 'x');
                    text[place] = static_cast<char>(mark);
                    text[place + 1] = static_cast<char>(letter);
                    text[(place + 33) % 66] = static_cast<char>(letter % 2 == 0 ? 0xF1 : 'y');
                    ASSERT_NO_FATAL_FAILURE(bench.expectStretch(0, text));
                }
            }
        }
    }
}

TEST(DvbTableKernels, ConvertEveryLength) {
    Random random(1);
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        Bench bench(kernels);
        for (std::size_t length = 0; length <= 200; ++length) {
            for (const Kind &kind : kinds) {
                const std::string text = textOf(random, length, kind);
                for (const int room : {roomFor(text), roomFor(text) + 64, 200}) {
                    ASSERT_NO_FATAL_FAILURE(bench.expectMarked(markedTables[random.below(3)], text, room));
                    ASSERT_NO_FATAL_FAILURE(bench.expectText(cleanTables[random.below(5)], text, room));
                }
            }
        }
    }
}

TEST(DvbTableKernels, ConvertInEveryRoom) {
    Random random(2);
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        Bench bench(kernels);
        for (const std::size_t length : {1U, 33U, 64U, 130U}) {
            for (const Kind &kind : kinds) {
                const std::string text = textOf(random, length, kind);
                for (int room = 1; room <= roomFor(text) + 4; ++room) {
                    ASSERT_NO_FATAL_FAILURE(bench.expectText(markedTables[random.below(3)], text, room));
                    ASSERT_NO_FATAL_FAILURE(bench.expectText(cleanTables[random.below(5)], text, room));
                }
            }
        }
    }
}

TEST(DvbTableKernels, ConvertRandomTexts) {
    Random random(3);
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        Bench bench(kernels);
        for (int i = 0; i < 4000; ++i) {
            const Kind kind{random.below(50), random.below(50), random.chance(50) ? random.below(100) : 0};
            const std::string text = textOf(random, random.below(300), kind);
            const int room = random.chance(50) ? roomFor(text) : 1 + static_cast<int>(random.below(900));
            const unsigned int flags = random.below(2);
            ASSERT_NO_FATAL_FAILURE(bench.expectText(markedTables[random.below(3)], text, room, flags));
            ASSERT_NO_FATAL_FAILURE(bench.expectText(cleanTables[random.below(5)], text, room, flags));
            ASSERT_NO_FATAL_FAILURE(bench.expectStretch(markedTables[random.below(3)], text));
        }
    }
}

TEST(DvbTableKernels, ConvertLongTexts) {
    Random random(4);
    for (const Kind &kind : kinds) {
        const std::string text = textOf(random, 70000, kind);
        for (const unsigned int table : {0U, 18U, 3U}) {
            const Characters characters = charactersOf(table, text, text.size(), 0);
            const std::string expected = modelUtf8(characters, roomFor(text));
            const DvbTable row = tables::dvbTables[table];
            const bool marked = row.marks == tables::latinMarks;
            for (const Kernels &kernels : kernelsOfThisMachine()) {
                std::string out(expected.size() + 1, '\x01');
                const int length = static_cast<int>(text.size());
                const unsigned int written = (marked ? kernels.markedToUtf8 : kernels.cleanToUtf8)(
                    out.data(), static_cast<int>(out.size()), u8(text), length, row, 0);
                ASSERT_TRUE(out.substr(0, written) == expected) << kernels.name << ", table " << table;
                std::vector<unsigned short> units(text.size() + 1);
                const unsigned int count = (marked ? kernels.markedToUcs2 : kernels.cleanToUcs2)(
                    units.data(), static_cast<int>(units.size()), u8(text), length, row, 0);
                ASSERT_TRUE(Characters(units.begin(), units.begin() + count) == characters) << kernels.name;
            }
        }
    }
}

} // namespace
