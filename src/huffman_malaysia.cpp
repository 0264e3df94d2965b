// Compressed DVB text of encoding types 5 (English) and 6 (Malay): codes of 4 to 12 bits for pieces of one to four
// characters, SKMM MTSFB TC G001:2013.
//
// The rows come from tables/data/malaysia_*.tsv; the build has checked them against all that is known of the official
// tables. The compiler turns them into code trees, so that nothing is left to do on a first call, and into a lookup of
// the next bits, which gives most pieces at once; the exact rule is that of the tree.
#include "detail/huffman_malaysia.h"
#include "detail/bit_window.h"
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

struct Piece {
    std::array<char, 4> characters;
    std::uint8_t length;
};

struct Node {
    std::array<std::uint16_t, 2> child; // by the next bit; 0 where no code goes on
    std::uint16_t row;                  // of the piece, from 1; 0 for a node that ends no code
};

// A lookup by the next bits: the bits of the code in the low six bits, the row of its piece above them. 0 where the
// tree must be asked: for longer codes, for escapes, and where one more bit may tell a longer code.
using Lookup = std::uint16_t;
#if defined(ZELK_KERNELS_PORTABLE)
constexpr unsigned int lookupBits = 9; // 2 KiB for both tables
#else
constexpr unsigned int lookupBits = 11; // 8 KiB
#endif
constexpr unsigned int usedBits = 6;
constexpr unsigned int usedMask = (1U << usedBits) - 1;

template <std::size_t Rows, std::size_t Nodes>
struct Code {
    std::array<Piece, Rows + 1> pieces{}; // by row; none is row 0
    std::array<Node, Nodes> nodes{};      // the root first
    std::array<Lookup, 1U << lookupBits> lookups{};
    std::size_t size = 1;
};

constexpr Lookup lookUp(const Node *nodes, unsigned int bits) {
    std::size_t node = 0;
    for (unsigned int used = 0; used < lookupBits; ++used) {
        const std::size_t next = nodes[node].child[bits >> (lookupBits - 1 - used) & 1U];
        if (next == 0) {
            return nodes[node].row == 0 ? Lookup{0} : static_cast<Lookup>(unsigned{nodes[node].row} << usedBits | used);
        }
        node = next;
    }
    const bool branches = nodes[node].child[0] != 0 || nodes[node].child[1] != 0;
    return nodes[node].row == 0 || branches ? Lookup{0}
                                            : static_cast<Lookup>(unsigned{nodes[node].row} << usedBits | lookupBits);
}

// A node may both carry a piece and branch: one Malay code is the beginning of another.
template <std::size_t Nodes, std::size_t Rows>
consteval Code<Rows, Nodes> codeOf(const Row (&rows)[Rows]) {
    Code<Rows, Nodes> code;
    std::uint16_t number = 0;
    for (const Row &row : rows) {
        std::size_t node = 0;
        for (const char bit : row.code) {
            std::uint16_t &child = code.nodes[node].child[bit == '1' ? 1 : 0];
            if (child == 0) {
                child = static_cast<std::uint16_t>(code.size++);
            }
            node = child;
        }
        Piece &piece = code.pieces[++number];
        std::copy(row.piece.begin(), row.piece.end(), piece.characters.begin());
        piece.length = static_cast<std::uint8_t>(row.piece.size());
        code.nodes[node].row = number;
    }
    for (unsigned int bits = 0; bits < code.lookups.size(); ++bits) {
        code.lookups[bits] = lookUp(code.nodes.data(), bits);
    }
    return code;
}

constexpr std::size_t enoughNodes = 1024;
constexpr auto englishCode = codeOf<codeOf<enoughNodes>(englishRows).size>(englishRows);
constexpr auto malayCode = codeOf<codeOf<enoughNodes>(malayRows).size>(malayRows);

struct Figures {
    std::size_t entries;
    std::size_t shortestCode;
    std::size_t longestCode;
    std::array<unsigned int, 4> pieces; // of one to four characters
    unsigned int sum;                   // of 2^(12 - code length)
    unsigned int codesInCodes;          // codes that go on from the end of another

    constexpr bool operator==(const Figures &) const = default;
};

template <std::size_t Rows, std::size_t Nodes>
consteval Figures figuresOf(const Row (&rows)[Rows], const Code<Rows, Nodes> &code) {
    Figures figures{0, 12, 0, {}, 0, 0};
    for (const Row &row : rows) {
        figures.shortestCode = std::min(figures.shortestCode, row.code.size());
        figures.longestCode = std::max(figures.longestCode, row.code.size());
        ++figures.pieces.at(row.piece.size() - 1);
        figures.sum += 1U << (12 - row.code.size());
    }
    for (const Node &node : code.nodes) {
        if (node.row != 0) {
            ++figures.entries;
            figures.codesInCodes += (node.child[0] != 0 ? 1 : 0) + (node.child[1] != 0 ? 1 : 0);
        }
    }
    return figures;
}

static_assert(figuresOf(englishRows, englishCode) == Figures{258, 4, 11, {93, 126, 20, 19}, 3968, 0});
static_assert(figuresOf(malayRows, malayCode) == Figures{265, 4, 12, {93, 130, 21, 21}, 3833, 1});

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
};

template <std::size_t Rows, std::size_t Nodes>
constexpr Tables tablesOf(const Code<Rows, Nodes> &code) {
    return {code.nodes.data(), code.pieces.data(), code.lookups.data()};
}

// One code by the exact rule, or one literal. False where the text ends.
bool decodeOne(const Tables &tables, BitInput &bits, BoundedOutput &output) {
    const Node *node = tables.nodes;
    unsigned int path = 0;
    while (!bits.atEnd()) {
        const unsigned int bit = bits.peek();
        if (node->child[bit] == 0) {
            break;
        }
        node = tables.nodes + node->child[bit];
        path = path << 1U | bit;
        bits.step();
    }
    if (node->row != 0) {
        // The bit that ended the walk has not been used: it is the first of the next code.
        const Piece &piece = tables.pieces[node->row];
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

// As many codes as the lookup tells and as surely fit.
void decodeMany(const Tables &tables, BitInput &bits, BoundedOutput &output) {
    constexpr int batch = 56 / lookupBits; // lookups that a full window is good for
    constexpr int pieceRoom = sizeof(Piece::characters);
    std::array<char, 256> text;
    const int room = std::min(static_cast<int>(text.size()), output.room());
    int length = 0;
    BitWindow window = bits.window();
    bool known = true;
    while (known && room - length >= batch * pieceRoom) {
        for (int i = 0; i < batch && known; ++i) {
            const unsigned int found = tables.lookups[window.bits() >> (64 - lookupBits)];
            const unsigned int used = found & usedMask;
            known = used != 0 && static_cast<int>(used) <= window.left();
            if (known) {
                const Piece &piece = tables.pieces[found >> usedBits];
                std::copy_n(piece.characters.data(), pieceRoom, text.data() + length); // the next one cuts the excess
                length += piece.length;
                window.drop(used);
            }
        }
        window.fill();
    }
    output.append(text.data(), length);
    bits.moveTo(window.position(window.left()));
}

} // namespace

int malaysiaDecode(unsigned int tableId, const unsigned char *src, int srcLength, unsigned char *dst,
                   long long capacity) {
    const Tables tables = tableId == malayTable ? tablesOf(malayCode) : tablesOf(englishCode);
    BitInput bits(src, static_cast<std::size_t>(std::max(srcLength, 0)));
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
