// What the compiler's own vectors give to every set whose comparisons are vectors: SSE4.1, AVX2, NEON, WebAssembly. The
// set's header comes first and says how many bytes a block has; operations that take an instruction of their own are
// there too.
//
// A block is as many bytes as a register holds. A lane is 16 bytes of it: shuffles and interleaving stay inside a lane.
// Of bytes or units compared, all bits are set where the answer is yes. Arithmetic, shifts and & | ^ ~ are the
// language's, for each byte or unit.
#pragma once

namespace zelk::kernels::ZELK_KERNEL_SET {

inline constexpr std::size_t laneBytes = 16;
inline constexpr std::size_t blockLanes = blockBytes / laneBytes;
inline constexpr std::size_t blockUnits = blockBytes / 2;

using Bytes = std::uint8_t __attribute__((vector_size(blockBytes)));
using Units = std::uint16_t __attribute__((vector_size(blockBytes)));
using Lane = std::uint8_t __attribute__((vector_size(laneBytes)));
using LaneUnits = std::uint16_t __attribute__((vector_size(laneBytes)));

using AlignedBytes __attribute__((may_alias)) = Bytes;
using AlignedLane __attribute__((may_alias)) = Lane;

using Flags = Bytes;
using UnitFlags = Units;

// ---- Memory, at any address

template <class Vector = Bytes>
ZELK_OPERATION Vector load(const void *from) {
    Vector vector;
    std::memcpy(&vector, from, sizeof vector);
    return vector;
}

template <class Vector>
ZELK_OPERATION void store(void *to, Vector vector) {
    std::memcpy(to, &vector, sizeof vector);
}

// ---- Constants

ZELK_OPERATION Bytes repeatByte(unsigned int byte) {
    return Bytes{} + static_cast<std::uint8_t>(byte);
}

ZELK_OPERATION Units repeatUnit(unsigned int unit) {
    return Units{} + static_cast<std::uint16_t>(unit);
}

// ---- The same bits under another name

ZELK_OPERATION Units asUnits(Bytes bytes) {
    return reinterpret_cast<Units>(bytes);
}

ZELK_OPERATION Bytes asBytes(Units units) {
    return reinterpret_cast<Bytes>(units);
}

ZELK_OPERATION Lane asLane(LaneUnits units) {
    return reinterpret_cast<Lane>(units);
}

ZELK_OPERATION LaneUnits asLaneUnits(Lane lane) {
    return reinterpret_cast<LaneUnits>(lane);
}

// ---- Lanes

// Each byte of a block or a lane so many places further up, after the last ones of what comes before.
template <std::size_t places, class Vector, std::size_t... index>
ZELK_OPERATION Vector movedUp(Vector bytes, Vector before, std::index_sequence<index...>) {
    return __builtin_shufflevector(before, bytes, (index + sizeof(Vector) - places)...);
}

template <std::size_t places, class Vector>
ZELK_OPERATION Vector movedUp(Vector bytes, Vector before = Vector{}) {
    return movedUp<places>(bytes, before, std::make_index_sequence<sizeof(Vector)>());
}

// The first eight bytes of a lane as units, and the last eight.
ZELK_OPERATION LaneUnits frontUnitsOf(Lane lane) {
    return reinterpret_cast<LaneUnits>(
        __builtin_shufflevector(lane, Lane{}, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23));
}

ZELK_OPERATION LaneUnits backUnitsOf(Lane lane) {
    return reinterpret_cast<LaneUnits>(
        __builtin_shufflevector(lane, Lane{}, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31));
}

// ---- Comparisons

ZELK_OPERATION Flags equal(Bytes a, Bytes b) {
    return reinterpret_cast<Flags>(a == b);
}

// As signed numbers: 0x80 to 0xFF are below 0.
ZELK_OPERATION Flags lessSigned(Bytes a, Bytes b) {
    using Signed = std::int8_t __attribute__((vector_size(blockBytes)));
    return reinterpret_cast<Flags>(reinterpret_cast<Signed>(a) < reinterpret_cast<Signed>(b));
}

ZELK_OPERATION Bytes lesserSigned(Bytes a, Bytes b) {
    using Signed = std::int8_t __attribute__((vector_size(blockBytes)));
    const auto left = reinterpret_cast<Signed>(a);
    const auto right = reinterpret_cast<Signed>(b);
    return reinterpret_cast<Bytes>(left < right ? left : right); // GCOVR_EXCL_BR_LINE: Clang counts one way of vectors
}

ZELK_OPERATION UnitFlags equalUnits(Units a, Units b) {
    return reinterpret_cast<UnitFlags>(a == b);
}

ZELK_OPERATION Bytes lowerNibbles(Bytes bytes) {
    return bytes & 0x0F;
}

ZELK_OPERATION Bytes upperNibbles(Bytes bytes) {
    return bytes >> 4;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
