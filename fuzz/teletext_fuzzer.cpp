// Teletext characters: a text converts like each of its units alone, in both outputs and at every size, and what comes
// out holds no character of the private-use area any more.
#include "fuzz.h"

using fuzz::require;

namespace {

constexpr bool isTeletext(char16_t unit) {
    return unit >= 0xE000 && unit <= 0xE2FF;
}

char16_t alone(char16_t unit) {
    const unsigned short in = unit;
    fuzz::Output<unsigned short> out(2);
    const std::u16string result = out.text(zelk_pela_ttxConvertToUnicode(out.data(), 2, &in, 1));
    require(result.size() == 1 && !isTeletext(result[0]), "one ordinary character for one unit");
    require(isTeletext(unit) || result[0] == unit, "an ordinary character passes");
    return result[0];
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int small = input.size();
    const bool counted = input.coin();
    const std::u16string whole = fuzz::unitsOf(input.rest());
    const auto in = counted ? fuzz::block<unsigned short>(whole) : fuzz::terminated<unsigned short>(whole);
    const int count = counted ? static_cast<int>(whole.size()) : -1;
    std::u16string units = fuzz::upToZero(whole);
    std::transform(units.begin(), units.end(), units.begin(), alone);
    for (const int room : {3 * static_cast<int>(units.size()) + 1, small}) {
        fuzz::Output<unsigned short> wide(room);
        require(wide.text(zelk_pela_ttxConvertToUnicode(wide.data(), room, in.get(), count)) == fuzz::cut(units, room),
                "UCS-2 as each unit alone");
        fuzz::Output<char> utf8(room);
        require(utf8.text(zelk_pela_ttxConvertToUtf8(utf8.data(), room, in.get(), count)) == fuzz::utf8Of(units, room),
                "UTF-8 as each unit alone");
    }
    return 0;
}
