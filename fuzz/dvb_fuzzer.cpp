// DVB strings of every region, code, flag and size: the bounds hold, both outputs give the same text, an output is cut
// as its kind is, and a text decodes like its parts.
#include "dvb.h"

using fuzz::require;

namespace {

// No mark looks further than the next byte, and no byte below 0x80 is a mark: after each of them a text may be cut.
std::u16string decodedInParts(const fuzz::DvbSettings &s, const std::string &selector, const std::string &text) {
    std::u16string joined;
    std::string part;
    for (std::size_t i = 0; i < text.size(); ++i) {
        part += text[i];
        if (static_cast<unsigned char>(text[i]) < 0x80 || i + 1 == text.size()) {
            const fuzz::DvbString string(selector + 'A' + part, true);
            joined += string.ucs2(s, string.ample).substr(1);
            part.clear();
        }
    }
    return joined;
}

// The text holds no U+FFFD, which may stand for a single byte and then outgrows the bounds.
bool isClean(const std::string &utf8) {
    return utf8.find("\xEF\xBF\xBD") == std::string::npos;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const fuzz::DvbSettings s(input);
    const int small = input.size();
    const bool coin = input.coin();
    const std::string text = input.rest();
    const fuzz::DvbSelected selected(s, text);
    const bool counted = coin || selected.compressed(); // without a count its end must be there
    const fuzz::DvbString string(text, counted);

    const std::u16string units = string.ucs2(s, string.ample);
    const std::string utf8 = string.utf8(s, string.ample);
    require(string.ucs2(s, small) == fuzz::cut(units, small), "UCS-2 is cut to the size");
    const std::string few = string.utf8(s, small);
    if (selected.prepared()) {
        require(few == fuzz::cut(utf8, small), "prepared text is cut to the size");
    } else if (!selected.compressed()) {
        require(utf8 == fuzz::utf8Of(units), "UTF-8 and UCS-2 hold the same text");
        require(few == fuzz::utf8Of(units, small), "UTF-8 skips what does not fit");
    }

    const auto unitBound = static_cast<std::size_t>(string.unitBound(s));
    const auto byteBound = static_cast<std::size_t>(string.byteBound(s));
    require(selected.compressed() || units.size() <= unitBound, "the bound of units holds");
    constexpr std::size_t malaysiaBound = 511; // fixed: a longer text is cut
    require(byteBound == malaysiaBound || !isClean(utf8) || utf8.size() <= byteBound, "the bound of bytes holds");

    if (selected.table() && counted && selected.consumed <= text.size()) {
        const std::string selector = text.substr(0, selected.consumed);
        require(decodedInParts(s, selector, text.substr(selected.consumed)) == units, "a text decodes like its parts");
    }
    return 0;
}
