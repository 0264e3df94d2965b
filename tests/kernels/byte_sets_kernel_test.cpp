// The kernels of the single-byte sets, each set of kernels, against the character-by-character model: texts of every
// length and kind, at every alignment and in every room, with unreadable pages on both sides of the input, canaries on
// both sides of the output, and counts and rooms that say too much.
#include "helpers/guard_pages.h"
#include "helpers/kernel_sets.h"
#include "helpers/text.h"
#include "reference/single_byte.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using namespace zelk;
using namespace zelk_test;
using kernels::Candidate;
using kernels::Progress;
using tables::ByteSet;

// The sets whose lower half is ASCII: all but the last.
constexpr unsigned int asciiSets = static_cast<unsigned int>(ByteSet::DvbDefault);

// No table needed; two bytes a character at most; letters; a few of three bytes; most of three bytes.
constexpr ByteSet testedSets[] = {ByteSet::Iso8859_1, ByteSet::Iso8859_2, ByteSet::Iso8859_5, ByteSet::Windows1250,
                                  ByteSet::Iso8859_11};

using Characters = std::vector<unsigned int>;

Characters charactersOf(ByteSet set, const std::string &text) {
    Characters characters;
    for (const char byte : text) {
        characters.push_back(tables::codePointsOf(set)[static_cast<unsigned char>(byte)]);
    }
    return characters;
}

// A text converted, and the bytes of UTF-8 before each of its characters and after the last one.
struct Expected {
    Characters characters;
    std::string utf8;
    std::vector<std::size_t> places{0};
};

Expected expectedOf(ByteSet set, const std::string &text) {
    static const std::vector<std::string> encoded = [] {
        std::vector<std::string> all;
        for (unsigned int number = 0; number < tables::byteSetCount; ++number) {
            for (const unsigned int character : tables::codePointsOf(static_cast<ByteSet>(number))) {
                all.push_back(reference::utf8Text({character}, 4));
            }
        }
        return all;
    }();
    Expected expected{charactersOf(set, text), {}, {0}};
    for (const char byte : text) {
        expected.utf8 += encoded[static_cast<unsigned int>(set) * 256 + static_cast<unsigned char>(byte)];
        expected.places.push_back(expected.utf8.size());
    }
    return expected;
}

bool isControl(char byte) {
    return (static_cast<unsigned char>(byte) & 0x7FU) < 0x20;
}

std::size_t bytesBeforeControl(const std::string &text) {
    return static_cast<std::size_t>(std::find_if(text.begin(), text.end(), isControl) - text.begin());
}

using ToUtf8 = Progress (*)(ByteSet, const unsigned char *, std::size_t, char *, std::size_t);
using ToUcs2 = Progress (*)(ByteSet, const unsigned char *, std::size_t, unsigned short *, std::size_t);

constexpr std::size_t longestText = 8192;

// One set of kernels.
class Bench {
public:
    explicit Bench(const Candidate &tested) : name_(tested.name), kernels_(*tested.kernels) {}

    // `hidden` more bytes are counted and `absent` more units of room stated, which do not exist.
    void expectBytes(ByteSet set, const std::string &text, std::size_t room, std::size_t hidden = 0,
                     std::size_t absent = 0) {
        const Expected expected = expectedOf(set, text.substr(0, text.find('\0')));
        const unsigned char *const in = in_.atBack(text);
        expectUtf8(kernels_.bytesToUtf8, set, in, text.size() + hidden, expected, room, absent);
        expectUcs2(kernels_.bytesToUcs2, set, in, text.size() + hidden, expected, room, absent);
    }
    void expectClean(ByteSet set, const std::string &text, std::size_t room, std::size_t absent = 0) {
        const Expected expected = expectedOf(set, text.substr(0, bytesBeforeControl(text)));
        const unsigned char *const in = in_.atFront(text);
        expectUtf8(kernels_.cleanToUtf8, set, in, text.size(), expected, room, absent);
        expectUcs2(kernels_.cleanToUcs2, set, in, text.size(), expected, room, absent);
    }
    void expectAll(ByteSet set, const std::string &text, std::size_t room) {
        expectBytes(set, text, room);
        expectClean(set, text, room);
    }

private:
    // What is sure to fit is taken: the room of all characters at three bytes each.
    void expectUtf8(ToUtf8 convert, ByteSet set, const unsigned char *in, std::size_t count, const Expected &expected,
                    std::size_t room, std::size_t absent) {
        const std::size_t length = expected.characters.size();
        char *const out = bytes_.last(room);
        const Progress done = convert(set, in, count, out, room + absent);
        ASSERT_LE(done.read, length) << name_;
        ASSERT_TRUE(done.read == length || room + absent < 3 * length) << name_ << ", room " << room;
        ASSERT_TRUE(done.read == length || room - done.written < 3 * std::size_t{64}) << name_ << ", room " << room;
        ASSERT_EQ(done.written, expected.places[done.read]) << name_ << ", room " << room;
        ASSERT_TRUE(std::equal(out, out + done.written, expected.utf8.begin())) << name_ << ", room " << room;
        ASSERT_TRUE(bytes_.areKeptAfter(done.written)) << name_ << ", room " << room << ", of " << length;
    }
    void expectUcs2(ToUcs2 convert, ByteSet set, const unsigned char *in, std::size_t count, const Expected &expected,
                    std::size_t room, std::size_t absent) {
        unsigned short *const out = units_.last(room);
        const Progress done = convert(set, in, count, out, room + absent);
        const std::size_t length = std::min(expected.characters.size(), room + absent);
        ASSERT_EQ(done.read, length) << name_ << ", room " << room;
        ASSERT_EQ(done.written, length) << name_;
        ASSERT_TRUE(std::equal(out, out + length, expected.characters.begin())) << name_ << ", of " << length;
        ASSERT_TRUE(units_.areKeptAfter(length)) << name_ << ", room " << room << ", of " << length;
    }

    const char *name_;
    const kernels::Kernels &kernels_;
    GuardPages in_{2 * longestText};
    Canaries<char> bytes_{3 * longestText};
    Canaries<unsigned short> units_{3 * longestText};
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
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        bench.expectAll(ByteSet::Windows1250, "", 0);
        for (unsigned int first = 0; first < 256; ++first) {
            const std::string one(1, static_cast<char>(first));
            for (unsigned int set = 0; set < asciiSets; ++set) {
                ASSERT_NO_FATAL_FAILURE(bench.expectAll(static_cast<ByteSet>(set), one, (first + set) % 5));
            }
            for (unsigned int second = 0; second < 256; ++second) {
                const std::string two = one + static_cast<char>(second);
                ASSERT_NO_FATAL_FAILURE(bench.expectAll(ByteSet::Windows1250, two, second % 8));
            }
        }
    }
}

// Every byte of every set, in texts that blocks of any size take.
TEST(ByteSetKernels, ConvertEveryByteOfEverySet) {
    std::string text;
    for (unsigned int byte = 1; byte < 256; ++byte) {
        text += static_cast<char>(byte);
    }
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        for (unsigned int number = 0; number < asciiSets; ++number) {
            const auto set = static_cast<ByteSet>(number);
            ASSERT_NO_FATAL_FAILURE(bench.expectBytes(set, text, 3 * text.size()));
            for (std::size_t first = 0; first < text.size(); first += 16) {
                ASSERT_NO_FATAL_FAILURE(bench.expectBytes(set, text.substr(first, 37), 111));
                ASSERT_NO_FATAL_FAILURE(bench.expectBytes(set, text.substr(first, 19), 57));
                ASSERT_NO_FATAL_FAILURE(bench.expectBytes(set, text.substr(first, 11), 33));
            }
        }
    }
}

TEST(ByteSetKernels, ConvertEveryKindOfByteAtEveryPlaceOfABlock) {
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        for (std::size_t place = 0; place < 72; ++place) {
            for (const unsigned int byte :
                 {0x00U, 0x01U, 0x1FU, 0x20U, 0x7FU, 0x80U, 0x8AU, 0x9FU, 0xA0U, 0xE1U, 0xFFU}) {
                const ByteSet set = testedSets[(place + byte) % std::size(testedSets)];
                for (const char filling : {'a', '\xB1'}) {
                    std::string text(72, filling);
                    text[place] = static_cast<char>(byte);
                    ASSERT_NO_FATAL_FAILURE(bench.expectAll(set, text, 3 * text.size()));
                    ASSERT_NO_FATAL_FAILURE(bench.expectAll(set, text.substr(place / 2), 3 * text.size()));
                }
            }
        }
    }
}

TEST(ByteSetKernels, ConvertEveryLength) {
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        Random random(1);
        for (std::size_t length = 0; length <= 300; ++length) {
            for (const std::uint32_t percentUpper : {0U, 10U, 90U}) {
                for (const ByteSet set : testedSets) {
                    const std::string text = textOf(random, length, percentUpper, random.chance(30));
                    ASSERT_NO_FATAL_FAILURE(bench.expectAll(set, text, 3 * length + random.below(64)));
                }
            }
        }
    }
}

// The input moves through all alignments while the output stays, and the other way round.
TEST(ByteSetKernels, ConvertAtEveryAlignment) {
    Random random(2);
    GuardPages in(1);
    GuardPages out(1);
    for (const std::size_t length : {29U, 64U, 200U}) {
        const std::string text = textOf(random, length, 20, false);
        const std::string expected = expectedOf(ByteSet::Iso8859_2, text).utf8;
        for (const Candidate &kernels : kernelSets()) {
            for (std::size_t i = 0; i < 64; ++i) {
                for (std::size_t j = 0; j < 64; ++j) {
                    unsigned char *const from = in.back(text.size() + i);
                    std::copy(text.begin(), text.end(), from);
                    char *const to = reinterpret_cast<char *>(out.back(700 + j));
                    const Progress done = kernels.kernels->bytesToUtf8(ByteSet::Iso8859_2, from, text.size(), to, 700);
                    ASSERT_EQ(std::string(to, done.written), expected) << kernels.name << ' ' << i << ' ' << j;
                }
            }
        }
    }
}

TEST(ByteSetKernels, ConvertInEveryRoom) {
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        Random random(3);
        for (const std::size_t length : {1U, 9U, 20U, 33U, 130U}) {
            for (const std::uint32_t percentUpper : {0U, 40U}) {
                for (const ByteSet set : testedSets) {
                    const std::string text = textOf(random, length, percentUpper, false);
                    for (std::size_t room = 0; room <= 3 * length + 5; ++room) {
                        ASSERT_NO_FATAL_FAILURE(bench.expectAll(set, text, room));
                    }
                }
            }
        }
    }
}

// The text ends within what exists; the room goes far beyond it.
TEST(ByteSetKernels, WriteNothingAfterTheTextWhateverRoomIsStated) {
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        Random random(4);
        for (std::size_t length = 0; length <= 300; ++length) {
            for (const std::uint32_t percentUpper : {0U, 20U, 95U}) {
                const std::string text = textOf(random, length, percentUpper, random.chance(30));
                const ByteSet set = testedSets[length % std::size(testedSets)];
                const std::string used = text.substr(0, text.find('\0'));
                const std::string clean = text.substr(0, bytesBeforeControl(text));
                const std::size_t absent = length % 2 == 0 ? 65535 : 0x7FFFFFFF;
                ASSERT_NO_FATAL_FAILURE(bench.expectBytes(set, text, expectedOf(set, used).utf8.size(), 0, absent));
                ASSERT_NO_FATAL_FAILURE(bench.expectClean(set, text, expectedOf(set, clean).utf8.size(), absent));
            }
        }
    }
}

// The count goes far beyond the zero byte. After the aligned block that holds it comes an unreadable page.
TEST(ByteSetKernels, ReadNoBlockAfterTheZeroByte) {
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        Random random(5);
        for (std::size_t length = 0; length <= 300; ++length) {
            for (const std::uint32_t percentUpper : {0U, 20U, 90U}) {
                for (std::size_t after = 0; after < readableBlock; after = 2 * after + 1) {
                    const std::string text =
                        textOf(random, length, percentUpper, false) + '\0' + textOf(random, after, percentUpper, false);
                    const std::size_t counts[] = {text.size() + 1, text.size() + 30, 65535, 0x7FFFFFFF, 0xFFFFFFFF};
                    const std::size_t hidden = counts[(length + after) % std::size(counts)] - text.size();
                    ASSERT_NO_FATAL_FAILURE(bench.expectBytes(ByteSet::Windows1250, text, 3 * length, hidden));
                }
            }
        }
    }
}

TEST(ByteSetKernels, ConvertRandomTexts) {
    for (const Candidate &kernels : kernelSets()) {
        Bench bench(kernels);
        Random random(6);
        for (int i = 0; i < 2000; ++i) {
            const std::size_t length = random.below(300);
            const std::string text = textOf(random, length, random.below(100), random.chance(50));
            const auto set = static_cast<ByteSet>(random.below(asciiSets));
            const std::size_t room = random.chance(50) ? 3 * length : random.below(3 * 300 + 10);
            ASSERT_NO_FATAL_FAILURE(bench.expectAll(set, text, room));
        }
    }
}

TEST(ByteSetKernels, ConvertLongTexts) {
    Random random(7);
    for (const std::uint32_t percentUpper : {0U, 1U, 15U, 95U}) {
        const std::string text = textOf(random, 5000, percentUpper, false);
        for (const Candidate &kernels : kernelSets()) {
            Bench bench(kernels);
            for (const ByteSet set : testedSets) {
                ASSERT_NO_FATAL_FAILURE(bench.expectAll(set, text, 3 * text.size()));
                ASSERT_NO_FATAL_FAILURE(bench.expectAll(set, text, text.size()));
            }
        }
    }
}

} // namespace
