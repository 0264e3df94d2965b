// Compressed DVB text of types 5 and 6 against the plainest decoder over the rows of the data files: counted, unbounded
// and cut to a size; and encoded texts, which must come back.
#include "fuzz.h"

#include "reference/huffman_encoder.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const zelk_test::MalaysiaRows english(MALAYSIA_TABLES "/malaysia_en.tsv");
    static const zelk_test::MalaysiaRows malay(MALAYSIA_TABLES "/malaysia_ms.tsv");
    static const zelk_test::MalaysiaEncoder englishEncoder(english);
    static const zelk_test::MalaysiaEncoder malayEncoder(malay);
    fuzz::Input input(data, size);
    const unsigned int table = 5 + input.byte() % 2;
    const int room = input.size();
    const std::string compressed = input.rest();
    const zelk_test::MalaysiaRows &rows = table == 6 ? malay : english;

    const auto decode = [&](const std::string &bytes) {
        const auto src = fuzz::block<unsigned char>(bytes);
        const int count = static_cast<int>(bytes.size());
        int counted = -1;
        fuzz::require(decompressMalaysiaHuffmanTable(table, src.get(), count, nullptr, &counted) == 0,
                      "the result is 0");
        fuzz::require(counted >= 0 && counted <= 8 * count + 2, "the documented room suffices");
        fuzz::Output<unsigned char> out(counted + 1);
        out.data()[counted] = 0;
        int written = -1;
        decompressMalaysiaHuffmanTable(table, src.get(), count, out.data(), &written);
        fuzz::require(written == counted, "counting and writing agree");
        return out.text(static_cast<unsigned int>(written));
    };
    const std::string bits = zelk_test::bitsOf(compressed);
    fuzz::require(decode(compressed) == zelk_test::decodeMalaysiaBits(rows, bits), "the text is that of the model");

    const std::string string = std::string("\x1F") + static_cast<char>(table) + compressed;
    fuzz::Output<char> out(room);
    const unsigned int length = zelk_dvb8ToUtf8(DvbCharSetStandard, out.data(), room, fuzz::block(string, 1).get(),
                                                static_cast<int>(string.size()), DvbCodeNone, 0, 0);
    const auto least = static_cast<std::size_t>(std::max(room, 1)) - 1;
    fuzz::require(out.text(length) == zelk_test::decodeMalaysiaBits(rows, bits, least),
                  "what does not fit ends the text");

    const std::string latin = compressed.substr(0, 64); // the encoder takes its time
    std::string utf8;
    for (const char character : latin) {
        utf8 += zelk_test::utf8OfLatin1(static_cast<unsigned char>(character));
    }
    fuzz::require(decode((table == 6 ? malayEncoder : englishEncoder).encode(latin)) == utf8,
                  "an encoded text comes back");
    return 0;
}
