// The ways of decoding a DVB string after its selector, each in a file of its own, and what they share.
//
// A way writes 16-bit units of UCS-2, or 8-bit units of UTF-8: the text, as far as it fits, and its terminator. An
// output size of 1 or less gives an empty text. The result is the number of units before the terminator.
#pragma once

#include "detail/control_filter.h"
#include "detail/sink.h"
#include "tables/dvb_tables.h"
#include "zelk.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace zelk::detail {

// What the ways need of a string: small enough for two registers.
struct DvbBody {
    const unsigned char *bytes;
    int left;  // negative: up to the terminator
    int extra; // the type of compression
};

// Through a table of 256 characters (dvb_table_text.cpp).
template <class Unit>
unsigned int decodeTableText(Unit *out, int outSize, const unsigned char *bytes, int left, tables::DvbTable table,
                             unsigned int flags);

// As two-byte units, as UTF-8, and as UTF-8 that was prepared before (dvb_unit_text.cpp).
template <class Unit>
unsigned int decodeTwoByteText(Unit *out, int outSize, DvbBody text, unsigned int flags);
template <class Unit>
unsigned int decodeUtf8Text(Unit *out, int outSize, DvbBody text, unsigned int flags);
template <class Unit>
unsigned int decodePreparedText(Unit *out, int outSize, DvbBody text);

// Through a decompressor (dvb_compressed_text.cpp).
template <class Unit>
unsigned int decodeCompressedText(Unit *out, int outSize, DvbBody text, unsigned int flags);

// The bytes of UTF-8 that compressed text of a known count gives at most, before controls are filtered.
int compressedBound(DvbBody text);

template <class Unit>
using SinkOf = std::conditional_t<std::is_same_v<Unit, char>, Utf8Sink, Ucs2Sink>;

constexpr int saturated(long long count) {
    return static_cast<int>(std::min<long long>(count, INT_MAX));
}

// Bytes up to the terminator where there is no count.
inline int byteCount(const unsigned char *text, int count) {
    return count >= 0 ? count : saturated(static_cast<long long>(std::strlen(reinterpret_cast<const char *>(text))));
}

inline constexpr unsigned int keepEmphasis = 1; // bit of the flags: 0x86 and 0x87 stay

constexpr unsigned int filterControl8(unsigned int code, unsigned int flags) {
    const auto narrow = static_cast<unsigned short>(code);
    return (flags & keepEmphasis) != 0 ? filterControlCode8Restricted(narrow) : filterControlCode8(narrow);
}

// Decoded characters other than those of a table: controls come also as their private-use image U+E080 to U+E09F.
constexpr unsigned int filterControls(unsigned int character, unsigned int flags) {
    if (character < 0x80) {
        return filterControlCode0(static_cast<unsigned short>(character));
    }
    const unsigned int range = character & 0xFFE0U;
    return range == 0x0080 || range == 0xE080 ? filterControl8(character & 0xFFU, flags) : character;
}

template <class Sink>
void putUnlessDropped(Sink &sink, unsigned int character) {
    if (character != 0) {
        sink.put(character);
    }
}

// The later unit of the two that the stream decoder may give: the U+FFFD before it is not written.
constexpr unsigned int laterUnit(unsigned int units) {
    return units & 0xFFFFU;
}

template <class Unit>
unsigned int finished(Unit *out, std::size_t written) {
    out[written] = 0;
    return static_cast<unsigned int>(written);
}

} // namespace zelk::detail
