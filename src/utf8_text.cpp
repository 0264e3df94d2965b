// Whole texts and streams between UCS-2 and UTF-8. One template serves the three layouts of UCS-2 text; a negative
// count means up to the terminator, and a count is tested before the next unit is looked at.
#include "detail/plain_steps.h"
#include "detail/sink.h"
#include "detail/units.h"
#include "detail/utf8_char.h"
#include "detail/utf8_stream.h"
#include "detail/wrap.h"
#include "kernels/kernels.h"
#include "zelk.h"

#include <bit>

namespace zelk::detail {

namespace {

// Native units are the byte pairs of this machine's order.
using NativeUnits = BytePairs<std::endian::native == std::endian::little ? FirstByte::Low : FirstByte::High>;

NativeUnits nativeUnits(const unsigned short *text) {
    return NativeUnits(reinterpret_cast<const unsigned char *>(text));
}

// What a kernel leaves: near the end of the buffer what does not fit is skipped, and what comes after it may fit.
template <FirstByte first>
[[gnu::cold, gnu::noinline]] unsigned int restOfUnits(BytePairs<first> text, unsigned int count, char *out, int size,
                                                      kernels::Progress done) {
    const auto written = static_cast<unsigned int>(done.written);
    return written + convertUnits<Utf8Sink>(out + written, size - static_cast<int>(written), text += done.read,
                                            static_cast<int>(count - static_cast<unsigned int>(done.read)),
                                            [](unsigned int unit) { return unit; });
}

template <FirstByte first>
unsigned int encodeText(unsigned char *out, int size, BytePairs<first> text, int count) {
    if (text == nullptr || size < 2 || count == 0) {
        *out = 0;
        return 0;
    }
    const auto extent = static_cast<unsigned int>(count);
    const kernels::Kernels &kernels = kernels::kernels();
    const auto kernel = first == FirstByte::High ? kernels.highFirstToUtf8 : kernels.lowFirstToUtf8;
    auto *const chars = reinterpret_cast<char *>(out);
    const kernels::Progress done = kernel(text.bytes(), extent, chars, static_cast<unsigned int>(size - 1));
    if (done.read == extent) [[likely]] {
        out[done.written] = 0;
        return static_cast<unsigned int>(done.written);
    }
    return restOfUnits(text, extent, chars, size, done);
}

template <FirstByte first>
unsigned int encodedLength(BytePairs<first> text, int count) {
    if (text == nullptr) {
        return 0;
    }
    const kernels::Kernels &kernels = kernels::kernels();
    const auto kernel = first == FirstByte::High ? kernels.measureHighFirst : kernels.measureLowFirst;
    return static_cast<unsigned int>(kernel(text.bytes(), static_cast<unsigned int>(count)).written);
}

// A result of 65,536 bytes or more is cut to its length modulo 65,536, as packets count.
template <FirstByte first>
[[gnu::noinline]] CharPacket *encodeString(BytePairs<first> text, int count) {
    if (text == nullptr) {
        return nullptr;
    }
    const auto length = static_cast<unsigned short>(encodedLength(text, count));
    return filledPacket(newCharPacketHolding(length), [&](char *chars, int size) {
        return encodeText(reinterpret_cast<unsigned char *>(chars), size, text, count);
    });
}

// The output moves on by one unit for a sequence that the length cuts off, though nothing is stored for it: that unit
// keeps what the caller's buffer held.
[[gnu::noinline]] unsigned int restOfUtf8Text(const unsigned char *text, unsigned int available, unsigned short *out,
                                              int size, kernels::Progress done) {
    unsigned short *at = out;
    int left = size;
    for (;;) {
        text += done.read;
        available -= static_cast<unsigned int>(done.read);
        at += done.written;
        left -= static_cast<int>(done.written);
        for (std::size_t steps = plainSteps(done.read); steps != 0 && left > 1 && available != 0 && *text != 0;
             --steps, --left) {
            const unsigned int used = utf8Decode(text, available, at++);
            text += used;
            available -= used;
        }
        if (left <= 1 || available == 0 || *text == 0) {
            *at = 0;
            return static_cast<unsigned int>(at - out);
        }
        done = kernels::kernels().utf8ToUcs2(text, available, at, static_cast<unsigned int>(left - 1));
    }
}

// One output byte for a unit; the rest of its sequence waits in the state, last byte first.
unsigned int streamEncode(Utf8EncoderState &state, unsigned int unit) {
    if (unit == 0) {
        return state.pendingCount > 0 ? state.pendingBytes[--state.pendingCount & 1] : 0;
    }
    const unsigned int length = utf8EncodedLength(unit);
    if (length == 1) {
        return unit;
    }
    for (unsigned int following = 0; following + 1 < length; ++following) {
        state.pendingBytes[following] = static_cast<unsigned short>(continuationByte(unit, following));
    }
    state.pendingCount = static_cast<int>(length - 1);
    return leadByte(0, length) + (unit >> continuationBits * (length - 1)); // nothing is masked of too large a unit
}

constexpr int endOfStream = -1;

} // namespace

} // namespace zelk::detail

using namespace zelk;
using detail::HighByteFirst;
using detail::LowByteFirst;

unsigned int zelkUtf8EncodeText(unsigned char *out, int size, const unsigned short *text, int count) {
    return detail::encodeText(out, size, detail::nativeUnits(text), count);
}

unsigned int zelkUtf8GetLength(const unsigned short *text, int count) {
    return detail::encodedLength(detail::nativeUnits(text), count);
}

unsigned int zelkUtf8EncodeNotAlignedText(unsigned char *out, int size, const unsigned char *text, int count) {
    return detail::encodeText(out, size, HighByteFirst(text), count);
}

unsigned int zelkUtf8GetLengthForNotAlignedText(const unsigned char *text, int count) {
    return detail::encodedLength(HighByteFirst(text), count);
}

unsigned int zelkUtf8EncodeNotAlignedInverseText(unsigned char *out, int size, const unsigned char *text, int count) {
    return detail::encodeText(out, size, LowByteFirst(text), count);
}

unsigned int zelkUtf8GetLengthForNotAlignedInverseText(const unsigned char *text, int count) {
    return detail::encodedLength(LowByteFirst(text), count);
}

CharPacket *zelkUtf8EncodeString(const unsigned short *text, int count) {
    return detail::encodeString(detail::nativeUnits(text), count);
}

CharPacket *zelkUtf8EncodeNotAlignedString(const unsigned char *text, int count) {
    return detail::encodeString(HighByteFirst(text), count);
}

CharPacket *zelkUtf8EncodeNotAlignedInverseString(const unsigned char *text, int count) {
    return detail::encodeString(LowByteFirst(text), count);
}

unsigned int zelkUtf8DecodeText(unsigned short *out, int size, const unsigned char *text, int length) {
    if (text == nullptr || size < 2 || length == 0) {
        *out = 0;
        return 0;
    }
    const auto extent = static_cast<unsigned int>(length);
    const kernels::Progress done =
        kernels::kernels().utf8ToUcs2(text, extent, out, static_cast<unsigned int>(size - 1));
    if (done.read == extent) [[likely]] {
        out[done.written] = 0;
        return static_cast<unsigned int>(done.written);
    }
    return detail::restOfUtf8Text(text, extent, out, size, done);
}

WideCharPacket *zelkUtf8DecodeString(const unsigned char *text, int length) {
    if (text == nullptr) {
        return nullptr;
    }
    const auto width = static_cast<unsigned short>(zelkUtf8GetTextWidth(text, static_cast<unsigned int>(length)));
    return detail::filledPacket(detail::newWideCharPacketHolding(width), [&](unsigned short *chars, int size) {
        chars[width == 0 ? 0 : width - 1] = 0; // the unit of a sequence that the length cuts off, if there is one
        return zelkUtf8DecodeText(chars, size, text, length);
    });
}

void zelkInitUtf8Encoder(Utf8EncoderState *state) {
    *state = {};
}

unsigned int zelkUtf8Encode(Utf8EncoderState *state, unsigned int unit) {
    return detail::streamEncode(*state, unit);
}

void zelkInitUtf8Decoder(Utf8DecoderState *state) {
    detail::utf8StreamReset(*state);
}

unsigned int zelkUtf8Decode(Utf8DecoderState *state, unsigned int byte) {
    return detail::utf8StreamDecode(*state, byte);
}

int zelkUtf8EncodeStream(zelkUnitGetter getter, void *getterContext, zelkUnitPutter putter, void *putterContext) {
    Utf8EncoderState state{};
    unsigned int count = 0;
    for (int unit = getter(getterContext); unit != detail::endOfStream; unit = getter(getterContext)) {
        unsigned int byte = detail::streamEncode(state, static_cast<unsigned int>(unit) & 0xFFFFU);
        do {
            if (putter(byte, putterContext) < 0) {
                return static_cast<int>(count);
            }
            ++count;
            byte = detail::streamEncode(state, 0);
        } while (byte != 0);
    }
    return static_cast<int>(count);
}

// An unfinished sequence at the end of the input is dropped without a U+FFFD.
int zelkUtf8DecodeStream(zelkUnitGetter getter, void *getterContext, zelkUnitPutter putter, void *putterContext) {
    Utf8DecoderState state{};
    unsigned int count = 0;
    for (int input = getter(getterContext); input != detail::endOfStream; input = getter(getterContext)) {
        const unsigned int byte = static_cast<unsigned int>(input) & 0xFFFFU;
        const unsigned int units = detail::utf8StreamDecode(state, byte);
        if (units == 0 && byte != 0) {
            continue;
        }
        if (units >> 16U != 0) {
            if (putter(units >> 16U, putterContext) < 0) {
                return static_cast<int>(count);
            }
            ++count;
        }
        if (putter(units & 0xFFFFU, putterContext) < 0) {
            return static_cast<int>(count);
        }
        ++count;
    }
    return static_cast<int>(count);
}
