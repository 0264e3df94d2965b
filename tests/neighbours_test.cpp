// What lies behind a text stays there: no function copies it to where the caller's output goes, behind the result
// either. Outputs travel whole, in records and messages, and must not carry a neighbour's bytes.
#include "helpers/every_function.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using namespace zelk_test;

namespace {

constexpr char secret = '\x5C';
constexpr std::size_t secretLength = 200;

// The text, its terminator, and the secret behind it; with every length up to two blocks of a kernel.
AnyText textBeforeSecret(std::size_t length, char letter) {
    AnyText text(std::string(length, letter) + std::string(secretLength, secret));
    text.bytes[length] = 0;
    text.units[length] = 0;
    text.pairs[2 * length] = 0;
    text.pairs[2 * length + 1] = 0;
    text.other = text.bytes;
    return text;
}

// These are told the length of the whole block.
bool takesTheWholeBlock(const std::string &name) {
    return name == "zelk_bitsRevertSequence" || name == "zelkHuffmanDecode" || name == "zelkUtf8Encode" ||
           name == "zelkUtf8Decode" || name == "decompressMalaysiaHuffmanTable" ||
           name.rfind("HuffmanDecoder::decode", 0) == 0;
}

} // namespace

TEST(Neighbours, AreNotCopied) {
    for (const char letter : {'a', '&', '\xE9'}) {
        for (std::size_t length = 1; length <= 130; ++length) {
            AnyText text = textBeforeSecret(length, letter);
            for (const bool counted : {false, true}) {
                text.count = counted ? static_cast<int>(length) : -1;
                for (const PlainFunction &function : plainFunctions) {
                    if (takesTheWholeBlock(function.name)) {
                        continue;
                    }
                    AnyRoom room(length + secretLength);
                    function.call(text, room);
                    EXPECT_EQ(std::count(room.narrow.begin(), room.narrow.end(), secret), 0)
                        << function.name << ", length " << length << (counted ? ", counted" : "");
                    EXPECT_EQ(std::count(room.wide.begin(), room.wide.end(), secret), 0)
                        << function.name << ", length " << length << (counted ? ", counted" : "");
                }
            }
        }
    }
}
