#include "detail/byte_convert.h"

#include "detail/sink.h"
#include "kernels/byte_sets.h"

namespace zelk::detail {

namespace {

// The plain loop, for whatever text and room.
unsigned int convertBytes(tables::ByteSet set, char *out, int outSize, const char *in, int inLength) {
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    return convertUnits<Utf8Sink>(out, outSize, in, inLength, [&codePoints](char byte) -> unsigned int {
        return codePoints[static_cast<unsigned char>(byte)];
    });
}

// The bytes of a text before its zero byte, or all that are counted.
std::size_t lengthBeforeZero(const char *in, int inLength) {
    if (inLength < 0) {
        return std::strlen(in);
    }
    const void *zero = std::memchr(in, 0, static_cast<std::size_t>(inLength));
    return zero != nullptr ? static_cast<std::size_t>(static_cast<const char *>(zero) - in)
                           : static_cast<std::size_t>(inLength);
}

} // namespace

unsigned int bytesToUcs2(tables::ByteSet set, unsigned short *out, int outSize, const char *in, int inLength) {
    std::size_t length = 0;
    if (in != nullptr && outSize > 1) {
        length = std::min(lengthBeforeZero(in, inLength), static_cast<std::size_t>(outSize) - 1);
        kernels::byteSetToUcs2(set, reinterpret_cast<const unsigned char *>(in), length, out);
    }
    out[length] = 0;
    return static_cast<unsigned int>(length);
}

// The kernel takes the text as far as it surely fits; near the end of the buffer the plain loop skips what does not.
unsigned int bytesToUtf8(tables::ByteSet set, char *out, int outSize, const char *in, int inLength) {
    kernels::Progress done;
    if (in != nullptr && outSize > 1) {
        const std::size_t length = lengthBeforeZero(in, inLength);
        done = kernels::byteSetToUtf8(set, reinterpret_cast<const unsigned char *>(in), length, out,
                                      static_cast<std::size_t>(outSize));
        if (done.read == length) {
            out[done.written] = 0;
            return static_cast<unsigned int>(done.written);
        }
        in += done.read;
    }
    const auto read = static_cast<int>(done.read);
    const auto written = static_cast<unsigned int>(done.written);
    return written + convertBytes(set, out + written, outSize - static_cast<int>(written), in,
                                  inLength < 0 ? inLength : inLength - read);
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
