// The slow and plain reading of UTF-8 that the tests compare the library with: it counts bits and continuation bytes in
// loops, and shares nothing with the library.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace zelk_test {

struct Utf8Step {
    unsigned int consumed;
    std::optional<unsigned int> character; // none where the available bytes end inside a sequence
};

// One step from `at`; `available` bytes may be looked at.
inline Utf8Step utf8StepModel(const unsigned char *at, unsigned int available) {
    if (available == 0) {
        return {0, std::nullopt};
    }
    unsigned int leadingOnes = 0;
    while (leadingOnes < 8 && (at[0] >> (7 - leadingOnes)) % 2 == 1) {
        ++leadingOnes;
    }
    if (leadingOnes == 0) {
        return {1, at[0]};
    }
    if (leadingOnes != 2 && leadingOnes != 3) {
        return {1, 0xFFFD};
    }
    unsigned int value = at[0] % (1U << (7 - leadingOnes));
    for (unsigned int i = 1; i < leadingOnes; ++i) {
        if (i == available) {
            return {i, std::nullopt};
        }
        if (at[i] < 0x80 || at[i] > 0xBF) {
            return {i, 0xFFFD};
        }
        value = value * 64 + at[i] % 64;
    }
    const unsigned int least = leadingOnes == 2 ? 0x80 : 0x800;
    return {leadingOnes, value < least ? 0xFFFD : value};
}

inline std::string utf8EncodeModel(unsigned int character) {
    std::string result;
    if (character < 0x80) {
        result.push_back(static_cast<char>(character));
        return result;
    }
    const unsigned int length = character < 0x800 ? 2 : 3;
    for (unsigned int i = 1; i < length; ++i) {
        result.insert(result.begin(), static_cast<char>(0x80 + character % 64));
        character /= 64;
    }
    result.insert(result.begin(), static_cast<char>((length == 2 ? 0xC0 : 0xE0) + character));
    return result;
}

// A text cut into its characters, each with the bytes it takes.
struct Utf8Character {
    std::string bytes;
    std::optional<unsigned int> character;
};

// What ends a text decides about a sequence at its end: a count cuts it off, a terminator breaks it off.
enum class TextEnd { Count, Terminator };

// `text` holds no zero byte.
inline std::vector<Utf8Character> utf8CharactersModel(const std::string &text, TextEnd end) {
    std::vector<Utf8Character> result;
    for (std::size_t i = 0; i < text.size();) {
        const auto available = static_cast<unsigned int>(text.size() - i + (end == TextEnd::Terminator ? 1 : 0));
        const auto *at = reinterpret_cast<const unsigned char *>(text.c_str() + i);
        const Utf8Step step = utf8StepModel(at, available);
        result.push_back({text.substr(i, step.consumed), step.character});
        i += step.consumed;
    }
    return result;
}

} // namespace zelk_test
