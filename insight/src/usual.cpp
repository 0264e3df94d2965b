// Decoding with evidence of strings that begin as most do: those that have nothing to say are told from a look at their
// bytes, and what is written is libmurn-zelk's or a copy.
#include "usual.h"
#include "byte_tables.h"
#include "clean.h"
#include "clean/avx512.h"
#include "clean/avx512_block.h"
#include "clean/portable.h"
#include "clean/portable_block.h"
#include "decode.h"
#include "reading.h"

#include "tables/dvb_tables.h"

#include <cstddef>
#include <cstring>

namespace zelk::insight {
namespace {

// Whether `written` bytes of text are all there is to say: of two-byte text or UTF-8 without codes for emphasis, or of
// graphic bytes in a set without marks.
[[gnu::always_inline]] inline bool isConfirmed(const Reading &reading, const char *out, unsigned int written) {
    const unsigned char *const body = reading.text + reading.begin;
    const std::size_t count = reading.end - reading.begin;
    return reading.table == ZelkInsightTableUtf8 ? written == count && isSameUtf8(body, out, count)
           : reading.table == ZelkInsightTableTwoByte
               ? count % 2 == 0 && (isWholeText(out, written, count / 2) || isPlainTwoByte(body, count))
               : !hasRare(out, written);
}

// What the quick ways leave, by itself, so that they keep what they read out of the memory.
template <bool given>
[[gnu::noinline]] unsigned int decodeKind(Bytes kind, const zelkInsightSettings &settings, char *out, int outSize,
                                          const char *in, int inLen, zelkInsightEvidence &evidence) {
    Reading reading;
    return readUsual<given>(settings, in, inLen, reading)
               ? decodeRead(reading, kind, settings, out, outSize, in, inLen, &evidence)
               : decodeAny(settings, out, outSize, in, inLen, &evidence);
}

// Begins evidence of a string that is usual and has room for whatever becomes of it.
template <bool given>
[[gnu::always_inline]] inline bool beginUsual(const zelkInsightSettings &settings, int outSize, const char *in,
                                              int inLen, zelkInsightEvidence &evidence, Reading &reading) {
    const bool usual = readUsual<given>(settings, in, inLen, reading);
    if (!usual || outSize <= 3 * static_cast<long long>(reading.end - reading.begin)) {
        return false;
    }
    beginEvidence(evidence, reading); // now, so that nothing of it is kept over calls
    return true;
}

// The ends of decodeUsual(), all with the same arguments, so that it ends in jumps; `used` keeps a compiler from
// leaving some of them out.
template <bool given>
[[gnu::noinline, gnu::used]] unsigned int decodeWhole(const zelkInsightSettings &settings, char *out, int outSize,
                                                      const char *in, int inLen, zelkInsightEvidence & /*evidence*/) {
    return zelk_dvb8ToUtf8(settings.charSet, out, outSize, in, inLen, given ? settings.defaultCode : DvbCodeNone,
                           given ? settings.defaultExtra : 0, settings.flags);
}

template <bool given, Bytes kind>
[[gnu::noinline, gnu::used]] unsigned int decodeOther(const zelkInsightSettings &settings, char *out, int outSize,
                                                      const char *in, int inLen, zelkInsightEvidence &evidence) {
    return decodeKind<given>(kind, settings, out, outSize, in, inLen, evidence);
}

// Where `kind` is Ascii, the text is copied, and has so many characters. Graphic and Faulty count as Unknown.
template <bool given>
[[gnu::always_inline]] inline unsigned int decodeJudged(Bytes kind, unsigned int characters,
                                                        const zelkInsightSettings &settings, char *out, int outSize,
                                                        const char *in, int inLen, zelkInsightEvidence &evidence) {
    if (kind == Bytes::Whole) {
        return decodeWhole<given>(settings, out, outSize, in, inLen, evidence);
    }
    if (kind == Bytes::Ascii) {
        out[characters] = 0;
        return characters;
    }
    return kind == Bytes::Other ? decodeOther<given, Bytes::Other>(settings, out, outSize, in, inLen, evidence)
                                : decodeOther<given, Bytes::Unknown>(settings, out, outSize, in, inLen, evidence);
}

// By itself, so that the choice below keeps nothing for it.
template <bool given>
[[gnu::noinline]] unsigned int decodeUsualPortable(const zelkInsightSettings &settings, char *out, int outSize,
                                                   const char *in, int inLen, zelkInsightEvidence &evidence) {
    Reading reading;
    if (!beginUsual<given>(settings, outSize, in, inLen, evidence, reading)) {
        return decodeOther<given, Bytes::Unknown>(settings, out, outSize, in, inLen, evidence);
    }
    const unsigned char *const body = reading.text + reading.begin;
    const unsigned int count = reading.end - reading.begin;
    const bool utf8 = reading.table == ZelkInsightTableUtf8;
    const bool twoByte = reading.table == ZelkInsightTableTwoByte;
    Bytes kind = Bytes::Other;
    if (twoByte) {
        kind = portable::judgeTwoByte(out, body, count);
    } else if (given && reading.table == ZelkInsightTableUtf8Prepared) {
        kind = portable::copyUsualUtf8(out, body, count) ? Bytes::Ascii : Bytes::Unknown;
    } else if (!utf8) {
        kind = portable::copyName(out, body, count);
        kind = kind == Bytes::Ascii ? kind : portable::copyAsciiAs(kind, out, body, count, byteTable(reading.table));
    } else if (portable::copyUtf8(out, body, count)) {
        kind = Bytes::Ascii;
    }
    if (kind == Bytes::Whole || kind == Bytes::Ascii) {
        return decodeJudged<given>(kind, twoByte ? count / 2 : count, settings, out, outSize, in, inLen, evidence);
    }
    const bool confirmable = twoByte || utf8
                                 ? kind == Bytes::Other && (settings.flags & 1U) == 0
                                 : kind == Bytes::Graphic && byteTable(reading.table).marks == tables::noMarks;
    if (confirmable) {
        const unsigned int written = decodeWhole<given>(settings, out, outSize, in, inLen, evidence);
        if (isConfirmed(reading, out, written)) {
            return written;
        }
    }
    return decodeKind<given>(kind, settings, out, outSize, in, inLen, evidence);
}

#if defined(ZELK_INSIGHT_AVX512)
// Of UTF-8, and of what is longer than a block, where evidence has begun.
template <bool given>
[[gnu::noinline, gnu::used]] unsigned int decodeLongAvx512(const zelkInsightSettings &settings, char *out, int outSize,
                                                           const char *in, int inLen, zelkInsightEvidence &evidence) {
    const auto *const body = reinterpret_cast<const unsigned char *>(in) + evidence.selectorLength;
    const auto count = static_cast<unsigned int>(inLen) - evidence.selectorLength;
    const bool twoByte = evidence.table == ZelkInsightTableTwoByte;
    Bytes kind = Bytes::Other;
    if (evidence.table == ZelkInsightTableUtf8) {
        kind = avx512::copyUtf8(out, body, count) ? Bytes::Ascii : Bytes::Other;
    } else if (given && evidence.table == ZelkInsightTableUtf8Prepared) {
        kind = avx512::copyUsualUtf8(out, body, count) ? Bytes::Ascii : Bytes::Other;
    } else if (!twoByte) {
        kind = avx512::copyIfAscii(out, body, count, tables::dvbTables[static_cast<unsigned int>(evidence.table)]);
    } else if (count % 2 == 0) {
        kind = avx512::copyTwoByte(out, body, count);
    }
    return decodeJudged<given>(kind, twoByte ? count / 2 : count, settings, out, outSize, in, inLen, evidence);
}

ZELK_TARGET_BEGIN(ZELK_INSIGHT_TARGET)

// A function with vectors of 64 bytes that calls others aligns the stack for them: this one ends in jumps.
template <bool given>
[[gnu::noinline]] unsigned int decodeUsualAvx512(const zelkInsightSettings &settings, char *out, int outSize,
                                                 const char *in, int inLen, zelkInsightEvidence &evidence) {
    Reading reading;
    if (!beginUsual<given>(settings, outSize, in, inLen, evidence, reading)) {
        return decodeOther<given, Bytes::Unknown>(settings, out, outSize, in, inLen, evidence);
    }
    const unsigned int count = reading.end - reading.begin;
    const bool utf8 = reading.table == ZelkInsightTableUtf8 || (given && reading.table == ZelkInsightTableUtf8Prepared);
    if (count > sizeof(__m512i) || utf8) {
        return decodeLongAvx512<given>(settings, out, outSize, in, inLen, evidence);
    }
    const unsigned char *const body = reading.text + reading.begin;
    if (reading.table == ZelkInsightTableTwoByte) {
        const Bytes kind = count % 2 == 0 ? avx512::copyTwoByteBlock(out, body, count) : Bytes::Other;
        return decodeJudged<given>(kind, count / 2, settings, out, outSize, in, inLen, evidence);
    }
    const tables::DvbTable table = tables::dvbTables[static_cast<unsigned int>(reading.table)];
    const Bytes kind = avx512::copyAsciiBlock(out, body, count, table);
    return decodeJudged<given>(kind, count, settings, out, outSize, in, inLen, evidence);
}

ZELK_TARGET_END
#endif

} // namespace

unsigned int decodeUsual(const zelkInsightSettings &settings, char *out, int outSize, const char *in, int inLen,
                         zelkInsightEvidence &evidence) {
    if (compact) {
        return decodeAny(settings, out, outSize, in, inLen, &evidence);
    }
    const bool given = settings.defaultCode != DvbCodeNone;
#if defined(ZELK_INSIGHT_AVX512)
    if (avx512::isSupported()) { // GCOVR_EXCL_BR_LINE: as above
        return given ? decodeUsualAvx512<true>(settings, out, outSize, in, inLen, evidence)
                     : decodeUsualAvx512<false>(settings, out, outSize, in, inLen, evidence);
    }
#endif
    return given ? decodeUsualPortable<true>(settings, out, outSize, in, inLen, evidence)
                 : decodeUsualPortable<false>(settings, out, outSize, in, inLen, evidence);
}

} // namespace zelk::insight
