// Whole texts between UTF-8 and UCS-2 in its three layouts against the plain model: flat, measured, in packets and in
// strings; and back again.
#include "fuzz.h"

namespace {

using fuzz::require;

void checkDecoding(const std::string &whole, bool counted, int small) {
    const std::string text = fuzz::upToZero(whole);
    const int count = counted ? static_cast<int>(whole.size()) : -1;
    const auto in = counted ? fuzz::block<unsigned char>(whole) : fuzz::terminated<unsigned char>(text);
    std::u16string units;    // a sequence that the count cuts off keeps what the buffer held
    std::u16string ownUnits; // or 0 in a buffer of the library's
    const bool cutByCount = counted && text.size() == whole.size();
    const auto end = cutByCount ? zelk_test::TextEnd::Count : zelk_test::TextEnd::Terminator;
    for (const auto &character : zelk_test::utf8CharactersModel(text, end)) {
        units += static_cast<char16_t>(character.character.value_or(0xA7A7));
        ownUnits += static_cast<char16_t>(character.character.value_or(0));
    }
    const int ample = static_cast<int>(units.size()) + 1;
    require(zelkUtf8GetTextWidth(in.get(), static_cast<unsigned int>(count)) == units.size(), "width");
    for (const int size : {ample, small}) {
        fuzz::Output<unsigned short> out(size);
        require(out.text(zelkUtf8DecodeText(out.data(), size, in.get(), count)) == fuzz::cut(units, size), "decoded");
    }
    require(fuzz::take(zelkUtf8DecodeString(in.get(), count)) == ownUnits, "packet equals model");

    std::string lowFirst;
    for (const char16_t unit : ownUnits) {
        lowFirst += static_cast<char>(unit & 0xFF);
        lowFirst += static_cast<char>(unit >> 8);
    }
    const auto *chars = reinterpret_cast<const char *>(in.get());
    require(zelk::Utf8Decoder::utf8Decode(chars, count) == lowFirst + '\0', "string equals model");
    require(zelk::Utf8Encoder::utf8Encode(lowFirst + '\0') == fuzz::utf8Of(fuzz::upToZero(ownUnits)), "and comes back");
}

template <class Unit, class Encode, class Measure, class Wrap>
void checkEncoding(const std::unique_ptr<Unit[]> &in, int count, const std::u16string &units, int small, Encode encode,
                   Measure measure, Wrap wrap) {
    const std::string utf8 = fuzz::utf8Of(units);
    require(measure(in.get(), count) == utf8.size(), "measured");
    for (const int size : {static_cast<int>(utf8.size()) + 1, small}) {
        fuzz::Output<unsigned char> out(size);
        require(out.text(encode(out.data(), size, in.get(), count)) == fuzz::utf8Of(units, size), "encoded");
    }
    require(fuzz::take(wrap(in.get(), count)) == utf8, "packet equals flat");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int small = input.size();
    const bool counted = input.coin();
    const std::string text = input.rest();
    checkDecoding(text, counted, small);

    const std::u16string all = fuzz::unitsOf(text);
    const std::u16string units = fuzz::upToZero(all);
    const int count = counted ? static_cast<int>(all.size()) : -1;
    const std::size_t zeros = counted ? 0 : 2;
    std::string inverse;
    for (const char16_t unit : all) {
        inverse += static_cast<char>(unit & 0xFF);
        inverse += static_cast<char>(unit >> 8);
    }
    checkEncoding(fuzz::block<unsigned short>(all, zeros), count, units, small, zelkUtf8EncodeText, zelkUtf8GetLength,
                  zelkUtf8EncodeString);
    checkEncoding(fuzz::block<unsigned char>(text.substr(0, 2 * all.size()), zeros), count, units, small,
                  zelkUtf8EncodeNotAlignedText, zelkUtf8GetLengthForNotAlignedText, zelkUtf8EncodeNotAlignedString);
    checkEncoding(fuzz::block<unsigned char>(inverse, zeros), count, units, small, zelkUtf8EncodeNotAlignedInverseText,
                  zelkUtf8GetLengthForNotAlignedInverseText, zelkUtf8EncodeNotAlignedInverseString);
    return 0;
}
