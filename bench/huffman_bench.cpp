// Compressed text. No other library at hand decodes it: what counts is bytes of output a second.
#include "compressed.h"
#include "harness.h"

#include "zelk.hpp"

#include <cstddef>
#include <functional>
#include <memory>

using namespace zelk_bench;

namespace {

using MakeEncoder = std::function<Encode(const Library &)>;

// `makeEncoder(library)` reads the published tables out of a build of ours; `bind(library)` gives its decoder.
template <class Bind>
void add(Program &program, const std::string &title, const std::string &selector, const MakeEncoder &makeEncoder,
         Bind bind) {
    for (const Length length : allLengths) {
        program.cell("Huffman", title, length, [=](Cell &cell) {
            const Encode encode = makeEncoder(cell.libraries().front());
            auto conversion = std::make_unique<Conversion<char, char>>(cell, compressedTexts(length, selector, encode));
            conversion->ours(bind);
            return conversion;
        });
    }
}

auto decodeDvb(const Library &library) {
    return [convert = BENCH_FIND(library, zelk_dvb8ToUtf8)](std::span<const char> in, char *out, std::size_t room) {
        return convert(DvbCharSetStandard, out, static_cast<int>(room), in.data(), static_cast<int>(in.size()),
                       DvbCodeNone, 0, 0);
    };
}

// zelk::ProgramTitleDecoder and zelk::ProgramDescriptionDecoder, by the names of their members for the linker; an
// object is made for each text, as a receiver would.
auto decodeGuide(const char *constructor) {
    return [constructor](const Library &library) {
        using Construct = void(void *, unsigned int);
        using Decode = int(const void *, const unsigned char *, unsigned int, unsigned char *, unsigned int *);
        return [construct = library.find<Construct>(constructor),
                decode = library.find<Decode>("_ZNK4zelk14HuffmanDecoder6decodeEPKhjPhPj")](
                   std::span<const char> in, char *out, std::size_t room) {
            alignas(zelk::HuffmanDecoder) std::byte decoder[sizeof(zelk::HuffmanDecoder)];
            construct(decoder, 0);
            unsigned int length = static_cast<unsigned int>(room);
            decode(decoder, reinterpret_cast<const unsigned char *>(in.data()), static_cast<unsigned int>(in.size()),
                   reinterpret_cast<unsigned char *>(out), &length);
            return length < 2 ? std::size_t{0} : length - 2; // the size needed: text, terminator and one to spare
        };
    };
}

auto decodeMalaysia(const Library &library) {
    return [decompress = BENCH_FIND(library, decompressMalaysiaHuffmanTable)](std::span<const char> in, char *out,
                                                                              std::size_t) {
        int length = 0;
        decompress(5, reinterpret_cast<const unsigned char *>(in.data()), static_cast<int>(in.size()),
                   reinterpret_cast<unsigned char *>(out), &length);
        return static_cast<std::size_t>(length);
    };
}

} // namespace

int main(int argc, char **argv) {
    Program program;
    add(
        program, "DVB, type 1", "\x1F\x01",
        [](const Library &library) { return streamEncoder(*BENCH_FIND(library, HuffmanDecodeTable_1)); }, decodeDvb);
    add(
        program, "DVB, type 2", "\x1F\x02",
        [](const Library &library) { return streamEncoder(*BENCH_FIND(library, HuffmanDecodeTable_2)); }, decodeDvb);
    add(
        program, "titles", "",
        [](const Library &library) { return guideEncoder(*BENCH_FIND(library, _title_dec_table)); },
        decodeGuide("_ZN4zelk19ProgramTitleDecoderC1Ej"));
    add(
        program, "descriptions", "",
        [](const Library &library) { return guideEncoder(*BENCH_FIND(library, _desc_dec_table)); },
        decodeGuide("_ZN4zelk25ProgramDescriptionDecoderC1Ej"));
    add(
        program, "Malaysia, English", "", [](const Library &) { return malaysiaEncoder(); }, decodeMalaysia);
    return program.run(argc, argv);
}
