// Bounded copies and lengths of every layout against standard strings: bytes, units, byte pairs, and bytes to units.
#include "fuzz.h"

namespace {

using fuzz::require;

template <class Unit, class Copy, class Text>
void checkCopy(Copy copy, const Text &text, int size, unsigned int max) {
    const auto in = fuzz::terminated<Unit>(text);
    fuzz::Output<Unit> out(size);
    out.data()[0] = 1;
    const unsigned int count = copy(out.data(), size, in.get(), max);
    if (size < 1) {
        require(count == 0 && out.data()[0] == 1, "without room nothing is written");
    } else {
        require(out.text(count) == fuzz::cut(text, size).substr(0, max), "a bounded copy");
    }
}

// The two bytes of each pair are exchanged.
void checkPairs(const std::string &text, const std::u16string &units, int size, unsigned int max) {
    const auto pairs = fuzz::block<unsigned char>(text, 3); // a zero pair whether the text is odd or even
    require(zelk_nawcslen(pairs.get()) == units.size(), "length in pairs");
    fuzz::Output<unsigned char> out(2 * std::max(size, 1));
    const unsigned int count = zelk_nawstrlcpy(out.data(), size, pairs.get(), max);
    require(count == fuzz::cut(units, size).substr(0, max).size(), "pairs copied");
    for (std::size_t i = 0; i < 2 * std::size_t{count}; ++i) {
        require(out.data()[i] == pairs[i ^ 1U], "with their bytes exchanged");
    }
    require(size < 1 || out.data()[2 * count] + out.data()[2 * count + 1] == 0, "and terminated by a pair");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int room = input.size();
    const unsigned int max = input.coin() ? 0xFFFFFFFFU : input.byte();
    const std::string whole = input.rest();
    const std::string text = fuzz::upToZero(whole);
    const std::u16string units = fuzz::upToZero(fuzz::unitsOf(whole + std::string(3, 0)));
    checkCopy<char>(zelk_strlcpy, text, room, max);
    checkCopy<unsigned short>(zelk_wstrlcpy, units, room, max);
    checkPairs(whole, units, room, max);
    require(zelk_wcslen(fuzz::terminated<unsigned short>(units).get()) == units.size(), "length in units");

    std::u16string expanded;
    for (const char byte : text) {
        expanded += static_cast<char16_t>(static_cast<unsigned char>(byte));
    }
    const auto in = fuzz::terminated(text);
    fuzz::Output<unsigned short> wide(room);
    require(wide.text(zelk_expand(wide.data(), in.get(), room)) == fuzz::cut(expanded, room), "expanded");
    return 0;
}
