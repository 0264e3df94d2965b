// zelk_bitsRevSeqTab: 256 bytes, entry i is i with its eight bits in reverse order.
#include "zelk.h"

namespace {

constexpr unsigned char reversed(unsigned int byte) {
    unsigned int result = 0;
    for (int bit = 0; bit < 8; ++bit) {
        result = result << 1U | (byte >> bit & 1U);
    }
    return static_cast<unsigned char>(result);
}

} // namespace

// clang-format off
#define REVERSED_4(i) reversed(i), reversed((i) + 1), reversed((i) + 2), reversed((i) + 3)
#define REVERSED_16(i) REVERSED_4(i), REVERSED_4((i) + 4), REVERSED_4((i) + 8), REVERSED_4((i) + 12)
#define REVERSED_64(i) REVERSED_16(i), REVERSED_16((i) + 16), REVERSED_16((i) + 32), REVERSED_16((i) + 48)

constinit const unsigned char zelk_bitsRevSeqTab[256] = {
    REVERSED_64(0x00), REVERSED_64(0x40), REVERSED_64(0x80), REVERSED_64(0xC0)
};
// clang-format on

static_assert(reversed(0x01) == 0x80 && reversed(0x02) == 0x40 && reversed(0x03) == 0xC0 && reversed(0xF0) == 0x0F);
