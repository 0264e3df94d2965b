// A byte of 0x80 and more is a character of the active window of 128 characters; tags among the others choose a window,
// move it, quote one character of another, or turn to UTF-16. The names of the tags are those of the standard.
#include "scsu.h"

#include "bytes.h"
#include "unicode.h"

#include <array>
#include <cstdint>
#include <optional>

namespace zelk::tool {

namespace {

constexpr std::array<std::uint32_t, 8> staticWindows = {0x0000, 0x0080, 0x0100, 0x0300, 0x2000, 0x2080, 0x2100, 0x3000};
constexpr std::uint32_t windowSize = 0x80;
constexpr std::uint32_t unknown = 0xFFFD;

// Where a window begins by the byte that moves it; none for the reserved ones.
std::optional<std::uint32_t> windowOf(std::uint8_t code) {
    constexpr std::array<std::uint32_t, 7> special = {0x00C0, 0x0250, 0x0370, 0x0530, 0x3040, 0x30A0, 0xFF60};
    if (code >= 0x01 && code <= 0x67) {
        return code * windowSize;
    }
    if (code >= 0x68 && code <= 0xA7) {
        return code * windowSize + 0xAC00;
    }
    if (code >= 0xF9) {
        return special[code - 0xF9U];
    }
    return std::nullopt;
}

class ScsuReader {
public:
    explicit ScsuReader(const std::string &bytes)
        : rest_(Bytes(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size())) {}

    std::string read() {
        while (!rest_.empty()) {
            const std::uint8_t byte = rest_.byte();
            if (unicode_) {
                readUnicode(byte);
            } else {
                readSingle(byte);
            }
        }
        return text_;
    }

private:
    void readSingle(std::uint8_t byte) {
        if (byte >= 0x80) {
            put(windows_[active_] + (byte - windowSize));
        } else if (byte >= 0x20 || byte == 0x00 || byte == 0x09 || byte == 0x0A || byte == 0x0D) {
            put(byte);
        } else if (byte <= 0x08) { // SQ0 to SQ7
            const std::uint8_t window = byte - 0x01;
            const std::uint8_t quoted = rest_.byte();
            put(quoted < windowSize ? staticWindows[window] + quoted : windows_[window] + (quoted - windowSize));
        } else if (byte == 0x0B) { // SDX
            moveExtended();
        } else if (byte == 0x0E) { // SQU
            put(rest_.word());
        } else if (byte == 0x0F) { // SCU
            unicode_ = true;
        } else if (byte >= 0x10 && byte <= 0x17) { // SC0 to SC7
            active_ = byte - 0x10U;
        } else if (byte >= 0x18) { // SD0 to SD7
            move(byte - 0x18U);
        } else {
            put(unknown); // reserved
        }
    }

    void readUnicode(std::uint8_t byte) {
        if (byte >= 0xE0 && byte <= 0xE7) { // UC0 to UC7
            unicode_ = false;
            active_ = byte - 0xE0U;
        } else if (byte >= 0xE8 && byte <= 0xEF) { // UD0 to UD7
            unicode_ = false;
            move(byte - 0xE8U);
        } else if (byte == 0xF0) { // UQU
            put(rest_.word());
        } else if (byte == 0xF1) { // UDX
            unicode_ = false;
            moveExtended();
        } else if (byte == 0xF2) {
            put(unknown); // reserved
        } else {
            const std::uint8_t low = rest_.byte();
            put(static_cast<std::uint32_t>(byte) << 8U | low);
        }
    }

    void move(std::size_t window) {
        active_ = window;
        const std::optional<std::uint32_t> begin = windowOf(rest_.byte());
        if (begin) {
            windows_[window] = *begin;
        } else {
            put(unknown);
        }
    }

    // Beyond U+FFFF: three bits are the window, thirteen say where it begins.
    void moveExtended() {
        const std::uint16_t word = rest_.word();
        active_ = word >> 13U;
        windows_[active_] = 0x10000 + (word & 0x1FFFU) * windowSize;
        if (!rest_.good()) {
            put(unknown);
        }
    }

    void put(std::uint32_t character) {
        const bool known = rest_.good() && character <= 0xFFFF;
        text_ += utf8(static_cast<unsigned short>(known ? character : unknown));
    }

    Cursor rest_;
    std::string text_;
    bool unicode_ = false;
    std::size_t active_ = 0;
    std::array<std::uint32_t, 8> windows_ = {0x0080, 0x00C0, 0x0400, 0x0600, 0x0900, 0x3040, 0x30A0, 0xFF00};
};

} // namespace

std::string readScsu(const std::string &bytes) {
    return ScsuReader(bytes).read();
}

} // namespace zelk::tool
