// One conversion of a single-byte text, checked against the model: output, result, terminator, guards. The input lies
// in a block of its own, as long as the call may read and no longer.
#pragma once

#include "helpers/guarded.h"
#include "reference/single_byte.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace zelk_test {

// A block of its own for the bytes of `text` that a call with this count may read: the counted ones, or all of them and
// a terminator. The sanitizer finds a read behind it.
inline std::unique_ptr<char[]> inputBlock(const std::string &text, int count) {
    const bool counted = count >= 0 && static_cast<std::size_t>(count) <= text.size();
    const std::size_t size = counted ? static_cast<std::size_t>(count) : text.size() + 1;
    std::unique_ptr<char[]> block(new char[size]);
    std::copy_n(text.c_str(), size, block.get());
    return block;
}

// Bytes or units that an output of `size` needs: the terminator is written in any case.
inline std::size_t outputUnits(int size) {
    return static_cast<std::size_t>(std::max(size, 1));
}

// convert(out, outSize, in, inLength)
template <class Convert>
void expectUcs2(Convert convert, const reference::Set &set, const std::string &text, int count, int size) {
    const auto in = inputBlock(text, count);
    const auto expected = reference::ucs2Text(reference::charactersOf(set, reference::usedText(text, count)), size);
    Guarded<unsigned short> out(outputUnits(size));
    ASSERT_EQ(convert(out.data(), size, in.get(), count), expected.size()) << "count " << count << ", size " << size;
    ASSERT_EQ(std::vector<unsigned short>(out.data(), out.data() + expected.size()), expected);
    ASSERT_EQ(out[expected.size()], 0);
}

template <class Convert>
void expectBytes(Convert convert, const std::string &expected, const std::string &text, int count, int size) {
    const auto in = inputBlock(text, count);
    Guarded<char> out(outputUnits(size));
    ASSERT_EQ(convert(out.data(), size, in.get(), count), expected.size()) << "count " << count << ", size " << size;
    ASSERT_EQ(std::string(out.data(), expected.size()), expected);
    ASSERT_EQ(out[expected.size()], 0);
}

template <class Convert>
void expectUtf8(Convert convert, const reference::Set &set, const std::string &text, int count, int size) {
    const auto characters = reference::charactersOf(set, reference::usedText(text, count));
    expectBytes(convert, reference::utf8Text(characters, size), text, count, size);
}

// The bytes of units in native order, as the class interface returns them.
inline std::string nativeBytes(const std::vector<unsigned short> &units) {
    return units.empty() ? std::string()
                         : std::string(reinterpret_cast<const char *>(units.data()), units.size() * sizeof units[0]);
}

inline std::string allBytes() {
    std::string text;
    for (unsigned int byte = 1; byte < 256; ++byte) {
        text.push_back(static_cast<char>(byte));
    }
    return text;
}

// Bytes of every kind, with a zero byte now and then.
template <class Random>
std::string randomBytes(Random &random, unsigned int longest) {
    std::string text(random.below(longest + 1), ' ');
    for (char &byte : text) {
        byte = static_cast<char>(random.chance(60) ? 0x20 + random.below(0x5F) : random.below(256));
    }
    return text;
}

} // namespace zelk_test
