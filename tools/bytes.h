// Reads numbers and stretches of bytes one after another. What lies beyond the end reads as zeros and is remembered:
// a reader of a table takes what it expects, and asks once whether it was there.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace zelk::tool {

using Bytes = std::span<const std::uint8_t>;

class Cursor {
public:
    explicit Cursor(Bytes bytes) : rest_(bytes) {}

    // Whether all that was taken was there.
    bool good() const { return good_; }
    bool empty() const { return rest_.empty(); }
    std::size_t size() const { return rest_.size(); }

    Bytes take(std::size_t count) {
        good_ = good_ && count <= rest_.size();
        const Bytes taken = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }

    // A number of up to eight bytes, high byte first.
    std::uint64_t number(std::size_t count) {
        std::uint64_t value = 0;
        for (const std::uint8_t byte : take(count)) {
            value = value << 8U | byte;
        }
        return value;
    }
    std::uint8_t byte() { return static_cast<std::uint8_t>(number(1)); }
    std::uint16_t word() { return static_cast<std::uint16_t>(number(2)); }

    std::string string(std::size_t count) {
        const Bytes taken = take(count);
        return {taken.begin(), taken.end()};
    }

    // A code of ISO 639-2, in small letters. Some broadcasts have capitals.
    std::string language() {
        std::string code = string(3);
        for (char &letter : code) {
            const bool capital = letter >= 'A' && letter <= 'Z';
            letter = capital ? static_cast<char>(letter - 'A' + 'a') : letter;
        }
        return code;
    }

    // Stretches after their own length: a byte, or twelve bits after four of other use.
    std::string shortString() { return string(byte()); }
    Bytes loop() { return take(word() & 0x0FFFU); }

private:
    Bytes rest_;
    bool good_ = true;
};

} // namespace zelk::tool
