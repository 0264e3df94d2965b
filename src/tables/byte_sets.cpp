#include "tables/byte_sets.h"

#include "tables/byte_set_definitions.h"

namespace zelk::tables {

constexpr std::array<CodePoints, byteSetCount> byteSetPool = expandByteSets();

static_assert(sizeof byteSetPool == 12800, "25 sets of 512 bytes");

namespace {

// What the loops over text rely on: a zero byte, and no other, is the character 0; ASCII is ASCII in every set.
constexpr bool startsWithAscii(const CodePoints &set) {
    return isRun(set, {0x20, 0x7E, 0x20});
}

constexpr bool poolHolds() {
    for (unsigned int set = 0; set < byteSetCount; ++set) {
        const bool isDvbDefault = set == static_cast<unsigned int>(ByteSet::DvbDefault);
        const CodePoints &codePoints = byteSetPool[set];
        if (!startsWithAscii(codePoints) || (!isDvbDefault && !onlyPosition0HoldsZero(codePoints))) {
            return false;
        }
    }
    return true;
}

static_assert(poolHolds());

} // namespace

} // namespace zelk::tables
