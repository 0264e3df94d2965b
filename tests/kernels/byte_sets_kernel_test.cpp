// The kernels of the single-byte sets, each instruction set's own, against the character-by-character model: texts of
// every length and kind, at every alignment and in every room, with unreadable pages on both sides of input and output.
#include "kernels/byte_sets.h"

#include "helpers/guard_pages.h"
#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/single_byte.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using namespace zelk;
using namespace zelk_test;
using tables::ByteSet;

struct Kernels {
    const char *name;
    unsigned int (*toUtf8)(ByteSet, char *, char *, const unsigned char *, const unsigned char *);
    unsigned int (*toUcs2)(ByteSet, unsigned short *, const unsigned char *, const unsigned char *);
    kernels::Progress (*cleanToUtf8)(ByteSet, char *, char *, const unsigned char *, const unsigned char *);
    std::size_t (*cleanToUcs2)(ByteSet, unsigned short *, const unsigned char *, const unsigned char *);
};

std::vector<Kernels> kernelsOfThisMachine() {
    std::vector<Kernels> all{{"portable", kernels::portable::byteSetToUtf8, kernels::portable::byteSetToUcs2,
                              kernels::portable::cleanByteSetToUtf8, kernels::portable::cleanByteSetToUcs2}};
#if defined(ZELK_HAS_AVX512_KERNELS)
    if (kernels::instructionSet() == kernels::InstructionSet::Avx512) {
        all.push_back({"avx512", kernels::avx512::byteSetToUtf8, kernels::avx512::byteSetToUcs2,
                       kernels::avx512::cleanByteSetToUtf8, kernels::avx512::cleanByteSetToUcs2});
    }
#endif
    return all;
}

// The sets whose lower half is ASCII: all but the last.
constexpr unsigned int asciiSets = static_cast<unsigned int>(ByteSet::DvbDefault);

// No table needed; two bytes a character at most; letters; a few of three bytes; most of three bytes.
constexpr ByteSet testedSets[] = {ByteSet::Iso8859_1, ByteSet::Iso8859_2, ByteSet::Iso8859_5, ByteSet::Windows1250,
                                  ByteSet::Iso8859_11};

std::vector<unsigned int> charactersOf(ByteSet set, const std::string &text) {
    std::vector<unsigned int> characters;
    for (const char byte : text) {
        characters.push_back(tables::codePointsOf(set)[static_cast<unsigned char>(byte)]);
    }
    return characters;
}

bool isControl(char byte) {
    return (static_cast<unsigned char>(byte) & 0x7FU) < 0x20;
}

// One kernel between unreadable pages: inputs end in front of one and, where they are moved, begin behind the other;
// so do the outputs.
class Bench {
public:
    explicit Bench(const Kernels &tested) : kernels_(tested) {}

    // `hidden` more bytes are counted, of which only those up to the zero byte exist.
    void expectUtf8(ByteSet set, const std::string &text, std::size_t room, std::size_t hidden = 0) {
        const std::string used = text.substr(0, text.find('\0'));
        const std::string expected = reference::utf8Text(charactersOf(set, used), static_cast<int>(room));
        const unsigned char *const in = in_.atBack(text);
        for (unsigned char *const place : {out_.back(room), out_.front()}) {
            char *const out = reinterpret_cast<char *>(place);
            const unsigned int written = kernels_.toUtf8(set, out, out + room, in, in + text.size() + hidden);
            ASSERT_EQ(std::string(out, written), expected) << kernels_.name << ", room " << room;
            ASSERT_EQ(out[written], 0);
        }
    }
    void expectUcs2(ByteSet set, const std::string &text, std::size_t hidden = 0) {
        const std::string used = text.substr(0, text.find('\0'));
        const std::vector<unsigned int> expected = charactersOf(set, used);
        const unsigned char *const in = in_.atBack(text);
        auto *const out = reinterpret_cast<unsigned short *>(out_.back(2 * (text.size() + 1)));
        const unsigned int units = kernels_.toUcs2(set, out, in, in + text.size() + hidden);
        ASSERT_EQ(std::vector<unsigned int>(out, out + units), expected) << kernels_.name;
        ASSERT_EQ(out[units], 0);
    }
    void expectClean(ByteSet set, const std::string &text, std::size_t room) {
        const auto clean = static_cast<std::size_t>(std::find_if(text.begin(), text.end(), isControl) - text.begin());
        const unsigned char *const in = in_.atBack(text);
        char *const out = reinterpret_cast<char *>(out_.back(room));
        const kernels::Progress done = kernels_.cleanToUtf8(set, out, out + room, in, in + text.size());
        ASSERT_LE(done.read, clean) << kernels_.name;
        ASSERT_TRUE(done.read == clean || room <= 3 * clean + 3) << kernels_.name << ", room " << room;
        const auto characters = charactersOf(set, text.substr(0, done.read));
        ASSERT_EQ(std::string(out, done.written), reference::utf8Text(characters, static_cast<int>(room)));
        auto *const units = reinterpret_cast<unsigned short *>(out_.back(2 * text.size()));
        ASSERT_EQ(kernels_.cleanToUcs2(set, units, in, in + text.size()), clean) << kernels_.name;
        ASSERT_EQ(std::vector<unsigned int>(units, units + clean), charactersOf(set, text.substr(0, clean)));
    }
    void expectAll(ByteSet set, const std::string &text, std::size_t room) {
        expectUtf8(set, text, std::max<std::size_t>(room, 2));
        expectUcs2(set, text);
        expectClean(set, text, std::max<std::size_t>(room, 1));
    }

private:
    const Kernels &kernels_;
    GuardPages in_{1};
    GuardPages out_{2 * std::size_t{8192}};
};

// Bytes of one kind in a hundred: ASCII, upper half without controls, any without zeros, any.
std::string textOf(Random &random, std::size_t length, std::uint32_t percentUpper, bool anyByte) {
    std::string text(length, ' ');
    for (char &byte : text) {
        byte = static_cast<char>(random.chance(percentUpper) ? 0xA0 + random.below(0x60) : 0x20 + random.below(0x5F));
    }
    if (anyByte && length != 0) {
        text[random.below(static_cast<std::uint32_t>(length))] = static_cast<char>(random.below(256));
    }
    return text;
}

TEST(ByteSetKernels, ConvertEveryShortText) {
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        Bench bench(kernels);
        bench.expectAll(ByteSet::Windows1250, "", 2);
        for (unsigned int first = 0; first < 256; ++first) {
            const std::string one(1, static_cast<char>(first));
            for (unsigned int set = 0; set < asciiSets; ++set) {
                for (std::size_t room = 2; room < 6; ++room) {
                    ASSERT_NO_FATAL_FAILURE(bench.expectAll(static_cast<ByteSet>(set), one, room));
                }
            }
            for (unsigned int second = 0; second < 256; ++second) {
                const std::string two = one + static_cast<char>(second);
                ASSERT_NO_FATAL_FAILURE(bench.expectAll(ByteSet::Windows1250, two, 2 + second % 8));
            }
        }
    }
}

TEST(ByteSetKernels, BehindTheTerminatorOfAPlainNameNothingIsWritten) {
    for (const Kernels &kernel : kernelsOfThisMachine()) {
        if (std::string(kernel.name) == "portable") {
            continue; // stores the entry of a character whole
        }
        for (std::size_t length = 1; length <= 64; ++length) {
            const std::string text(length, 'x');
            Guarded<char> out(1000);
            const unsigned char *const in = u8(text);
            ASSERT_EQ(kernel.toUtf8(ByteSet::Iso8859_2, out.data(), out.data() + 1000, in, in + length), length);
            for (std::size_t i = length + 1; i < out.size(); ++i) {
                ASSERT_EQ(out[i], Guarded<char>::pattern()) << kernel.name << ", length " << length;
            }
        }
    }
}

TEST(ByteSetKernels, ConvertEveryKindOfByteAtEveryPlaceOfABlock) {
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        Bench bench(kernels);
        for (std::size_t place = 0; place < 72; ++place) {
            for (const unsigned int byte :
                 {0x00U, 0x01U, 0x1FU, 0x20U, 0x7FU, 0x80U, 0x8AU, 0x9FU, 0xA0U, 0xE1U, 0xFFU}) {
                std::string text(72, 'a');
                text[place] = static_cast<char>(byte);
                for (const ByteSet set : testedSets) {
                    ASSERT_NO_FATAL_FAILURE(bench.expectAll(set, text, 3 * text.size() + 1));
                }
            }
        }
    }
}

TEST(ByteSetKernels, ConvertEveryLengthAtEveryAlignment) {
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        Bench bench(kernels);
        Random random(1);
        for (std::size_t length = 0; length <= 200; ++length) {
            for (const std::uint32_t percentUpper : {0U, 10U, 90U}) {
                for (const ByteSet set : testedSets) {
                    const std::string text = textOf(random, length, percentUpper, random.chance(30));
                    ASSERT_NO_FATAL_FAILURE(bench.expectAll(set, text, 3 * length + 1 + random.below(64)));
                }
            }
        }
        // The input moves through all alignments while the output stays, and the other way round.
        const std::string text = textOf(random, 200, 20, false);
        GuardPages in(1);
        GuardPages out(1);
        const std::string expected = reference::utf8Text(charactersOf(ByteSet::Iso8859_2, text), 700);
        for (std::size_t i = 0; i < 64; ++i) {
            for (std::size_t j = 0; j < 64; ++j) {
                unsigned char *const from = in.back(text.size() + i);
                std::copy(text.begin(), text.end(), from);
                char *const to = reinterpret_cast<char *>(out.back(700 + j));
                const unsigned int written = kernels.toUtf8(ByteSet::Iso8859_2, to, to + 700, from, from + text.size());
                ASSERT_EQ(std::string(to, written), expected) << kernels.name << ' ' << i << ' ' << j;
            }
        }
    }
}

TEST(ByteSetKernels, ConvertInEveryRoom) {
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        Bench bench(kernels);
        Random random(2);
        for (const std::size_t length : {1U, 33U, 64U, 130U}) {
            for (const std::uint32_t percentUpper : {0U, 40U}) {
                for (const ByteSet set : testedSets) {
                    const std::string text = textOf(random, length, percentUpper, false);
                    for (std::size_t room = 2; room <= 3 * length + 5; ++room) {
                        ASSERT_NO_FATAL_FAILURE(bench.expectAll(set, text, room));
                    }
                }
            }
        }
    }
}

// The count goes far beyond the zero byte, behind which comes an unreadable page at every distance of a block.
TEST(ByteSetKernels, ReadNoPageBehindTheZeroByte) {
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        Bench bench(kernels);
        Random random(3);
        for (std::size_t length = 0; length <= 200; ++length) {
            for (const std::uint32_t percentUpper : {0U, 20U}) {
                for (const std::size_t behind : {0U, 1U, 30U, 63U, 64U}) {
                    const std::string text = textOf(random, length, percentUpper, false) + '\0' +
                                             textOf(random, behind, percentUpper, false);
                    ASSERT_NO_FATAL_FAILURE(bench.expectUtf8(ByteSet::Windows1250, text, 3 * length + 2, 100000));
                    ASSERT_NO_FATAL_FAILURE(bench.expectUcs2(ByteSet::Windows1250, text, 100000));
                }
            }
        }
        // A text that goes over a page's end before it ends.
        GuardPages pages(2 * std::size_t{4096});
        for (std::size_t before = 0; before < 130; ++before) {
            const std::string text = textOf(random, before + 70, 20, false) + '\0';
            unsigned char *const in = pages.front() + 4096 - before;
            std::copy(text.begin(), text.end(), in);
            std::string out(3 * text.size(), '\0');
            const unsigned int written =
                kernels.toUtf8(ByteSet::Iso8859_2, out.data(), out.data() + out.size(), in, in + 4096);
            const auto characters = charactersOf(ByteSet::Iso8859_2, text.substr(0, text.size() - 1));
            ASSERT_EQ(out.substr(0, written), reference::utf8Text(characters, 1000));
            std::vector<unsigned short> units(text.size());
            ASSERT_EQ(kernels.toUcs2(ByteSet::Iso8859_2, units.data(), in, in + text.size()), text.size() - 1);
            ASSERT_TRUE(std::equal(characters.begin(), characters.end(), units.begin())) << kernels.name;
        }
    }
}

// A zero byte in a name that is counted further, in front of other text on its page, to rooms for little more than it
// and to large ones.
TEST(ByteSetKernels, EndANameAtItsZeroByte) {
    constexpr ByteSet set = ByteSet::Windows1250;
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        GuardPages in(1);
        GuardPages out(1);
        Random random(6);
        for (std::size_t length = 1; length <= 64; ++length) {
            for (std::size_t place = 0; place < length; ++place) {
                std::string text = textOf(random, length, place % 2 == 0 ? 0 : 40, false);
                text[place] = '\0';
                const unsigned char *const from = in.atFront(text + "others");
                const auto characters = charactersOf(set, text.substr(0, place));
                for (const std::size_t room : {128U, 300U}) {
                    char *const to = reinterpret_cast<char *>(out.back(room));
                    const unsigned int written = kernels.toUtf8(set, to, to + room, from, from + length);
                    ASSERT_EQ(std::string(to, written + 1),
                              reference::utf8Text(characters, static_cast<int>(room)) + '\0');
                }
                auto *const units = reinterpret_cast<unsigned short *>(out.back(2 * (length + 1)));
                ASSERT_EQ(kernels.toUcs2(set, units, from, from + length), place) << kernels.name;
                ASSERT_TRUE(std::equal(characters.begin(), characters.end(), units)) << kernels.name;
                ASSERT_EQ(units[place], 0);
            }
        }
    }
}

// As an int the count would be two.
TEST(ByteSetKernels, ThePlainLoopTakesACountThatIsNoInt) {
    if constexpr (sizeof(std::ptrdiff_t) == sizeof(int)) {
        GTEST_SKIP() << "every count is an int on this machine";
    }
    GuardPages pages(1);
    const unsigned char *const in = pages.atBack(std::string("plain \xB1\0", 8));
    const unsigned char *const inEnd = in + static_cast<std::ptrdiff_t>((std::int64_t{1} << 32U) + 2);
    char out[20];
    ASSERT_EQ(kernels::plainByteSetToUtf8(ByteSet::Iso8859_2, out, out + sizeof out, in, inEnd, out), 8U);
    EXPECT_STREQ(out, "plain \xC4\x85");
}

TEST(ByteSetKernels, ConvertRandomTexts) {
    for (const Kernels &kernels : kernelsOfThisMachine()) {
        Bench bench(kernels);
        Random random(4);
        for (int i = 0; i < 3000; ++i) {
            const std::size_t length = random.below(300);
            const std::string text = textOf(random, length, random.below(100), random.chance(50));
            const auto set = static_cast<ByteSet>(random.below(asciiSets));
            const std::size_t room = random.chance(50) ? 3 * length + 1 : random.below(3 * 300 + 10);
            ASSERT_NO_FATAL_FAILURE(bench.expectAll(set, text, room));
        }
    }
}

TEST(ByteSetKernels, ConvertLongTexts) {
    Random random(5);
    for (const std::uint32_t percentUpper : {0U, 1U, 15U, 95U}) {
        const std::string text = textOf(random, 70000, percentUpper, false);
        for (const ByteSet set : testedSets) {
            const auto characters = charactersOf(set, text);
            const std::string expected = reference::utf8Text(characters, 3 * 70000 + 1);
            for (const Kernels &kernels : kernelsOfThisMachine()) {
                const unsigned char *const in = u8(text);
                std::string out(3 * text.size() + 1, '\0');
                const unsigned int written =
                    kernels.toUtf8(set, out.data(), out.data() + out.size(), in, in + text.size());
                ASSERT_EQ(out.substr(0, written), expected) << kernels.name;
                std::vector<unsigned short> units(text.size() + 1);
                ASSERT_EQ(kernels.toUcs2(set, units.data(), in, in + text.size()), text.size()) << kernels.name;
                units.pop_back();
                ASSERT_EQ(std::vector<unsigned int>(units.begin(), units.end()), characters) << kernels.name;
            }
        }
    }
}

} // namespace
