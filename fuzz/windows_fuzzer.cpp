// Windows code pages by their kernels against the rule for a single character.
#include "single_byte.h"

#include <iterator>

using fuzz::require;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    constexpr int codePages[] = {1250, 1251, 1252, 1253, 1254, 1257, 0, -1, 0xFFFF};
    constexpr unsigned int identifiers[] = {0, 1, 2, 3, 161, 162, 186, 204, 238, 255, 77, 0xFFFFFFFF};
    fuzz::Input input(data, size);
    const int codePage = codePages[input.byte() % std::size(codePages)];
    const unsigned int identifier = identifiers[input.byte() % std::size(identifiers)];
    const int small = input.size();
    const bool counted = input.coin();
    const fuzz::SingleByteText text(input.rest(), counted);
    const unsigned int table = zelk_winGetCodeTable(codePage, identifier);
    require(table <= 7, "a table has a number of 0 to 7");
    const auto rule = [&](unsigned int byte) { return zelk_winMapCode(table, byte); };
    const std::u16string units = fuzz::byRule(text.text, rule);
    const std::string utf8 = fuzz::utf8Of(units);
    const auto toUcs2 = [&](auto... arguments) { return zelk_winToUnicode(codePage, identifier, arguments...); };
    const auto toUtf8 = [&](auto... arguments) { return zelk_winToUtf8(codePage, identifier, arguments...); };
    fuzz::checkSingleByte(text, units, small, toUcs2, toUtf8);

    const char *in = text.in.get();
    require(zelk_winToUtf8Length(in, text.count, codePage, identifier) == utf8.size(), "measured");
    require(units.size() <= zelk_winToUnicodeMaxLength(in, text.count), "bound of units");
    require(utf8.size() <= zelk_winToUtf8MaxLength(in, text.count), "bound of bytes");
    require(fuzz::take(zelkConvertWindowsToUnicode(codePage, identifier, in, text.count)) == units, "packet, UCS-2");
    require(fuzz::take(zelkConvertWindowsToUtf8(codePage, identifier, in, text.count)) == utf8, "packet, UTF-8");
    const zelk::WinConverter converter(codePage, identifier);
    require(converter.convertWindowsToUnicode(in, text.count) == fuzz::nativeBytes(units), "string, UCS-2");
    require(fuzz::classDropsLast(text, units) || converter.convertWindowsToUtf8(in, text.count) == utf8,
            "string, UTF-8");
    return 0;
}
