// Compressed DVB text of encoding types 5 (English) and 6 (Malay): codes of 4 to 12 bits for pieces of one to four
// characters, SKMM MTSFB TC G001:2013.
//
// The rows come from tables/data/malaysia_*.tsv, checked against all that is known of the official tables
// (tables/malaysia_rows.h). The compiler turns them into code trees, so that nothing is left to do on a first call, and
// into a lookup of the next bits, which gives most pieces at once; the exact rule is that of the tree.
#include "detail/huffman_malaysia.h"
#include "detail/bit_window.h"
#include "detail/utf8_char.h"
#include "tables/malaysia_rows.h"
#include "zelk.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

namespace zelk::detail {
namespace {

// The files, each in a string of its own, which the build has put around it.
constexpr char englishText[] =
#include "malaysia_en.tsv.h"
    ;
constexpr char malayText[] =
#include "malaysia_ms.tsv.h"
    ;

constexpr auto englishFile = tables::readMalaysiaRows<tables::englishTable.rows()>(englishText, tables::englishTable);
static_assert(
    tables::MalaysiaFileAgrees<tables::englishTable.file, englishFile.found.line, englishFile.found.fault>::value);
constexpr auto malayFile = tables::readMalaysiaRows<tables::malayTable.rows()>(malayText, tables::malayTable);
static_assert(tables::MalaysiaFileAgrees<tables::malayTable.file, malayFile.found.line, malayFile.found.fault>::value);

template <std::size_t Count>
using Rows = std::array<tables::MalaysiaRow, Count>;

struct Piece {
    std::array<char, tables::longestPiece> characters;
    std::uint8_t length;
};

// Where a bit leads inside a code: to another node, or to the row of a piece; 0 where no code goes on.
using Branch = std::uint16_t;
constexpr unsigned int atRow = 0x8000; // the row, from 1, stands below

struct Node {
    std::array<Branch, 2> branch; // by the next bit
};

// The code tree as the rows make it, for the compiler alone.
struct TreeNode {
    std::array<std::uint16_t, 2> child; // by the next bit; 0 where no code goes on
    std::uint16_t row;                  // of the piece, from 1; 0 for a node that ends no code

    constexpr bool branches() const { return child[0] != 0 || child[1] != 0; }
};

constexpr std::size_t enoughNodes = 1024;

struct Tree {
    std::array<TreeNode, enoughNodes> nodes{}; // the root first
    std::size_t size = 1;

    consteval std::size_t branchingNodes() const {
        return static_cast<std::size_t>(
            std::count_if(nodes.begin(), nodes.end(), [](const TreeNode &node) { return node.branches(); }));
    }
};

// A node may both carry a piece and branch: one Malay code is the beginning of another.
template <std::size_t Count>
consteval Tree treeOf(const Rows<Count> &rows) {
    Tree tree;
    std::uint16_t number = 0;
    for (const tables::MalaysiaRow &row : rows) {
        std::size_t node = 0;
        for (const char bit : row.code) {
            std::uint16_t &child = tree.nodes[node].child[bit == '1' ? 1 : 0];
            if (child == 0) {
                child = static_cast<std::uint16_t>(tree.size++);
            }
            node = child;
        }
        tree.nodes[node].row = ++number;
    }
    return tree;
}

// A lookup by the next bits: the bits of the code in the low six bits, the row of its piece above them; of a longer
// code `goesOn` and the node where it goes on. 0 where the exact rule must be asked: for escapes, for all longer codes
// where few are, and where one more bit may make a longer code.
using Lookup = std::uint16_t;
#if defined(ZELK_COMPACT)
constexpr unsigned int lookupBits = 4; // 64 bytes for both tables
constexpr bool walksLongCodes = false;
#elif defined(ZELK_KERNELS_ONLY)
constexpr unsigned int lookupBits = 9; // 2 KiB for both tables
constexpr bool walksLongCodes = true;
#else
constexpr unsigned int lookupBits = 11; // 8 KiB
constexpr bool walksLongCodes = false;
#endif
constexpr unsigned int usedBits = 6;
constexpr unsigned int usedMask = (1U << usedBits) - 1;
constexpr unsigned int goesOn = usedMask;

template <std::size_t Count, std::size_t Nodes>
struct Code {
    std::array<Piece, Count + 1> pieces{}; // by row; none is row 0
    std::array<Node, Nodes> nodes{};       // those that branch, the root first
    std::size_t pieceNode = 0;             // the node that carries a piece although it branches, none is 0
    std::uint16_t pieceRow = 0;            // its row
    std::array<Lookup, 1U << lookupBits> lookups{};
};

// `number` is that of each node among those that branch.
constexpr Lookup lookUp(const Tree &tree, const std::array<std::uint16_t, enoughNodes> &number, unsigned int bits) {
    std::size_t node = 0;
    unsigned int used = 0;
    for (; used < lookupBits; ++used) {
        const std::size_t next = tree.nodes[node].child[bits >> (lookupBits - 1 - used) & 1U];
        if (next == 0) {
            break;
        }
        node = next;
    }
    const bool open = used == lookupBits && tree.nodes[node].branches();
    const unsigned int row = tree.nodes[node].row;
    if (open && walksLongCodes) {
        return static_cast<Lookup>(static_cast<unsigned int>(number[node]) << usedBits | goesOn);
    }
    return row == 0 || open ? Lookup{0} : static_cast<Lookup>(row << usedBits | used);
}

template <std::size_t Nodes, std::size_t Count>
consteval Code<Count, Nodes> codeOf(const Rows<Count> &rows, const Tree &tree) {
    Code<Count, Nodes> code;
    for (std::size_t row = 0; row < Count; ++row) {
        const std::string_view piece = rows[row].piece;
        std::copy(piece.begin(), piece.end(), code.pieces[row + 1].characters.begin());
        code.pieces[row + 1].length = static_cast<std::uint8_t>(piece.size());
    }
    std::array<std::uint16_t, enoughNodes> number{}; // of the nodes that branch
    std::uint16_t count = 0;
    for (std::size_t node = 0; node < tree.size; ++node) {
        number[node] = tree.nodes[node].branches() ? count++ : std::uint16_t{0};
    }
    for (std::size_t node = 0; node < tree.size; ++node) {
        const TreeNode &from = tree.nodes[node];
        for (std::size_t bit = 0; bit < 2 && from.branches(); ++bit) {
            const TreeNode &to = tree.nodes[from.child[bit]];
            code.nodes[number[node]].branch[bit] = from.child[bit] == 0 ? Branch{0}
                                                   : to.branches()      ? number[from.child[bit]]
                                                                        : static_cast<Branch>(atRow + to.row);
        }
        if (from.branches() && from.row != 0) {
            if (code.pieceNode != 0) {
                throw "more than one piece inside the code";
            }
            code.pieceNode = number[node];
            code.pieceRow = from.row;
        }
    }
    for (unsigned int bits = 0; bits < code.lookups.size(); ++bits) {
        code.lookups[bits] = lookUp(tree, number, bits);
    }
    return code;
}

constexpr Tree englishTree = treeOf(englishFile.rows);
constexpr Tree malayTree = treeOf(malayFile.rows);
constexpr auto englishCode = codeOf<englishTree.branchingNodes()>(englishFile.rows, englishTree);
constexpr auto malayCode = codeOf<malayTree.branchingNodes()>(malayFile.rows, malayTree);

constexpr unsigned int malayType = 6;
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
    int room() const { return capacity_ - length_; }

private:
    static constexpr long long limit = std::numeric_limits<int>::max();

    unsigned char *out_;
    int capacity_;
    int length_ = 0;
};

// The bits of a text, the most significant of a byte first.
class BitInput {
public:
    BitInput(const unsigned char *bytes, std::size_t count) : bytes_(bytes), end_(std::uint64_t{8} * count) {}

    BitWindow window() const { return {bytes_, static_cast<std::size_t>(end_ / 8), at_}; }
    void moveTo(std::uint64_t position) { at_ = position; }

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
    std::uint64_t at_ = 0;
    std::uint64_t end_;
};

// What a text is decoded with.
struct Tables {
    const Node *nodes;
    const Piece *pieces;
    const Lookup *lookups;
    std::size_t pieceNode;
    unsigned int pieceRow;
};

template <std::size_t Count, std::size_t Nodes>
constexpr Tables tablesOf(const Code<Count, Nodes> &code) {
    return {code.nodes.data(), code.pieces.data(), code.lookups.data(), code.pieceNode, code.pieceRow};
}

// One code by the exact rule, or one literal. False where the text ends.
bool decodeOne(const Tables &tables, BitInput &bits, BoundedOutput &output) {
    std::size_t node = 0;
    unsigned int row = 0;
    unsigned int path = 0;
    while (row == 0 && !bits.atEnd()) {
        const unsigned int bit = bits.peek();
        const unsigned int branch = tables.nodes[node].branch[bit];
        if (branch == 0) {
            break;
        }
        if (branch >= atRow) {
            row = branch - atRow;
        } else {
            node = branch;
        }
        path = path << 1U | bit;
        bits.step();
    }
    if (row == 0 && node == tables.pieceNode) {
        row = tables.pieceRow; // the bit that ended the walk has not been used: it is the first of the next code
    }
    if (row != 0) {
        const Piece &piece = tables.pieces[row];
        return output.append(piece.characters.data(), piece.length);
    }
    if (bits.atEnd() || (bits.peek() == 1 && path == endPath)) {
        return false;
    }
    bits.step();
    unsigned char utf8[2];
    const unsigned int length = utf8Encode(bits.literal(), utf8, sizeof utf8 + 1);
    return output.append(utf8, static_cast<int>(length));
}

// The lookup of a longer code; 0 for what only the exact rule knows.
inline unsigned int lookUpLongCode(const Node *nodes, unsigned int node, std::uint64_t bits) {
    unsigned int used = lookupBits;
    unsigned int branch = node;
    do {
        branch = nodes[branch].branch[bits >> (63 - used) & 1U];
        ++used;
    } while (branch != 0 && branch < atRow);
    return branch == 0 ? 0 : (branch - atRow) << usedBits | used;
}

// As many codes as the lookup knows and as surely fit.
void decodeMany(const Tables &tables, BitInput &bits, BoundedOutput &output) {
    constexpr int batch = 56 / lookupBits; // lookups that a full window is good for
    constexpr int pieceRoom = sizeof(Piece::characters);
    std::array<char, 256> text;
    const int room = std::min(static_cast<int>(text.size()), output.room());
    int length = 0;
    BitWindow window = bits.window();
    bool known = true;
    while (known && room - length >= batch * pieceRoom) {
#pragma GCC unroll 8
        for (int i = 0; i < batch; ++i) {
            unsigned int found = tables.lookups[window.bits() >> (64 - lookupBits)];
            // GCOVR_EXCL_START: where the library has one set of kernels alone
            if (walksLongCodes && (found & usedMask) == goesOn) {
                found = lookUpLongCode(tables.nodes, found >> usedBits, window.bits());
            }
            // GCOVR_EXCL_STOP
            const unsigned int used = found & usedMask;
            known = used != 0 && static_cast<int>(used) <= window.left();
            if (!known) {
                break;
            }
            const Piece &piece = tables.pieces[found >> usedBits];
            std::copy_n(piece.characters.data(), pieceRoom, text.data() + length); // the next one cuts the excess
            length += piece.length;
            window.drop(used);
        }
        window.fill();
    }
    output.append(text.data(), length);
    bits.moveTo(window.position(window.left()));
}

} // namespace

int malaysiaDecode(unsigned int tableId, const unsigned char *src, int srcLength, unsigned char *dst,
                   long long capacity) {
    const Tables tables = tableId == malayType ? tablesOf(malayCode) : tablesOf(englishCode);
    BitInput bits(src, src == nullptr ? 0 : static_cast<std::size_t>(std::max(srcLength, 0)));
    BoundedOutput output(dst, capacity);
    do {
        decodeMany(tables, bits, output);
    } while (decodeOne(tables, bits, output));
    return output.length();
}

} // namespace zelk::detail

int decompressMalaysiaHuffmanTable(unsigned int tableId, const unsigned char *src, int srcLength, unsigned char *dst,
                                   int *outLength) {
    *outLength = zelk::detail::malaysiaDecode(tableId, src, srcLength, dst, -1);
    return 0;
}
