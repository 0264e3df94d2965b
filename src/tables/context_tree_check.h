// Measures an expanded table of a context-tree code, so that the compiler compares it with what is known of the
// published code. The bytes are read as the decoders read them; nothing is shared with the expansion.
#pragma once

#include "tables/context_tree.h"

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace zelk::tables {

struct TableFigures {
    unsigned int nodes;
    unsigned int longestCode;
    unsigned int singleNodeTrees;
    unsigned int endOfTextContexts;
    bool sound; // the trees lie back to back; each node is reached exactly once, inside its tree; each tree can escape

    constexpr bool operator==(const TableFigures &) const = default;
};

class TreeMeasure {
public:
    constexpr TreeMeasure(const unsigned char *tree, std::size_t nodeCount) : tree_(tree), nodeCount_(nodeCount) {
        visit(0, 1);
    }

    constexpr bool sound() const { return isTree_ && nodesSeen_ == nodeCount_ && escapes_ > 0; }
    constexpr std::size_t nodeCount() const { return nodeCount_; }
    constexpr bool mayEnd() const { return ends_ > 0; }
    constexpr bool onlyEscapes() const { return nodeCount_ == 1 && escapes_ == 2; }
    constexpr unsigned int longestCode() const { return longestCode_; }

private:
    // A code that ends at this node has `length` bits.
    constexpr void visit(std::size_t node, unsigned int length) {
        if (node >= nodeCount_ || seen_[node]) {
            isTree_ = false;
            return;
        }
        seen_[node] = true;
        ++nodesSeen_;
        for (unsigned int bit = 0; bit < 2; ++bit) {
            const unsigned int next = tree_[2 * node + bit];
            if (next < detail::leafFlag) {
                visit(next, length + 1);
            } else {
                escapes_ += next == detail::escapeLeaf ? 1 : 0;
                ends_ += next == detail::leafFlag ? 1 : 0;
                longestCode_ = length > longestCode_ ? length : longestCode_;
            }
        }
    }

    const unsigned char *tree_;
    std::size_t nodeCount_;
    std::array<bool, detail::leafFlag> seen_{};
    std::size_t nodesSeen_ = 0;
    unsigned int escapes_ = 0;
    unsigned int ends_ = 0;
    unsigned int longestCode_ = 0;
    bool isTree_ = true;
};

template <std::size_t Size>
constexpr TreeMeasure treeMeasure(const std::array<unsigned char, Size> &table, unsigned int context) {
    const unsigned int begin = detail::treeAfter(table.data(), context);
    const unsigned int end =
        context + 1 < contextCount ? detail::treeAfter(table.data(), context + 1) : static_cast<unsigned int>(Size);
    return {table.data() + begin, (end - begin) / 2};
}

template <std::size_t Size>
consteval TableFigures measured(const std::array<unsigned char, Size> &table) {
    TableFigures figures{};
    figures.nodes = (Size - 2 * contextCount) / 2;
    figures.sound = detail::treeAfter(table.data(), 0) == 2 * contextCount;
    for (unsigned int context = 0; context < contextCount; ++context) {
        const TreeMeasure tree = treeMeasure(table, context);
        figures.sound = figures.sound && tree.sound();
        figures.longestCode = tree.longestCode() > figures.longestCode ? tree.longestCode() : figures.longestCode;
        figures.singleNodeTrees += tree.nodeCount() == 1 ? 1 : 0;
        figures.endOfTextContexts += tree.mayEnd() ? 1 : 0;
    }
    return figures;
}

template <std::size_t Size>
consteval bool mayEndAfter(const std::array<unsigned char, Size> &table, unsigned int context) {
    return treeMeasure(table, context).mayEnd();
}

template <std::size_t Size>
consteval bool onlyEscapesAfter(const std::array<unsigned char, Size> &table, unsigned int first, unsigned int last) {
    for (unsigned int context = first; context <= last; ++context) {
        if (!treeMeasure(table, context).onlyEscapes()) {
            return false;
        }
    }
    return true;
}

struct Code {
    std::string_view bits;
    char character;
};

// True when each of `codes` means its character after `context`.
template <std::size_t Size>
consteval bool codesAfter(const std::array<unsigned char, Size> &table, unsigned int context,
                          std::initializer_list<Code> codes) {
    const unsigned int tree = detail::treeAfter(table.data(), context);
    for (const Code &code : codes) {
        unsigned int node = tree;
        unsigned int step = 0;
        for (const char bit : code.bits) {
            int bitIndex = 0;
            step =
                step < detail::leafFlag ? detail::walkTree(table.data(), tree, node, bit == '1' ? 1 : 0, bitIndex) : 0;
        }
        if (step != detail::leafFlag + static_cast<unsigned char>(code.character)) {
            return false;
        }
    }
    return true;
}

} // namespace zelk::tables
