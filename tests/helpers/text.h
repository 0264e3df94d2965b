// Short ways to write bytes and units in tests, and seeded random text.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace zelk_test {

// bytes("41 C3 A9") is the three bytes; blanks are optional.
inline std::string bytes(const char *hex) {
    std::string result;
    int digits = 0;
    unsigned int value = 0;
    for (; *hex != 0; ++hex) {
        if (*hex == ' ') {
            continue;
        }
        const char c = *hex;
        const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
        value = value << 4U | static_cast<unsigned int>(digit);
        if (++digits == 2) {
            result.push_back(static_cast<char>(value));
            digits = 0;
            value = 0;
        }
    }
    return result;
}

using Units = std::vector<unsigned short>;

// A zero-terminated copy of units, for functions that take terminated UCS-2.
inline Units terminated(std::initializer_list<unsigned int> units) {
    Units result;
    for (const unsigned int unit : units) {
        result.push_back(static_cast<unsigned short>(unit));
    }
    result.push_back(0);
    return result;
}

inline const unsigned char *u8(const std::string &text) {
    return reinterpret_cast<const unsigned char *>(text.data());
}

// All strings over the alphabet of up to `longest` characters, the empty one included.
inline std::vector<std::string> allStrings(const std::string &alphabet, std::size_t longest) {
    std::vector<std::string> result{""};
    for (std::size_t i = 0; i < result.size() && result[i].size() < longest; ++i) {
        for (const char character : alphabet) {
            result.push_back(result[i] + character);
        }
    }
    return result;
}

// The same sequence on every machine for a given seed: failures can be repeated.
class Random {
public:
    explicit Random(std::uint32_t seed) : engine_(seed) {}
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(engine_() % limit); }
    bool chance(std::uint32_t percent) { return below(100) < percent; }

private:
    std::mt19937 engine_;
};

} // namespace zelk_test
