// Escaping against a table of five rows and back again; unescaping of anything stays inside its bounds, and a smaller
// output holds the beginning of a larger one.
#include "fuzz.h"

namespace {

using fuzz::require;

std::vector<std::string> escapedPieces(const std::string &text) {
    std::vector<std::string> pieces;
    for (const char byte : text) {
        const std::size_t row = std::string_view("&<>\"'").find(byte);
        const char *const entities[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;"};
        pieces.push_back(row == std::string_view::npos ? std::string(1, byte) : entities[row]);
    }
    return pieces;
}

// The pieces that fit, up to the first that does not.
std::string joined(const std::vector<std::string> &pieces, int size) {
    std::string text;
    for (const std::string &piece : pieces) {
        if (static_cast<int>(text.size() + piece.size()) >= size) {
            break;
        }
        text += piece;
    }
    return text;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int small = input.size();
    const bool counted = input.coin();
    const std::string whole = input.rest();
    const std::string text = fuzz::upToZero(whole);
    const auto in = counted ? fuzz::block(whole) : fuzz::terminated(whole);
    const int count = counted ? static_cast<int>(whole.size()) : -1;
    const int ample = 6 * static_cast<int>(whole.size()) + 1;

    const auto pieces = escapedPieces(text);
    const std::string escaped = joined(pieces, ample);
    require(zelk_xmlifiedLength(in.get(), count) == escaped.size(), "measured");
    require(fuzz::take(zelkXmlify(in.get(), count)) == escaped, "packet equals model");
    require(zelk::XmlConverter::xmlify(in.get(), count) == escaped, "string equals model");
    require(zelk::XmlConverter::unXml(escaped) == text, "an escaped text comes back");

    std::string plain;
    for (const int room : {ample, small}) {
        fuzz::Output<char> out(room);
        fuzz::Output<char> back(room);
        const unsigned int written = zelk_xmlify(out.data(), room, in.get(), count);
        const unsigned int unescaped = zelk_unxml(back.data(), room, in.get(), count);
        if (room < 1) {
            require(written == 0 && unescaped == 0 && out.data()[0] == static_cast<char>(0xA7), "no room, no write");
            continue;
        }
        require(out.text(written) == joined(pieces, room), "an entity that does not fit ends the text");
        plain = room == ample ? back.text(unescaped) : plain;
        require(back.text(unescaped) == fuzz::cut(plain, room), "unescaped text is cut to the size");
    }
    require(plain.size() <= text.size(), "unescaping never lengthens");
    require(text.find('&') != std::string::npos || plain == text, "without a reference nothing changes");
    require(zelk::XmlConverter::unXml(in.get(), count) == plain, "string equals flat");
    require(fuzz::take(zelkUnXml(in.get(), count)) == plain, "packet equals flat");
    return 0;
}
