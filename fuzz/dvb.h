// What the DVB targets share: settings of every kind, and a string as a call gets it.
#pragma once

#include "fuzz.h"

namespace fuzz {

struct DvbSettings {
    explicit DvbSettings(Input &input)
        : region(static_cast<dvbCharSet_t>(input.named(7))), code(static_cast<DvbCode_t>(input.named(23))),
          extra(static_cast<int>(input.named(7))), flags(input.byte()) {}

    dvbCharSet_t region;
    DvbCode_t code;
    int extra;
    unsigned int flags;
};

// Counted, with the one byte after it that marks look at, or ended by enough zeros for two-byte text and selectors.
struct DvbString {
    DvbString(const std::string &text, bool counted)
        : in(block(text, counted ? 1 : 3)), count(counted ? static_cast<int>(text.size()) : -1),
          ample(static_cast<int>(text.size()) * 32 + 64) {}

    std::u16string ucs2(const DvbSettings &s, int size) const {
        Output<unsigned short> out(size);
        return out.text(zelk_dvb8ToUnicode(s.region, out.data(), size, in.get(), count, s.code, s.extra, s.flags));
    }
    std::string utf8(const DvbSettings &s, int size) const {
        Output<char> out(size);
        return out.text(zelk_dvb8ToUtf8(s.region, out.data(), size, in.get(), count, s.code, s.extra, s.flags));
    }
    int unitBound(const DvbSettings &s) const {
        return zelk_dvb8ToUnicodeMaxLength(in.get(), count, s.code, s.extra, s.flags);
    }
    int byteBound(const DvbSettings &s) const { return zelk_dvb8ToUtf8MaxLength(in.get(), count, s.code, s.extra); }

    std::unique_ptr<char[]> in;
    int count;
    int ample; // room for whatever the string may decode to
};

// What the selector says, or the default where there is none.
struct DvbSelected {
    DvbSelected(const DvbSettings &s, const std::string &text) {
        dvbCharSet_t region = s.region;
        consumed = zelk_dvbGetDvbCode(block(text, 3).get(), &region, &code, nullptr, s.code, s.extra);
        require(consumed <= 3, "a selector has at most three bytes");
    }

    bool compressed() const { return code == DvbCodeCompressed; }
    bool prepared() const { return code == DvbCodeUtf8Prepared; }
    bool table() const { return !compressed() && !prepared() && code != DvbCodeUcs2 && code != DvbCodeUtf8; }

    DvbCode_t code{};
    std::size_t consumed = 0;
};

} // namespace fuzz
