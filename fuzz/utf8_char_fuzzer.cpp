// The character codec against the plain model: at every place of a text, with all that follows and cut off; and every
// unit in every room.
#include "fuzz.h"

using fuzz::require;

namespace {

void checkDecoding(const unsigned char *at, unsigned int available) {
    const zelk_test::Utf8Step step = zelk_test::utf8StepModel(at, available);
    unsigned short character = 0xA7A7;
    require(zelkUtf8CharDecode(at, available, &character) == step.consumed, "bytes consumed");
    require(zelkUtf8CharGetLength(at, available) == step.consumed, "bytes foretold");
    require(character == step.character.value_or(0xA7A7), "the character, or the old value for a cut one");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(data, data + size);
    const auto whole = fuzz::block<unsigned char>(text);
    // Blocks that end after one, two and three bytes.
    const std::unique_ptr<unsigned char[]> cut[] = {fuzz::block<unsigned char>(std::string(1, ' ')),
                                                    fuzz::block<unsigned char>(std::string(2, ' ')),
                                                    fuzz::block<unsigned char>(std::string(3, ' '))};
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto left = static_cast<unsigned int>(text.size() - i);
        checkDecoding(whole.get() + i, left);
        for (unsigned int count = 1; count <= std::min(left, 3U); ++count) {
            unsigned char *const rest = cut[count - 1].get();
            std::copy_n(whole.get() + i, count, rest);
            checkDecoding(rest, count);
        }
    }
    for (const char16_t unit : fuzz::unitsOf(text)) {
        const std::string sequence = zelk_test::utf8EncodeModel(unit);
        const int length = static_cast<int>(sequence.size());
        require(zelkUtf8CharGetEncodedLength(unit) == sequence.size(), "length foretold");
        fuzz::Output<unsigned char> out(length + 1);
        out.data()[length] = 0;
        for (int room = -1; room <= length + 1; ++room) {
            const unsigned int written = zelkUtf8CharEncode(unit, out.data(), room);
            require(written == (room > length ? sequence.size() : 0), "written where it fits with its terminator");
            require(written == 0 || out.text(written) == sequence, "the sequence of the model");
        }
    }
    return 0;
}
