// A context-tree code as a machine of states, for decoding by several bits at once: what the next bits of a text mean
// after a character, or inside a longer code. Derived from the published tables, by the compiler.
//
// A state looks at as many bits as it is frequent: twice as frequent, a bit more. It holds a step for each of their
// values: how many of them it uses, where the next state is, how many bits that one looks at, and the first character
// where the bits give two. The last one is the character that the next state follows, none if it lies inside a code;
// the eight bits of an escape are a code, too.
//
// What is rarer than one state in 2^rarestState, in text that is as the code expects it, has no state: the tree is
// walked there.
#pragma once

#include "detail/context_tree.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace zelk::tables {

// More bits make fewer steps, and take more memory: 86 KiB for all four codes, 48 KiB in a library of one set of
// kernels, which is for machines with little. Steps of five bits, of one character each, took 78 KiB and up to a third
// more time.
#if defined(ZELK_KERNELS_ONLY)
inline constexpr unsigned int bitsOfAllText = 11; // that a state would look at which comes always
inline constexpr unsigned int fewestBits = 2;
inline constexpr unsigned int literalBits = 3; // of an escape's eight, that are looked at first
inline constexpr unsigned int rarestState = 18;
inline constexpr unsigned int rarestStateOfLargest = 12;
#else
inline constexpr unsigned int bitsOfAllText = 12;
inline constexpr unsigned int fewestBits = 3;
inline constexpr unsigned int literalBits = 8;
inline constexpr unsigned int rarestState = 24;
inline constexpr unsigned int rarestStateOfLargest = 18;
#endif
inline constexpr unsigned int mostBits = 8;

// A step, from its lowest bit on:
//   6 bits    how many bits it uses
//   6         64 less the number that the next state looks at
//   12        the place of the next state, which is that of its first step in fours
//   7         the first of two characters, else 0
//   1         a stop: what follows is not for the machine to say. Its place says what is known.
using Step = std::uint32_t;
inline constexpr unsigned int usedBits = 6;
inline constexpr unsigned int usedMask = (1U << usedBits) - 1;
inline constexpr unsigned int shiftAt = usedBits;
inline constexpr unsigned int placeAt = 12;
inline constexpr unsigned int placeCount = 0x1000;
inline constexpr unsigned int placeSteps = 4;
inline constexpr unsigned int firstAt = 24;
inline constexpr Step stop = 1U << 31U;
inline constexpr Step treeWalk = stop;
inline constexpr Step endOfText = stop | 1U << placeAt;

constexpr unsigned int placeOf(Step step) {
    return step >> placeAt & (placeCount - 1);
}
constexpr unsigned int firstOf(Step step) {
    return step >> firstAt;
}

inline constexpr unsigned int firstGraphic = 0x20;
inline constexpr unsigned int firstAfterGraphic = 0x80;

// What a decoder gets.
struct StepMachine {
    const Step *steps = nullptr;              // first those that lead to the state after a character; 0 begins a text
    const std::uint8_t *characters = nullptr; // by place: the character that the state there follows

    bool mayFollow(unsigned int character) const { return character < firstAfterGraphic && steps[character] < stop; }
    // What a step gives at its end, 0 for nothing yet.
    unsigned int lastOf(Step step) const { return characters[placeOf(step)]; }
    bool gives(Step step) const { return (firstOf(step) | lastOf(step)) != 0; }
};

// Never defined: a code that the machine cannot hold calls one of these while it is expanded.
void tooManyStepStates();
void codeGivesControlCharacter();

// How often each context comes, times 2^40, in text that is as the code expects it: what a code of n bits leads to
// comes once in 2^n times. Characters of an escape are taken as equally frequent.
class ContextWeights {
public:
    static constexpr unsigned int bits = 40;
    static constexpr std::uint64_t one = std::uint64_t{1} << bits;

    constexpr explicit ContextWeights(const unsigned char *table) {
        weights_[0] = one;
        constexpr int enough = 12;
        for (int round = 0; round < enough; ++round) {
            next_ = {};
            escaped_ = 0;
            for (unsigned int context = 0; context < firstAfterGraphic; ++context) {
                if (weights_[context] != 0) {
                    const unsigned int tree = detail::treeAfter(table, context);
                    follow(table, tree, tree, weights_[context]);
                }
            }
            for (unsigned int character = firstGraphic; character < firstAfterGraphic; ++character) {
                next_[character] += escaped_;
            }
            weights_ = next_;
        }
        weights_[0] = std::max(weights_[0], one / shortText);
    }

    constexpr std::uint64_t operator[](unsigned int context) const { return weights_[context]; }

    static constexpr std::uint64_t shortText = 64; // characters: no code says how often texts begin

private:
    constexpr void follow(const unsigned char *table, unsigned int tree, unsigned int node, std::uint64_t weight) {
        for (unsigned int branch = 0; branch < 2; ++branch) {
            const unsigned int step = table[node + branch];
            if (step < detail::leafFlag) {
                follow(table, tree, tree + 2 * step, weight / 2);
            } else if (step == detail::escapeLeaf) {
                escaped_ += weight / 2 / (firstAfterGraphic - firstGraphic);
            } else {
                next_[step - detail::leafFlag] += weight / 2;
            }
        }
    }

    std::array<std::uint64_t, firstAfterGraphic> weights_{};
    std::array<std::uint64_t, firstAfterGraphic> next_{};
    std::uint64_t escaped_ = 0; // what each graphic character gets by escapes
};

template <std::size_t Steps>
struct StepStates {
    alignas(64) std::array<Step, Steps> steps{};
    std::array<std::uint8_t, Steps / placeSteps> characters{};
};

// Tables by pointer and loops by number: over arrays and lists of values the compiler takes three times as long.
class StepBuilder {
public:
    constexpr StepBuilder(const unsigned char *table, unsigned int rarest)
        : table_(table), leastWeight_(ContextWeights::one >> rarest) {
        const ContextWeights weights(table);
        std::fill_n(result_.steps.begin(), firstAfterGraphic, stop);
        for (unsigned int character = 0; character < firstAfterGraphic; ++character) {
            const unsigned int tree = detail::treeAfter(table, character);
            if ((character == 0 || character >= firstGraphic) && weights[character] >= leastWeight_) {
                const Step lead = stepToNewState(bitsFor(weights[character], tree, tree));
                result_.characters[placeOf(lead)] = static_cast<std::uint8_t>(character);
                result_.steps[character] = lead;
            }
        }
        fillLiterals();
        for (unsigned int character = 0; character < firstAfterGraphic; ++character) {
            if (const Step lead = result_.steps[character]; lead < stop) {
                const unsigned int tree = detail::treeAfter(table, character);
                fill(lead, tree, tree, weights[character], weights[character]);
            }
        }
    }

    constexpr std::size_t size() const { return size_; }

    template <std::size_t Steps>
    constexpr StepStates<Steps> result() const {
        StepStates<Steps> states;
        std::copy_n(result_.steps.begin(), Steps, states.steps.begin());
        std::copy_n(result_.characters.begin(), states.characters.size(), states.characters.begin());
        return states;
    }

private:
    // The eight bits of an escape, at once or by three and five.
    constexpr void fillLiterals() {
        constexpr unsigned int groupBits = 8 - literalBits;
        constexpr unsigned int group = 1U << groupBits;
        for (unsigned int bits = 0; bits < 1U << literalBits; ++bits) {
            const bool isGraphic = bits >= firstGraphic / group && bits < firstAfterGraphic / group;
            Step step = treeWalk;
            if (isGraphic && group == 1) {
                step = std::min(result_.steps[bits], treeWalk);
            } else if (isGraphic) {
                step = stepToNewState(groupBits);
                for (unsigned int place = 0; place < group; ++place) {
                    result_.steps[placeSteps * placeOf(step) + place] =
                        std::min(result_.steps[group * bits + place], treeWalk) + groupBits;
                }
            }
            result_.steps[placeSteps * placeOf(literal_) + bits] = step + literalBits;
        }
    }

    constexpr unsigned int depth(unsigned int tree, unsigned int node) const {
        unsigned int deepest = 0;
        for (unsigned int branch = 0; branch < 2; ++branch) {
            const unsigned int step = table_[node + branch];
            deepest = std::max(deepest, step >= detail::leafFlag ? 1 : 1 + depth(tree, tree + 2 * step));
        }
        return deepest;
    }

    // How many bits a state looks at: no more than its codes have for the sake of the fewest.
    constexpr unsigned int bitsFor(std::uint64_t weight, unsigned int tree, unsigned int node) const {
        const auto wanted = static_cast<int>(std::bit_width(weight >> (ContextWeights::bits - bitsOfAllText))) - 1;
        const auto bits = static_cast<unsigned int>(std::max(wanted, 0));
        return std::max(std::clamp(bits, std::min(fewestBits, depth(tree, node)), mostBits), 2U);
    }

    constexpr Step stepToNewState(unsigned int bits) {
        const std::size_t place = size_ / placeSteps;
        size_ += std::size_t{1} << bits;
        if (size_ > result_.steps.size()) {
            tooManyStepStates();
        }
        return static_cast<Step>(place << placeAt) | (64 - bits) << shiftAt;
    }

    constexpr bool mayEnd(unsigned int tree, unsigned int node) const {
        const auto leadsToEnd = [&](unsigned int step) {
            return step == detail::leafFlag || (step < detail::leafFlag && mayEnd(tree, tree + 2 * step));
        };
        return leadsToEnd(table_[node]) || leadsToEnd(table_[node + 1]);
    }

    // How often a state inside a code comes. The code of the end is long, but every text comes there; and a letter that
    // is common after a common one may have a code that is much too long (an h after a blank has one of 18 bits).
    static constexpr std::uint64_t innerWeight(std::uint64_t byCode, std::uint64_t context, bool mayBeEnd) {
        constexpr unsigned int tooLong = 14; // bits
        return std::max({byCode, context >> tooLong, mayBeEnd ? context / ContextWeights::shortText : 0});
    }

    // Fills the state that a step leads to, which stands for `node`, and all states that codes reach through it.
    constexpr void fill(Step lead, unsigned int tree, unsigned int node, std::uint64_t weight, std::uint64_t context) {
        const unsigned int width = 64 - (lead >> shiftAt & usedMask);
        for (unsigned int bits = 0; bits < 1U << width; ++bits) {
            unsigned int end = node;
            int left = static_cast<int>(width) - 1;
            const unsigned int leaf = detail::walkTree(table_, tree, end, bits, left);
            Step step = treeWalk;
            if (leaf >= detail::leafFlag) {
                step = afterLeaf(leaf, bits, left);
            } else {
                const std::uint64_t inner = innerWeight(weight >> width, context, mayEnd(tree, end));
                if (inner >= leastWeight_) {
                    step = stepToNewState(bitsFor(inner, tree, end));
                    fill(step, tree, end, inner, context);
                }
            }
            const auto used = static_cast<unsigned int>(static_cast<int>(width) - 1 - left);
            result_.steps[placeSteps * placeOf(lead) + bits] = step | used;
        }
    }

    // The step after a code, and after another one if the bits that are left hold it.
    constexpr Step afterLeaf(unsigned int leaf, unsigned int bits, int &left) const {
        const unsigned int character = leaf - detail::leafFlag;
        if (leaf == detail::escapeLeaf) {
            return literal_;
        }
        if (character == 0) {
            return endOfText;
        }
        if (character < firstGraphic) {
            codeGivesControlCharacter();
        }
        const Step step = result_.steps[character];
        if (step >= stop || left < 0) {
            return step;
        }
        const unsigned int tree = detail::treeAfter(table_, character);
        unsigned int end = tree;
        int leftAfter = left;
        const unsigned int second = detail::walkTree(table_, tree, end, bits, leftAfter);
        if (second <= detail::leafFlag || second == detail::escapeLeaf ||
            result_.steps[second - detail::leafFlag] >= stop) {
            return step;
        }
        left = leftAfter;
        return result_.steps[second - detail::leafFlag] | character << firstAt;
    }

    StepStates<std::size_t{placeSteps} * placeCount> result_;
    const unsigned char *table_;
    std::uint64_t leastWeight_;
    std::size_t size_ = firstAfterGraphic;
    Step literal_ = stepToNewState(literalBits);
};

template <const auto &table, unsigned int rarest>
consteval auto stepStates() {
    constexpr StepBuilder builder(table.data(), rarest);
    return builder.template result<builder.size()>();
}

// The machine of one of the four published tables, or none for a table of the caller's own.
StepMachine stepsOf(const unsigned char *table);

} // namespace zelk::tables
