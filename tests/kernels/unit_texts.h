// Texts for the tests of UTF-8 and UCS-2 kernels, and plain models of what becomes of them: one character at a time, by
// the codec.
#pragma once

#include "detail/control_filter.h"
#include "detail/utf8_char.h"
#include "detail/utf8_stream.h"
#include "helpers/guard_pages.h"
#include "helpers/text.h"
#include "kernels/text_forms.h"
#include "zelk.h"

#include <algorithm>
#include <array>
#include <string>

namespace zelk_test {

// ---- Models

inline bool isControl(unsigned int unit) {
    return unit < 0x20 || (unit >= 0x80 && unit < 0xA0) || (unit >= 0xE080 && unit < 0xE0A0);
}

// Whether a conversion goes on over it.
inline bool isOrdinary(unsigned int unit, bool noControls) {
    return unit != 0 && !(noControls && isControl(unit));
}

inline std::string encoded(const Units &units, std::size_t count) {
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) {
        char sequence[4];
        bytes.append(sequence, zelk::detail::utf8Encode(units[i], sequence, 4));
    }
    return bytes;
}

inline std::string laidOut(const Units &units, zelk::kernels::UnitOrder order) {
    const bool highFirst = order == zelk::kernels::UnitOrder::HighFirst;
    std::string bytes;
    for (const unsigned int unit : units) {
        const char low = static_cast<char>(unit & 0xFFU);
        const char high = static_cast<char>(unit >> 8U);
        bytes.push_back(highFirst ? high : low);
        bytes.push_back(highFirst ? low : high);
    }
    return bytes;
}

inline std::string modelEncodeText(const Units &units, int size) {
    std::string out;
    for (const unsigned int unit : units) {
        if (unit == 0 || size - static_cast<int>(out.size()) <= 1) {
            break;
        }
        char sequence[4];
        out.append(sequence, zelk::detail::utf8Encode(unit, sequence, size - static_cast<int>(out.size())));
    }
    return out;
}

inline unsigned int modelFilter(unsigned int character, unsigned int flags) {
    if (character < 0x80) {
        return zelk::detail::filterControlCode0(static_cast<unsigned short>(character));
    }
    const auto low = static_cast<unsigned short>(character & 0xFFU);
    return !isControl(character) ? character
           : flags != 0          ? zelk::detail::filterControlCode8Restricted(low)
                                 : zelk::detail::filterControlCode8(low);
}

// The characters of a DVB text, its selector left out, before they are bounded.
inline Units modelDvbUnits(const std::string &text, bool twoByte, unsigned int flags) {
    Units result;
    Utf8DecoderState state{};
    for (std::size_t at = 0; at < (twoByte ? text.size() / 2 * 2 : text.size());) {
        unsigned int character = static_cast<unsigned char>(text[at++]);
        if (twoByte) {
            character = character << 8U | static_cast<unsigned char>(text[at++]);
        } else {
            character = zelk::detail::utf8StreamDecode(state, character) & 0xFFFFU;
        }
        const unsigned int kept = modelFilter(character, flags);
        if (kept != 0) {
            result.push_back(static_cast<unsigned short>(kept));
        }
    }
    return result;
}

// A DVB text of two-byte units or of UTF-8, after its selector, against the model: to UTF-8 and to UCS-2.
class DvbTexts {
public:
    void check(const std::string &text, bool twoByte, int size, unsigned int flags) {
        const std::string bytes = (twoByte ? "\x11" : "\x15") + text;
        const char *in = reinterpret_cast<const char *>(in_.atBack(bytes));
        const auto room = static_cast<std::size_t>(std::max(size, 1));
        Units units = modelDvbUnits(text, twoByte, flags);
        const std::string utf8 = modelEncodeText(units, size);
        units.resize(std::min(units.size(), room - 1));
        char *const out = reinterpret_cast<char *>(out_.back(room));
        const unsigned int written =
            zelk_dvb8ToUtf8(DvbCharSetStandard, out, size, in, static_cast<int>(bytes.size()), DvbCodeUtf8, 0, flags);
        ASSERT_EQ(std::string(out, written), utf8) << "size " << size;
        ASSERT_EQ(out[written], 0);
        auto *const wide = reinterpret_cast<unsigned short *>(out_.back(2 * room));
        const unsigned int count = zelk_dvb8ToUnicode(DvbCharSetStandard, wide, size, in,
                                                      static_cast<int>(bytes.size()), DvbCodeUtf8, 0, flags);
        ASSERT_EQ(Units(wide, wide + count), units) << "size " << size;
        ASSERT_EQ(wide[count], 0);
    }

private:
    GuardPages in_{65536};
    GuardPages out_{4 * 65536};
};

// ---- Texts

// The limits of the three forms, of controls, their images, surrogates and the replacement character.
inline constexpr std::array<unsigned int, 26> slyUnits = {
    0x01,   0x1F,   0x20,   0x7F,   0x80,   0x9F,   0xA0,   0xBF,   0xC0,   0x7FF,  0x800,  0xFFF,  0x1000,
    0xD7FF, 0xD800, 0xDFFF, 0xE000, 0xE07F, 0xE080, 0xE09F, 0xE0A0, 0xEFFF, 0xFFBF, 0xFFC0, 0xFFFD, 0xFFFF};

// What begins, continues and breaks sequences.
inline constexpr std::array<unsigned int, 26> slyBytes = {0x00, 0x01, 0x1F, 0x20, 0x41, 0x7F, 0x80, 0x82, 0x8A,
                                                          0x9F, 0xA0, 0xBD, 0xBF, 0xC0, 0xC1, 0xC2, 0xC3, 0xDF,
                                                          0xE0, 0xE1, 0xED, 0xEE, 0xEF, 0xF0, 0xF4, 0xFF};

enum class Script { English, Czech, Russian, Chinese, Anything };
inline constexpr std::array<Script, 5> scripts = {Script::English, Script::Czech, Script::Russian, Script::Chinese,
                                                  Script::Anything};

inline unsigned int unitOf(Script script, Random &random) {
    const unsigned int ascii = 0x20 + random.below(0x5F);
    switch (script) {
    case Script::English:
        return ascii;
    case Script::Czech:
        return random.chance(75) ? ascii : 0xC0 + random.below(0xC0);
    case Script::Russian:
        return random.chance(15) ? ascii : 0x410 + random.below(0x40);
    case Script::Chinese:
        return random.chance(10) ? ascii : 0x4E00 + random.below(0x5000);
    default:
        return random.chance(30)   ? slyUnits[random.below(slyUnits.size())]
               : random.chance(50) ? 1 + random.below(0x900)
                                   : 1 + random.below(0xFFFF);
    }
}

inline Units unitsOf(Script script, std::size_t count, Random &random) {
    Units units(count);
    std::generate(units.begin(), units.end(), [&] { return static_cast<unsigned short>(unitOf(script, random)); });
    return units;
}

inline std::string textOf(Script script, std::size_t count, Random &random) {
    return encoded(unitsOf(script, count, random), count);
}

inline std::string bytesOf(std::initializer_list<unsigned int> bytes) {
    std::string text;
    for (const unsigned int byte : bytes) {
        text.push_back(static_cast<char>(byte));
    }
    return text;
}

// Replaces some bytes by what breaks sequences.
inline void spoil(std::string &text, unsigned int bytes, Random &random) {
    for (; bytes != 0 && !text.empty(); --bytes) {
        text[random.below(static_cast<unsigned int>(text.size()))] =
            static_cast<char>(random.chance(50) ? slyBytes[random.below(slyBytes.size())] : random.below(256));
    }
}

inline std::string hex(const std::string &text) {
    std::string digits;
    for (const char byte : text) {
        digits += "0123456789ABCDEF"[static_cast<unsigned char>(byte) >> 4U];
        digits += "0123456789ABCDEF"[static_cast<unsigned char>(byte) & 0xFU];
    }
    return digits;
}

} // namespace zelk_test
