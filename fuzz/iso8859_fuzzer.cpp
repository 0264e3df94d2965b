// ISO 8859 by its kernels against the rule for a single character, and text that may be UTF-8 already: whole, and in
// pieces.
#include "single_byte.h"

using fuzz::require;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned int part = input.named(18);
    const int small = input.size();
    const bool counted = input.coin();
    const std::size_t split = input.byte();
    const std::string whole = input.rest();
    const fuzz::SingleByteText text(whole, counted);
    // Above the parts a position is given; without a table there it is ASCII.
    const unsigned int known = part > 16 ? 12 : part;
    const auto rule = [&](unsigned int byte) { return zelk_isoConvertSingleChar(known, byte); };
    const std::u16string units = fuzz::byRule(text.text, rule);
    const std::string utf8 = fuzz::utf8Of(units);
    const auto toUcs2 = [&](auto... arguments) { return zelk_isoToUnicode(part, arguments...); };
    const auto toUtf8 = [&](auto... arguments) { return zelk_isoToUtf8(part, arguments...); };
    fuzz::checkSingleByte(text, units, small, toUcs2, toUtf8);

    const char *in = text.in.get();
    require(zelk_isoToUtf8Length(in, text.count, part) == utf8.size(), "measured");
    require(units.size() <= zelk_isoToUnicodeMaxLength(in, text.count), "bound of units");
    require(utf8.size() <= zelk_isoToUtf8MaxLength(in, text.count), "bound of bytes");
    require(fuzz::take(zelkConvertIsoToUnicode(part, in, text.count)) == units, "packet, UCS-2");
    require(fuzz::take(zelkConvertIsoToUtf8(part, in, text.count)) == utf8, "packet, UTF-8");
    const zelk::IsoConverter converter(part);
    require(converter.convertIsoToUnicode(in, text.count) == fuzz::nativeBytes(units) + '\0', "string, UCS-2");
    require(fuzz::classDropsLast(text, units) || converter.convertIsoToUtf8(in, text.count) == utf8, "string, UTF-8");

    const int ample = 3 * static_cast<int>(whole.size()) + 1;
    const auto bytes = fuzz::terminated<unsigned char>(text.text);
    const bool valid = zelkUtf8TextIsValid(bytes.get(), 0xFFFFFFFFU) != 0;
    const fuzz::SingleByteText ended(text.text, false);
    fuzz::Output<char> checked(ample);
    require(checked.text(zelk_isoToUtf8Checked(part, checked.data(), ample, ended.in.get(), -1)) ==
                (valid ? text.text : utf8),
            "UTF-8 stays, anything else is ISO 8859");

    // In pieces: what was valid stays, from the first piece with a wrong byte on the rest of it is ISO 8859.
    int flag = 0;
    for (const std::string &piece : {text.text.substr(0, split), text.text.substr(std::min(split, text.text.size()))}) {
        const bool before = flag != 0;
        const fuzz::SingleByteText part1(piece, false);
        fuzz::Output<char> out(ample);
        const std::string result = out.text(zelk_isoToUtf8Tolerant(part, out.data(), ample, part1.in.get(), -1, &flag));
        const auto pieceBytes = fuzz::terminated<unsigned char>(piece);
        const bool good = zelkUtf8TextIsValid(pieceBytes.get(), 0xFFFFFFFFU) != 0;
        require((flag != 0) == (before || !good), "the flag stays once it is set");
        const std::string all = fuzz::utf8Of(fuzz::byRule(piece, rule));
        require(!before || result == all, "a later piece is ISO 8859");
        require(before || !good || result == piece, "a valid piece stays");
    }
    return 0;
}
