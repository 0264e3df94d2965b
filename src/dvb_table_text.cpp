// DVB text through a table of 256 characters, with the non-spacing marks of some of the tables.
//
// The kernels take the stretches of plain characters; what stops them is decoded by the rule, one character at a time.
#include "detail/dvb_ways.h"
#include "kernels/kernels.h"
#include "tables/byte_sets.h"
#include "tables/dvb_marks.h"

#include <array>
#include <cstdint>

namespace zelk::detail {
namespace {

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

// One character by the rule; returns where the next begins. A mark and the byte after it are one character where they
// compose; else the mark is a character of its own. The last mark of a counted string looks at the byte after the
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
[[gnu::noinline]] std::size_t beforeGreekMark(const unsigned char *at, std::size_t left) {
    const auto &columns = tables::dvbMarks.sets[tables::greekMarks].columnOf;
    std::size_t count = 0;
    while (count != left && (at[count] & 0x60U) != 0 && columns[at[count]] == 0) {
        ++count;
    }
    return count;
}

// The kernels take the stretches of plain characters; what stops them is decoded by the rule. They read no further than
// the rule would: of the text that is left, as many bytes as surely fit.

template <class Unit>
[[gnu::always_inline]] inline kernels::Progress stretch(tables::DvbTable table, const unsigned char *at,
                                                        std::size_t left, Unit *out, int room) {
    constexpr bool toUtf8 = std::is_same_v<Unit, char>;
    const auto units = static_cast<std::size_t>(room - 1);
    const kernels::Kernels &kernels = kernels::kernels();
    if constexpr (toUtf8) {
        return table.marks == tables::latinMarks ? kernels.markedToUtf8(table.set, at, left, out, units)
               : table.marks == tables::noMarks
                   ? kernels.cleanToUtf8(table.set, at, left, out, units)
                   : kernels.cleanToUtf8(table.set, at, beforeGreekMark(at, left), out, units);
    } else {
        return table.marks == tables::latinMarks ? kernels.markedToUcs2(table.set, at, left, out, units)
               : table.marks == tables::noMarks
                   ? kernels.cleanToUcs2(table.set, at, left, out, units)
                   : kernels.cleanToUcs2(table.set, at, beforeGreekMark(at, left), out, units);
    }
}

// The steps by the rule before a kernel is tried again: one, to pass what stopped it, or some where it made so little
// way that its call was not worth it.
constexpr int stepsAfter(const kernels::Progress &done) {
    return done.read >= 8 ? 1 : 8;
}

template <class Unit>
struct TableText {
    Unit *out;
    const unsigned char *bytes;
    int outSize;
    int length;
    tables::DvbTable table;
    unsigned int flags;
};

template <class Unit>
[[gnu::noinline]] unsigned int restOfTable(const TableText<Unit> &text, kernels::Progress done) {
    SinkOf<Unit> sink(text.out, text.outSize);
    const unsigned char *at = text.bytes;
    const unsigned char *const end = at + text.length;
    for (;;) {
        at += done.read;
        sink.advance(static_cast<int>(done.written));
        for (auto steps = stepsAfter(done); steps != 0 && at != end && !sink.full(); --steps) {
            at = putCharacter(sink, text.table, text.flags, at, end);
        }
        if (at == end || sink.full()) {
            return sink.finish();
        }
        done = stretch(text.table, at, static_cast<std::size_t>(end - at), sink.position(), sink.room());
    }
}

template <class Unit>
[[gnu::noinline]] unsigned int decodeTerminated(Unit *out, int outSize, const unsigned char *bytes,
                                                tables::DvbTable table, unsigned int flags) {
    return decodeTableText(out, outSize, bytes, byteCount(bytes, -1), table, flags);
}

} // namespace

// Most texts are one stretch.
template <class Unit>
unsigned int decodeTableText(Unit *out, int outSize, const unsigned char *bytes, int left, tables::DvbTable table,
                             unsigned int flags) {
    if (outSize < 2) [[unlikely]] {
        return finished(out, 0);
    }
    if (left < 0) [[unlikely]] {
        return decodeTerminated(out, outSize, bytes, table, flags);
    }
    const TableText<Unit> text{out, bytes, outSize, left, table, flags};
    const kernels::Progress done = stretch(table, bytes, static_cast<std::size_t>(left), out, outSize);
    return done.read == static_cast<std::size_t>(text.length) ? finished(text.out, done.written)
                                                              : restOfTable(text, done);
}

template unsigned int decodeTableText(char *, int, const unsigned char *, int, tables::DvbTable, unsigned int);
template unsigned int decodeTableText(unsigned short *, int, const unsigned char *, int, tables::DvbTable,
                                      unsigned int);

} // namespace zelk::detail

using namespace zelk;

unsigned short zelkCombineCharWithDiacriticalMark(int set, unsigned int base, unsigned int mark) {
    return tables::composeIn(tables::dvbMarks, static_cast<unsigned int>(set), base, mark);
}

int combiningMapDvb(unsigned int table) {
    const std::uint8_t marks = table < tables::dvbTableCount ? tables::dvbTables[table].marks : tables::noMarks;
    return marks == tables::noMarks ? -1 : marks;
}
