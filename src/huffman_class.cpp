// The decoder classes of programme titles and descriptions (ATSC A/65, Annex C): whole texts, by a context-tree table.
#include "detail/context_tree.h"
#include "zelk.h"
#include "zelk.hpp"

#include <algorithm>

namespace zelk {
namespace {

constexpr int success = 0;
constexpr int inputEnded = 1;
constexpr int badArguments = -1;
constexpr int outputTooSmall = -2;

constexpr unsigned int bitsPerByte = 8;

// Follows one code in `tree`. Returns its leaf, or a value below leafFlag when the input ends inside the code.
unsigned int readLeaf(const unsigned char *table, unsigned int tree, const unsigned char *src, unsigned int srcLength,
                      _BitReaderPos_t &position) {
    unsigned int node = tree;
    unsigned int step = 0;
    while (step < detail::leafFlag && position.byteIndex < srcLength) {
        int bitIndex = 7 - position.bitIndex;
        step = detail::walkTree(table, tree, node, src[position.byteIndex], bitIndex);
        position.bitIndex = static_cast<unsigned char>(bitIndex < 0 ? 0 : 7 - bitIndex);
        position.byteIndex += bitIndex < 0 ? 1 : 0;
    }
    return step;
}

} // namespace

HuffmanDecoder::HuffmanDecoder(const unsigned char *table, unsigned int skipCount)
    : table_(table), skipCount_(skipCount) {}

HuffmanDecoder::HuffmanDecoder(const HuffmanDecoder &other) = default;

ProgramTitleDecoder::ProgramTitleDecoder(unsigned int skipCount) : HuffmanDecoder(_title_dec_table, skipCount) {}

ProgramDescriptionDecoder::ProgramDescriptionDecoder(unsigned int skipCount)
    : HuffmanDecoder(_desc_dec_table, skipCount) {}

int HuffmanDecoder::decode(const unsigned char *src, unsigned int srcLength, unsigned char *dst,
                           unsigned int *dstLength) const {
    if (dstLength == nullptr || src == nullptr || (dst == nullptr && *dstLength != 0) || srcLength == 0 ||
        table_ == nullptr) {
        return badArguments;
    }
    unsigned int capacity = *dstLength;
    const unsigned int length = src[srcLength - 1] == 0 ? srcLength - 1 : srcLength;
    unsigned int count = 0;
    unsigned char character = 0;
    for (_BitReaderPos_t position{}; position.byteIndex < length;) {
        unsigned int leaf = detail::escapeLeaf;
        if (character < detail::firstWithoutTree) {
            leaf = readLeaf(table_, detail::treeAfter(table_, character), src, length, position);
        }
        if (leaf < detail::leafFlag) {
            break;
        }
        if (leaf != detail::escapeLeaf) {
            character = static_cast<unsigned char>(leaf - detail::leafFlag);
        } else if (bitReader(bitsPerByte, src, length, &character, &position) != success) {
            break;
        }
        byteWriter(character, dst, skipCount_, &capacity, &count);
    }

    if (count == 0) {
        *dstLength = 0;
        return success;
    }
    unsigned int end = count;
    byteWriter(0, dst, skipCount_, &capacity, &end);
    if (count < skipCount_) {
        *dstLength = 0;
        return success;
    }
    // The terminator and one spare byte: callers size their buffers by it.
    *dstLength = count + 2 - skipCount_;
    return dst != nullptr && capacity < *dstLength ? outputTooSmall : success;
}

// NOLINTBEGIN(readability-convert-member-functions-to-static,readability-non-const-parameter): fixed signatures

int HuffmanDecoder::byteWriter(unsigned char c, unsigned char *dst, unsigned int skipCount, unsigned int *dstCapacity,
                               unsigned int *position) const {
    if (dstCapacity == nullptr || position == nullptr || (dst == nullptr && *dstCapacity != 0)) {
        return badArguments;
    }
    if (*position >= skipCount && *position - skipCount < *dstCapacity) {
        dst[*position - skipCount] = c;
    }
    ++*position;
    return success;
}

int HuffmanDecoder::bitReader(unsigned char bitCount, const unsigned char *src, unsigned int srcLength,
                              unsigned char *out, _BitReaderPos_t *position) const {
    if (src == nullptr || bitCount > bitsPerByte || out == nullptr || position == nullptr) {
        return badArguments;
    }
    unsigned int value = 0;
    unsigned int wanted = bitCount;
    while (position->byteIndex < srcLength) {
        // A position behind the last bit of a byte is the beginning of the next one.
        const unsigned int bitIndex = std::min<unsigned int>(position->bitIndex, bitsPerByte);
        const unsigned int left = bitsPerByte - bitIndex;
        const unsigned int taken = std::min(wanted, left);
        value = value << taken | (src[position->byteIndex] >> (left - taken) & ((1U << taken) - 1U));
        wanted -= taken;
        position->bitIndex = static_cast<unsigned char>((bitIndex + taken) % bitsPerByte);
        position->byteIndex += bitIndex + taken == bitsPerByte ? 1 : 0;
        if (wanted == 0) {
            *out = static_cast<unsigned char>(value);
            return success;
        }
    }
    return inputEnded;
}

// NOLINTEND(readability-convert-member-functions-to-static,readability-non-const-parameter)

} // namespace zelk
