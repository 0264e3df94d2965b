// Compressed DVB text of encoding types 5 (English) and 6 (Malay): codes of 4 to 12 bits for pieces of one to four
// characters, SKMM MTSFB TC G001:2013.
//
// The rows come from tables/data/malaysia_*.tsv; the build has checked them against all that is known of the official
// tables. The compiler turns them into code trees, so that nothing is left to do on a first call.
#include "detail/huffman_malaysia.h"
#include "detail/utf8_char.h"
#include "zelk.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

namespace zelk::detail {
namespace {

struct Row {
    std::string_view code; // of the characters 0 and 1
    std::string_view piece;
};

constexpr Row englishRows[] = {
#include "malaysia_en_rows.h"
};
constexpr Row malayRows[] = {
#include "malaysia_ms_rows.h"
};

struct Node {
    std::array<std::uint16_t, 2> child; // by the next bit; 0 where no code goes on
    std::array<char, 4> piece;
    std::uint8_t pieceLength; // 0 for a node that ends no code
};

template <std::size_t Capacity>
struct Tree {
    std::array<Node, Capacity> nodes{}; // the root first
    std::size_t size = 1;
};

// A node may both carry a piece and branch: one Malay code is the beginning of another.
template <std::size_t Capacity, std::size_t Count>
consteval Tree<Capacity> treeOf(const Row (&rows)[Count]) {
    Tree<Capacity> tree;
    for (const Row &row : rows) {
        std::size_t node = 0;
        for (const char bit : row.code) {
            std::uint16_t &child = tree.nodes[node].child[bit == '1' ? 1 : 0];
            if (child == 0) {
                child = static_cast<std::uint16_t>(tree.size++);
            }
            node = child;
        }
        std::copy(row.piece.begin(), row.piece.end(), tree.nodes[node].piece.begin());
        tree.nodes[node].pieceLength = static_cast<std::uint8_t>(row.piece.size());
    }
    return tree;
}

constexpr std::size_t enoughNodes = 1024;
constexpr auto englishTree = treeOf<treeOf<enoughNodes>(englishRows).size>(englishRows);
constexpr auto malayTree = treeOf<treeOf<enoughNodes>(malayRows).size>(malayRows);

struct Figures {
    std::size_t entries;
    std::size_t shortestCode;
    std::size_t longestCode;
    std::array<unsigned int, 4> pieces; // of one to four characters
    unsigned int sum;                   // of 2^(12 - code length)
    unsigned int codesInCodes;          // codes that go on from the end of another

    constexpr bool operator==(const Figures &) const = default;
};

template <std::size_t Count, std::size_t Size>
consteval Figures figuresOf(const Row (&rows)[Count], const Tree<Size> &tree) {
    Figures figures{0, 12, 0, {}, 0, 0};
    for (const Row &row : rows) {
        figures.shortestCode = std::min(figures.shortestCode, row.code.size());
        figures.longestCode = std::max(figures.longestCode, row.code.size());
        ++figures.pieces.at(row.piece.size() - 1);
        figures.sum += 1U << (12 - row.code.size());
    }
    for (const Node &node : tree.nodes) {
        if (node.pieceLength != 0) {
            ++figures.entries;
            figures.codesInCodes += (node.child[0] != 0 ? 1 : 0) + (node.child[1] != 0 ? 1 : 0);
        }
    }
    return figures;
}

static_assert(figuresOf(englishRows, englishTree) == Figures{258, 4, 11, {93, 126, 20, 19}, 3968, 0});
static_assert(figuresOf(malayRows, malayTree) == Figures{265, 4, 12, {93, 130, 21, 21}, 3833, 1});

constexpr unsigned int malayTable = 6;
constexpr unsigned int endPath = 0x7F; // a 1 bit that leads nowhere after this path ends the text

class BoundedOutput {
public:
    BoundedOutput(unsigned char *out, long long capacity)
        : out_(out), capacity_(static_cast<int>(capacity < 0 ? limit : std::min(capacity, limit))) {}

    // False when the bytes do not fit whole.
    template <class Byte>
    bool append(const Byte *bytes, int count) {
        if (count > capacity_ - length_) {
            return false;
        }
        if (out_ != nullptr) {
            std::copy_n(bytes, count, out_ + length_);
        }
        length_ += count;
        return true;
    }

    int length() const { return length_; }

private:
    static constexpr long long limit = std::numeric_limits<int>::max();

    unsigned char *out_;
    int capacity_;
    int length_ = 0;
};

// The bits of a text, the most significant of a byte first.
class BitInput {
public:
    BitInput(const unsigned char *bytes, int count) : bytes_(bytes), end_(8LL * std::max(count, 0)) {}

    bool atEnd() const { return at_ >= end_; }
    unsigned int peek() const { return static_cast<unsigned int>(bytes_[at_ / 8]) >> (7 - at_ % 8) & 1U; }
    void step() { ++at_; }

    // The next eight bits; 0 when fewer are left, and then none is left after it.
    unsigned int literal() {
        unsigned int value = 0;
        for (int i = 0; i < 8; ++i) {
            if (atEnd()) {
                return 0;
            }
            value = value << 1U | peek();
            step();
        }
        return value;
    }

private:
    const unsigned char *bytes_;
    long long at_ = 0;
    long long end_;
};

int decode(const Node *root, BitInput bits, BoundedOutput output) {
    const Node *node = root;
    unsigned int path = 0;
    while (!bits.atEnd()) {
        const unsigned int bit = bits.peek();
        if (node->child[bit] != 0) {
            node = root + node->child[bit];
            path = path << 1U | bit;
            bits.step();
            if (bits.atEnd()) {
                output.append(node->piece.data(), node->pieceLength);
            }
            continue;
        }
        if (node->pieceLength != 0) {
            // The bit has not been used: it is the first of the next code.
            if (!output.append(node->piece.data(), node->pieceLength)) {
                break;
            }
        } else {
            if (bit == 1 && path == endPath) {
                break;
            }
            bits.step();
            unsigned char utf8[2];
            const unsigned int length = utf8Encode(bits.literal(), utf8, sizeof utf8 + 1);
            if (!output.append(utf8, static_cast<int>(length))) {
                break;
            }
        }
        node = root;
        path = 0;
    }
    return output.length();
}

} // namespace

int malaysiaDecode(unsigned int tableId, const unsigned char *src, int srcLength, unsigned char *dst,
                   long long capacity) {
    const Node *root = tableId == malayTable ? malayTree.nodes.data() : englishTree.nodes.data();
    return decode(root, BitInput(src, srcLength), BoundedOutput(dst, capacity));
}

} // namespace zelk::detail

int decompressMalaysiaHuffmanTable(unsigned int tableId, const unsigned char *src, int srcLength, unsigned char *dst,
                                   int *outLength) {
    *outLength = zelk::detail::malaysiaDecode(tableId, src, srcLength, dst, -1);
    return 0;
}
