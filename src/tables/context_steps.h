// A context-tree code as a machine of states, for decoding by several bits at once: what the next bits of a text mean
// after a character, or inside a longer code. Derived from the published tables, by the compiler.
//
// A state holds a step for each value of the next bits: how many of them it uses, and where the next state is. A state
// that follows a character (20 to 7F, hexadecimal) has its place by the value of that character, the start of a text
// has place 0, and states inside codes lie at all other places, with a mark in the steps to them: so a step without the
// mark gives the character of its place, and no published code gives another graphic one.
//
// What is rarer than one state in 2^rarestState, in text that is as the code expects it, has no state: the tree is
// walked there. The largest code has more states than places.
#pragma once

#include "detail/context_tree.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace zelk::tables {

// Wider steps are fewer, and take more memory: 80 KiB for all four codes with five bits, 47 KiB with four, which take
// up to a quarter more time. A library of one set of kernels is for machines with little memory. Measured with names
// and descriptions: states down to 2^-13 alone, 28 KiB, take up to twice the time, for codes that are rare in their own
// kind of text are common in another; steps that give two characters were up to 70 % faster with 140 KiB of tables.
#if defined(ZELK_KERNELS_ONLY)
inline constexpr unsigned int stepBits = 4;
inline constexpr unsigned int rarestState = 20;
inline constexpr unsigned int rarestStateOfLargest = 18;
#else
inline constexpr unsigned int stepBits = 5;
inline constexpr unsigned int rarestState = 24;
inline constexpr unsigned int rarestStateOfLargest = 20;
#endif

// A step: the bits used in its low six bits, above them the place of the next state, and a mark.
using Step = std::uint16_t;
inline constexpr unsigned int usedBits = 6;
inline constexpr unsigned int usedMask = (1U << usedBits) - 1;
inline constexpr unsigned int placeCount = 0x200;
inline constexpr unsigned int placeMask = (placeCount - 1) << usedBits;
inline constexpr unsigned int insideCode = placeCount << usedBits;

inline constexpr std::size_t stateSteps = std::size_t{1} << stepBits;
inline constexpr std::size_t placeSteps = (std::size_t{1} << usedBits) / sizeof(Step); // from one place to the next

inline constexpr unsigned int firstGraphic = 0x20;
inline constexpr unsigned int firstAfterGraphic = 0x80;

// Marked places that hold no state: what follows is not for the machine to say. These steps are not below the first.
inline constexpr unsigned int treeWalk = 0x3FD;
inline constexpr unsigned int endOfText = 0x3FE;
inline constexpr unsigned int escape = 0x3FF;
inline constexpr unsigned int noCharacter = treeWalk << usedBits;
inline constexpr unsigned int placesOfStates = treeWalk - placeCount;

// What a step gives: a character (its place), or nothing yet.
constexpr bool givesCharacter(unsigned int step) {
    return step < insideCode;
}

class CharacterSet {
public:
    constexpr void add(unsigned int character) { words_[character / 32] |= 1U << character % 32; }
    constexpr bool holds(unsigned int character) const {
        return character < firstAfterGraphic && (words_[character / 32] >> character % 32 & 1U) != 0;
    }

private:
    std::array<std::uint32_t, firstAfterGraphic / 32> words_{};
};

// What a decoder gets: the state at place 0, and the characters (0 is the start of a text) that a state follows.
struct StepMachine {
    const Step *states = nullptr;
    const CharacterSet *characters = nullptr;
};

// Never defined: a code that the machine cannot hold calls one of these while it is expanded.
void tooManyStepStates();
void codeGivesControlCharacter();

// How often each context comes, times 2^40, in text that is as the code expects it: what a code of n bits leads to
// comes once in 2^n times. Characters of an escape are taken as equally frequent.
class ContextWeights {
public:
    static constexpr std::uint64_t one = std::uint64_t{1} << 40U;

    template <std::size_t Size>
    constexpr explicit ContextWeights(const std::array<unsigned char, Size> &table) {
        weights_[0] = one;
        constexpr int enough = 12;
        for (int round = 0; round < enough; ++round) {
            next_ = {};
            for (unsigned int context = 0; context < firstAfterGraphic; ++context) {
                if (weights_[context] != 0) {
                    const unsigned int tree = detail::treeAfter(table.data(), context);
                    follow(table, tree, tree, weights_[context]);
                }
            }
            weights_ = next_;
        }
        weights_[0] = std::max(weights_[0], one / shortText);
    }

    constexpr std::uint64_t operator[](unsigned int context) const { return weights_[context]; }

private:
    static constexpr std::uint64_t shortText = 64; // characters: no code says how often texts begin

    template <std::size_t Size>
    constexpr void follow(const std::array<unsigned char, Size> &table, unsigned int tree, unsigned int node,
                          std::uint64_t weight) {
        for (const unsigned int branch : {0U, 1U}) {
            const unsigned int step = table[node + branch];
            if (step < detail::leafFlag) {
                follow(table, tree, tree + 2 * step, weight / 2);
            } else if (step == detail::escapeLeaf) {
                for (unsigned int character = firstGraphic; character < firstAfterGraphic; ++character) {
                    next_[character] += weight / 2 / (firstAfterGraphic - firstGraphic);
                }
            } else {
                next_[step - detail::leafFlag] += weight / 2;
            }
        }
    }

    std::array<std::uint64_t, firstAfterGraphic> weights_{};
    std::array<std::uint64_t, firstAfterGraphic> next_{};
};

struct StepStates {
    std::array<std::array<Step, stateSteps>, placesOfStates> at{};
    std::size_t places = firstAfterGraphic;
    CharacterSet characters;
};

class StepBuilder {
public:
    template <std::size_t Size>
    constexpr StepBuilder(const std::array<unsigned char, Size> &table, unsigned int rarest)
        : leastWeight_(ContextWeights::one >> rarest) {
        const ContextWeights weights(table);
        for (unsigned int character = 0; character < firstAfterGraphic; ++character) {
            if ((character == 0 || character >= firstGraphic) && weights[character] >= leastWeight_) {
                result_.characters.add(character);
            }
        }
        for (unsigned int character = 0; character < firstAfterGraphic; ++character) {
            if (result_.characters.holds(character)) {
                const unsigned int tree = detail::treeAfter(table.data(), character);
                expand(table, character, tree, tree, weights[character]);
            }
        }
    }

    constexpr const StepStates &result() const { return result_; }

private:
    // Fills the state at `place`, which stands for `node`, and all states that codes reach through it.
    template <std::size_t Size>
    constexpr void expand(const std::array<unsigned char, Size> &table, std::size_t place, unsigned int tree,
                          unsigned int node, std::uint64_t weight) {
        for (unsigned int bits = 0; bits < stateSteps; ++bits) {
            unsigned int end = node;
            int left = stepBits - 1;
            const unsigned int leaf = detail::walkTree(table.data(), tree, end, bits, left);
            std::size_t next = treeWalk;
            if (leaf >= detail::leafFlag) {
                next = placeAfter(leaf);
            } else if (weight >> stepBits >= leastWeight_) {
                const std::size_t inner = newPlace();
                expand(table, inner, tree, end, weight >> stepBits);
                next = placeCount + inner;
            }
            const auto used = static_cast<unsigned int>(static_cast<int>(stepBits) - 1 - left);
            result_.at[place][bits] = static_cast<Step>(next << usedBits | used);
        }
    }

    constexpr unsigned int placeAfter(unsigned int leaf) const {
        const unsigned int character = leaf - detail::leafFlag;
        if (leaf == detail::escapeLeaf) {
            return escape;
        }
        if (character == 0) {
            return endOfText;
        }
        if (character < firstGraphic) {
            codeGivesControlCharacter();
        }
        return result_.characters.holds(character) ? character : treeWalk;
    }

    // The places of characters without a state first: of the controls, which no code gives, and of rare ones.
    constexpr std::size_t newPlace() {
        while (++lastPlace_ < firstAfterGraphic) {
            if (!result_.characters.holds(lastPlace_)) {
                return lastPlace_;
            }
        }
        if (result_.places == placesOfStates) {
            tooManyStepStates();
        }
        return result_.places++;
    }

    StepStates result_;
    std::uint64_t leastWeight_;
    unsigned int lastPlace_ = 0;
};

// The machines of two codes: in each place a state of both where there is room for them, else one after the other.
template <std::size_t Places>
struct StepPair {
    alignas(64) std::array<Step, Places * placeSteps> steps;
    std::array<CharacterSet, 2> characters;
    std::size_t second; // the place 0 of the second one
};

template <const auto &first, const auto &second, unsigned int rarestOfSecond>
consteval auto stepPair() {
    constexpr std::array<StepStates, 2> states{StepBuilder(first, rarestState).result(),
                                               StepBuilder(second, rarestOfSecond).result()};
    constexpr bool sidewise = 2 * stateSteps <= placeSteps;
    constexpr std::size_t after = states[0].places * placeSteps;
    constexpr std::size_t places =
        sidewise ? std::max(states[0].places, states[1].places) : states[0].places + states[1].places;
    StepPair<places> pair{{}, {states[0].characters, states[1].characters}, sidewise ? stateSteps : after};
    for (std::size_t code = 0; code < states.size(); ++code) {
        for (std::size_t place = 0; place < states[code].places; ++place) {
            std::ranges::copy(states[code].at[place], &pair.steps[code * pair.second + place * placeSteps]);
        }
    }
    return pair;
}

// The machine of one of the four published tables, or none for a table of the caller's own.
StepMachine stepsOf(const unsigned char *table);

} // namespace zelk::tables
