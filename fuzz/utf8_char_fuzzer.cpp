// The character codec against the plain model: at every place of a text, with all that follows and cut off; and every
// unit in every room.
#include "fuzz.h"

using fuzz::require;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(data, data + size);
    for (std::size_t i = 0; i < text.size(); ++i) {
        for (const std::size_t count : {std::size_t{1}, std::size_t{2}, std::size_t{3}, text.size()}) {
            const auto rest = fuzz::block<unsigned char>(text.substr(i, count));
            const auto available = static_cast<unsigned int>(std::min(count, text.size() - i));
            const zelk_test::Utf8Step step = zelk_test::utf8StepModel(rest.get(), available);
            unsigned short character = 0xA7A7;
            require(zelkUtf8CharDecode(rest.get(), available, &character) == step.consumed, "bytes consumed");
            require(zelkUtf8CharGetLength(rest.get(), available) == step.consumed, "bytes foretold");
            require(character == step.character.value_or(0xA7A7), "the character, or the old value for a cut one");
        }
    }
    for (const char16_t unit : fuzz::unitsOf(text)) {
        const std::string sequence = zelk_test::utf8EncodeModel(unit);
        const int length = static_cast<int>(sequence.size());
        require(zelkUtf8CharGetEncodedLength(unit) == sequence.size(), "length foretold");
        for (int room = -1; room <= length + 1; ++room) {
            fuzz::Output<unsigned char> out(length + 1);
            out.data()[length] = 0;
            const unsigned int written = zelkUtf8CharEncode(unit, out.data(), room);
            require(written == (room > length ? sequence.size() : 0), "written where it fits with its terminator");
            require(written == 0 || out.text(written) == sequence, "the sequence of the model");
        }
    }
    return 0;
}
