// Compressed DVB text: the context-tree codes of encoding types 1 and 2, which give bytes of UTF-8, and the Malaysian
// codes of types 5 and 6.
#include "detail/context_text.h"
#include "detail/dvb_ways.h"
#include "detail/huffman_malaysia.h"
#include "detail/huffman_stream.h"
#include "detail/utf8_stream.h"

#include <algorithm>
#include <array>
#include <type_traits>

namespace zelk::detail {
namespace {

constexpr int malaysiaBound = 511; // bytes: a descriptor's text fits twice

constexpr bool isMalaysia(int compression) {
    return compression == 5 || compression == 6;
}

// The table of encoding types 1 and 2, null for other types: their texts are empty.
const unsigned char *compressionTable(int compression) {
    return compression == 1 ? HuffmanDecodeTable_1 : compression == 2 ? HuffmanDecodeTable_2 : nullptr;
}

constexpr int shortRun = 256;

// Characters of ASCII, as many as come at once: where they go, if there is room for many, else by way of a buffer.
template <class Sink>
bool putRun(Sink &sink, ContextText &characters) {
    if constexpr (std::is_same_v<Sink, Utf8Sink>) {
        if (sink.room() > shortRun) {
            auto *const out = reinterpret_cast<unsigned char *>(sink.position());
            const unsigned int count = characters.run(out, static_cast<unsigned int>(sink.room() - 1));
            sink.advance(static_cast<int>(count));
            return count != 0;
        }
    }
    std::array<unsigned char, shortRun> run;
    const unsigned int count = characters.run(run.data(), run.size());
    const int fits = std::min(static_cast<int>(count), sink.room() - 1);
    std::copy_n(run.data(), fits, sink.position());
    sink.advance(fits);
    return count != 0;
}

// The characters are bytes of UTF-8. To UTF-8 the end of the text ends everything; to UCS-2 a counted text goes on
// eight bits later. So does any text after U+FFFE, and U+FFFF counts as an end: the streaming decoder's answers of
// these values mean as much. The runs take the time: all else is rare.
template <class Sink>
void decompress(Sink &sink, DvbBody text, unsigned int flags) {
    const unsigned char *table = compressionTable(text.extra);
    if (table == nullptr) {
        return;
    }
    const bool stopAtEnd = std::is_same_v<Sink, Utf8Sink> || text.left < 0;
    const auto left = static_cast<unsigned int>(text.left);
    ContextText characters =
        text.left < 0 ? ContextText::bitByBit(table, text.bytes, left) : ContextText(table, text.bytes, left);
    Utf8DecoderState utf8;
    utf8StreamReset(utf8);
    while (!sink.full()) {
        if (putRun(sink, characters)) {
            utf8StreamReset(utf8);
            if (sink.full()) {
                return;
            }
        }
        const int byte = characters.next();
        if (byte == ContextText::inputEnded) {
            return;
        }
        const unsigned int character =
            byte == 0 ? textEnded : laterUnit(utf8StreamDecode(utf8, static_cast<unsigned int>(byte)));
        if (character == textEnded && stopAtEnd) {
            return;
        }
        if (character >= nextByteWanted) {
            characters.skipByte();
            continue;
        }
        putUnlessDropped(sink, filterControls(character, flags));
    }
}

// Encoding types 5 and 6 decode to UTF-8 only; to UCS-2 they are an unknown type, which gives an empty text.
void decodeCompressed(Ucs2Sink &sink, DvbBody text, unsigned int flags) {
    decompress(sink, text, flags);
}

void decodeCompressed(Utf8Sink &sink, DvbBody text, unsigned int flags) {
    if (!isMalaysia(text.extra)) {
        decompress(sink, text, flags);
        return;
    }
    auto *out = reinterpret_cast<unsigned char *>(sink.position());
    sink.advance(malaysiaDecode(static_cast<unsigned int>(text.extra), text.bytes, text.left, out, sink.room() - 1LL));
}

} // namespace

template <class Unit>
unsigned int decodeCompressedText(Unit *out, int outSize, DvbBody text, unsigned int flags) {
    SinkOf<Unit> sink(out, outSize);
    decodeCompressed(sink, text, flags);
    return sink.finish();
}

template unsigned int decodeCompressedText(char *, int, DvbBody, unsigned int);
template unsigned int decodeCompressedText(unsigned short *, int, DvbBody, unsigned int);

int compressedBound(DvbBody text) {
    if (isMalaysia(text.extra)) {
        return malaysiaBound;
    }
    const unsigned char *table = compressionTable(text.extra);
    if (table == nullptr) {
        return 0;
    }
    ContextText characters(table, text.bytes, static_cast<unsigned int>(text.left));
    long long bytes = 0;
    for (std::array<unsigned char, 256> run;;) {
        bytes += characters.run(run.data(), run.size());
        if (characters.next() <= 0) {
            break;
        }
        ++bytes;
    }
    return saturated(bytes);
}

} // namespace zelk::detail
