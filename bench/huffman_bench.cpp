// Compressed text. No other library at hand decodes it: what counts is bytes of output a second.
#include "harness.h"
#include "reference/huffman_encoder.h"

#include "zelk.hpp"

#include <array>
#include <memory>

using namespace zelk_bench;

namespace {

using Encode = std::function<std::string(const std::string &)>;

Texts<char> compressedTexts(Length length, const std::string &selector, const Encode &encode) {
    const Texts<char> plain = makeTexts({english}, length);
    Texts<char> texts;
    for (std::size_t i = 0; i < plain.size(); ++i) {
        texts.add(selector + encode(std::string(plain[i].begin(), plain[i].end())));
    }
    return texts;
}

// The fewest bits in a Malaysian code, for texts of any length. A code that begins another must not be followed by the
// bit that leads on to it, so that the search keeps a best way for either first bit.
std::string malaysiaBits(const zelk_test::MalaysiaRows &rows, const std::string &escape, const std::string &text) {
    struct Way {
        std::size_t bits = SIZE_MAX;
        std::string code;
        std::size_t next = 0;
        std::size_t nextBit = 0;
    };
    std::vector<std::array<Way, 2>> ways(text.size() + 1);
    ways[text.size()] = {Way{0, {}, 0, 0}, Way{0, {}, 0, 0}};
    for (std::size_t at = text.size(); at-- > 0;) {
        const auto consider = [&](const std::string &code, std::size_t next) {
            for (std::size_t bit = 0; bit < 2; ++bit) {
                const std::size_t rest = ways[next][bit].bits;
                Way &way = ways[at][code[0] == '1' ? 1 : 0];
                if (rest != SIZE_MAX && code.size() + rest < way.bits && !rows.isPath(code + (bit == 1 ? '1' : '0'))) {
                    way = {code.size() + rest, code, next, bit};
                }
            }
        };
        for (std::size_t length = 1; length <= 4 && at + length <= text.size(); ++length) {
            const auto row = rows.codeOf.find(text.substr(at, length));
            if (row != rows.codeOf.end()) {
                consider(row->second, at + length);
            }
        }
        consider(escape + zelk_test::bitsOf(static_cast<unsigned char>(text[at])), at + 1);
    }
    std::string bits;
    std::size_t bit = ways[0][0].bits <= ways[0][1].bits ? 0 : 1;
    for (std::size_t at = 0; at < text.size();) {
        const Way &way = ways[at][bit];
        bits += way.code;
        bit = way.nextBit;
        at = way.next;
    }
    return bits;
}

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

Encode streamEncoder(const unsigned char *table) {
    return [codes = zelk_test::contextCodes(table)](const std::string &text) {
        return zelk_test::encodeStreamText(codes, text);
    };
}

Encode guideEncoder(const unsigned char *table) {
    return [codes = zelk_test::contextCodes(table)](const std::string &text) {
        return zelk_test::encodeGuideText(codes, text);
    };
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
    const auto rows = std::make_shared<zelk_test::MalaysiaRows>(BENCH_MALAYSIA_TABLES "/malaysia_en.tsv");
    const auto encodeMalaysia = [rows, escape = zelk_test::MalaysiaEncoder(*rows).escape()](const std::string &text) {
        return zelk_test::packed(malaysiaBits(*rows, escape, text));
    };
    add(program, "Malaysia, English", "", encodeMalaysia, decodeMalaysia);
    return program.run(argc, argv);
}
