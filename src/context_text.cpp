// The wide steps of context-tree codes: run() of detail/context_text.h.
//
// A window of 64 bits is good for a batch of steps, which depend on nothing else: they test for no end of the input,
// and no branch tells a step that ends a character from one inside a longer code. Each step is one lookup, and its bits
// tell where the next one looks.
#include "detail/context_text.h"

#include "detail/bit_window.h"

#if !defined(ZELK_KERNELS_PORTABLE)

namespace zelk::detail {
namespace {

using tables::usedBits;
using tables::usedMask;

constexpr unsigned int batch = 56 / tables::stepBits;

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
