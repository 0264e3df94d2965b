// Codes are looked for in the trees that decoders walk, which have at most 127 nodes. Those of DVB text, between
// graphic characters of ASCII, stand in tables.
#include "context_encoder.h"

#include "detail/bit_window.h"
#include "detail/context_tree.h"
#include "tables/context_tree.h"
#include "tables/huffman_dvb1.h"
#include "tables/huffman_dvb2.h"
#include "zelk_insight.h"

#include <array>

namespace zelk::insight {
namespace {

using detail::escapeLeaf;
using detail::firstWithoutTree;
using detail::leafFlag;
using detail::treeAfter;

// The shortest code of a leaf, or a length of 0: the tree breadth first.
Code codeOfLeaf(const unsigned char *tree, unsigned int leaf) {
    struct Place {
        unsigned char node;
        unsigned char length;
        std::uint32_t bits;
    };
    std::array<Place, leafFlag> queue;
    queue[0] = {0, 0, 0};
    unsigned int queued = 1;
    for (unsigned int i = 0; i < queued; ++i) {
        const Place place = queue[i];
        for (const unsigned int bit : {0U, 1U}) {
            const unsigned int next = tree[2 * place.node + bit];
            const std::uint32_t bits = place.bits << 1U | bit;
            if (next == leaf) {
                return {bits, place.length + 1U};
            }
            if (next < leafFlag && queued < queue.size()) {
                queue[queued++] = {static_cast<unsigned char>(next), static_cast<unsigned char>(place.length + 1),
                                   bits};
            }
        }
    }
    return {0, 0};
}

} // namespace

const unsigned char *contextTable(unsigned int number) {
    switch (number) {
    case 1:
        return HuffmanDecodeTable_1;
    case 2:
        return HuffmanDecodeTable_2;
    case 3:
        return _title_dec_table;
    case 4:
        return _desc_dec_table;
    default:
        return nullptr;
    }
}

// ---- Codes in tables ----

#if !defined(ZELK_COMPACT)
namespace {

// Codes after the graphic characters of ASCII and at the start. Column 0 is the end, row 0 the start.
constexpr unsigned int firstGraphic = 0x20;
constexpr unsigned int columns = 1 + firstWithoutTree - firstGraphic;

// At least `columns` where there is none.
constexpr unsigned int columnOf(unsigned int byte) {
    return byte >= firstGraphic ? byte - (firstGraphic - 1) : byte == 0 ? 0 : columns;
}

// The shortest codes of a row, those of length 0 unknown.
struct CodeRow {
    std::array<Code, columns> codes{};
    Code escape{};

    consteval void add(const unsigned char *tree, unsigned int node, Code code) {
        for (unsigned int bit = 0; bit < 2; ++bit) {
            const unsigned int next = tree[2 * node + bit];
            const Code longer{code.bits << 1U | bit, code.length + 1};
            if (next < leafFlag) {
                add(tree, next, longer);
                continue;
            }
            const unsigned int column = columnOf(next - leafFlag);
            if (next != escapeLeaf && column >= columns) {
                throw "a control character has a code";
            }
            Code *const known = next == escapeLeaf ? &escape : &codes[column];
            if (known->length == 0 || longer.length < known->length) {
                *known = longer;
            }
        }
    }
};

using CodeRows = std::array<CodeRow, columns>;

template <std::size_t Size>
consteval CodeRows codeRows(const std::array<unsigned char, Size> &table) {
    CodeRows rows{};
    for (unsigned int before = 0; before < firstWithoutTree; ++before) {
        if (columnOf(before) < columns) {
            rows[columnOf(before)].add(table.data() + treeAfter(table.data(), before), 0, {0, 0});
        }
    }
    return rows;
}

// Most codes have few bits, and two bytes hold them.
constexpr unsigned int mostShort = 11; // bits

constexpr bool isShort(Code code) {
    return code.length - 1 < mostShort;
}

consteval std::size_t longCodesIn(const CodeRows &rows) {
    std::size_t count = 0;
    for (const CodeRow &row : rows) {
        for (const Code &code : row.codes) {
            count += code.length > mostShort ? 1 : 0;
        }
    }
    return count;
}

// A short code is its bits and below them how many; for a long one stands its place in a list, counted from 1, and 0
// for what comes after an escape.
template <std::size_t LongCodes>
class PackedCodes {
public:
    static constexpr unsigned int notShort = 0x8000; // set where it is no short one
    static constexpr unsigned int shortBits = 4;
    static constexpr unsigned int shortMask = (1U << shortBits) - 1;

    consteval explicit PackedCodes(const CodeRows &rows) {
        static_assert(mostShort <= shortMask && mostShort + shortBits <= 15 && LongCodes < notShort);
        std::uint32_t longCodes = 0;
        for (unsigned int row = 0; row < columns; ++row) {
            if (rows[row].escape.length == 0) {
                throw "a character without a code has none at all";
            }
            escapes_[row] = longOf(rows[row].escape);
            for (unsigned int column = 0; column < columns; ++column) {
                const Code code = rows[row].codes[column];
                std::uint32_t packed = code.bits << shortBits | code.length;
                if (!isShort(code)) {
                    packed = notShort | (code.length == 0 ? 0 : longCodes + 1);
                }
                if (code.length > mostShort) {
                    long_[longCodes++] = longOf(code);
                }
                codes_[row][column] = static_cast<std::uint16_t>(packed);
            }
        }
    }

    // Of two graphic characters of ASCII.
    unsigned int packed(unsigned int before, unsigned int byte) const {
        return codes_[before - (firstGraphic - 1)][byte - (firstGraphic - 1)];
    }

    // Of length 0 where it is not known.
    Code after(unsigned int before, unsigned int byte) const {
        const unsigned int row = columnOf(before);
        const unsigned int column = columnOf(byte);
        if (row >= columns) {
            return {0, 0};
        }
        const unsigned int packed = column < columns ? codes_[row][column] : notShort;
        if (packed < notShort) {
            return {packed >> shortBits, packed & shortMask};
        }
        if (packed > notShort) {
            const std::uint32_t code = long_[packed - notShort - 1];
            return {code >> longBits, code & longMask};
        }
        return {escapes_[row] >> longBits << 8U | byte, (escapes_[row] & longMask) + 8};
    }

private:
    static constexpr unsigned int longBits = 5;
    static constexpr unsigned int longMask = (1U << longBits) - 1;

    static consteval std::uint32_t longOf(Code code) { return code.bits << longBits | code.length; }

    std::array<std::array<std::uint16_t, columns>, columns> codes_{};
    std::array<std::uint32_t, LongCodes> long_{};
    std::array<std::uint32_t, columns> escapes_{};
};

constexpr CodeRows rows1 = codeRows(tables::expandCodes<sizeof HuffmanDecodeTable_1>(tables::dvbCodes1));
constexpr CodeRows rows2 = codeRows(tables::expandCodes<sizeof HuffmanDecodeTable_2>(tables::dvbCodes2));
constexpr PackedCodes<longCodesIn(rows1)> codes1(rows1);
constexpr PackedCodes<longCodesIn(rows2)> codes2(rows2);

} // namespace
#endif

Code contextCode(const unsigned char *table, unsigned int before, unsigned int byte) {
    if (before >= firstWithoutTree) {
        return {byte, 8};
    }
#if !defined(ZELK_COMPACT)
    const Code known = table == HuffmanDecodeTable_1   ? codes1.after(before, byte)
                       : table == HuffmanDecodeTable_2 ? codes2.after(before, byte)
                                                       : Code{0, 0};
    if (known.length != 0) {
        return known;
    }
#endif
    const unsigned char *const tree = table + treeAfter(table, before);
    const unsigned int leaf = leafFlag + byte;
    const Code code = byte < leafFlag && leaf != escapeLeaf ? codeOfLeaf(tree, leaf) : Code{0, 0};
    if (code.length != 0) {
        return code;
    }
    const Code escaped = codeOfLeaf(tree, escapeLeaf);
    return {escaped.bits << 8U | byte, escaped.length + 8};
}

// ---- Whether bytes are the code of a text ----

#if !defined(ZELK_COMPACT)
namespace {

// Compares codes with the bits of a text, several at once.
class CodeComparison {
public:
    CodeComparison(const unsigned char *bytes, std::size_t count) : window_(bytes, count, 0) {}

    static constexpr unsigned int room = 56; // bits until compare()

    void add(Code code) {
        bits_ = bits_ << code.length | code.bits;
        length_ += code.length;
    }

    bool compare() {
        const bool equal =
            window_.left() >= static_cast<int>(length_) && window_.bits() >> 1U >> (63 - length_) == bits_;
        window_.drop(equal ? length_ : 0);
        window_.fill();
        bits_ = 0;
        length_ = 0;
        return equal;
    }

    std::uint64_t position() const { return window_.position(window_.left()); }

private:
    detail::BitWindow window_;
    std::uint64_t bits_ = 0;
    unsigned int length_ = 0;
};

template <std::size_t LongCodes>
class TextComparison {
public:
    TextComparison(const PackedCodes<LongCodes> &codes, const unsigned char *table, const unsigned char *bytes,
                   std::size_t count)
        : codes_(codes), table_(table), count_(count), comparison_(bytes, count) {}

    bool isOf(const unsigned char *text, std::size_t length) {
        std::size_t at = 0;
        while (at < length) {
            if (length - at >= together && compareSome(text + at)) {
                at += together;
            } else if (compareOne(text[at])) {
                ++at;
            } else {
                return false;
            }
        }
        return compareOne(0) && (comparison_.position() + 7) / 8 == count_;
    }

private:
    static constexpr unsigned int together = 5;
    static_assert(together * mostShort <= CodeComparison::room);

    bool compareOne(unsigned int byte) {
        comparison_.add(contextCode(table_, before_, byte));
        before_ = byte;
        return comparison_.compare();
    }

    // False, with nothing done, where not all of them are short codes between graphic characters of ASCII.
    bool compareSome(const unsigned char *text) {
        unsigned int before = before_;
        unsigned int all = 0;
        std::array<unsigned int, together> codes;
        bool graphic = before - firstGraphic < firstWithoutTree - firstGraphic;
        for (unsigned int i = 0; i < together; ++i) {
            graphic = graphic && text[i] - firstGraphic < firstWithoutTree - firstGraphic;
        }
        if (!graphic) {
            return false;
        }
        for (unsigned int i = 0; i < together; ++i) {
            codes[i] = codes_.packed(before, text[i]);
            all |= codes[i];
            before = text[i];
        }
        if (all >= codes_.notShort) {
            return false;
        }
        for (const unsigned int code : codes) {
            comparison_.add({code >> codes_.shortBits, code & codes_.shortMask});
        }
        if (!comparison_.compare()) {
            return false;
        }
        before_ = before;
        return true;
    }

    const PackedCodes<LongCodes> &codes_;
    const unsigned char *table_;
    std::size_t count_;
    CodeComparison comparison_;
    unsigned int before_ = 0;
};

} // namespace

bool isContextText(int encodingType, const char *text, std::size_t length, const unsigned char *bytes,
                   std::size_t count) {
    const auto *const characters = reinterpret_cast<const unsigned char *>(text);
    return encodingType == 1 ? TextComparison(codes1, HuffmanDecodeTable_1, bytes, count).isOf(characters, length)
                             : TextComparison(codes2, HuffmanDecodeTable_2, bytes, count).isOf(characters, length);
}
#endif

} // namespace zelk::insight

using namespace zelk::insight;

unsigned int zelkInsightCompress(unsigned int code, char *out, int outSize, const char *in, int inLen) {
    const unsigned char *const table = contextTable(code);
    BitWriter writer(out, outSize);
    unsigned int before = 0;
    bool ended = table == nullptr;
    for (unsigned int i = 0; !ended; ++i) {
        const bool counted = inLen >= 0;
        const bool past = in == nullptr || (counted && i >= static_cast<unsigned int>(inLen));
        const unsigned int byte = past ? 0U : static_cast<unsigned char>(in[i]);
        writer.put(contextCode(table, before, byte));
        before = byte;
        ended = byte == 0;
    }
    return writer.finish();
}
