// The wide steps of context-tree codes: run() of detail/context_text.h.
//
// Each step is one lookup, and its bits say where the next one looks: a text takes as long as this chain, which is
// therefore kept bare. A window of 64 bits is good for a batch of steps, which test for no end of the input; what they
// give is put in order afterwards, without a branch, while the processor is on its way through the next batch.
#include "detail/context_text.h"

#include "detail/bit_window.h"
#include "detail/context_tree.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace zelk::detail {
namespace {

using tables::Step;
using tables::usedBits;
using tables::usedMask;

constexpr unsigned int batch = 56 / tables::stepBits;
constexpr std::size_t batchesKept = 8;

// Where a step leads: without mark and low bits it is the offset of a state.
static_assert(tables::placeSteps * sizeof(Step) == 1U << usedBits);
const char *stateAfter(const Step *states, unsigned int step) {
    const char *state = reinterpret_cast<const char *>(states) + (step & tables::placeMask);
    __asm__("" : "+r"(state)); // the place in the state is known last, and to be added last
    return state;
}

struct Batch {
    unsigned int count; // of steps, less than a batch in front of one that gives no character
    unsigned int bits;  // that they use
    Step last;          // that step
};

// Takes the steps for the next bits of the text, zeros after its end.
inline Batch takeSteps(const Step *states, const char *&state, std::uint64_t bits, Step *steps) {
    constexpr std::uint64_t places = (tables::stateSteps - 1) * sizeof(Step);
    Batch taken{0, 0, 0};
    bits = std::rotl(bits, tables::stepBits + 1);
#pragma GCC unroll 16
    for (; taken.count < batch; ++taken.count) {
        std::memcpy(&taken.last, state + (bits & places), sizeof taken.last);
        if (taken.last >= tables::noCharacter) [[unlikely]] {
            break;
        }
        steps[taken.count] = taken.last;
        bits = std::rotl(bits, static_cast<int>(taken.last & usedMask));
        taken.bits += taken.last;
        state = stateAfter(states, taken.last);
    }
    taken.bits &= usedMask; // no sum of the low bits reaches beyond them
    return taken;
}

// Keeps the steps that the text has bits for.
void endWithText(Batch &taken, const Step *steps, unsigned int left) {
    taken.count = 0;
    taken.bits = 0;
    while (taken.bits + (steps[taken.count] & usedMask) <= left) {
        taken.bits += steps[taken.count++] & usedMask;
    }
}

// Tells where the character ends. Each step is written, and the next one upon it if it has given nothing yet.
inline unsigned char *putCharacter(unsigned char *out, Step step) {
    *out = static_cast<unsigned char>(step >> usedBits);
    return out + (tables::givesCharacter(step) ? 1 : 0);
}

inline unsigned char *putBatch(unsigned char *out, const Step *steps) {
#pragma GCC unroll 16
    for (unsigned int i = 0; i < batch; ++i) {
        out = putCharacter(out, steps[i]);
    }
    return out;
}

inline unsigned char *putSome(unsigned char *out, const Step *steps, unsigned int count) {
#pragma GCC unroll 1 // rare: not worth its bytes
    for (unsigned int i = 0; i < count; ++i) {
        out = putCharacter(out, steps[i]);
    }
    return out;
}

// The character as it is after an escape, if a state follows it: those that have no code in their context are common
// enough to go on after them. Else 0, and the window stays.
inline unsigned int takeLiteral(BitWindow &window, Step escape, const tables::CharacterSet &characters) {
    BitWindow after = window;
    after.drop(escape & usedMask);
    const auto literal = static_cast<unsigned int>(after.bits() >> 56U);
    after.drop(8);
    if (after.left() < 0 || literal == 0 || !characters.holds(literal)) {
        return 0;
    }
    window = after;
    return literal;
}

// The bits after the last character, of steps inside a code.
unsigned int bitsInCode(const Step *begin, const Step *end) {
    unsigned int bits = 0;
    for (; end != begin && !tables::givesCharacter(end[-1]); --end) {
        bits += end[-1] & usedMask;
    }
    return bits;
}

} // namespace

// The code at a bit of the text, by the tree of the character before, if it gives a character that a state follows:
// those that have no states themselves. Small, and with no window of the caller's to be kept in memory for it.
[[gnu::noinline, gnu::cold]] ContextText::RareCode ContextText::byTree(std::uint64_t at, unsigned int before) const {
    BitWindow window(bytes_, count_, at);
    const unsigned int tree = treeAfter(table_, before);
    unsigned int branch = 0;
    for (unsigned int node = tree; branch < leafFlag; node = tree + 2 * branch) {
        branch = table_[node + (window.bits() >> 63U)];
        window.drop(1);
    }
    const unsigned int character = branch - leafFlag;
    const bool given = window.left() >= 0 && machine_.characters->holds(character); // no state follows an escape
    return {given ? character : 0, window.position(window.left())};
}

unsigned int ContextText::runBySteps(unsigned char *out, unsigned int room) {
    const Step *const states = machine_.states;
    std::array<Step, batchesKept * batch + 1> steps; // the last ones
    Step *end = steps.data();
    unsigned char *to = out;
    BitWindow window(bytes_, count_, at_);
    const char *state = stateAfter(states, character_ << usedBits);
    endBits_ = 0;
    bool ended = false;
    while (room - static_cast<unsigned int>(to - out) > batch) {
        if (static_cast<std::size_t>(end - steps.data()) > steps.size() - batch - 1) {
            end = std::copy(end - batch, end, steps.data()); // more than the longest code takes
        }
        Batch taken = takeSteps(states, state, window.bits(), end);
        ended = static_cast<int>(taken.bits) > window.left();
        if (ended) [[unlikely]] {
            endWithText(taken, end, static_cast<unsigned int>(window.left()));
        }
        to = taken.count == batch ? putBatch(to, end) : putSome(to, end, taken.count);
        end += taken.count;
        window.drop(taken.bits);
        if (ended) {
            break;
        }
        if (taken.count < batch) [[unlikely]] {
            if (taken.last >> usedBits == tables::endOfText) {
                const unsigned int used = taken.last & usedMask;
                endBits_ = static_cast<int>(used) <= window.left() ? used : 0;
                break;
            }
            unsigned int character = 0;
            if (taken.last >> usedBits == tables::escape) {
                character = takeLiteral(window, taken.last, *machine_.characters);
            } else {
                const int left = window.left() + static_cast<int>(bitsInCode(steps.data(), end));
                const RareCode code = byTree(window.position(left), to == out ? character_ : to[-1]);
                character = code.character;
                window = character != 0 ? BitWindow(bytes_, count_, code.end) : window;
            }
            if (character == 0) {
                break;
            }
            *to++ = static_cast<unsigned char>(character);
            *end++ = static_cast<Step>(character << usedBits);
            state = stateAfter(states, character << usedBits);
        }
        window.fill();
    }
    const unsigned int inCode = bitsInCode(steps.data(), end);
    at_ = ended ? std::uint64_t{8} * count_ : window.position(window.left() + static_cast<int>(inCode));
    endBits_ += endBits_ != 0 ? inCode : 0;
    if (to != out) {
        character_ = to[-1];
    }
    return static_cast<unsigned int>(to - out);
}

inline unsigned int ContextText::readLeaf() {
    const unsigned int tree = treeAfter(table_, character_);
    unsigned int node = tree;
    unsigned int step = 0;
    while (step < leafFlag && at_ / 8 < count_) {
        int bitIndex = 7 - static_cast<int>(at_ % 8);
        step = walkTree(table_, tree, node, bytes_[at_ / 8], bitIndex);
        at_ = at_ / 8 * 8 + static_cast<unsigned int>(7 - bitIndex);
    }
    return step;
}

int ContextText::nextByTree() {
    if (character_ < firstWithoutTree) {
        const unsigned int leaf = readLeaf();
        if (leaf < leafFlag) {
            return inputEnded;
        }
        if (leaf != escapeLeaf) {
            character_ = leaf - leafFlag;
            return static_cast<int>(character_);
        }
    }
    const std::uint64_t byte = at_ / 8;
    const auto bitIndex = static_cast<unsigned int>(at_ % 8);
    if (byte + (bitIndex != 0 ? 1 : 0) >= count_) {
        at_ = std::uint64_t{8} * count_;
        return inputEnded;
    }
    const unsigned int first = bytes_[byte];
    const unsigned int second = bitIndex != 0 ? bytes_[byte + 1] : 0;
    character_ = (first << 8U | second) >> (8 - bitIndex) & 0xFFU;
    at_ += 8;
    return static_cast<int>(character_);
}

} // namespace zelk::detail
