// A window of 64 bits that moves along a text, for decoders that look codes up by several bits at once.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zelk::detail {

// The bytes of a text as bits, the first one in the highest place. After the last byte come zero bits.
class BitWindow {
public:
    // The window begins at the bit `at` of the text.
    BitWindow(const unsigned char *bytes, std::size_t count, std::uint64_t at)
        : bytes_(bytes), count_(count), loaded_(static_cast<std::size_t>(at / 8)) {
        fill();
        drop(static_cast<unsigned int>(at % 8));
        fill();
    }

    std::uint64_t bits() const { return bits_; }

    // Bits of the text in the window; negative when more have been dropped.
    int left() const { return left_; }
    std::uint64_t position(int left) const { return 8 * std::uint64_t{loaded_} - static_cast<unsigned int>(left); }

    void drop(unsigned int bits) {
        bits_ <<= bits;
        left_ -= static_cast<int>(bits);
    }

    // To at least 56 bits, or to all that the text has. The part of a byte that gets no room is loaded once more.
    void fill() {
        bits_ |= ahead() >> static_cast<unsigned int>(left_);
        const auto bytes = std::min(static_cast<std::size_t>(63 - left_) / 8, count_ - loaded_);
        loaded_ += bytes;
        left_ += static_cast<int>(8 * bytes);
    }

private:
    static std::uint64_t eightBytes(const unsigned char *at) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, at, sizeof bits);
        return std::endian::native == std::endian::little ? __builtin_bswap64(bits) : bits;
    }

    // The next eight bytes, zeros after the last one; no byte outside the text is read.
    std::uint64_t ahead() const {
        const std::size_t left = count_ - loaded_;
        if (left >= 8) {
            return eightBytes(bytes_ + loaded_);
        }
        if (left == 0) {
            return 0;
        }
        if (count_ >= 8) {
            return eightBytes(bytes_ + count_ - 8) << 8 * (8 - left);
        }
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < left; ++i) {
            bits |= std::uint64_t{bytes_[loaded_ + i]} << (56 - 8 * i);
        }
        return bits;
    }

    const unsigned char *bytes_;
    std::size_t count_;
    std::size_t loaded_; // bytes
    std::uint64_t bits_ = 0;
    int left_ = 0; // at most 63
};

} // namespace zelk::detail
