// Reads a whole text in a context-tree code, at two speeds.
//
// next() gives one character by the exact rule: it walks the published tree. run() gives many graphic characters by
// wide steps (context_text.cpp). Whatever is rare makes run() stop at the end of a character, and next() goes on. The
// code of the end of a text run() knows already, and next() only says so.
#pragma once

#include "tables/context_steps.h"

#include <cstddef>
#include <cstdint>

namespace zelk::detail {

class ContextText {
public:
    static constexpr int inputEnded = -1;

    // `table` is one of the published ones for run() to give anything.
    ContextText(const unsigned char *table, const unsigned char *bytes, std::size_t count)
        : ContextText(table, tables::stepsOf(table), bytes, count) {}

    // For a text whose end only its code gives, `count` being no more than a limit: no byte is read before the code
    // gets there.
    static ContextText bitByBit(const unsigned char *table, const unsigned char *bytes, std::size_t count) {
        return {table, tables::StepMachine(), bytes, count};
    }

    // Writes characters of 0x20 to 0x7F and returns their number, at most `room`. Nothing follows from a 0: next() may
    // still give such a character.
    unsigned int run(unsigned char *out, unsigned int room) {
        const bool mayBegin = machine_.steps != nullptr && machine_.mayFollow(character_);
        return mayBegin && at_ / 8 < count_ ? runBySteps(out, room) : 0;
    }

    // The next character, 0 to 255, or inputEnded where bits of it are missing.
    int next() {
        if (endBits_ != 0) {
            at_ += endBits_;
            endBits_ = 0;
            character_ = 0;
            return 0;
        }
        return nextByTree();
    }

    // Leaves out the next eight bits.
    void skipByte() {
        at_ += 8;
        endBits_ = 0;
    }

private:
    ContextText(const unsigned char *table, tables::StepMachine machine, const unsigned char *bytes, std::size_t count)
        : table_(table), machine_(machine), bytes_(bytes), count_(count) {}

    int nextByTree();
    unsigned int readLeaf();

    struct RareCode {
        unsigned int character; // 0 for none
        bool isEnd;             // of the text
        std::uint64_t end;
    };
    RareCode byTree(std::uint64_t at, unsigned int before) const;
    unsigned int runBySteps(unsigned char *out, unsigned int room);

    const unsigned char *table_;
    tables::StepMachine machine_;
    const unsigned char *bytes_;
    std::size_t count_;
    std::uint64_t at_ = 0; // the next bit; may lie after the text
    unsigned int character_ = 0;
    unsigned int endBits_ = 0; // where a run has stopped at a character 0: its code
};

} // namespace zelk::detail
