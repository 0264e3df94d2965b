// The wide steps of context-tree codes: run() of detail/context_text.h.
//
// A window of 64 bits is good for a batch of steps, which depend on nothing else: they test for no end of the input,
// and no branch tells a step that ends a character from one inside a longer code. Each step is one lookup, and its bits
// tell where the next one looks.
#include "detail/context_text.h"

#if !defined(ZELK_KERNELS_PORTABLE)
#include <algorithm>
#include <bit>
#include <cstring>

namespace zelk::detail {
namespace {

using tables::usedBits;
using tables::usedMask;

constexpr unsigned int batch = 56 / tables::stepBits;

// The bytes of a text as bits, the first one in the highest place. Behind the last byte come zero bits.
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

    // The next eight bytes, zeros behind the last one; no byte outside the text is read.
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

// A step without its low bits is the offset of the next state.
static_assert(sizeof(tables::StepState) == 1U << usedBits);
const tables::StepState &stateAt(const tables::StepState *states, unsigned int offset) {
    const auto *state = reinterpret_cast<const tables::StepState *>(reinterpret_cast<const char *>(states) + offset);
    return *state;
}

} // namespace

unsigned int ContextText::runBySteps(unsigned char *out, unsigned int room) {
    const tables::StepState *const states = states_;
    unsigned int total = 0;
    unsigned int state = character_ << usedBits;
    BitWindow window(bytes_, count_, at_);
    std::uint64_t at = at_;
    while (room - total > batch) {
        unsigned int count = 0;
        unsigned int step = 0;
        signed char left[batch]; // in the window, behind each character
        for (unsigned int i = 0; i < batch; ++i) {
            step = stateAt(states, state).byBits[window.bits() >> (64 - tables::stepBits)];
            if (step >= tables::noCharacter) [[unlikely]] {
                break;
            }
            window.drop(step & usedMask);
            out[total + count] = static_cast<unsigned char>(step >> usedBits);
            left[count] = static_cast<signed char>(window.left());
            count += tables::givesCharacter(step) ? 1 : 0;
            state = step & ~usedMask;
        }
        // What came of the zero bits behind the text is taken back.
        const bool ended = window.left() < 0;
        while (ended && count != 0 && left[count - 1] < 0) {
            --count;
        }
        if (count != 0) {
            total += count;
            at = window.position(left[count - 1]);
        }
        if (ended) {
            break;
        }
        if (step >= tables::noCharacter) [[unlikely]] {
            // Graphic characters that have no code in their context are common enough to go on behind them.
            const unsigned int escape = step & usedMask;
            window.drop(escape);
            const auto literal = static_cast<unsigned int>(window.bits() >> 56U);
            window.drop(8);
            if (escape == 0 || window.left() < 0 || literal - tables::firstGraphic >= tables::graphicCount) {
                break;
            }
            at = window.position(window.left());
            out[total++] = static_cast<unsigned char>(literal);
            state = literal << usedBits;
        }
        window.fill();
    }
    if (total != 0) {
        at_ = at;
        character_ = out[total - 1];
    }
    return total;
}

} // namespace zelk::detail
#endif
