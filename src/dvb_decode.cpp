// DVB strings (ETSI EN 300 468 Annex A) to UCS-2 and UTF-8.
//
// One template decodes into either sink. The selected code sends a string along one of five ways: through a table of
// 256 characters, as two-byte units, as UTF-8, as UTF-8 that was prepared before, or through a decompressor.
#include "detail/dvb_decode.h"

#include "detail/context_text.h"
#include "detail/control_filter.h"
#include "detail/dvb_select.h"
#include "detail/huffman_malaysia.h"
#include "detail/huffman_stream.h"
#include "detail/sink.h"
#include "detail/units.h"
#include "detail/utf8_stream.h"
#include "kernels/utf8.h"
#include "tables/byte_sets.h"
#include "tables/dvb_marks.h"
#include "tables/dvb_tables.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace zelk::detail {
namespace {

constexpr unsigned int keepEmphasis = 1; // bit of the flags: 0x86 and 0x87 stay

constexpr int malaysiaBound = 511; // bytes: a descriptor's text fits twice

constexpr int saturated(long long count) {
    return static_cast<int>(std::min<long long>(count, INT_MAX));
}

// Bytes up to the terminator where there is no count.
int byteCount(const unsigned char *text, int count) {
    return count >= 0 ? count : saturated(static_cast<long long>(std::strlen(reinterpret_cast<const char *>(text))));
}

constexpr bool isMalaysia(const DvbText &text) {
    return text.code == DvbCodeCompressed && (text.extra == 5 || text.extra == 6);
}

// ---- Tables ----

constexpr unsigned int tableOf(dvbCharSet_t charSet, DvbCode_t code) {
    const auto row = static_cast<unsigned int>(charSet);
    const auto column = static_cast<unsigned int>(code);
    if (row >= tables::dvbSelectionMatrix.size()) {
        return tables::dvbOtherRegionTable;
    }
    const auto &cells = tables::dvbSelectionMatrix[row];
    return cells[column < cells.size() ? column : 0];
}

constexpr int noMarks = -1;

// Kept on purpose: the Greek marks belong to table 7, which is Arabic, and tables 16 and 18 lose letters to marks.
constexpr int markSetOf(unsigned int table) {
    switch (table) {
    case 0:
    case 16:
    case 17:
    case 18:
        return 0;
    case 7:
        return 1;
    default:
        return noMarks;
    }
}

// What the table path does with a byte before any table is asked.
enum class Role : std::uint8_t { Character, Mark, Control0, Control8, Dropped };

using Roles = std::array<Role, 256>;

constexpr Roles otherTableRoles = [] {
    Roles roles{};
    std::fill(roles.begin(), roles.begin() + 0x20, Role::Control0);
    std::fill(roles.begin() + 0x80, roles.begin() + 0xA0, Role::Control8);
    std::fill(roles.begin() + 0xA0, roles.begin() + 0xD0, Role::Mark);
    return roles;
}();

// The default table drops the first control range whole, tab and line feed included, and its unassigned positions.
constexpr Roles defaultTableRoles = [] {
    Roles roles = otherTableRoles;
    std::fill(roles.begin(), roles.begin() + 0x20, Role::Dropped);
    for (const unsigned int byte : {0xA6U, 0xC0U, 0xC9U, 0xCCU, 0xD8U, 0xD9U, 0xDAU, 0xDBU, 0xE5U}) {
        roles[byte] = Role::Dropped;
    }
    return roles;
}();

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

constexpr bool isGraphicAscii(unsigned int byte) {
    return byte - 0x20U < 0x5FU;
}

constexpr int block = 8;

// All bytes of a block: graphic ASCII is itself in every table, so that blocks of it are copied.
bool isGraphicAsciiBlock(const unsigned char *text) {
    constexpr std::uint64_t ones = 0x0101010101010101U;
    constexpr std::uint64_t highBits = 0x80 * ones;
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text, block);
    const std::uint64_t low = bytes & ~highBits; // no byte's sum carries into its neighbour
    return ((bytes | (low + ones) | ~(low + 0x60 * ones)) & highBits) == 0;
}

constexpr unsigned int byRole(Role role, unsigned int byte, unsigned int character, unsigned int flags) {
    switch (role) {
    case Role::Control0:
        return filterControlCode0(static_cast<unsigned short>(byte));
    case Role::Control8:
        return filterControl8(byte, flags);
    case Role::Dropped:
        return 0;
    default:
        return character;
    }
}

// A mark and the byte after it are one character where they compose; else the mark is a character of its own. The last
// mark of a counted string looks at the byte behind the count, and is lost where the two would compose.
template <class Sink>
void decodeTable(Sink &sink, const DvbText &text, unsigned int flags) {
    const unsigned int table = tableOf(text.charSet, text.code);
    const tables::CodePoints &characters = tables::codePointsOf(tables::dvbTableSets[table]);
    const Roles &roles = table == 0 ? defaultTableRoles : otherTableRoles;
    const int marks = markSetOf(table);
    const unsigned char *at = text.bytes;
    const unsigned char *const end = at + byteCount(at, text.left);
    while (at != end && !sink.full()) {
        const unsigned int byte = *at;
        if (isGraphicAscii(byte)) {
            if (end - at >= block && sink.room() > block && isGraphicAsciiBlock(at)) {
                std::copy_n(at, block, sink.position());
                sink.advance(block);
                at += block;
            } else {
                sink.put(byte);
                ++at;
            }
            continue;
        }
        ++at;
        unsigned int character = byRole(roles[byte], byte, characters[byte], flags);
        if (roles[byte] == Role::Mark && marks != noMarks) {
            const unsigned int composed = composeIn(tables::dvbMarks, static_cast<unsigned int>(marks), *at, byte);
            if (composed != 0) {
                if (at == end) {
                    return;
                }
                ++at;
                character = composed;
            }
        }
        putUnlessDropped(sink, character);
    }
}

// ---- Two-byte, UTF-8 and prepared text ----

// The kernels take the stretches without controls; what stops them is decoded character by character.
kernels::Progress twoByteStretch(Ucs2Sink &sink, const unsigned char *text, std::size_t units) {
    const auto room = static_cast<std::size_t>(sink.room() - 1);
    return kernels::ucs2ToNative<kernels::Clean::NoControls>(text, units, sink.position(), room);
}

kernels::Progress twoByteStretch(Utf8Sink &sink, const unsigned char *text, std::size_t units) {
    const auto room = static_cast<std::size_t>(sink.room());
    return kernels::ucs2ToUtf8<kernels::UnitOrder::HighFirst, kernels::Clean::NoControls>(text, units, sink.position(),
                                                                                          room);
}

kernels::Progress utf8Stretch(Ucs2Sink &sink, const unsigned char *text, std::size_t length) {
    const auto room = static_cast<std::size_t>(sink.room() - 1);
    return kernels::utf8ToUcs2<kernels::Clean::NoControls>(text, length, sink.position(), room);
}

kernels::Progress utf8Stretch(Utf8Sink &sink, const unsigned char *text, std::size_t length) {
    const auto room = static_cast<std::size_t>(sink.room() - 1);
    const std::size_t clean =
        kernels::copyWellFormedUtf8<kernels::Clean::NoControls>(text, std::min(length, room), sink.position());
    return {clean, clean};
}

// High byte first. A zero unit ends the text where there is no count; an odd last byte is no unit.
template <class Sink>
void decodeTwoByte(Sink &sink, const DvbText &text, unsigned int flags) {
    const bool counted = text.left > 0;
    HighByteFirst at(text.bytes);
    unsigned int left = counted ? static_cast<unsigned int>(text.left) / 2 : unbounded;
    while (left != 0 && !sink.full()) {
        const kernels::Progress done = twoByteStretch(sink, at.bytes(), left);
        at += done.read;
        left -= static_cast<unsigned int>(done.read);
        sink.advance(static_cast<int>(done.written));
        for (auto steps = kernels::plainSteps(done.read); steps != 0 && left != 0 && !sink.full();
             --steps, --left, ++at) {
            const unsigned int unit = *at;
            if (unit == 0 && !counted) {
                return;
            }
            putUnlessDropped(sink, filterControls(unit, flags));
        }
    }
}

// The later unit of the two that the stream decoder may give: the U+FFFD before it is not written.
constexpr unsigned int laterUnit(unsigned int units) {
    return units & 0xFFFFU;
}

template <class Sink>
void decodeUtf8(Sink &sink, const DvbText &text, unsigned int flags) {
    Utf8DecoderState state;
    utf8StreamReset(state);
    const unsigned char *at = text.bytes;
    const unsigned char *const end = at + byteCount(at, text.left);
    while (at != end && !sink.full()) {
        const kernels::Progress done = utf8Stretch(sink, at, static_cast<std::size_t>(end - at));
        at += done.read;
        sink.advance(static_cast<int>(done.written));
        // The kernels begin with a character: a sequence that the steps begin is finished first.
        for (auto steps = kernels::plainSteps(done.read);
             (steps != 0 || state.remaining != 0) && at != end && !sink.full(); ++at) {
            steps -= steps != 0 ? 1 : 0;
            putUnlessDropped(sink, filterControls(laterUnit(utf8StreamDecode(state, *at)), flags));
        }
    }
}

// Controls pass: who prepared the text has filtered it.
void copyPrepared(Ucs2Sink &sink, const DvbText &text) {
    sink.advance(static_cast<int>(zelkUtf8DecodeText(sink.position(), sink.room(), text.bytes, text.left)));
}

void copyPrepared(Utf8Sink &sink, const DvbText &text) {
    sink.advance(static_cast<int>(zelk_strlcpy(sink.position(), sink.room(), reinterpret_cast<const char *>(text.bytes),
                                               static_cast<unsigned int>(text.left))));
}

// ---- Compressed text ----

// The table of encoding types 1 and 2, null for other types: their texts are empty.
const unsigned char *compressionTable(const DvbText &text) {
    return text.extra == 1 ? HuffmanDecodeTable_1 : text.extra == 2 ? HuffmanDecodeTable_2 : nullptr;
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
// these values mean as much.
template <class Sink>
void decompress(Sink &sink, const DvbText &text, unsigned int flags) {
    const unsigned char *table = compressionTable(text);
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
void decodeCompressed(Ucs2Sink &sink, const DvbText &text, unsigned int flags) {
    decompress(sink, text, flags);
}

void decodeCompressed(Utf8Sink &sink, const DvbText &text, unsigned int flags) {
    if (!isMalaysia(text)) {
        decompress(sink, text, flags);
        return;
    }
    auto *out = reinterpret_cast<unsigned char *>(sink.position());
    sink.advance(malaysiaDecode(static_cast<unsigned int>(text.extra), text.bytes, text.left, out, sink.room() - 1LL));
}

// Characters that the decompressor gives for the counted bytes: the bytes of UTF-8 before any filter.
int decompressedBytes(const DvbText &text) {
    if (text.count <= 0) {
        return 0;
    }
    const unsigned char *table = compressionTable(text);
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

template <class Sink, class Character>
unsigned int decode(Character *out, int outSize, const DvbText &text, unsigned int flags) {
    Sink sink(out, outSize);
    if (text.left != 0 && !sink.full()) {
        switch (text.code) {
        case DvbCodeUtf8Prepared:
            copyPrepared(sink, text);
            break;
        case DvbCodeUcs2:
            decodeTwoByte(sink, text, flags);
            break;
        case DvbCodeUtf8:
            decodeUtf8(sink, text, flags);
            break;
        case DvbCodeCompressed:
            decodeCompressed(sink, text, flags);
            break;
        default:
            decodeTable(sink, text, flags);
            break;
        }
    }
    return sink.finish();
}

} // namespace

DvbText openDvbText(dvbCharSet_t charSet, const char *in, int inLen, DvbCode_t defaultCode, int defaultExtra) {
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
        return isMalaysia(text) ? malaysiaBound : decompressedBytes(text);
    default:
        return saturated(3LL * ucs2Bound(text));
    }
}

unsigned int decodeToUcs2(const DvbText &text, unsigned short *out, int outSize, unsigned int flags) {
    return decode<Ucs2Sink>(out, outSize, text, flags);
}

unsigned int decodeToUtf8(const DvbText &text, char *out, int outSize, unsigned int flags) {
    return decode<Utf8Sink>(out, outSize, text, flags);
}

} // namespace zelk::detail

using namespace zelk;

unsigned short zelkCombineCharWithDiacriticalMark(int set, unsigned int base, unsigned int mark) {
    return tables::composeIn(tables::dvbMarks, static_cast<unsigned int>(set), base, mark);
}

int combiningMapDvb(unsigned int table) {
    return detail::markSetOf(table);
}

unsigned int zelk_dvb8ToUnicode(dvbCharSet_t charSet, unsigned short *out, int outSize, const char *in, int inLen,
                                DvbCode_t defaultCode, int defaultExtra, unsigned int flags) {
    if (in == nullptr) {
        *out = 0;
        return 0;
    }
    return detail::decodeToUcs2(detail::openDvbText(charSet, in, inLen, defaultCode, defaultExtra), out, outSize,
                                flags);
}

unsigned int zelk_dvb8ToUtf8(dvbCharSet_t charSet, char *out, int outSize, const char *in, int inLen,
                             DvbCode_t defaultCode, int defaultExtra, unsigned int flags) {
    if (in == nullptr) {
        *out = 0;
        return 0;
    }
    return detail::decodeToUtf8(detail::openDvbText(charSet, in, inLen, defaultCode, defaultExtra), out, outSize,
                                flags);
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
