// The decoder classes of programme titles and descriptions (ATSC A/65, Annex C): whole texts, by a context-tree table.
#include "detail/context_text.h"
#include "zelk.h"
#include "zelk.hpp"

#include <algorithm>
#include <array>

namespace zelk {
namespace {

constexpr int success = 0;
constexpr int inputEnded = 1;
constexpr int badArguments = -1;
constexpr int outputTooSmall = -2;

constexpr unsigned int bitsPerByte = 8;

// The part of a text that a caller gets: the characters from `skipCount` on, as far as the capacity goes.
class KeptCharacters {
public:
    KeptCharacters(unsigned char *dst, unsigned int capacity, unsigned int skipCount, unsigned int length)
        : dst_(dst), capacity_(capacity), skipCount_(skipCount), maybeEmpty_(length < certainText) {}

    // Characters as many as come at once: where they go, if there is room for many, else by way of a buffer. So too if
    // there may be none: then nothing is written, not even a terminator, and a run may write one byte too many.
    void appendRun(detail::ContextText &text) {
        constexpr unsigned int shortRun = 256;
        const unsigned int at = position_ - std::min(skipCount_, position_);
        const unsigned int room = capacity_ - std::min(at, capacity_);
        if (position_ >= skipCount_ && room >= shortRun && !maybeEmpty_) {
            position_ += text.run(dst_ + at, room);
        } else {
            std::array<unsigned char, shortRun> run;
            append(run.data(), text.run(run.data(), run.size()));
        }
    }

    void append(const unsigned char *characters, unsigned int count) {
        const unsigned int skipped = std::min(count, skipCount_ - std::min(position_, skipCount_));
        const unsigned int at = position_ + skipped - std::min(skipCount_, position_ + skipped);
        const unsigned int kept = std::min(count - skipped, capacity_ - std::min(at, capacity_));
        if (kept != 0) {
            std::copy_n(characters + skipped, kept, dst_ + at);
        }
        position_ += count;
    }

    // Characters so far, left out ones included.
    unsigned int position() const { return position_; }

private:
    // Bytes that hold a character of any published code, of which the longest has 30 bits.
    static constexpr unsigned int certainText = 4;

    unsigned char *dst_;
    unsigned int capacity_;
    unsigned int skipCount_;
    bool maybeEmpty_;
    unsigned int position_ = 0;
};

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
    const unsigned int capacity = *dstLength;
    const unsigned int length = src[srcLength - 1] == 0 ? srcLength - 1 : srcLength;
    KeptCharacters kept(dst, capacity, skipCount_, length);
    detail::ContextText text(table_, src, length);
    for (;;) {
        kept.appendRun(text);
        const int character = text.next();
        if (character == detail::ContextText::inputEnded) {
            break;
        }
        const auto byte = static_cast<unsigned char>(character);
        kept.append(&byte, 1);
    }

    const unsigned int count = kept.position();
    if (count == 0) {
        *dstLength = 0;
        return success;
    }
    constexpr unsigned char terminator = 0;
    kept.append(&terminator, 1);
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
        // A position after the last bit of a byte is the beginning of the next one.
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
