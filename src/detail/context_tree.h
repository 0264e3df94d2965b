// How the decoders of context-tree codes read a table: the tree that belongs to a character, and the walk from a node
// towards a leaf. The layout of a table is described in tables/context_tree.h.
#pragma once

#include <cstddef>

namespace zelk::detail {

inline constexpr unsigned int leafFlag = 0x80;         // set in a node byte: a leaf; the other bits are its character
inline constexpr unsigned int escapeLeaf = 0x9B;       // the next eight bits are a character as it is
inline constexpr unsigned int firstWithoutTree = 0x80; // after this character and those above it: a plain literal

// The table offset of the tree used after `character` (below 0x80). Character 0 also stands for the start of a text.
constexpr unsigned int treeAfter(const unsigned char *table, unsigned int character) {
    const unsigned char *offset = table + std::size_t{2} * character;
    return static_cast<unsigned int>(offset[0]) << 8U | offset[1];
}

// Walks from `node` (a table offset inside `tree`) along the bits of `byte`, from `bitIndex` downwards (7 is sent
// first), to a leaf or to the end of the byte. Returns the node byte read last: a leaf, or a value below leafFlag when
// the code goes on in the next byte at the new `node`. `bitIndex` then names the next bit, -1 when none is left.
constexpr unsigned int walkTree(const unsigned char *table, unsigned int tree, unsigned int &node, unsigned int byte,
                                int &bitIndex) {
    unsigned int step = 0;
    do {
        step = table[node + (byte >> static_cast<unsigned int>(bitIndex) & 1U)];
        --bitIndex;
        if (step >= leafFlag) {
            break;
        }
        node = tree + 2 * step;
    } while (bitIndex >= 0);
    return step;
}

} // namespace zelk::detail
