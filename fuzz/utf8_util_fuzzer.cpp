// Filters, positions and validity of UTF-8 text: sizes and lengths agree, and each result follows from the characters
// that the plain model finds.
#include "fuzz.h"

namespace {

using fuzz::require;

unsigned short replacing(unsigned short character) { // keeps the length of what it maps, drops x
    return character == 'x'                       ? 0
           : character >= 'a' && character <= 'z' ? static_cast<unsigned short>(character - 32)
                                                  : character;
}

void checkFilter(const std::string &text, const std::vector<zelk_test::Utf8Character> &characters, int small) {
    const auto in = fuzz::terminated<unsigned char>(text);
    const auto length = static_cast<unsigned int>(zelkUtf8GetFilteredStringLength(in.get(), replacing));
    fuzz::Output<unsigned char> out(static_cast<int>(length) + 1);
    const std::string all =
        out.text(zelkUtf8FilterString(out.data(), static_cast<int>(length) + 1, in.get(), replacing));
    std::string expected;
    for (const auto &character : characters) {
        const auto before = static_cast<unsigned short>(*character.character);
        const unsigned short after = replacing(before);
        expected += after == 0 ? "" : after == before ? character.bytes : zelk_test::utf8EncodeModel(after);
    }
    require(all == expected && all.size() == length, "filtered as each character is");
    fuzz::Output<unsigned char> few(small);
    const std::string some = few.text(zelkUtf8FilterString(few.data(), small, in.get(), replacing));
    require(expected.rfind(some, 0) == 0, "a smaller size gives the beginning");
    require(zelk::Utf8Utilities::FilterString(text, replacing) == expected, "string equals flat");
    require(zelk::Utf8Utilities::MapString(text, replacing) == expected, "mapped string equals flat");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int small = input.size();
    const unsigned int start = input.byte() % 32;
    const unsigned int count = input.byte();
    const std::string text = fuzz::upToZero(input.rest());
    const auto characters = zelk_test::utf8CharactersModel(text, zelk_test::TextEnd::Terminator);
    checkFilter(text, characters, small);

    std::string valid; // up to the first rejected character
    std::string before;
    std::string stretch;
    bool rejected = false;
    for (std::size_t i = 0; i < characters.size(); ++i) {
        rejected = rejected || characters[i].character == 0xFFFDU;
        valid += rejected ? "" : characters[i].bytes;
        before += i < start ? characters[i].bytes : "";
        stretch += i >= start && i - start < count ? characters[i].bytes : "";
    }
    const auto in = fuzz::terminated<unsigned char>(text);
    require(zelkUtf8TextIsValid(in.get(), 0xFFFFFFFFU) == (rejected ? 0 : 1), "validity");
    require(zelkUtf8Pos(in.get(), start) == before.size(), "position");
    for (const int room : {static_cast<int>(text.size()) + 2, small}) {
        fuzz::Output<unsigned char> out(room);
        int invalid = 0;
        const unsigned int copied = zelkUtf8CopyAndCheckIfValid(out.data(), room, in.get(), -1, &invalid);
        require(out.text(copied) == fuzz::cut(valid, room), "copied while valid");
        require(room == small || invalid == (rejected ? 1 : 0), "and told so");
    }
    CharPacket *packet = zelkNewCharPacket(0, text.c_str());
    require(fuzz::take(zelkUtf8Substr(packet, start, count, nullptr)) == stretch, "substring by characters");
    std::free(packet);
    return 0;
}
