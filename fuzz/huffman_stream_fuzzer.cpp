// Compressed DVB text of types 1 and 2, byte by byte, against the plainest decoder over the same codes, and encoded
// texts, which must come back.
#include "fuzz.h"

#include "reference/huffman_encoder.h"

namespace {

constexpr unsigned int nextByte = 0xFFFE;
constexpr unsigned int textEnd = 0xFFFF;

std::string decoded(unsigned int table, const std::string &compressed) {
    HuffmanStreamState state{};
    zelkInitHuffmanDecoder(&state, table);
    std::string text;
    for (const char byte : compressed) {
        for (unsigned int answers = 0;; ++answers) {
            fuzz::require(answers <= 9, "a byte gives at most eight characters");
            const unsigned int answer = zelkHuffmanDecode(&state, static_cast<unsigned char>(byte));
            if (answer == textEnd) {
                return text;
            }
            if (answer == nextByte) {
                break;
            }
            fuzz::require(answer != 0 && answer < 0x100, "an answer is a byte of text");
            text += static_cast<char>(answer);
        }
        const HuffmanStreamState before = state;
        fuzz::require(zelkHuffmanDecode(&state, 0x100) == nextByte, "what is no byte asks for the next one");
        fuzz::require(std::memcmp(&before, &state, sizeof state) == 0, "and changes nothing");
    }
    return text;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const zelk_test::ContextCodes allCodes[] = {zelk_test::contextCodes(HuffmanDecodeTable_1),
                                                       zelk_test::contextCodes(HuffmanDecodeTable_2)};
    fuzz::Input input(data, size);
    const unsigned int table = 1 + input.byte() % 2;
    const std::string compressed = input.rest();
    const zelk_test::ContextCodes &codes = allCodes[table - 1];

    std::string expected;
    for (const auto &character : zelk_test::decodeContextBits(codes, zelk_test::bitsOf(compressed))) {
        expected += static_cast<char>(character.value);
    }
    fuzz::require(decoded(table, compressed) == fuzz::upToZero(expected), "the text is that of the model");

    const std::string text = fuzz::upToZero(compressed);
    fuzz::require(decoded(table, zelk_test::encodeStreamText(codes, text)) == text, "an encoded text comes back");
    return 0;
}
