// Compressed text. No other library at hand decodes it: what counts is bytes of output a second.
#include "compressed.h"
#include "harness.h"

#include "zelk.hpp"

#include <cstring>
#include <memory>

using namespace zelk_bench;

namespace {

// `decode(text, out, room)` returns the bytes written.
template <class Decode>
void add(Program &program, const std::string &title, const std::string &selector, const Encode &encode, Decode decode) {
    for (const Length length : allLengths) {
        program.cell("Huffman", title, length, [=](Cell &cell) {
            auto conversion = std::make_unique<Conversion<char, char>>(cell, compressedTexts(length, selector, encode));
            conversion->reference("zelk", decode);
            return conversion;
        });
    }
}

std::size_t decodeDvb(std::span<const char> in, char *out, std::size_t room) {
    return zelk_dvb8ToUtf8(DvbCharSetStandard, out, static_cast<int>(room), in.data(), static_cast<int>(in.size()),
                           DvbCodeNone, 0, 0);
}

template <class Decoder>
std::size_t decodeGuide(std::span<const char> in, char *out, std::size_t room) {
    unsigned int length = static_cast<unsigned int>(room);
    const Decoder decoder(0);
    decoder.decode(reinterpret_cast<const unsigned char *>(in.data()), static_cast<unsigned int>(in.size()),
                   reinterpret_cast<unsigned char *>(out), &length);
    return length < 2 ? 0 : length - 2; // the size needed: the text, its terminator and one to spare
}

std::size_t decodeMalaysia(std::span<const char> in, char *out, std::size_t) {
    int length = 0;
    decompressMalaysiaHuffmanTable(5, reinterpret_cast<const unsigned char *>(in.data()), static_cast<int>(in.size()),
                                   reinterpret_cast<unsigned char *>(out), &length);
    return static_cast<std::size_t>(length);
}

} // namespace

int main(int argc, char **argv) {
    Program program;
    add(program, "DVB, type 1", "\x1F\x01", streamEncoder(HuffmanDecodeTable_1), decodeDvb);
    add(program, "DVB, type 2", "\x1F\x02", streamEncoder(HuffmanDecodeTable_2), decodeDvb);
    add(program, "titles", "", guideEncoder(_title_dec_table), decodeGuide<zelk::ProgramTitleDecoder>);
    add(program, "descriptions", "", guideEncoder(_desc_dec_table), decodeGuide<zelk::ProgramDescriptionDecoder>);
    add(program, "Malaysia, English", "", malaysiaEncoder(), decodeMalaysia);
    return program.run(argc, argv);
}
