// A context-tree code as a machine of states, for decoding by several bits at once: what the next five bits of a text
// mean after a character, or inside a longer code. Derived from the published tables, by the compiler.
//
// A state holds a step for each value of the next bits: how many of them it uses, and the state that follows. State 0
// is the start of a text, states 20 to 7F (hexadecimal) follow the character of that value, all others lie inside
// codes: so the step to one of 20 to 7F is what gives the character, and no published code gives another graphic one.
#pragma once

#include "detail/context_tree.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace zelk::tables {

inline constexpr unsigned int stepBits = 5;

// A step: the bits used in its low six bits, the next state above them.
using Step = std::uint16_t;
inline constexpr unsigned int usedBits = 6;
inline constexpr unsigned int usedMask = (1U << usedBits) - 1;

struct alignas(64) StepState {
    std::array<Step, 1U << stepBits> byBits;
};

inline constexpr unsigned int firstGraphic = 0x20;
inline constexpr unsigned int graphicCount = 0x60;
inline constexpr unsigned int endOfText = 0x3FE; // not states: what follows is not for the machine to say
inline constexpr unsigned int escape = 0x3FF;
inline constexpr unsigned int noCharacter = endOfText << usedBits; // these steps are not below

// What a step gives: a character (its state), or nothing yet.
constexpr bool givesCharacter(unsigned int step) {
    return step - (firstGraphic << usedBits) < graphicCount << usedBits;
}

// Never defined: a code that the machine cannot hold calls one of these while it is expanded.
void tooManyStepStates();
void codeGivesControlCharacter();

template <std::size_t Capacity>
struct StepTable {
    std::array<StepState, Capacity> states{};
    std::size_t size = detail::firstWithoutTree;
};

template <std::size_t Capacity>
class StepBuilder {
public:
    template <std::size_t Size>
    constexpr explicit StepBuilder(const std::array<unsigned char, Size> &table) {
        for (unsigned int character = 0; character < firstGraphic + graphicCount; ++character) {
            if (character == 0 || character >= firstGraphic) {
                const unsigned int tree = detail::treeAfter(table.data(), character);
                expand(table, character, tree, tree);
            }
        }
    }

    constexpr const StepTable<Capacity> &result() const { return result_; }

private:
    // Fills `state`, which stands for `node`, and all states that codes reach through it.
    template <std::size_t Size>
    constexpr void expand(const std::array<unsigned char, Size> &table, unsigned int state, unsigned int tree,
                          unsigned int node) {
        for (unsigned int bits = 0; bits < 1U << stepBits; ++bits) {
            unsigned int end = node;
            int left = stepBits - 1;
            const unsigned int leaf = detail::walkTree(table.data(), tree, end, bits, left);
            unsigned int next = leaf - detail::leafFlag;
            const auto used = static_cast<unsigned int>(static_cast<int>(stepBits) - 1 - left);
            if (leaf < detail::leafFlag) {
                next = newState();
                expand(table, next, tree, end);
            } else if (leaf == detail::escapeLeaf) {
                next = escape;
            } else if (next == 0) {
                next = endOfText;
            } else if (next < firstGraphic) {
                codeGivesControlCharacter();
            }
            result_.states[state].byBits[bits] = static_cast<Step>(next << usedBits | used);
        }
    }

    // The places of the control characters first: no code gives one.
    constexpr unsigned int newState() {
        if (controls_ + 1 < firstGraphic) {
            return ++controls_;
        }
        if (result_.size == endOfText) {
            tooManyStepStates();
        }
        return static_cast<unsigned int>(result_.size++);
    }

    StepTable<Capacity> result_;
    unsigned int controls_ = 0;
};

template <std::size_t Capacity, std::size_t Size>
consteval StepTable<Capacity> stepsOf(const std::array<unsigned char, Size> &table) {
    return StepBuilder<Capacity>(table).result();
}

// The machine of one of the four published tables, or null for a table of the caller's own. A build of portable kernels
// saves its 95 KiB and walks the trees.
#if defined(ZELK_KERNELS_PORTABLE)
inline constexpr bool hasWideSteps = false;
constexpr const StepState *wideStepsOf(const unsigned char * /*table*/) {
    return nullptr;
}
#else
inline constexpr bool hasWideSteps = true;
const StepState *wideStepsOf(const unsigned char *table);
#endif

} // namespace zelk::tables
