// Compressed titles and descriptions against the plainest decoder over the same codes, and encoded texts, which must
// come back.
#include "fuzz.h"

#include "reference/huffman_encoder.h"

namespace {

using fuzz::require;

// The status, what was written between the guards, and the size that the call asks for.
void checkDecoder(const zelk::HuffmanDecoder &decoder, const std::string &compressed, const std::string &text,
                  unsigned int needed, unsigned int capacity) {
    const auto src = fuzz::block<unsigned char>(compressed);
    const auto length = static_cast<unsigned int>(compressed.size());
    fuzz::Output<unsigned char> out(static_cast<int>(capacity));
    unsigned int size = capacity;
    const int status = decoder.decode(src.get(), length, capacity == 0 ? nullptr : out.data(), &size);
    if (length == 0) {
        require(status == -1 && size == capacity, "no input is a bad argument");
        return;
    }
    require(size == needed, "the size needed is that of the model");
    require(status == (capacity != 0 && capacity < needed ? -2 : 0), "the status says whether it fits");
    const std::string written = needed == 0 ? "" : text + '\0';
    const std::size_t kept = std::min<std::size_t>(written.size(), capacity);
    require(std::memcmp(out.data(), written.data(), kept) == 0, "the text is that of the model, as much as fits");
}

void check(const zelk::HuffmanDecoder &decoder, const zelk_test::ContextCodes &codes, unsigned int skip,
           const std::string &compressed, unsigned int capacity) {
    const bool ended = !compressed.empty() && compressed.back() == 0;
    std::string text;
    const std::string used = compressed.substr(0, compressed.size() - (ended ? 1 : 0));
    for (const auto &character : zelk_test::decodeContextBits(codes, zelk_test::bitsOf(used))) {
        text += static_cast<char>(character.value);
    }
    const auto count = static_cast<unsigned int>(text.size());
    const unsigned int needed = count == 0 || count < skip ? 0 : count - skip + 2;
    text.erase(0, skip);
    checkDecoder(decoder, compressed, text, needed, 0);
    checkDecoder(decoder, compressed, text, needed, capacity);
    checkDecoder(decoder, compressed, text, needed, needed);
}

std::string decoded(const zelk::HuffmanDecoder &decoder, const std::string &compressed) {
    std::vector<unsigned char> out(compressed.size() * 8 + 2);
    auto size = static_cast<unsigned int>(out.size());
    decoder.decode(zelk_test::u8(compressed), static_cast<unsigned int>(compressed.size()), out.data(), &size);
    return {out.begin(), out.begin() + static_cast<std::ptrdiff_t>(size < 2 ? 0 : size - 2)};
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const zelk_test::ContextCodes titleCodes = zelk_test::contextCodes(_title_dec_table);
    static const zelk_test::ContextCodes descriptionCodes = zelk_test::contextCodes(_desc_dec_table);
    fuzz::Input input(data, size);
    const bool title = input.coin();
    const unsigned int skip = input.byte() % 8;
    const unsigned int capacity = input.byte();
    const std::string text = input.rest();
    const zelk_test::ContextCodes &codes = title ? titleCodes : descriptionCodes;
    const zelk::ProgramTitleDecoder titles(skip);
    const zelk::ProgramDescriptionDecoder descriptions(skip);
    check(title ? static_cast<const zelk::HuffmanDecoder &>(titles) : descriptions, codes, skip, text, capacity);

    const zelk::ProgramTitleDecoder plainTitles(0);
    const zelk::ProgramDescriptionDecoder plainDescriptions(0);
    const std::string again =
        decoded(title ? static_cast<const zelk::HuffmanDecoder &>(plainTitles) : plainDescriptions,
                zelk_test::encodeGuideText(codes, text));
    require(again.substr(0, text.size()) == text, "an encoded text comes back");
    return 0;
}
