// Context-tree codes: the code of a character depends on the character before it. This file turns the readable form of
// such a code into the table that the decoders walk.
//
// The readable form: a line for each context, the character before, then `character=code` for each character that may
// follow, in order of characters. A line that starts with a blank goes on with the context above. START is the context
// of a text's first character (character 00), SP the blank, ESC the escape (1B: the next eight bits are the character
// as it is), END the end of the text (00). 01-1F stands for all contexts between the two values, in hexadecimal.
//
// The table:
//   bytes 0-255     128 offsets of 16 bits, high byte first: where the tree of each context begins
//   then the trees  in order of contexts, back to back
//   a tree          nodes of two bytes, the root first: where to go on a 0 bit and where on a 1 bit
//   a node byte     below 80 (hexadecimal) the number of a node of this tree, else a leaf: 80 + character
// The nodes of a tree are numbered from its end: breadth first from the root, the 1-branch before the 0-branch, the
// first node after the root is the last of the array. So ATSC A/65 prints the trees; for the decoders any order would
// do.
#pragma once

#include "detail/context_tree.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace zelk::tables {

inline constexpr std::size_t contextCount = 128;
inline constexpr unsigned int escapeCharacter = 0x1B;

// Never defined: a code that is broken calls one of these while it is expanded, and the compiler names it.
void contextsAreNotInOrder();
void codeIsNotOfBits();
void codeRunsThroughAnother();
void codesAreNotComplete();
void treeHasTooManyNodes();

// One tree while it is read: nodes in order of appearance, the root is node 0.
class CodeTree {
public:
    constexpr void add(std::string_view code, unsigned int character) {
        const char *bit = code.data();
        const char *const last = bit + code.size() - 1;
        std::size_t node = 0;
        for (; bit != last; ++bit) {
            unsigned char &next = nodes_[2 * node + valueOf(*bit)];
            if (next == missing) {
                if (nodeCount_ == detail::leafFlag) {
                    treeHasTooManyNodes();
                }
                next = static_cast<unsigned char>(nodeCount_++);
            }
            if (next >= detail::leafFlag) {
                codeRunsThroughAnother();
            }
            node = next;
        }
        unsigned char &leaf = nodes_[2 * node + valueOf(*last)];
        if (leaf != missing) {
            codeRunsThroughAnother();
        }
        leaf = static_cast<unsigned char>(detail::leafFlag + character);
    }

    // Writes the numbered nodes at `out`; returns the bytes written.
    constexpr std::size_t write(unsigned char *out) const {
        std::array<unsigned char, detail::leafFlag> queue{}; // the nodes breadth first
        std::array<unsigned char, detail::leafFlag> number{};
        unsigned int queued = 1;
        for (unsigned int i = 0; i < queued; ++i) {
            for (const unsigned int bit : {1U, 0U}) {
                const unsigned char next = nodes_[std::size_t{2} * queue[i] + bit];
                if (next == missing) {
                    codesAreNotComplete();
                } else if (next < detail::leafFlag) {
                    number[next] = static_cast<unsigned char>(nodeCount_ - queued);
                    queue[queued++] = next;
                }
            }
        }
        for (std::size_t branchIndex = 0; branchIndex < 2 * nodeCount_; ++branchIndex) {
            const unsigned char next = nodes_[branchIndex];
            out[std::size_t{2} * number[branchIndex / 2] + branchIndex % 2] =
                next < detail::leafFlag ? number[next] : next;
        }
        return 2 * nodeCount_;
    }

private:
    static constexpr unsigned char missing = 0; // no branch leads back to the root

    static constexpr std::size_t valueOf(char bit) {
        if (bit != '0' && bit != '1') {
            codeIsNotOfBits();
        }
        return bit == '1' ? 1 : 0;
    }

    unsigned char nodes_[std::size_t{2} * detail::leafFlag] = {};
    std::size_t nodeCount_ = 1;
};

// The readable form, word by word. By pointers: calls of std::string_view's functions take the compiler several times
// as long.
class CodeReader {
public:
    explicit constexpr CodeReader(std::string_view lines) : at_(lines.data()), end_(at_ + lines.size()) {}

    struct Contexts {
        unsigned int first;
        unsigned int last;
    };

    constexpr bool atEnd() {
        skip('\n');
        return at_ == end_;
    }

    constexpr Contexts contexts() {
        const std::string_view name = word(' ');
        if (name.size() == 5 && name[2] == '-') {
            return {hexadecimal(name.substr(0, 2)), hexadecimal(name.substr(3))};
        }
        const unsigned int context = character(name);
        return {context, context};
    }

    // True and the next `character=code` of this context, or false at its end.
    constexpr bool nextCode(unsigned int &symbol, std::string_view &code) {
        if (end_ - at_ >= 2 && at_[0] == '\n' && at_[1] == ' ') {
            ++at_;
        }
        skip(' ');
        if (at_ == end_ || *at_ == '\n') {
            return false;
        }
        symbol = character(word('='));
        at_ += at_ != end_ && *at_ == '=' ? 1 : 0;
        code = word(' ');
        return true;
    }

private:
    constexpr void skip(char blank) {
        while (at_ != end_ && *at_ == blank) {
            ++at_;
        }
    }

    // At least one character, and those before `after` or the end of the line.
    constexpr std::string_view word(char after) {
        const char *const begin = at_;
        do {
            ++at_;
        } while (at_ != end_ && *at_ != after && *at_ != '\n');
        return {begin, static_cast<std::size_t>(at_ - begin)};
    }

    static constexpr unsigned int hexadecimal(std::string_view digits) {
        unsigned int value = 0;
        for (const char digit : digits) {
            value = value * 16 + static_cast<unsigned int>(digit <= '9' ? digit - '0' : digit - 'A' + 10);
        }
        return value;
    }

    static constexpr unsigned int character(std::string_view name) {
        if (name.size() == 1) {
            return static_cast<unsigned char>(name.front());
        }
        if (name == "START" || name == "END") {
            return 0;
        }
        return name == "SP" ? ' ' : name == "ESC" ? escapeCharacter : hexadecimal(name);
    }

    const char *at_;
    const char *end_;
};

template <std::size_t Size>
consteval std::array<unsigned char, Size> expandCodes(std::string_view lines) {
    std::array<unsigned char, Size> table{};
    std::size_t offset = 2 * contextCount;
    std::size_t expected = 0;
    for (CodeReader reader(lines); !reader.atEnd();) {
        const auto [first, last] = reader.contexts();
        CodeTree tree;
        unsigned int character = 0;
        for (std::string_view code; reader.nextCode(character, code);) {
            tree.add(code, character);
        }
        if (first != expected || last < first || last >= contextCount) {
            contextsAreNotInOrder();
        }
        for (; expected <= last; ++expected) {
            table[2 * expected] = static_cast<unsigned char>(offset >> 8U);
            table[2 * expected + 1] = static_cast<unsigned char>(offset & 0xFFU);
            offset += tree.write(table.data() + offset);
        }
    }
    if (expected != contextCount || offset != Size) {
        codesAreNotComplete();
    }
    return table;
}

} // namespace zelk::tables
