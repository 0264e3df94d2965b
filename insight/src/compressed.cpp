// Compressed text, code by code.
//
// The context-tree codes are walked in the tables that libmurn-zelk exports. The codes of pieces come from the rows of
// the data files that the receiver's library is built from, as a tree of bits.
#include "compressed.h"

#include "detail/bit_window.h"
#include "detail/context_tree.h"
#include "tables/derived.h"
#include "tables/malaysia_rows.h"
#include "zelk.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace zelk::insight {
namespace {

// The bits of the text proper; `at` counts from the first bit of the string.
class Bits {
public:
    explicit Bits(const Reading &reading)
        : bytes_(reading.text), at_(std::uint64_t{8} * reading.begin), end_(std::uint64_t{8} * reading.end) {}

    bool atEnd() const { return at_ >= end_; }
    std::uint64_t at() const { return at_; }
    std::uint64_t left() const { return atEnd() ? 0 : end_ - at_; }
    std::uint64_t end() const { return end_; }

    unsigned int peek() const { return static_cast<unsigned int>(bytes_[at_ / 8]) >> (7 - at_ % 8) & 1U; }
    unsigned int next() {
        const unsigned int bit = peek();
        ++at_;
        return bit;
    }
    void moveTo(std::uint64_t at) { at_ = at; }

private:
    const unsigned char *bytes_;
    std::uint64_t at_;
    std::uint64_t end_;
};

Span spanOf(std::uint64_t first, std::uint64_t end) {
    return bitSpan(static_cast<unsigned int>(first), static_cast<unsigned int>(end));
}

// What follows the end of the text inside its last byte is padding; whole bytes after that are a finding.
void recordRest(Recorder &recorder, const Reading &reading, const Bits &bits) {
    const auto first = static_cast<unsigned int>((bits.at() + 7) / 8);
    if (reading.ends && first < reading.end) {
        const Span rest{first, reading.end - first};
        recorder.silent(ZelkInsightStepDropped, rest, 0, ZelkInsightCompressedRest);
        recorder.found(ZelkInsightCompressedRest, rest);
    }
}

void recordCut(Recorder &recorder, std::uint64_t first, std::uint64_t end) {
    const Span span = first < end ? spanOf(first, end) : Span{static_cast<unsigned int>(end / 8), 0};
    if (first < end) {
        recorder.silent(ZelkInsightStepPiece, span, 0, ZelkInsightCompressedCut);
    }
    recorder.found(ZelkInsightCompressedCut, span, recorder.length(), span.bitCount);
}

// ---- Codes by the character before ----

using detail::escapeLeaf;
using detail::firstWithoutTree;
using detail::leafFlag;
using detail::treeAfter;

constexpr int inputEnded = -1;

// The next byte of UTF-8, or inputEnded; `before` is the one before.
int nextByte(Bits &bits, const unsigned char *table, unsigned int before) {
    if (before < firstWithoutTree) {
        const unsigned int tree = treeAfter(table, before);
        unsigned int node = 0;
        do {
            if (bits.atEnd()) {
                return inputEnded;
            }
            node = table[tree + 2 * node + bits.next()];
        } while (node < leafFlag);
        if (node != escapeLeaf) {
            return static_cast<int>(node - leafFlag);
        }
    }
    if (bits.left() < 8) {
        return inputEnded;
    }
    unsigned int literal = 0;
    for (int i = 0; i < 8; ++i) {
        literal = literal << 1U | bits.next();
    }
    return static_cast<int>(literal);
}

} // namespace

// The bytes are UTF-8, read as libmurn-zelk reads it, whose answers for the end of a text and for "more is needed" are
// the characters U+FFFF and U+FFFE: they do as much here.
void recordContextText(Recorder &recorder, const Reading &reading, unsigned int flags) {
    constexpr unsigned int textEnded = 0xFFFF;
    constexpr unsigned int replacementBytes = 0xEFBFBD;
    constexpr unsigned int byteSkipped = 0xFFFE;
    const unsigned char *const table = reading.extra == 1 ? HuffmanDecodeTable_1 : HuffmanDecodeTable_2;
    UnitRecorder units(recorder, flags);
    Utf8DecoderState utf8;
    zelkInitUtf8Decoder(&utf8);
    Bits bits(reading);
    unsigned int before = 0;
    unsigned int recent = 0; // the last bytes
    // The first bytes of the character after a surrogate that waits: where the two are a pair, they are parts of it.
    struct Piece {
        Span span;
        unsigned int byte;
    };
    std::array<Piece, 2> pieces{};
    unsigned int pieceCount = 0;
    const auto settle = [&] {
        units.flush();
        for (unsigned int i = 0; i < pieceCount; ++i) {
            recorder.silent(ZelkInsightStepPiece, pieces[i].span, pieces[i].byte);
        }
        pieceCount = 0;
    };
    for (;;) {
        const std::uint64_t first = bits.at();
        const int byte = nextByte(bits, table, before);
        if (byte == inputEnded) {
            settle();
            recordCut(recorder, first, bits.end());
            return;
        }
        before = static_cast<unsigned int>(byte);
        recent = (recent << 8U | before) & 0xFFFFFFU;
        const bool inside = utf8.remaining != 0;
        const unsigned int answer = byte == 0 ? textEnded : zelkUtf8Decode(&utf8, before);
        const unsigned int character = answer & 0xFFFFU;
        const Span span = spanOf(first, bits.at());
        if (character == textEnded) {
            settle();
            recorder.silent(ZelkInsightStepEnd, span);
            recordRest(recorder, reading, bits);
            return;
        }
        if (answer != character) {
            settle();
            recorder.found(ZelkInsightUtf8Malformed, {span.offset, 0});
        }
        if (character == byteSkipped) {
            settle();
            const std::uint64_t after = bits.at() + 8 < bits.end() ? bits.at() + 8 : bits.end();
            bits.moveTo(after);
            const Span skipped = spanOf(first, after);
            recorder.silent(ZelkInsightStepDropped, skipped, before, ZelkInsightUtf8Malformed);
            recorder.found(ZelkInsightUtf8Malformed, skipped);
        } else if (character == 0 && units.waits() && pieceCount < pieces.size()) {
            pieces[pieceCount++] = {span, before};
        } else if (character == 0) {
            settle();
            recorder.silent(ZelkInsightStepPiece, span, before);
        } else if (character == replacement && !(inside && recent == replacementBytes)) {
            settle();
            recorder.malformed(ZelkInsightUtf8Malformed, span, before, 1);
        } else {
            if (!units.waits() || !isLowSurrogate(character)) {
                settle();
            }
            units.unit(character, span, before);
            pieceCount = 0;
        }
    }
}

// ---- Codes of pieces ----

namespace {

// The files, each in a string of its own, which the build of the receiver's library has put around it and checked.
constexpr char englishText[] =
#include "malaysia_en.tsv.h"
    ;
constexpr char malayText[] =
#include "malaysia_ms.tsv.h"
    ;
constexpr auto englishRows =
    tables::readMalaysiaRows<tables::englishTable.rows()>(englishText, tables::englishTable).rows;
constexpr auto malayRows = tables::readMalaysiaRows<tables::malayTable.rows()>(malayText, tables::malayTable).rows;

template <std::size_t Count>
using Rows = std::array<tables::MalaysiaRow, Count>;

// A node of a tree: its piece, filled up with zeros, if a code ends there, and how codes go on.
struct PieceNode {
    static constexpr std::uint16_t zeroBit = 0x8000; // a 0 bit leads to the next node

    std::array<char, tables::longestPiece> piece{};
    std::uint16_t next = 0; // zeroBit or not, and where a 1 bit leads, counted from this node; 0 where no code goes on

    constexpr bool branches() const { return next != 0; }
    constexpr bool endsCode() const { return piece[0] != 0; }
    // Counted from this node; 0 where no code goes on.
    constexpr std::size_t child(unsigned int bit) const {
        const auto ofOne = static_cast<std::uint16_t>(next & ~zeroBit);
        return bit == 1 ? ofOne : ofOne != next ? 1 : 0;
    }
};

struct GrownNode {
    std::array<std::size_t, 2> child{}; // by the next bit; 0 where no code goes on
    std::string_view piece;             // empty where no code ends
};

// No code has more bits: what a tree has room for while it grows.
constexpr std::size_t mostBits = 24;

template <std::size_t Nodes>
struct GrownTree {
    std::array<GrownNode, Nodes> nodes{};
    std::size_t used = 1;
};

template <std::size_t Count>
consteval GrownTree<Count * mostBits> grow(const Rows<Count> &rows) {
    GrownTree<Count * mostBits> tree;
    for (const tables::MalaysiaRow &row : rows) {
        std::size_t node = 0;
        for (const char bit : row.code) {
            std::size_t &child = tree.nodes[node].child[bit == '1' ? 1 : 0];
            if (child == 0) {
                child = tree.used++;
            }
            node = child;
        }
        tree.nodes[node].piece = row.piece;
    }
    return tree;
}

// A tree in few bytes: each node with all of its 0 bit after it, then all of its 1 bit. A byte says which bits go on
// and how long the piece is, which follows.
struct Packed {
    static constexpr unsigned int zero = 1;
    static constexpr unsigned int one = 2;
    static constexpr unsigned int characters = 4; // the number of them, times this
};

template <std::size_t Room>
consteval std::size_t pack(const GrownTree<Room> &tree, std::size_t place, char *out) {
    const GrownNode &node = tree.nodes[place];
    std::size_t used = 1;
    out[0] = static_cast<char>((node.child[0] != 0 ? Packed::zero : 0) | (node.child[1] != 0 ? Packed::one : 0) |
                               node.piece.size() * Packed::characters);
    for (const char character : node.piece) {
        out[used++] = character;
    }
    for (const std::size_t child : node.child) {
        used += child != 0 ? pack(tree, child, out + used) : 0;
    }
    return used;
}

template <std::size_t Count, std::size_t Room>
consteval std::size_t packedBytes(const Rows<Count> &rows, const GrownTree<Room> &tree) {
    std::size_t bytes = tree.used;
    for (const tables::MalaysiaRow &row : rows) {
        bytes += row.piece.size();
    }
    return bytes;
}

template <std::size_t Bytes, std::size_t Room>
consteval std::array<char, Bytes> packed(const GrownTree<Room> &tree) {
    std::array<char, Bytes> bytes{};
    pack(tree, 0, bytes.data());
    return bytes;
}

// Writes the node that `in` begins with and those below it. Returns the place after them.
ZELK_DERIVING PieceNode *unpack(const char *&in, PieceNode *node) {
    const auto head = static_cast<unsigned int>(static_cast<unsigned char>(*in++));
    for (unsigned int i = 0; i < head / Packed::characters; ++i) {
        node->piece[i] = *in++;
    }
    PieceNode *end = node + 1;
    if ((head & Packed::zero) != 0) {
        node->next = PieceNode::zeroBit;
        end = unpack(in, end);
    }
    if ((head & Packed::one) != 0) {
        node->next = static_cast<std::uint16_t>(node->next + (end - node));
        end = unpack(in, end);
    }
    return end;
}

template <std::size_t Nodes>
ZELK_DERIVING std::array<PieceNode, Nodes> unpacked(const char *in) {
    std::array<PieceNode, Nodes> nodes{};
    unpack(in, nodes.data());
    return nodes;
}

constexpr auto grownEnglish = grow(englishRows);
constexpr auto grownMalay = grow(malayRows);
constexpr auto packedEnglish = packed<packedBytes(englishRows, grownEnglish)>(grownEnglish);
constexpr auto packedMalay = packed<packedBytes(malayRows, grownMalay)>(grownMalay);
ZELK_DERIVED auto englishTree = unpacked<grownEnglish.used>(packedEnglish.data());
ZELK_DERIVED auto malayTree = unpacked<grownMalay.used>(packedMalay.data());

constexpr int malayType = 6;
constexpr unsigned int endPath = 0x7F; // a 1 bit that leads nowhere after this path ends the text

void recordPiece(Recorder &recorder, const PieceNode &node, Span span) {
    std::array<unsigned int, tables::longestPiece> characters{};
    unsigned int count = 0;
    while (count < characters.size() && node.piece[count] != 0) {
        characters[count] = static_cast<unsigned char>(node.piece[count]);
        ++count;
    }
    recorder.characters(characters.data(), count, span);
}

// ---- Pieces without findings ----

#if !defined(ZELK_COMPACT)
// Where the first bits of a code lead: a node, and how many of them lead there.
constexpr unsigned int rootBits = 10;
constexpr unsigned int rootNodeAt = 4;
using RootSteps = std::array<std::uint16_t, std::size_t{1} << rootBits>;

template <std::size_t Nodes>
consteval RootSteps rootStepsOf(const std::array<PieceNode, Nodes> &tree) {
    static_assert(Nodes <= std::size_t{1} << (16 - rootNodeAt) && rootBits < 1U << rootNodeAt);
    RootSteps steps{};
    for (std::size_t bits = 0; bits < steps.size(); ++bits) {
        std::size_t node = 0;
        unsigned int used = 0;
        for (; used < rootBits && tree[node].branches(); ++used) {
            const std::size_t child = tree[node].child(bits >> (rootBits - 1 - used) & 1U);
            if (child == 0) {
                break;
            }
            node += child;
        }
        steps[bits] = static_cast<std::uint16_t>(node << rootNodeAt | used);
    }
    return steps;
}

constexpr RootSteps englishRootSteps = rootStepsOf(englishTree);
constexpr RootSteps malayRootSteps = rootStepsOf(malayTree);

constexpr auto isAscii = [](const PieceNode &node) {
    return std::all_of(node.piece.begin(), node.piece.end(),
                       [](char character) { return static_cast<unsigned char>(character) < 0x80; });
};
static_assert(std::all_of(englishTree.begin(), englishTree.end(), isAscii));
static_assert(std::all_of(malayTree.begin(), malayTree.end(), isAscii));

struct Walk {
    const PieceNode *node;
    unsigned int used; // bits

    // Goes on along the bits of a window, to at most `most` of them.
    void goOn(std::uint64_t bits, unsigned int most) {
        while (used < most && node->branches()) {
            const std::size_t child = node->child(bits >> (63 - used) & 1U);
            if (child == 0) {
                break;
            }
            node += child;
            ++used;
        }
    }
};

// Text of pieces and of literals of ASCII.
class PieceCopy {
public:
    PieceCopy(const Reading &reading, char *out, std::size_t room)
        : tree_(reading.extra == malayType ? malayTree.data() : englishTree.data()),
          roots_(reading.extra == malayType ? malayRootSteps : englishRootSteps), count_(reading.end - reading.begin),
          window_(reading.text + reading.begin, count_, 0), out_(out), room_(room) {}

    bool copy() {
        while (room_ - length_ > tables::longestPiece) {
            const Walk walk = walkFromRoot();
            if (walk.used <= left() && walk.node->endsCode()) [[likely]] {
                put(walk.node->piece);
                window_.drop(walk.used);
            } else if (walk.used >= left()) {
                return endsWithInput();
            } else if (isEnd(walk)) {
                return (window_.position(window_.left()) + walk.used + 1 + 7) / 8 == count_;
            } else if (!copyLiteral(walk)) {
                return false;
            }
            window_.fill();
        }
        return false;
    }

    std::size_t length() const { return length_; }

private:
    unsigned int left() const { return static_cast<unsigned int>(window_.left()); }

    Walk walkFromRoot() const {
        const std::uint64_t bits = window_.bits();
        const unsigned int root = roots_[static_cast<std::size_t>(bits >> (64 - rootBits))];
        Walk walk{tree_ + (root >> rootNodeAt), root & ((1U << rootNodeAt) - 1)};
        if (walk.used == rootBits) {
            walk.goOn(bits, mostBits);
        }
        return walk;
    }

    void put(const std::array<char, tables::longestPiece> &piece) {
        std::memcpy(out_ + length_, piece.data(), piece.size());
        const auto bytes = std::bit_cast<std::uint32_t>(piece);
        const int zeros =
            std::endian::native == std::endian::little ? std::countl_zero(bytes) : std::countr_zero(bytes);
        length_ += piece.size() - static_cast<unsigned int>(zeros) / 8;
    }

    // Fewer bits are left than a code has. Where they are fewer than eight, they fill the last byte.
    bool endsWithInput() const {
        Walk walk{tree_, 0};
        walk.goOn(window_.bits(), left());
        return left() < 8 && walk.used == left() && !walk.node->endsCode();
    }

    std::uint64_t bitsFrom(unsigned int first, unsigned int count) const {
        return window_.bits() << first >> 1U >> (63 - count);
    }
    bool isEnd(const Walk &walk) const { return bitsFrom(0, walk.used) == endPath && bitsFrom(walk.used, 1) == 1; }

    bool copyLiteral(const Walk &walk) {
        const unsigned int used = walk.used + 1 + 8;
        const std::uint64_t literal = bitsFrom(walk.used + 1, 8);
        if (used > left() || literal < 0x20 || literal > 0x7E) {
            return false;
        }
        out_[length_++] = static_cast<char>(literal);
        window_.drop(used);
        return true;
    }

    const PieceNode *tree_;
    const RootSteps &roots_;
    std::size_t count_; // bytes
    detail::BitWindow window_;
    char *out_;
    std::size_t room_;
    std::size_t length_ = 0;
};
#endif

} // namespace

#if !defined(ZELK_COMPACT)
bool copyPieces(const Reading &reading, char *out, std::size_t room, std::size_t &length) {
    PieceCopy text(reading, out, room);
    const bool whole = text.copy();
    length = text.length();
    return whole;
}
#endif

void recordPieces(Recorder &recorder, const Reading &reading) {
    const PieceNode *const tree = reading.extra == malayType ? malayTree.data() : englishTree.data();
    recorder.stopAtCut();
    Bits bits(reading);
    for (;;) {
        const std::uint64_t first = bits.at();
        std::size_t node = 0;
        unsigned int path = 0;
        while (!bits.atEnd() && tree[node].branches()) {
            const unsigned int bit = bits.peek();
            const std::size_t child = tree[node].child(bit);
            if (child == 0) {
                break;
            }
            node += child;
            path = path << 1U | bit;
            bits.next();
        }
        if (tree[node].endsCode()) {
            recordPiece(recorder, tree[node], spanOf(first, bits.at()));
            continue;
        }
        if (bits.atEnd()) {
            if (first < bits.end()) {
                recorder.silent(ZelkInsightStepPiece, spanOf(first, bits.end())); // bits that fill the last byte
            }
            if (bits.end() - first >= 8) {
                recorder.found(ZelkInsightCompressedCut, spanOf(first, bits.end()), recorder.length(),
                               static_cast<unsigned int>(bits.end() - first));
            }
            return;
        }
        const unsigned int bit = bits.next();
        if (bit == 1 && path == endPath) {
            recorder.silent(ZelkInsightStepEnd, spanOf(first, bits.at()));
            recordRest(recorder, reading, bits);
            return;
        }
        unsigned int literal = 0;
        const bool whole = bits.left() >= 8;
        for (int i = 0; i < 8 && !bits.atEnd(); ++i) {
            literal = literal << 1U | bits.next();
        }
        const unsigned int character = whole ? literal : 0;
        recorder.characters(&character, 1, spanOf(first, bits.at()));
        if (!whole) {
            recorder.found(ZelkInsightCompressedCut, spanOf(first, bits.at()), recorder.length(),
                           static_cast<unsigned int>(bits.at() - first));
        }
    }
}

} // namespace zelk::insight
