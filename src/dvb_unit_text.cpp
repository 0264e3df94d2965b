// DVB text whose units are no bytes of a table: two bytes each, UTF-8, and UTF-8 that was prepared before.
//
// The kernels take the stretches without controls; what stops them is decoded character by character. Most texts are
// one stretch, and end where they began.
#include "detail/dvb_ways.h"
#include "detail/plain_steps.h"
#include "detail/units.h"
#include "detail/utf8_stream.h"
#include "kernels/kernels.h"

#include <algorithm>

namespace zelk::detail {
namespace {

kernels::Progress twoByteStretch(const unsigned char *text, std::size_t units, unsigned short *out, int room) {
    return kernels::kernels().cleanHighFirstToNative(text, units, out, static_cast<std::size_t>(room - 1));
}

kernels::Progress twoByteStretch(const unsigned char *text, std::size_t units, char *out, int room) {
    return kernels::kernels().cleanHighFirstToUtf8(text, units, out, static_cast<std::size_t>(room - 1));
}

kernels::Progress utf8Stretch(const unsigned char *text, std::size_t length, unsigned short *out, int room) {
    return kernels::kernels().cleanUtf8ToUcs2(text, length, out, static_cast<std::size_t>(room - 1));
}

kernels::Progress utf8Stretch(const unsigned char *text, std::size_t length, char *out, int room) {
    const std::size_t fitting = std::min(length, static_cast<std::size_t>(room - 1));
    const std::size_t clean = kernels::kernels().copyCleanUtf8(text, fitting, out);
    return {clean, clean};
}

// High byte first.
template <class Sink>
[[gnu::noinline]] unsigned int restOfTwoByte(typename Sink::Unit *out, int outSize, const unsigned char *text,
                                             unsigned int left, unsigned int flags, kernels::Progress done) {
    Sink sink(out, outSize);
    HighByteFirst at(text);
    for (;;) {
        at += done.read;
        left -= static_cast<unsigned int>(done.read);
        sink.advance(static_cast<int>(done.written));
        for (auto steps = plainSteps(done.read); steps != 0 && left != 0 && !sink.full(); --steps, --left, ++at) {
            putUnlessDropped(sink, filterControls(*at, flags));
        }
        if (left == 0 || sink.full()) {
            return sink.finish();
        }
        done = twoByteStretch(at.bytes(), left, sink.position(), sink.room());
    }
}

template <class Sink>
[[gnu::noinline]] unsigned int restOfUtf8(typename Sink::Unit *out, int outSize, const unsigned char *at,
                                          const unsigned char *end, unsigned int flags, kernels::Progress done) {
    Sink sink(out, outSize);
    Utf8DecoderState state;
    utf8StreamReset(state);
    for (;;) {
        at += done.read;
        sink.advance(static_cast<int>(done.written));
        // The kernels begin with a character: a sequence that the steps begin is finished first.
        for (auto steps = plainSteps(done.read); (steps != 0 || state.remaining != 0) && at != end && !sink.full();
             ++at) {
            steps -= steps != 0 ? 1 : 0;
            putUnlessDropped(sink, filterControls(laterUnit(utf8StreamDecode(state, *at)), flags));
        }
        if (at == end || sink.full()) {
            return sink.finish();
        }
        done = utf8Stretch(at, static_cast<std::size_t>(end - at), sink.position(), sink.room());
    }
}

// Controls pass: who prepared the text has filtered it.
void copyPrepared(Ucs2Sink &sink, DvbBody text) {
    sink.advance(static_cast<int>(zelkUtf8DecodeText(sink.position(), sink.room(), text.bytes, text.left)));
}

void copyPrepared(Utf8Sink &sink, DvbBody text) {
    sink.advance(static_cast<int>(zelk_strlcpy(sink.position(), sink.room(), reinterpret_cast<const char *>(text.bytes),
                                               static_cast<unsigned int>(text.left))));
}

} // namespace

template <class Unit>
unsigned int decodeTwoByteText(Unit *out, int outSize, DvbBody text, unsigned int flags) {
    // A zero unit ends the text where there is no count; an odd last byte is no unit.
    const unsigned int units = text.left < 0 ? zelk_nawcslen(text.bytes) : static_cast<unsigned int>(text.left) / 2;
    if (units == 0 || outSize < 2) {
        return finished(out, 0);
    }
    const kernels::Progress done = twoByteStretch(text.bytes, units, out, outSize);
    return done.read == units ? finished(out, done.written)
                              : restOfTwoByte<SinkOf<Unit>>(out, outSize, text.bytes, units, flags, done);
}

template <class Unit>
unsigned int decodeUtf8Text(Unit *out, int outSize, DvbBody text, unsigned int flags) {
    const auto length = static_cast<std::size_t>(byteCount(text.bytes, text.left));
    if (length == 0 || outSize < 2) {
        return finished(out, 0);
    }
    const kernels::Progress done = utf8Stretch(text.bytes, length, out, outSize);
    return done.read == length ? finished(out, done.written)
                               : restOfUtf8<SinkOf<Unit>>(out, outSize, text.bytes, text.bytes + length, flags, done);
}

template <class Unit>
unsigned int decodePreparedText(Unit *out, int outSize, DvbBody text) {
    SinkOf<Unit> sink(out, outSize);
    copyPrepared(sink, text);
    return sink.finish();
}

template unsigned int decodeTwoByteText(char *, int, DvbBody, unsigned int);
template unsigned int decodeTwoByteText(unsigned short *, int, DvbBody, unsigned int);
template unsigned int decodeUtf8Text(char *, int, DvbBody, unsigned int);
template unsigned int decodeUtf8Text(unsigned short *, int, DvbBody, unsigned int);
template unsigned int decodePreparedText(char *, int, DvbBody);
template unsigned int decodePreparedText(unsigned short *, int, DvbBody);

} // namespace zelk::detail
