#include "tables/byte_set_planes.h"

#include "detail/utf8_char.h"
#include "tables/byte_set_definitions.h"
#include "tables/derived.h"

namespace zelk::tables {

namespace {

constexpr std::array<CodePoints, byteSetCount> pool = expandByteSets();

// By the copy that the library has anyway, where it is read at the start.
constexpr unsigned int characterOf(unsigned int set, unsigned int byte) {
#if defined(ZELK_COMPACT)
    return byteSetPool[set][byte];
#else
    return pool[set][byte];
#endif
}

constexpr PackedCharacter pack(unsigned int character) {
    PackedCharacter entry{};
    entry.count = static_cast<std::uint8_t>(character == 0 ? 0 : detail::utf8Encode(character, entry.bytes, 4));
    return entry;
}

ZELK_DERIVING auto packHalves() {
    std::array<PackedCharacter, (1 + byteSetCount) * halfOfSet> packed{};
    for (unsigned int i = 0; i < halfOfSet; ++i) {
        packed[i] = pack(i);
        for (unsigned int set = 0; set < byteSetCount; ++set) {
            packed[(1 + set) * halfOfSet + i] = pack(characterOf(set, halfOfSet + i));
        }
    }
    return packed;
}

consteval bool lowerHalvesAreAscii() {
    for (unsigned int set = 0; set < byteSetCount; ++set) {
        const bool isDvbDefault = set == static_cast<unsigned int>(ByteSet::DvbDefault);
        if (!isRun(pool[set], isDvbDefault ? Run{0x20, 0x7E, 0x20} : Run{0x00, 0x7F, 0x00})) {
            return false;
        }
    }
    return true;
}
static_assert(lowerHalvesAreAscii());

ZELK_DERIVING std::array<BytePlanes, byteSetCount> spreadOut() {
    std::array<BytePlanes, byteSetCount> planes{};
    for (unsigned int set = 0; set < byteSetCount; ++set) {
        for (unsigned int i = 0; i < 128; ++i) {
            const unsigned int character = characterOf(set, 128 + i);
            std::uint8_t bytes[3] = {};
            const unsigned int count = detail::utf8Encode(character, bytes, 4);
            BytePlanes &plane = planes[set];
            if (count == 3) {
                plane.firstOfThree[i] = bytes[0];
                plane.first[i] = bytes[1];
                plane.lastOfThree[i] = bytes[2];
            } else {
                plane.first[i] = bytes[0];
                plane.last[i] = bytes[1];
            }
            plane.ucs2Low[i] = static_cast<std::uint8_t>(character & 0xFFU);
            plane.ucs2High[i] = static_cast<std::uint8_t>(character >> 8U);
        }
    }
    return planes;
}

struct Pair {
    std::uint8_t first;
    std::uint8_t second;
};

constexpr Pair unitPair(unsigned int character) {
    return {static_cast<std::uint8_t>(character & 0xFFU), static_cast<std::uint8_t>(character >> 8U)};
}

constexpr Pair utf8Pair(unsigned int character) {
    std::uint8_t bytes[3] = {};
    const unsigned int count = detail::utf8Encode(character, bytes, 4);
    return {bytes[0], count == 2 ? bytes[1] : notOfTwoBytes};
}

template <class PairOf>
ZELK_DERIVING std::array<ByteSteps, byteSetCount> stepsOf(PairOf pairOf) {
    std::array<ByteSteps, byteSetCount> all{};
    for (unsigned int set = 0; set < byteSetCount; ++set) {
        ByteSteps &steps = all[set];
        for (unsigned int i = 0; i < 128; ++i) {
            const Pair pair = pairOf(characterOf(set, 128 + i));
            steps.first[i] = static_cast<std::uint8_t>(pair.first ^ (128 + i));
            steps.second[i] = pair.second;
        }
        for (unsigned int i = 0; i < 128 - 16; ++i) { // in this order: the step after it still is what it stands for
            steps.first[i] ^= steps.first[i + 16];
            steps.second[i] ^= steps.second[i + 16];
        }
    }
    return all;
}

} // namespace

ZELK_DERIVED std::array<PackedCharacter, (1 + byteSetCount) *halfOfSet> packedUtf8Pool = packHalves();
ZELK_DERIVED std::array<BytePlanes, byteSetCount> bytePlanesPool = spreadOut();
ZELK_DERIVED std::array<ByteSteps, byteSetCount> unitStepsPool = stepsOf(unitPair);
ZELK_DERIVED std::array<ByteSteps, byteSetCount> pairStepsPool = stepsOf(utf8Pair);

static_assert(sizeof packedUtf8Pool == std::size_t{1 + byteSetCount} * 512);
static_assert(sizeof bytePlanesPool == std::size_t{byteSetCount} * 768);

} // namespace zelk::tables
