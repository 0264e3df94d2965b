#include "detail/byte_convert.h"

#include "detail/sink.h"

namespace zelk::detail {

namespace {

// The plain loop, for whatever text and room.
template <class Sink>
unsigned int convertBytes(tables::ByteSet set, typename Sink::Unit *out, int outSize, const char *in, int inLength) {
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    return convertUnits<Sink>(out, outSize, in, inLength, [&codePoints](char byte) -> unsigned int {
        return codePoints[static_cast<unsigned char>(byte)];
    });
}

} // namespace

unsigned int bytesToUcs2(tables::ByteSet set, unsigned short *out, int outSize, const char *in, int inLength) {
    return convertBytes<Ucs2Sink>(set, out, outSize, in, inLength);
}

unsigned int bytesToUtf8(tables::ByteSet set, char *out, int outSize, const char *in, int inLength) {
    return convertBytes<Utf8Sink>(set, out, outSize, in, inLength);
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
