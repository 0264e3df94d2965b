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
using tables::StepMachine;
using tables::usedMask;

constexpr unsigned int batch = 56 / tables::mostBits;
constexpr unsigned int mostOfBatch = 2 * batch; // characters

// Steps that are kept, so that those inside the last code, which may be long, can be taken back.
constexpr std::size_t longestCode = 30 / tables::fewestBits; // steps, for bits of the longest escape and a literal
constexpr std::size_t stepsKept = 64;
static_assert(stepsKept > longestCode + batch);

// Where a machine is: in the state that the last step leads to.
struct State {
    const char *steps;
    Step lead;

    static State after(const StepMachine &machine, Step lead) {
        constexpr unsigned int scale = tables::placeAt - std::bit_width(tables::placeSteps * sizeof(Step)) + 1;
        constexpr unsigned int mask = (tables::placeCount - 1) << (tables::placeAt - scale);
        return {reinterpret_cast<const char *>(machine.steps) + (lead >> scale & mask), lead};
    }

    Step step(std::uint64_t bits) const {
        Step step = 0;
        std::memcpy(&step, steps + (bits >> (lead >> tables::shiftAt & usedMask)) * sizeof(Step), sizeof step);
        return step;
    }
};

struct Batch {
    unsigned int count; // of steps, less than a batch in front of a stop
    unsigned int bits;  // that they use
    Step last;          // the stop
};

// Takes the steps for the next bits of the text, zeros after its end.
inline Batch takeSteps(const StepMachine &machine, State &state, std::uint64_t bits, Step *steps) {
    Batch taken{0, 0, 0};
#pragma GCC unroll 16
    for (; taken.count < batch; ++taken.count) {
        const Step step = state.step(bits);
        taken.last = step;
        if (step >= tables::stop) [[unlikely]] {
            break;
        }
        steps[taken.count] = step;
        bits <<= step & usedMask;
        taken.bits += step;
        state = State::after(machine, step);
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

// Returns where the characters end. Each is written, and the next one upon it if it was none.
inline unsigned char *putCharacters(unsigned char *out, Step step, const StepMachine &machine) {
    const unsigned int first = tables::firstOf(step);
    const unsigned int last = machine.lastOf(step);
    *out = static_cast<unsigned char>(first);
    out += first != 0 ? 1 : 0;
    *out = static_cast<unsigned char>(last);
    return out + (last != 0 ? 1 : 0);
}

inline unsigned char *putBatch(unsigned char *out, const Step *steps, const StepMachine &machine) {
#pragma GCC unroll 16
    for (unsigned int i = 0; i < batch; ++i) {
        out = putCharacters(out, steps[i], machine);
    }
    return out;
}

inline unsigned char *putSome(unsigned char *out, const Step *steps, unsigned int count, const StepMachine &machine) {
#pragma GCC unroll 1 // rare: not worth its bytes
    for (unsigned int i = 0; i < count; ++i) {
        out = putCharacters(out, steps[i], machine);
    }
    return out;
}

// The bits after the last character, of steps inside a code.
unsigned int bitsInCode(const Step *begin, const Step *end, const StepMachine &machine) {
    unsigned int bits = 0;
    for (; end != begin && !machine.gives(end[-1]); --end) {
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
    const bool given =
        window.left() >= 0 && machine_.mayFollow(character) && character != 0; // no state follows an escape
    return {given ? character : 0, character == 0 && window.left() >= 0, window.position(window.left())};
}

unsigned int ContextText::runBySteps(unsigned char *out, unsigned int room) {
    const StepMachine machine = machine_;
    std::array<Step, stepsKept + 1> steps; // the last ones
    Step *end = steps.data();
    unsigned char *to = out;
    BitWindow window(bytes_, count_, at_);
    State state = State::after(machine, machine.steps[character_]);
    endBits_ = 0;
    while (room - static_cast<unsigned int>(to - out) > mostOfBatch) {
        if (static_cast<std::size_t>(end - steps.data()) > stepsKept - batch) {
            end = std::copy(end - longestCode, end, steps.data());
        }
        Batch taken = takeSteps(machine, state, window.bits(), end);
        const bool ended = static_cast<int>(taken.bits) > window.left();
        if (ended) [[unlikely]] {
            endWithText(taken, end, static_cast<unsigned int>(window.left()));
        }
        to = taken.count == batch ? putBatch(to, end, machine) : putSome(to, end, taken.count, machine);
        end += taken.count;
        window.drop(taken.bits);
        if (ended) {
            break; // perhaps with a character that only one of two steps would have given
        }
        if (taken.count < batch) [[unlikely]] {
            const unsigned int used = taken.last & usedMask;
            if (taken.last - used == tables::endOfText) {
                endBits_ = static_cast<int>(used) <= window.left() ? used : 0;
                break;
            }
            const int left = window.left() + static_cast<int>(bitsInCode(steps.data(), end, machine));
            const RareCode code = byTree(window.position(left), to == out ? character_ : to[-1]);
            if (code.isEnd) {
                endBits_ = static_cast<unsigned int>(code.end - window.position(window.left()));
            }
            if (code.character == 0) {
                break;
            }
            window = BitWindow(bytes_, count_, code.end);
            *to++ = static_cast<unsigned char>(code.character);
            *end++ = machine.steps[code.character];
            state = State::after(machine, machine.steps[code.character]);
        }
        window.fill();
    }
    const unsigned int inCode = bitsInCode(steps.data(), end, machine);
    at_ = window.position(window.left() + static_cast<int>(inCode));
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
