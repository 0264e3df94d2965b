// Bits as a string of the characters 0 and 1, first bit first: slow and easy to read, for models and encoders.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zelk_test {

inline std::string bitsOf(unsigned char byte) {
    std::string bits(8, '0');
    for (unsigned int bit = 0; bit < 8; ++bit) {
        bits[bit] = static_cast<char>('0' + (byte >> (7 - bit) & 1));
    }
    return bits;
}

inline std::string bitsOf(std::string_view bytes) {
    std::string bits;
    bits.reserve(bytes.size() * 8);
    for (const char byte : bytes) {
        bits += bitsOf(static_cast<unsigned char>(byte));
    }
    return bits;
}

// The value of up to 32 bits.
inline unsigned int valueOf(std::string_view bits) {
    unsigned int value = 0;
    for (const char bit : bits) {
        value = value * 2 + (bit == '1' ? 1 : 0);
    }
    return value;
}

// The value of the bits after a 1 that tells their number apart.
inline std::size_t numberOf(std::string_view bits) {
    return (std::size_t{1} << bits.size()) + valueOf(bits);
}

// Whole bytes; the last one is filled up with zero bits.
inline std::string packed(std::string bits) {
    bits.append((8 - bits.size() % 8) % 8, '0');
    std::string bytes;
    for (std::size_t at = 0; at < bits.size(); at += 8) {
        bytes += static_cast<char>(valueOf(std::string_view(bits).substr(at, 8)));
    }
    return bytes;
}

} // namespace zelk_test
