// DVB strings (ETSI EN 300 468 Annex A) to UCS-2 and UTF-8: the selector, which sends a string along one of the ways of
// detail/dvb_ways.h, and the sizes that results need.
#include "detail/dvb_decode.h"

#include "detail/dvb_select.h"
#include "detail/dvb_ways.h"
#include "detail/utf8_char.h"

#include <algorithm>
#include <climits>

namespace zelk::detail {
namespace {

constexpr bool isTable(DvbCode_t code) {
    return code < DvbCodeUtf8Prepared || code > DvbCodeCompressed;
}

template <class Unit>
unsigned int decode(const DvbText &text, Unit *out, int outSize, unsigned int flags) {
    if (text.left == 0 || outSize < 2) {
        *out = 0;
        return 0;
    }
    if (isTable(text.code)) [[likely]] {
        const tables::DvbTable table =
            tables::selectedDvbTable(static_cast<unsigned int>(text.charSet), static_cast<unsigned int>(text.code));
        return decodeTableText(out, outSize, text.bytes, text.left, table, flags);
    }
    const DvbBody body{text.bytes, text.left, text.extra};
    switch (text.code) {
    case DvbCodeUtf8Prepared:
        return decodePreparedText(out, outSize, body);
    case DvbCodeUcs2:
        return decodeTwoByteText(out, outSize, body, flags);
    case DvbCodeUtf8:
        return decodeUtf8Text(out, outSize, body, flags);
    default:
        return decodeCompressedText(out, outSize, body, flags);
    }
}

// A selector longer than a counted string leaves an empty text.
[[gnu::always_inline]] inline DvbText open(dvbCharSet_t charSet, const char *in, int inLen, DvbCode_t defaultCode,
                                           int defaultExtra) {
    const DvbSelection selection = selectDvbCode(in, inLen, charSet, defaultCode, defaultExtra);
    const int available = inLen < 0 ? INT_MAX : inLen;
    const int consumed = std::min(static_cast<int>(selection.consumed), available);
    return {.charSet = selection.charSet,
            .code = selection.code,
            .extra = selection.extra,
            .count = inLen,
            .left = inLen < 0 ? inLen : inLen - consumed,
            .bytes = reinterpret_cast<const unsigned char *>(in) + consumed};
}

template <class Unit>
[[gnu::noinline]] unsigned int decodeSelected(dvbCharSet_t charSet, Unit *out, int outSize, const char *in, int inLen,
                                              DvbCode_t defaultCode, int defaultExtra, unsigned int flags) {
    return decode(open(charSet, in, inLen, defaultCode, defaultExtra), out, outSize, flags);
}

// Selectors of tables: of one byte, 0x01 to 0x0B, and of three.
constexpr bool isShortTableSelector(const unsigned char *bytes) {
    return bytes[0] - 1U < 0x0B;
}

constexpr bool isLongTableSelector(const unsigned char *bytes) {
    return bytes[0] == 0x10 && bytes[1] == 0 && bytes[2] <= lastDvbIso8859Part;
}

static_assert(isTable(static_cast<DvbCode_t>(dvbSelectorCodes[0x01])) &&
              isTable(static_cast<DvbCode_t>(dvbSelectorCodes[0x0B])));

// Most strings are counted and have no selector or a short one: those go straight to their table. Null is an empty
// text.
template <class Unit>
[[gnu::always_inline]] inline unsigned int decodeString(dvbCharSet_t charSet, Unit *out, int outSize, const char *in,
                                                        int inLen, DvbCode_t defaultCode, int defaultExtra,
                                                        unsigned int flags) {
    if (in == nullptr) {
        *out = 0;
        return 0;
    }
    const auto *const bytes = reinterpret_cast<const unsigned char *>(in);
    if (inLen > 1 && defaultCode == DvbCodeNone) [[likely]] {
        if (*bytes > lastDvbSelector) [[likely]] {
            return decodeTableText(out, outSize, bytes, inLen, tables::dvbTables[0], flags);
        }
        const auto region = static_cast<unsigned int>(charSet);
        if (isShortTableSelector(bytes)) {
            const tables::DvbTable table = tables::selectedDvbTable(region, dvbSelectorCodes[*bytes]);
            return decodeTableText(out, outSize, bytes + 1, inLen - 1, table, flags);
        }
        if (inLen > 3 && isLongTableSelector(bytes)) {
            return decodeTableText(out, outSize, bytes + 3, inLen - 3, tables::selectedDvbTable(region, bytes[2]),
                                   flags);
        }
        if (dvbSelectorCodes[*bytes] == DvbCodeUcs2) {
            return decodeTwoByteText(out, outSize, DvbBody{bytes + 1, inLen - 1, 0}, flags);
        }
        if (dvbSelectorCodes[*bytes] == DvbCodeUtf8) {
            return decodeUtf8Text(out, outSize, DvbBody{bytes + 1, inLen - 1, 0}, flags);
        }
    } else if (inLen > 1 && *bytes > lastDvbSelector && isTable(defaultCode)) {
        const tables::DvbTable table =
            tables::selectedDvbTable(DvbCharSetStandard, static_cast<unsigned int>(defaultCode));
        return decodeTableText(out, outSize, bytes, inLen, table, flags);
    }
    return decodeSelected(charSet, out, outSize, in, inLen, defaultCode, defaultExtra, flags);
}

} // namespace

DvbText openDvbText(dvbCharSet_t charSet, const char *in, int inLen, DvbCode_t defaultCode, int defaultExtra) {
    return open(charSet, in, inLen, defaultCode, defaultExtra);
}

// With a count the selector's bytes are not taken off, and compressed text, which grows, gets no more: its buffer is
// the caller's affair.
int ucs2Bound(const DvbText &text) {
    if (text.count >= 0) {
        return text.count;
    }
    switch (text.code) {
    case DvbCodeUcs2:
        return saturated(zelk_nawcslen(text.bytes));
    case DvbCodeCompressed:
        return 0;
    default:
        return byteCount(text.bytes, text.count);
    }
}

int utf8Bound(const DvbText &text) {
    switch (text.code) {
    case DvbCodeUtf8:
        return byteCount(text.bytes, text.count);
    case DvbCodeCompressed:
        return compressedBound({text.bytes, text.count > 0 ? text.left : 0, text.extra});
    default:
        return saturated(longestSequence * static_cast<long long>(ucs2Bound(text)));
    }
}

unsigned int decodeToUcs2(const DvbText &text, unsigned short *out, int outSize, unsigned int flags) {
    return decode(text, out, outSize, flags);
}

unsigned int decodeToUtf8(const DvbText &text, char *out, int outSize, unsigned int flags) {
    return decode(text, out, outSize, flags);
}

} // namespace zelk::detail

using namespace zelk;

unsigned int zelk_dvb8ToUnicode(dvbCharSet_t charSet, unsigned short *out, int outSize, const char *in, int inLen,
                                DvbCode_t defaultCode, int defaultExtra, unsigned int flags) {
    return detail::decodeString(charSet, out, outSize, in, inLen, defaultCode, defaultExtra, flags);
}

unsigned int zelk_dvb8ToUtf8(dvbCharSet_t charSet, char *out, int outSize, const char *in, int inLen,
                             DvbCode_t defaultCode, int defaultExtra, unsigned int flags) {
    return detail::decodeString(charSet, out, outSize, in, inLen, defaultCode, defaultExtra, flags);
}

int zelk_dvb8ToUnicodeMaxLength(const char *in, int inLen, DvbCode_t defaultCode, int defaultExtra,
                                unsigned int /*flags*/) {
    return in == nullptr
               ? 0
               : detail::ucs2Bound(detail::openDvbText(DvbCharSetStandard, in, inLen, defaultCode, defaultExtra));
}

int zelk_dvb8ToUtf8MaxLength(const char *in, int inLen, DvbCode_t defaultCode, int defaultExtra) {
    return in == nullptr
               ? 0
               : detail::utf8Bound(detail::openDvbText(DvbCharSetStandard, in, inLen, defaultCode, defaultExtra));
}
