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
#include "detail/plain_steps.h"
#include "detail/sink.h"
#include "detail/units.h"
#include "detail/utf8_char.h"
#include "detail/utf8_stream.h"
#include "kernels/kernels.h"
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

// What the ways of decoding need of a string: small enough for two registers.
struct Body {
    const unsigned char *bytes;
    int left;  // negative: up to the terminator
    int extra; // the type of compression
};

constexpr bool isMalaysia(int compression) {
    return compression == 5 || compression == 6;
}

// ---- Tables ----

// What the table path does with a byte before any table is asked.
enum class Role : std::uint8_t { Character, Mark, Control0, Control8, Dropped };

using Roles = std::array<Role, 256>;

constexpr Roles otherTableRoles = []() {
    Roles roles{};
    std::fill(roles.begin(), roles.begin() + 0x20, Role::Control0);
    std::fill(roles.begin() + 0x80, roles.begin() + 0xA0, Role::Control8);
    std::fill(roles.begin() + 0xA0, roles.begin() + 0xD0, Role::Mark);
    return roles;
}();

// The default table drops the first control range whole, tab and line feed included, and its unassigned positions.
constexpr Roles defaultTableRoles = []() {
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

constexpr const Roles &rolesOf(tables::ByteSet set) {
    return set == tables::ByteSet::DvbDefault ? defaultTableRoles : otherTableRoles;
}

// One character by the rule; tells where the next begins. A mark and the byte after it are one character where they
// compose; else the mark is a character of its own. The last mark of a counted string looks at the byte behind the
// count, and is lost where the two would compose.
template <class Sink>
const unsigned char *putCharacter(Sink &sink, tables::DvbTable table, unsigned int flags, const unsigned char *at,
                                  const unsigned char *end) {
    const unsigned int byte = *at++;
    const Role role = rolesOf(table.set)[byte];
    const bool maybeMark = role == Role::Mark && table.marks != tables::noMarks;
    unsigned int character = maybeMark ? composeIn(tables::dvbMarks, table.marks, *at, byte) : 0U;
    if (character == 0) {
        character = byRole(role, byte, tables::codePointsOf(table.set)[byte], flags);
    } else if (at != end) {
        ++at;
    } else {
        return at;
    }
    putUnlessDropped(sink, character);
    return at;
}

// Arabic text has no marks: what wears the Greek ones does so on purpose. Controls end the search, as they end a
// stretch.
[[gnu::noinline]] const unsigned char *findGreekMark(const unsigned char *at, const unsigned char *end) {
    const auto &columns = tables::dvbMarks.sets[tables::greekMarks].columnOf;
    while (at != end && (*at & 0x60U) != 0 && columns[*at] == 0) {
        ++at;
    }
    return at;
}

// The kernels take the stretches of plain characters; what stops them is decoded by the rule. They read no further than
// the rule would: of the text that is left, as many bytes as surely fit.

template <class Unit>
kernels::Progress stretch(tables::DvbTable table, const unsigned char *at, const unsigned char *end, Unit *out,
                          int room) {
    constexpr bool toUtf8 = std::is_same_v<Unit, char>;
    const auto left = static_cast<std::size_t>(end - at);
    const auto units = static_cast<std::size_t>(room - 1);
    const kernels::Kernels &kernels = kernels::kernels();
    if constexpr (toUtf8) {
        return table.marks == tables::latinMarks ? kernels.markedToUtf8(table.set, at, left, out, units)
               : table.marks == tables::noMarks
                   ? kernels.cleanToUtf8(table.set, at, left, out, units)
                   : kernels.cleanToUtf8(table.set, at, static_cast<std::size_t>(findGreekMark(at, end) - at), out,
                                         units);
    } else {
        return table.marks == tables::latinMarks ? kernels.markedToUcs2(table.set, at, left, out, units)
               : table.marks == tables::noMarks
                   ? kernels.cleanToUcs2(table.set, at, left, out, units)
                   : kernels.cleanToUcs2(table.set, at, static_cast<std::size_t>(findGreekMark(at, end) - at), out,
                                         units);
    }
}

// The steps by the rule before a kernel is tried again: one, to pass what stopped it, or some where it made so little
// way that its call was not worth it.
constexpr int stepsBehind(const kernels::Progress &done) {
    return done.read >= 8 ? 1 : 8;
}

template <class Sink>
[[gnu::noinline]] unsigned int restOfTable(typename Sink::Unit *out, int outSize, const unsigned char *at, int length,
                                           tables::DvbTable table, unsigned int flags, kernels::Progress done) {
    Sink sink(out, outSize);
    const unsigned char *const end = at + length;
    for (;;) {
        at += done.read;
        sink.advance(static_cast<int>(done.written));
        for (auto steps = stepsBehind(done); steps != 0 && at != end && !sink.full(); --steps) {
            at = putCharacter(sink, table, flags, at, end);
        }
        if (at == end || sink.full()) {
            return sink.finish();
        }
        done = stretch(table, at, end, sink.position(), sink.room());
    }
}

template <class Unit>
unsigned int finished(Unit *out, std::size_t written) {
    out[written] = 0;
    return static_cast<unsigned int>(written);
}

template <class Unit>
using SinkOf = std::conditional_t<std::is_same_v<Unit, char>, Utf8Sink, Ucs2Sink>;

// Most texts are one stretch.
template <class Unit>
[[gnu::noinline]] unsigned int decodeCounted(Unit *out, int outSize, const unsigned char *at, int length,
                                             tables::DvbTable table, unsigned int flags) {
    if (outSize < 2) {
        return finished(out, 0);
    }
    const kernels::Progress done = stretch(table, at, at + length, out, outSize);
    return done.read == static_cast<std::size_t>(length)
               ? finished(out, done.written)
               : restOfTable<SinkOf<Unit>>(out, outSize, at, length, table, flags, done);
}

template <class Unit>
[[gnu::noinline]] unsigned int decodeTerminated(Unit *out, int outSize, const unsigned char *at, tables::DvbTable table,
                                                unsigned int flags) {
    return decodeCounted(out, outSize, at, byteCount(at, -1), table, flags);
}

// ---- Two-byte, UTF-8 and prepared text ----

// The kernels take the stretches without controls; what stops them is decoded character by character. Most texts are
// one stretch, and end where they began.

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

// High byte first. A zero unit ends the text where there is no count; an odd last byte is no unit.
template <class Sink>
[[gnu::noinline]] unsigned int restOfTwoByte(typename Sink::Unit *out, int outSize, Body text, unsigned int left,
                                             unsigned int flags, kernels::Progress done) {
    Sink sink(out, outSize);
    HighByteFirst at(text.bytes);
    for (;;) {
        at += done.read;
        left -= static_cast<unsigned int>(done.read);
        sink.advance(static_cast<int>(done.written));
        for (auto steps = plainSteps(done.read); steps != 0 && left != 0 && !sink.full(); --steps, --left, ++at) {
            const unsigned int unit = *at;
            if (unit == 0 && text.left < 0) {
                return sink.finish();
            }
            putUnlessDropped(sink, filterControls(unit, flags));
        }
        if (left == 0 || sink.full()) {
            return sink.finish();
        }
        done = twoByteStretch(at.bytes(), left, sink.position(), sink.room());
    }
}

template <class Sink>
[[gnu::noinline]] unsigned int decodeTwoByte(typename Sink::Unit *out, int outSize, Body text, unsigned int flags) {
    const unsigned int units = text.left < 0 ? zelk_nawcslen(text.bytes) : static_cast<unsigned int>(text.left) / 2;
    if (units == 0 || outSize < 2) {
        return finished(out, 0);
    }
    const kernels::Progress done = twoByteStretch(text.bytes, units, out, outSize);
    return done.read == units ? finished(out, done.written)
                              : restOfTwoByte<Sink>(out, outSize, text, units, flags, done);
}

// The later unit of the two that the stream decoder may give: the U+FFFD before it is not written.
constexpr unsigned int laterUnit(unsigned int units) {
    return units & 0xFFFFU;
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

template <class Sink>
[[gnu::noinline]] unsigned int decodeUtf8(typename Sink::Unit *out, int outSize, Body text, unsigned int flags) {
    const auto length = static_cast<std::size_t>(byteCount(text.bytes, text.left));
    if (length == 0 || outSize < 2) {
        return finished(out, 0);
    }
    const kernels::Progress done = utf8Stretch(text.bytes, length, out, outSize);
    return done.read == length ? finished(out, done.written)
                               : restOfUtf8<Sink>(out, outSize, text.bytes, text.bytes + length, flags, done);
}

// Controls pass: who prepared the text has filtered it.
void copyPrepared(Ucs2Sink &sink, Body text, unsigned int /*flags*/) {
    sink.advance(static_cast<int>(zelkUtf8DecodeText(sink.position(), sink.room(), text.bytes, text.left)));
}

void copyPrepared(Utf8Sink &sink, Body text, unsigned int /*flags*/) {
    sink.advance(static_cast<int>(zelk_strlcpy(sink.position(), sink.room(), reinterpret_cast<const char *>(text.bytes),
                                               static_cast<unsigned int>(text.left))));
}

// ---- Compressed text ----

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
// these values mean as much. The runs take the time: all else is seldom, and small.
template <class Sink>
void decompress(Sink &sink, Body text, unsigned int flags) {
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
void decodeCompressed(Ucs2Sink &sink, Body text, unsigned int flags) {
    decompress(sink, text, flags);
}

void decodeCompressed(Utf8Sink &sink, Body text, unsigned int flags) {
    if (!isMalaysia(text.extra)) {
        decompress(sink, text, flags);
        return;
    }
    auto *out = reinterpret_cast<unsigned char *>(sink.position());
    sink.advance(malaysiaDecode(static_cast<unsigned int>(text.extra), text.bytes, text.left, out, sink.room() - 1LL));
}

// Characters that the decompressor gives for the counted bytes: the bytes of UTF-8 before any filter.
[[gnu::cold]] int decompressedBytes(const DvbText &text) {
    if (text.count <= 0) {
        return 0;
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

template <class Sink>
using Way = void (*)(Sink &, Body, unsigned int);

// The ways are functions of their own, so that the registers that one saves do not burden the others.
template <class Sink, auto way>
[[gnu::noinline]] unsigned int decodeBy(typename Sink::Unit *out, int outSize, Body text, unsigned int flags) {
    Sink sink(out, outSize);
    way(sink, text, flags);
    return sink.finish();
}

constexpr bool isTable(DvbCode_t code) {
    return code < DvbCodeUtf8Prepared || code > DvbCodeCompressed;
}

template <class Sink>
unsigned int decode(const DvbText &text, typename Sink::Unit *out, int outSize, unsigned int flags) {
    if (text.left == 0 || outSize < 2) {
        *out = 0;
        return 0;
    }
    if (isTable(text.code)) [[likely]] {
        const tables::DvbTable table =
            tables::selectedDvbTable(static_cast<unsigned int>(text.charSet), static_cast<unsigned int>(text.code));
        return text.left < 0 ? decodeTerminated(out, outSize, text.bytes, table, flags)
                             : decodeCounted(out, outSize, text.bytes, text.left, table, flags);
    }
    const Body body{text.bytes, text.left, text.extra};
    switch (text.code) {
    case DvbCodeUtf8Prepared:
        return decodeBy<Sink, static_cast<Way<Sink>>(copyPrepared)>(out, outSize, body, flags);
    case DvbCodeUcs2:
        return decodeTwoByte<Sink>(out, outSize, body, flags);
    case DvbCodeUtf8:
        return decodeUtf8<Sink>(out, outSize, body, flags);
    default:
        return decodeBy<Sink, static_cast<Way<Sink>>(decodeCompressed)>(out, outSize, body, flags);
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

template <class Sink>
[[gnu::noinline]] unsigned int decodeSelected(dvbCharSet_t charSet, typename Sink::Unit *out, int outSize,
                                              const char *in, int inLen, DvbCode_t defaultCode, int defaultExtra,
                                              unsigned int flags) {
    return decode<Sink>(open(charSet, in, inLen, defaultCode, defaultExtra), out, outSize, flags);
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
template <class Sink>
[[gnu::always_inline]] inline unsigned int decodeString(dvbCharSet_t charSet, typename Sink::Unit *out, int outSize,
                                                        const char *in, int inLen, DvbCode_t defaultCode,
                                                        int defaultExtra, unsigned int flags) {
    if (in == nullptr) {
        *out = 0;
        return 0;
    }
    if (inLen > 1 && defaultCode == DvbCodeNone) [[likely]] {
        const auto *const bytes = reinterpret_cast<const unsigned char *>(in);
        if (*bytes > lastDvbSelector) [[likely]] {
            return decodeCounted(out, outSize, bytes, inLen, tables::dvbTables[0], flags);
        }
        const auto region = static_cast<unsigned int>(charSet);
        if (isShortTableSelector(bytes)) {
            const tables::DvbTable table = tables::selectedDvbTable(region, dvbSelectorCodes[*bytes]);
            return decodeCounted(out, outSize, bytes + 1, inLen - 1, table, flags);
        }
        if (inLen > 3 && isLongTableSelector(bytes)) {
            return decodeCounted(out, outSize, bytes + 3, inLen - 3, tables::selectedDvbTable(region, bytes[2]), flags);
        }
        if (dvbSelectorCodes[*bytes] == DvbCodeUcs2) {
            return decodeTwoByte<Sink>(out, outSize, {bytes + 1, inLen - 1, 0}, flags);
        }
        if (dvbSelectorCodes[*bytes] == DvbCodeUtf8) {
            return decodeUtf8<Sink>(out, outSize, {bytes + 1, inLen - 1, 0}, flags);
        }
    }
    return decodeSelected<Sink>(charSet, out, outSize, in, inLen, defaultCode, defaultExtra, flags);
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
        return isMalaysia(text.extra) ? malaysiaBound : decompressedBytes(text);
    default:
        return saturated(longestSequence * static_cast<long long>(ucs2Bound(text)));
    }
}

unsigned int decodeToUcs2(const DvbText &text, unsigned short *out, int outSize, unsigned int flags) {
    return decode<Ucs2Sink>(text, out, outSize, flags);
}

unsigned int decodeToUtf8(const DvbText &text, char *out, int outSize, unsigned int flags) {
    return decode<Utf8Sink>(text, out, outSize, flags);
}

} // namespace zelk::detail

using namespace zelk;

unsigned short zelkCombineCharWithDiacriticalMark(int set, unsigned int base, unsigned int mark) {
    return tables::composeIn(tables::dvbMarks, static_cast<unsigned int>(set), base, mark);
}

int combiningMapDvb(unsigned int table) {
    const std::uint8_t marks = table < tables::dvbTableCount ? tables::dvbTables[table].marks : tables::noMarks;
    return marks == tables::noMarks ? -1 : marks;
}

unsigned int zelk_dvb8ToUnicode(dvbCharSet_t charSet, unsigned short *out, int outSize, const char *in, int inLen,
                                DvbCode_t defaultCode, int defaultExtra, unsigned int flags) {
    return detail::decodeString<detail::Ucs2Sink>(charSet, out, outSize, in, inLen, defaultCode, defaultExtra, flags);
}

unsigned int zelk_dvb8ToUtf8(dvbCharSet_t charSet, char *out, int outSize, const char *in, int inLen,
                             DvbCode_t defaultCode, int defaultExtra, unsigned int flags) {
    return detail::decodeString<detail::Utf8Sink>(charSet, out, outSize, in, inLen, defaultCode, defaultExtra, flags);
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
