// The stream coders against the plain model wherever both define the result, and against themselves when the putter
// stops them.
#include "fuzz.h"

namespace {

using fuzz::require;

struct Source {
    std::u16string units;
    std::size_t at = 0;

    static int get(void *context) {
        auto &source = *static_cast<Source *>(context);
        return source.at == source.units.size() ? -1 : source.units[source.at++];
    }
};

struct Sink {
    std::size_t limit;
    std::u16string units;

    static int put(unsigned int unit, void *context) {
        auto &sink = *static_cast<Sink *>(context);
        if (sink.units.size() == sink.limit) {
            return -1;
        }
        sink.units += static_cast<char16_t>(unit);
        return 0;
    }
};

template <class Stream>
std::u16string streamed(Stream stream, const std::u16string &units, std::size_t limit) {
    Source source{units};
    Sink sink{limit, {}};
    require(stream(Source::get, &source, Sink::put, &sink) == static_cast<int>(sink.units.size()), "units are counted");
    return sink.units;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::size_t limit = input.byte();
    const std::string text = input.rest();
    std::u16string bytes;
    std::u16string characters; // without a last one that is not whole
    for (const auto &character : zelk_test::utf8CharactersModel(text, zelk_test::TextEnd::Count)) {
        characters += character.character ? std::u16string(1, static_cast<char16_t>(*character.character)) : u"";
    }
    for (const char byte : text) {
        bytes += static_cast<char16_t>(static_cast<unsigned char>(byte));
    }
    // A four-byte lead inside a sequence is one report for the stream and two for the whole text.
    if (std::find_if(bytes.begin(), bytes.end(), [](char16_t byte) { return byte >= 0xF0; }) == bytes.end()) {
        require(streamed(zelkUtf8DecodeStream, bytes, bytes.size()) == characters,
                "the stream decoder equals the codec");
    }
    const std::u16string some = streamed(zelkUtf8DecodeStream, bytes, bytes.size());
    require(streamed(zelkUtf8DecodeStream, bytes, limit) == some.substr(0, limit), "the putter stops the decoder");

    const std::u16string units = fuzz::unitsOf(text);
    const std::u16string encoded = streamed(zelkUtf8EncodeStream, units, 3 * units.size());
    require(std::string(encoded.begin(), encoded.end()) == fuzz::utf8Of(units), "the stream encoder equals the model");
    require(streamed(zelkUtf8EncodeStream, units, limit) == encoded.substr(0, limit), "the putter stops the encoder");
    require(streamed(zelkUtf8DecodeStream, encoded, units.size()) == units, "encoded units come back");
    return 0;
}
