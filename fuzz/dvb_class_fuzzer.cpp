// The DVB class, the packets and the prepared form: all equal the flat function with the room that its bound gives, and
// what was prepared decodes to itself.
#include "dvb.h"

using fuzz::require;

namespace {

void checkPrepared(const fuzz::DvbSettings &s, const std::string &stored, const std::string &utf8) {
    const fuzz::DvbString again(stored, true);
    require(again.utf8(s, again.ample) == utf8, "the prepared form decodes to itself");
    fuzz::Output<char> out(again.ample);
    require(out.text(zelk_dvbPrep8ToUtf8(out.data(), again.ample, again.in.get(), again.count)) == utf8,
            "the prepared form without its marker");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const fuzz::DvbSettings s(input);
    const bool counted = input.coin();
    const std::string text = input.rest();
    const fuzz::DvbSelected selected(s, text);
    const fuzz::DvbString string(text, counted || selected.compressed());
    const char *in = string.in.get();
    const std::u16string units = string.ucs2(s, string.unitBound(s) + 1);
    const std::string utf8 = string.utf8(s, string.byteBound(s) + 1);

    const zelk::DvbConverter converter(s.region, s.code, s.extra, s.flags);
    const std::string result = converter.convertDvb8ToUtf8(in, string.count);
    const bool viaIconv = s.region == DvbCharSetGb2312 && selected.code == DvbCodeTable00;
    require(viaIconv || result == utf8, "the string equals the flat result, UTF-8");
    const std::string wide = converter.convertDvb8ToUnicode(in, string.count);
    // A sequence that the count cuts off is a zero unit here, and in the flat function whatever the buffer held.
    require(selected.prepared() || wide == fuzz::nativeBytes(units) + '\0', "the string equals the flat result, UCS-2");

    const auto packed = [&](auto convert) {
        return fuzz::take(convert(s.region, in, string.count, s.code, s.extra, s.flags));
    };
    require(packed(zelkConvertDvb8ToUtf8) == utf8, "the packet equals the flat result, UTF-8");
    require(selected.prepared() || packed(zelkConvertDvb8ToUnicode) == units,
            "the packet equals the flat result, UCS-2");
    const std::string stored = packed(zelkPreprocessDvbStringToUtf8);
    require(stored == '\x1D' + utf8, "the prepared form is a marker and the flat result");
    require(converter.preprocessDvbStringToUtf8(in, string.count) == stored, "the prepared string equals the packet");
    if (utf8.find('\0') == std::string::npos) {
        checkPrepared(s, stored, utf8);
    }
    return 0;
}
