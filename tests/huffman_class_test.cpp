// The decoder classes of compressed titles and descriptions against a decoder over bit strings.
#include "zelk.h"
#include "zelk.hpp"

#include "helpers/guard_pages.h"
#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/huffman_encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

namespace {

using namespace zelk_test;
using zelk::_BitReaderPos_t;
using zelk::ProgramDescriptionDecoder;
using zelk::ProgramTitleDecoder;

// A decoder over a table of the test's own, as an heir of the class would build it.
class OwnTableDecoder : public zelk::HuffmanDecoder {
public:
    OwnTableDecoder(const unsigned char *table, unsigned int skipCount) : HuffmanDecoder(table, skipCount) {}
};

enum class Kind { Title, Description };

const ContextCodes &codesOf(Kind kind) {
    static const ContextCodes title = contextCodes(_title_dec_table);
    static const ContextCodes description = contextCodes(_desc_dec_table);
    return kind == Kind::Title ? title : description;
}

int decode(Kind kind, unsigned int skipCount, const std::string &input, unsigned char *dst, unsigned int *dstLength) {
    const auto length = static_cast<unsigned int>(input.size());
    return kind == Kind::Title ? ProgramTitleDecoder(skipCount).decode(u8(input), length, dst, dstLength)
                               : ProgramDescriptionDecoder(skipCount).decode(u8(input), length, dst, dstLength);
}

// The decoded text, skipped characters included, of an input that may end with its terminator.
std::string modelText(Kind kind, std::string input) {
    if (!input.empty() && input.back() == 0) {
        input.pop_back();
    }
    std::string text;
    for (const DecodedCharacter &character : decodeContextBits(codesOf(kind), bitsOf(input))) {
        text += static_cast<char>(character.value);
    }
    return text;
}

// Decodes into `capacity` bytes between guards and compares everything with the contract.
void expectDecoding(Kind kind, unsigned int skipCount, const std::string &input, unsigned int capacity) {
    const std::string text = modelText(kind, input);
    const std::string kept = text.size() < skipCount ? "" : text.substr(skipCount);
    const bool empty = text.empty() || text.size() < skipCount;
    const auto needed = static_cast<unsigned int>(empty ? 0 : kept.size() + 2);

    Guarded<unsigned char> out(capacity);
    unsigned int dstLength = capacity;
    ASSERT_EQ(decode(kind, skipCount, input, out.data(), &dstLength), capacity < needed ? -2 : 0);
    ASSERT_EQ(dstLength, needed);
    const std::string written = empty ? "" : (kept + '\0').substr(0, capacity);
    ASSERT_EQ(std::string(reinterpret_cast<const char *>(out.data()), written.size()), written);
    for (std::size_t i = written.size(); i < capacity; ++i) {
        ASSERT_EQ(out[i], Guarded<unsigned char>::pattern()) << "written after the text at " << i;
    }

    dstLength = 0;
    ASSERT_EQ(decode(kind, skipCount, input, nullptr, &dstLength), 0);
    ASSERT_EQ(dstLength, needed);
}

TEST(HuffmanClass, LoneTerminatorDecodesNothing) {
    for (const Kind kind : {Kind::Title, Kind::Description}) {
        Guarded<unsigned char> out(8);
        unsigned int dstLength = 8;
        EXPECT_EQ(decode(kind, 0, bytes("00"), out.data(), &dstLength), 0);
        EXPECT_EQ(dstLength, 0U);
        EXPECT_TRUE(out.untouched());
    }
}

// Nothing is stored where there is no text, be it for a moment: the output is memory that cannot be touched. Every
// input without a character is here, for each begins with a shorter one; a terminator adds a byte to those of three.
TEST(HuffmanClass, NoTextTouchesNoOutput) {
    GuardPages pages(1);
    unsigned char *const untouchable = pages.back(0);
    for (const Kind kind : {Kind::Title, Kind::Description}) {
        std::vector<std::string> empty = {""};
        std::size_t bytes = 0;
        while (!empty.empty()) {
            ASSERT_LE(bytes, 4U);
            ++bytes;
            std::vector<std::string> longer;
            for (const std::string &begin : empty) {
                for (unsigned int byte = 0; byte < 0x100; ++byte) {
                    const std::string input = begin + static_cast<char>(byte);
                    if (modelText(kind, input).empty()) {
                        unsigned int dstLength = 512;
                        ASSERT_EQ(decode(kind, 0, input, untouchable, &dstLength), 0);
                        ASSERT_EQ(dstLength, 0U);
                        longer.push_back(input);
                    }
                }
            }
            empty = longer;
        }
        EXPECT_GE(bytes, 3U);
    }
}

TEST(HuffmanClass, BadArgumentsLeaveTheLengthAlone) {
    Guarded<unsigned char> out(8);
    const unsigned char src[] = {0x5E, 0x00};
    const ProgramTitleDecoder decoder(0);
    unsigned int dstLength = 8;
    EXPECT_EQ(decoder.decode(src, 0, out.data(), &dstLength), -1);
    EXPECT_EQ(decoder.decode(nullptr, 2, out.data(), &dstLength), -1);
    EXPECT_EQ(decoder.decode(src, 2, nullptr, &dstLength), -1);
    EXPECT_EQ(OwnTableDecoder(nullptr, 0).decode(src, 2, out.data(), &dstLength), -1);
    EXPECT_EQ(dstLength, 8U);
    EXPECT_EQ(decoder.decode(src, 2, out.data(), nullptr), -1);
    EXPECT_TRUE(out.untouched());
}

TEST(HuffmanClass, MeasureThenDecode) {
    const std::string input = encodeGuideText(codesOf(Kind::Title), "The next");
    const ProgramTitleDecoder decoder(0);
    unsigned int needed = 0;
    ASSERT_EQ(decoder.decode(u8(input), static_cast<unsigned int>(input.size()), nullptr, &needed), 0);
    Guarded<unsigned char> out(needed);
    unsigned int dstLength = needed;
    ASSERT_EQ(decoder.decode(u8(input), static_cast<unsigned int>(input.size()), out.data(), &dstLength), 0);
    EXPECT_EQ(dstLength, needed);
    EXPECT_STREQ(reinterpret_cast<const char *>(out.data()), "The next");
    EXPECT_EQ(out[needed - 2], 0) << "the terminator";
    EXPECT_EQ(out[needed - 1], Guarded<unsigned char>::pattern()) << "the spare byte";
}

// The worked example of ATSC A/65: 39 bits, "The next" and its end.
TEST(HuffmanClass, PublishedExample) {
    const std::string input = packed("010"
                                     "0"
                                     "0"
                                     "01"
                                     "10010100"
                                     "01101110"
                                     "010"
                                     "00010011"
                                     "01"
                                     "010");
    ASSERT_EQ(input.size(), 5U);
    EXPECT_EQ(modelText(Kind::Title, input).substr(0, 9), std::string("The next\0", 9));
    expectDecoding(Kind::Title, 0, input, 64);
}

TEST(HuffmanClass, BroadcastTexts) {
    struct Text {
        Kind kind;
        const char *compressed;
        const char *text;
    };
    // Behind each one the zero byte that a decoder takes for the terminator.
    const Text texts[] = {
        {Kind::Title, "5e00 00", "TV"},
        {Kind::Title, "e96cd290b02924 00", "Lorem ipsum"},
        {Kind::Title, "e96d78da5216052480 00", "Lorem ipsum"},
        {Kind::Description, "d8e5d0 00", "TV."},
        {Kind::Description, "9cecfea3332ff580 00", "Lorem ipsum."},
        {Kind::Description, "9cedcdb7d46665feb0 00", "Lorem ipsum."},
    };
    for (const Text &text : texts) {
        Guarded<unsigned char> out(64);
        unsigned int dstLength = 64;
        EXPECT_EQ(decode(text.kind, 0, bytes(text.compressed), out.data(), &dstLength), 0);
        EXPECT_STREQ(reinterpret_cast<const char *>(out.data()), text.text);
    }
}

TEST(HuffmanClass, LastZeroByteIsNotDecoded) {
    // T, and five of the six bits of V; the sixth would be in the zero byte.
    Guarded<unsigned char> out(8);
    unsigned int dstLength = 8;
    EXPECT_EQ(decode(Kind::Title, 0, bytes("5e00"), out.data(), &dstLength), 0);
    EXPECT_EQ(dstLength, 3U);
    EXPECT_STREQ(reinterpret_cast<const char *>(out.data()), "T");
}

TEST(HuffmanClass, DecodedZeroIsACharacter) {
    // After e the code 001 is a zero; decoding goes on in the context of the start.
    const ContextCodes &codes = codesOf(Kind::Title);
    const std::string input = packed(contextBits(codes, "The") + "001" + contextBits(codes, "The") + "001");
    EXPECT_EQ(modelText(Kind::Title, input).substr(0, 8), std::string("The\0The\0", 8));
    expectDecoding(Kind::Title, 0, input, 64);
}

TEST(HuffmanClass, SkipCountAgainstTheNumberOfCharacters) {
    const std::string input = encodeGuideText(codesOf(Kind::Title), "News");
    const auto characters = static_cast<unsigned int>(modelText(Kind::Title, input).size());
    Guarded<unsigned char> out(8);
    unsigned int dstLength = 8;
    EXPECT_EQ(decode(Kind::Title, characters + 1, input, out.data(), &dstLength), 0);
    EXPECT_EQ(dstLength, 0U);
    EXPECT_TRUE(out.untouched());

    dstLength = 8;
    EXPECT_EQ(decode(Kind::Title, characters, input, out.data(), &dstLength), 0);
    EXPECT_EQ(dstLength, 2U);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[1], Guarded<unsigned char>::pattern());
}

TEST(HuffmanClass, CapacityOneBelowTheNeed) {
    const std::string input = encodeGuideText(codesOf(Kind::Description), "A film.");
    unsigned int needed = 0;
    ASSERT_EQ(decode(Kind::Description, 0, input, nullptr, &needed), 0);
    Guarded<unsigned char> out(needed - 1);
    unsigned int dstLength = needed - 1;
    EXPECT_EQ(decode(Kind::Description, 0, input, out.data(), &dstLength), -2);
    EXPECT_EQ(dstLength, needed);
    EXPECT_STREQ(reinterpret_cast<const char *>(out.data()), "A film.");
}

TEST(HuffmanClass, HighLiteralsFollowWithoutEscape) {
    for (const Kind kind : {Kind::Title, Kind::Description}) {
        const ContextCodes &codes = codesOf(kind);
        const std::string escape = contextBits(codes, "\x7F").substr(0, contextBits(codes, "\x7F").size() - 8);
        const std::string input = packed(escape + bitsOf("\xC3\xA9\xE9T"));
        EXPECT_EQ(modelText(kind, input).substr(0, 4), "\xC3\xA9\xE9T");
        expectDecoding(kind, 0, input, 64);
        for (const char *text : {"caf\xC3\xA9", "\xC3\xA9t\xC3\xA9", "A \xE2\x82\xAC 5 bet"}) {
            const std::string compressed = encodeGuideText(codes, text);
            EXPECT_STREQ(modelText(kind, compressed).c_str(), text);
            expectDecoding(kind, 0, compressed, 64);
        }
    }
}

TEST(HuffmanClass, EveryCapacityAndSkipCount) {
    for (const Kind kind : {Kind::Title, Kind::Description}) {
        const std::string input = encodeGuideText(codesOf(kind), "Star \xC3\xA9 \x02 Trek.");
        for (unsigned int capacity = 0; capacity < 30; ++capacity) {
            for (unsigned int skipCount = 0; skipCount < 30; ++skipCount) {
                expectDecoding(kind, skipCount, input, capacity);
            }
            expectDecoding(kind, UINT_MAX, input, capacity);
            expectDecoding(kind, INT_MAX, input, capacity);
        }
    }
}

TEST(HuffmanClass, InputsOfOneAndTwoBytes) {
    for (const Kind kind : {Kind::Title, Kind::Description}) {
        for (unsigned int first = 0; first < 0x100; ++first) {
            const unsigned int capacity = first % 2 == 0 ? 24 : 300;
            expectDecoding(kind, 0, std::string(1, static_cast<char>(first)), capacity);
            for (unsigned int second = first % 5; second < 0x100; second += 5) {
                expectDecoding(kind, 0, {static_cast<char>(first), static_cast<char>(second)}, capacity);
            }
        }
    }
}

TEST(HuffmanClass, PairsOfCharacters) {
    for (const Kind kind : {Kind::Title, Kind::Description}) {
        for (unsigned int first = 0; first < 0x100; ++first) {
            for (unsigned int second = first % 3; second < 0x100; second += 3) {
                const std::string text = {static_cast<char>(first), static_cast<char>(second)};
                const std::string input = encodeGuideText(codesOf(kind), text);
                unsigned char out[64];
                unsigned int dstLength = sizeof out;
                ASSERT_EQ(decode(kind, 0, input, out, &dstLength), 0);
                ASSERT_GE(dstLength, 4U);
                ASSERT_EQ(std::string(reinterpret_cast<const char *>(out), 2), text) << first << ' ' << second;
            }
        }
    }
}

TEST(HuffmanClass, RandomBytes) {
    Random random(51);
    for (int round = 0; round < 3000; ++round) {
        std::string input(1 + random.below(40), '\0');
        for (char &byte : input) {
            byte = random.chance(5) ? '\0' : static_cast<char>(random.below(256));
        }
        expectDecoding(random.chance(50) ? Kind::Title : Kind::Description, random.chance(50) ? 0 : random.below(12),
                       input, random.below(random.chance(50) ? 80 : 600));
    }
}

TEST(HuffmanClass, LongText) {
    std::string text;
    while (text.size() < 70000) {
        text += "Adventures of a detective, 3:10 \xC3\xA9. ";
    }
    for (const Kind kind : {Kind::Title, Kind::Description}) {
        const std::string input = encodeGuideText(codesOf(kind), text);
        EXPECT_EQ(modelText(kind, input).substr(0, text.size()), text);
        expectDecoding(kind, 0, input, 70100);
        expectDecoding(kind, 69000, input, 500);
    }
}

TEST(HuffmanClass, CopiesDecodeAlike) {
    const std::string input = encodeGuideText(codesOf(Kind::Title), "The News");
    const auto length = static_cast<unsigned int>(input.size());
    const ProgramTitleDecoder title(4);
    zelk::HuffmanDecoder copy(title);
    const zelk::HuffmanDecoder &same = copy;
    copy = same;
    unsigned char out[32];
    unsigned int dstLength = sizeof out;
    EXPECT_EQ(copy.decode(u8(input), length, out, &dstLength), 0);
    EXPECT_STREQ(reinterpret_cast<const char *>(out), "News");

    copy = ProgramDescriptionDecoder(0);
    const std::string description = encodeGuideText(codesOf(Kind::Description), "A film.");
    dstLength = sizeof out;
    EXPECT_EQ(copy.decode(u8(description), static_cast<unsigned int>(description.size()), out, &dstLength), 0);
    EXPECT_STREQ(reinterpret_cast<const char *>(out), "A film.");
}

TEST(HuffmanClass, OwnTable) {
    // Two contexts matter: at the start 0 is A and 1 the escape; after A 0 is B and 1 is C; elsewhere only escapes.
    std::vector<unsigned char> table;
    for (unsigned int context = 0; context < 128; ++context) {
        const unsigned int offset = 256 + 2 * context;
        table.push_back(static_cast<unsigned char>(offset >> 8));
        table.push_back(static_cast<unsigned char>(offset & 0xFF));
    }
    table.resize(256 + 2 * 128, 0x9B);
    table[256] = 0x80 + 'A';
    table[256 + 2 * 'A'] = 0x80 + 'B';
    table[256 + 2 * 'A' + 1] = 0x80 + 'C';
    const OwnTableDecoder decoder(table.data(), 0);
    const std::string input = packed("0"
                                     "1"
                                     "1" +
                                     bitsOf("z") + "1" + bitsOf("A") + "0");
    unsigned char out[16];
    unsigned int dstLength = sizeof out;
    EXPECT_EQ(decoder.decode(u8(input), static_cast<unsigned int>(input.size()), out, &dstLength), 0);
    EXPECT_STREQ(reinterpret_cast<const char *>(out), "ACzAB");
    EXPECT_EQ(dstLength, 7U);
}

// Every count of bits from every position of short inputs, and past their end.
TEST(HuffmanClass, BitReaderReadsWhatTheBitsSay) {
    const ProgramTitleDecoder decoder(0);
    const std::string input = bytes("96 5A C3 0F");
    const std::string bits = bitsOf(input);
    for (unsigned int srcLength = 0; srcLength <= input.size(); ++srcLength) {
        for (unsigned int at = 0; at <= 8 * srcLength + 8; ++at) {
            for (unsigned char bitCount = 0; bitCount <= 8; ++bitCount) {
                _BitReaderPos_t position{static_cast<unsigned char>(at % 8), at / 8};
                unsigned char out = 0xA7;
                const bool inside = at < 8 * srcLength && at + bitCount <= 8 * srcLength;
                ASSERT_EQ(decoder.bitReader(bitCount, u8(input), srcLength, &out, &position), inside ? 0 : 1);
                const unsigned int end = inside ? at + bitCount : std::max(at, 8 * srcLength);
                ASSERT_EQ(position.bitIndex, end % 8);
                ASSERT_EQ(position.byteIndex, end / 8);
                ASSERT_EQ(out, inside ? valueOf(bits.substr(at, bitCount)) : 0xA7U);
            }
        }
    }
}

TEST(HuffmanClass, BitReaderRefusesBadArguments) {
    const ProgramTitleDecoder decoder(0);
    const unsigned char src[] = {0xFF, 0xFF};
    unsigned char out = 0xA7;
    _BitReaderPos_t position{3, 0};
    EXPECT_EQ(decoder.bitReader(4, nullptr, 2, &out, &position), -1);
    EXPECT_EQ(decoder.bitReader(9, src, 2, &out, &position), -1);
    EXPECT_EQ(decoder.bitReader(255, src, 2, &out, &position), -1);
    EXPECT_EQ(decoder.bitReader(4, src, 2, nullptr, &position), -1);
    EXPECT_EQ(decoder.bitReader(4, src, 2, &out, nullptr), -1);
    EXPECT_EQ(out, 0xA7);
    EXPECT_EQ(position.bitIndex, 3);
    EXPECT_EQ(position.byteIndex, 0U);
}

TEST(HuffmanClass, BitReaderTakesAStrangePositionForTheNextByte) {
    const ProgramTitleDecoder decoder(0);
    const unsigned char src[] = {0xFF, 0x5A};
    for (const unsigned char bitIndex : std::vector<unsigned char>{8, 9, 255}) {
        unsigned char out = 0;
        _BitReaderPos_t position{bitIndex, 0};
        EXPECT_EQ(decoder.bitReader(8, src, 2, &out, &position), 0);
        EXPECT_EQ(out, 0x5A);
        EXPECT_EQ(position.byteIndex, 2U);
        position = {bitIndex, 1};
        EXPECT_EQ(decoder.bitReader(1, src, 2, &out, &position), 1);
        position = {bitIndex, UINT_MAX};
        EXPECT_EQ(decoder.bitReader(1, src, 2, &out, &position), 1);
    }
}

TEST(HuffmanClass, ByteWriterPlacesOrPasses) {
    const ProgramTitleDecoder decoder(77); // its own skip count has no say here
    for (unsigned int capacity = 0; capacity < 5; ++capacity) {
        for (const unsigned int skipCount : {0U, 1U, 3U, UINT_MAX}) {
            for (const unsigned int at : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, UINT_MAX - 1, UINT_MAX}) {
                Guarded<unsigned char> out(capacity);
                unsigned int room = capacity;
                unsigned int position = at;
                ASSERT_EQ(decoder.byteWriter('x', out.data(), skipCount, &room, &position), 0);
                ASSERT_EQ(position, at + 1);
                ASSERT_EQ(room, capacity);
                for (unsigned int i = 0; i < capacity; ++i) {
                    const bool here = at >= skipCount && at - skipCount == i;
                    ASSERT_EQ(out[i], here ? 'x' : Guarded<unsigned char>::pattern());
                }
            }
        }
    }
}

TEST(HuffmanClass, ByteWriterRefusesBadArguments) {
    const ProgramTitleDecoder decoder(0);
    unsigned char out = 0xA7;
    unsigned int capacity = 1;
    unsigned int position = 0;
    EXPECT_EQ(decoder.byteWriter('x', &out, 0, nullptr, &position), -1);
    EXPECT_EQ(decoder.byteWriter('x', &out, 0, &capacity, nullptr), -1);
    EXPECT_EQ(decoder.byteWriter('x', nullptr, 0, &capacity, &position), -1);
    EXPECT_EQ(out, 0xA7);
    EXPECT_EQ(position, 0U);
    capacity = 0;
    EXPECT_EQ(decoder.byteWriter('x', nullptr, 0, &capacity, &position), 0);
    EXPECT_EQ(position, 1U);
}

} // namespace
