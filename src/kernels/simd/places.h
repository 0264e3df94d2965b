// Places in a block, as bits of a number: bitsPerPlace bits for each byte, of which the lowest is set where a byte is
// one of those that a search wants.
#pragma once

namespace zelk::kernels::ZELK_KERNEL_SET {

// There is one.
ZELK_OPERATION std::size_t firstPlace(std::uint64_t places) {
    return static_cast<std::size_t>(std::countr_zero(places)) / bitsPerPlace;
}

ZELK_OPERATION std::uint64_t withoutFirst(std::uint64_t places) {
    return places & (places - 1);
}

// The places before the first one of `ends`; all where there is none. Not by ~ends & (ends - 1), of which Valgrind does
// not know that ends after the first one have no part in it.
ZELK_OPERATION std::uint64_t placesBefore(std::uint64_t ends) {
    return ends == 0 ? ~std::uint64_t{0} : (std::uint64_t{1} << std::countr_zero(ends)) - 1;
}

// The first `count` places, less than all of a block.
ZELK_OPERATION std::uint64_t firstPlaces(std::size_t count) {
    return (std::uint64_t{1} << count * bitsPerPlace) - 1;
}

ZELK_OPERATION std::size_t countOf(std::uint64_t places) {
    return static_cast<std::size_t>(std::popcount(places));
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
