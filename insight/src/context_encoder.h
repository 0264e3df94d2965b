// Codes of the context-tree tables, from the side of who sends: the bits of a byte after another.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zelk::insight {

struct Code {
    std::uint32_t bits; // the last bit sent is the least significant
    unsigned int length;
};

// The tables by number: 1 and 2 are the encoding types of DVB text, 3 and 4 the titles and descriptions of ATSC A/65.
// Null for all others.
const unsigned char *contextTable(unsigned int number);

// The bits of `byte` after `before` (0 at the start of a text): its code, or an escape and the byte, or the byte alone.
// The byte 0 ends a text.
Code contextCode(const unsigned char *table, unsigned int before, unsigned int byte);

#if !defined(ZELK_COMPACT)
// Whether bytes are the codes of a text and of its end by encoding type 1 or 2, with nothing after them but the bits
// that fill the last byte.
bool isContextText(int encodingType, const char *text, std::size_t length, const unsigned char *bytes,
                   std::size_t count);
#endif

// Bits into the bytes of an output whose size counts a terminator. What does not fit leaves nothing.
class BitWriter {
public:
    BitWriter(char *out, int size) : out_(out), room_(size < 1 ? 0U : static_cast<unsigned int>(size) - 1) {}

    void put(Code code) {
        for (unsigned int bit = code.length; bit > 0; --bit) {
            if (bits_ % 8 == 0) {
                full_ = full_ || bits_ / 8 == room_;
                if (full_) {
                    return;
                }
                out_[bits_ / 8] = 0;
            }
            const unsigned int value = code.bits >> (bit - 1) & 1U;
            out_[bits_ / 8] = static_cast<char>(static_cast<unsigned char>(out_[bits_ / 8]) | value << (7 - bits_ % 8));
            ++bits_;
        }
    }

    // Returns the bytes, the last one filled up with zeros.
    unsigned int finish() {
        const unsigned int bytes = full_ ? 0 : (bits_ + 7) / 8;
        out_[bytes] = 0;
        return bytes;
    }

private:
    char *out_;
    unsigned int room_; // bytes
    unsigned int bits_ = 0;
    bool full_ = false;
};

} // namespace zelk::insight
