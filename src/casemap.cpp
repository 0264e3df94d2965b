// Upper case, lower case and class of one character: a lookup below a fixed limit, nothing above it.
#include "tables/casemap.h"
#include "tables/char_class.h"
#include "zelk.h"

using namespace zelk;

namespace {

constexpr unsigned short mapped(const auto &deltas, unsigned int last, unsigned int code) {
    const int delta = code <= last ? deltas[code] : 0;
    return static_cast<unsigned short>(code + static_cast<unsigned int>(delta));
}

constexpr unsigned short upper(unsigned int code) {
    return mapped(tables::upperDeltas, tables::lastUpperMapped, code);
}

constexpr unsigned short lower(unsigned int code) {
    return mapped(tables::lowerDeltas, tables::lastLowerMapped, code);
}

constexpr unsigned int classOf(unsigned int code) {
    return code <= tables::lastClassified ? tables::charClasses[code] : 0;
}

// The limits are part of the contract, and every page that is looked up exists.
static_assert(tables::lastUpperMapped == 0x1EF9 && tables::lastLowerMapped == 0x1EF8);
static_assert(tables::lastClassified == 0x20F0);
static_assert(tables::upperDeltas.pageOf.size() * tables::casePageSize > tables::lastUpperMapped);
static_assert(tables::charClasses.pageOf.size() == 264);

static_assert(upper(0x00E9) == 0x00C9 && upper(0x00FF) == 0x0178 && upper(0x0149) == 'N' && upper(0x1E99) == 'Y');
static_assert(upper(0x00DF) == 0x00DF && upper(0x03C2) == 0x03C2 && upper(0x1EFB) == 0x1EFB);
static_assert(upper(0x1EF9) == 0x1EF8 && lower(0x1EF8) == 0x1EF9 && lower(0x1EF9) == 0x1EF9);
static_assert(lower(0x0130) == 'i' && lower(0x0178) == 0x00FF && lower('A') == 'a');
static_assert(classOf('A') == 0x0002 && classOf('<') == 0x0114 && classOf(0x200B) == 0x0848);
static_assert(classOf(0x0531) == 0 && classOf(0x20F0) == 0x0200 && classOf(0x20F1) == 0);

} // namespace

unsigned short zelk2upperChar(unsigned int code) {
    return upper(code);
}

unsigned short zelk2lowerChar(unsigned int code) {
    return lower(code);
}

unsigned int zelkcharGetClass(unsigned int code) {
    return classOf(code);
}
