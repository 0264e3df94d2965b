#include "detail/byte_convert.h"

#include "detail/room.h"
#include "detail/utf8_char.h"
#include "kernels/byte_sets.h"

namespace zelk::detail {

namespace {

const unsigned char *bytesOf(const char *in) {
    return reinterpret_cast<const unsigned char *>(in);
}

template <class Unit>
unsigned int empty(Unit *out) {
    *out = 0;
    return 0;
}

// Numbers are compared, not addresses: where those have 32 bits, a count beyond a terminated text may lead around all
// of memory.
unsigned int toUcs2(tables::ByteSet set, unsigned short *out, int outSize, const char *in, int length) {
    const int fitting = std::min(length, outSize - 1);
    return ZELK_CHOOSE((set, out, bytesOf(in), bytesOf(in) + fitting), byteSetToUcs2);
}

unsigned int toUtf8(tables::ByteSet set, char *out, int outSize, const char *in, const unsigned char *inEnd) {
    if (isNominal(outSize)) [[unlikely]] {
        return kernels::plainByteSetToUtf8(set, out, out + outSize, bytesOf(in), inEnd, out);
    }
    return ZELK_CHOOSE((set, out, out + outSize, bytesOf(in), inEnd), byteSetToUtf8);
}

// The way of a text without a count is a function of its own: strlen() costs the other one registers.
[[gnu::noinline]] unsigned int terminatedToUcs2(tables::ByteSet set, unsigned short *out, int outSize, const char *in) {
    return toUcs2(set, out, outSize, in, static_cast<int>(std::min<std::size_t>(std::strlen(in), INT_MAX)));
}

[[gnu::noinline]] unsigned int terminatedToUtf8(tables::ByteSet set, char *out, int outSize, const char *in) {
    return toUtf8(set, out, outSize, in, bytesOf(in) + std::strlen(in));
}

} // namespace

unsigned int bytesToUcs2(tables::ByteSet set, unsigned short *out, int outSize, const char *in, int inLength) {
    if (in == nullptr || outSize < 2) {
        return empty(out);
    }
    return inLength < 0 ? terminatedToUcs2(set, out, outSize, in) : toUcs2(set, out, outSize, in, inLength);
}

// The kernels may store whole blocks; of a text without characters the terminator alone is written.
unsigned int bytesToUtf8(tables::ByteSet set, char *out, int outSize, const char *in, int inLength) {
    if (in == nullptr || outSize < 2 || inLength == 0 || *in == 0) {
        return empty(out);
    }
    return inLength < 0 ? terminatedToUtf8(set, out, outSize, in)
                        : toUtf8(set, out, outSize, in, bytesOf(in) + inLength);
}

unsigned int utf8LengthOfBytes(tables::ByteSet set, const char *in, int inLength) {
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    unsigned int length = 0;
    if (in != nullptr) {
        for (auto left = static_cast<unsigned int>(inLength); left != 0 && *in != 0; ++in, --left) {
            length += utf8EncodedLength(codePoints[static_cast<unsigned char>(*in)]);
        }
    }
    return length;
}

} // namespace zelk::detail
