#include "detail/byte_convert.h"

#include "detail/sink.h"
#include "detail/utf8_char.h"
#include "kernels/kernels.h"

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

unsigned int plainToUtf8(tables::ByteSet set, char *out, int outSize, const unsigned char *in, int length) {
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    return convertUnits<Utf8Sink>(out, outSize, in, length,
                                  [&codePoints](unsigned char byte) -> unsigned int { return codePoints[byte]; });
}

unsigned int toUcs2(tables::ByteSet set, unsigned short *out, int outSize, const char *in, int length) {
    const kernels::Progress done = kernels::kernels().bytesToUcs2(set, bytesOf(in), static_cast<unsigned int>(length),
                                                                  out, static_cast<unsigned int>(outSize - 1));
    out[done.written] = 0;
    return static_cast<unsigned int>(done.written);
}

// What a kernel leaves: near the end of the buffer what does not fit is skipped, and what comes after it may fit.
unsigned int toUtf8(tables::ByteSet set, char *out, int outSize, const char *in, int length) {
    const kernels::Progress done = kernels::kernels().bytesToUtf8(set, bytesOf(in), static_cast<unsigned int>(length),
                                                                  out, static_cast<unsigned int>(outSize - 1));
    const auto read = static_cast<int>(done.read);
    const auto written = static_cast<unsigned int>(done.written);
    if (read != length) {
        return written +
               plainToUtf8(set, out + written, outSize - static_cast<int>(written), bytesOf(in) + read, length - read);
    }
    out[written] = 0;
    return written;
}

int terminatedLength(const char *in) {
    return static_cast<int>(std::min<std::size_t>(std::strlen(in), INT_MAX));
}

// The way of a text without a count is a function of its own: strlen() costs the other one registers.
[[gnu::noinline]] unsigned int terminatedToUcs2(tables::ByteSet set, unsigned short *out, int outSize, const char *in) {
    return toUcs2(set, out, outSize, in, terminatedLength(in));
}

[[gnu::noinline]] unsigned int terminatedToUtf8(tables::ByteSet set, char *out, int outSize, const char *in) {
    return toUtf8(set, out, outSize, in, terminatedLength(in));
}

} // namespace

unsigned int bytesToUcs2(tables::ByteSet set, unsigned short *out, int outSize, const char *in, int inLength) {
    if (in == nullptr || outSize < 2) {
        return empty(out);
    }
    return inLength < 0 ? terminatedToUcs2(set, out, outSize, in) : toUcs2(set, out, outSize, in, inLength);
}

unsigned int bytesToUtf8(tables::ByteSet set, char *out, int outSize, const char *in, int inLength) {
    if (in == nullptr || outSize < 2 || inLength == 0) {
        return empty(out);
    }
    return inLength < 0 ? terminatedToUtf8(set, out, outSize, in) : toUtf8(set, out, outSize, in, inLength);
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
