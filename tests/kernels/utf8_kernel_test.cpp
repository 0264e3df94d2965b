// The kernels of UTF-8 and UCS-2 text, each instruction set against the codec that reads and forms one character at a
// time, with texts and outputs against unreadable pages; and the functions above the kernels against plain loops.
#include "kernels/utf8.h"

#include "detail/control_filter.h"
#include "detail/utf8_char.h"
#include "detail/utf8_stream.h"
#include "helpers/guard_pages.h"
#include "helpers/poison.h"
#include "helpers/text.h"
#include "kernels/dispatch.h"
#include "kernels/utf8_decode_portable.h"
#include "kernels/utf8_encode_portable.h"
#if defined(ZELK_HAS_AVX512_KERNELS)
#include "kernels/utf8_decode_avx512.h"
#include "kernels/utf8_encode_avx512.h"
#endif
#include "zelk.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace {

using namespace zelk;
using kernels::Clean;
using kernels::Progress;
using kernels::UnitOrder;
using zelk_test::GuardPages;
using zelk_test::Poisoned;
using zelk_test::Random;

constexpr std::size_t inflated = 0xFFFFFFFFU;          // the count of a text that its terminator ends
constexpr std::size_t nominal = std::size_t{1} << 30U; // a room that is no buffer's

// Counts that may be said of it: what lies behind the terminator, at the end of a page, is not there to be read.
std::array<std::size_t, 2> countsOf(std::size_t length, bool terminated) {
    return terminated ? std::array{inflated, length + 2} : std::array{length, length};
}

// ---- The kernels of one instruction set, by the layout and by what is clean

struct Kernels {
    std::array<Progress (*)(const unsigned char *, std::size_t, char *, std::size_t), 3> encode;
    std::array<Progress (*)(const unsigned char *, std::size_t), 2> measureUnits;
    Progress (*toNative)(const unsigned char *, std::size_t, unsigned short *, std::size_t);
    std::array<Progress (*)(const unsigned char *, std::size_t, unsigned short *, std::size_t), 2> decode;
    std::array<std::size_t (*)(const unsigned char *, std::size_t), 2> wellFormed;
    std::size_t (*copyWellFormed)(const unsigned char *, std::size_t, char *);
    Progress (*measureBytes)(const unsigned char *, std::size_t);
};

#define KERNELS_OF(instructions)                                                                                       \
    Kernels {                                                                                                          \
        {kernels::instructions::ucs2ToUtf8<UnitOrder::LowFirst, Clean::Any>,                                           \
         kernels::instructions::ucs2ToUtf8<UnitOrder::HighFirst, Clean::Any>,                                          \
         kernels::instructions::ucs2ToUtf8<UnitOrder::HighFirst, Clean::NoControls>},                                  \
            {kernels::instructions::measureUcs2<UnitOrder::LowFirst>,                                                  \
             kernels::instructions::measureUcs2<UnitOrder::HighFirst>},                                                \
            kernels::instructions::ucs2ToNative<Clean::NoControls>,                                                    \
            {kernels::instructions::utf8ToUcs2<Clean::Any>, kernels::instructions::utf8ToUcs2<Clean::NoControls>},     \
            {kernels::instructions::wellFormedUtf8<Clean::Any>,                                                        \
             kernels::instructions::wellFormedUtf8<Clean::NoControls>},                                                \
            kernels::instructions::copyWellFormedUtf8<Clean::NoControls>, kernels::instructions::measureUtf8,          \
    }

// What targets without vectors have, and every target at the ends of pages and rooms: character by character.
template <UnitOrder order>
Progress measureUnitByUnit(const unsigned char *text, std::size_t count) {
    Progress done;
    kernels::portable::measureUnits<order>(text, count, done);
    return done;
}

std::size_t copyCharacters(const unsigned char *text, std::size_t length, char *out) {
    const std::size_t bytes = kernels::portable::checkCharacters<Clean::NoControls>(text, length);
    std::copy_n(text, bytes, out);
    return bytes;
}

Kernels characterByCharacter() {
    using namespace kernels::portable;
    return {{encodeUnits<UnitOrder::LowFirst, Clean::Any>, encodeUnits<UnitOrder::HighFirst, Clean::Any>,
             encodeUnits<UnitOrder::HighFirst, Clean::NoControls>},
            {measureUnitByUnit<UnitOrder::LowFirst>, measureUnitByUnit<UnitOrder::HighFirst>},
            ucs2ToNative<Clean::NoControls>,
            {decodeCharacters<Clean::Any>, decodeCharacters<Clean::NoControls>},
            {checkCharacters<Clean::Any>, checkCharacters<Clean::NoControls>},
            copyCharacters,
            measureCharacters};
}

// Those of this processor.
std::vector<Kernels> allKernels() {
    std::vector<Kernels> all{characterByCharacter(), KERNELS_OF(portable)};
#if defined(ZELK_HAS_AVX512_KERNELS)
    if (kernels::instructionSet() == kernels::InstructionSet::Avx512) {
        all.push_back(KERNELS_OF(avx512));
    }
#endif
    return all;
}

// What converts whole texts.
using DecodeText = unsigned int (*)(const unsigned char *, std::size_t, unsigned short *, std::size_t);

std::vector<DecodeText> allDecoders() {
    std::vector<DecodeText> all{kernels::anyUtf8Text, kernels::portable::utf8TextToUcs2};
#if defined(ZELK_HAS_AVX512_KERNELS)
    if (kernels::instructionSet() == kernels::InstructionSet::Avx512) {
        all.push_back(kernels::avx512::utf8TextToUcs2);
    }
#endif
    return all;
}

using EncodeText = unsigned int (*)(const unsigned char *, std::size_t, char *, std::size_t);

template <UnitOrder order>
std::vector<EncodeText> allEncoders() {
    std::vector<EncodeText> all{kernels::portable::ucs2TextToUtf8<order>};
#if defined(ZELK_HAS_AVX512_KERNELS)
    if (kernels::instructionSet() == kernels::InstructionSet::Avx512) {
        all.push_back(kernels::avx512::ucs2TextToUtf8<order>);
    }
#endif
    return all;
}

// ---- Plain models

bool isControl(unsigned int unit) {
    return unit < 0x20 || (unit >= 0x80 && unit < 0xA0) || (unit >= 0xE080 && unit < 0xE0A0);
}

bool isOrdinary(unsigned int unit, bool noControls) {
    return unit != 0 && !(noControls && isControl(unit));
}

using Units = std::vector<unsigned short>;

std::string encoded(const Units &units, std::size_t count) {
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) {
        char sequence[4];
        bytes.append(sequence, detail::utf8Encode(units[i], sequence, 4));
    }
    return bytes;
}

std::string laidOut(const Units &units, UnitOrder order) {
    std::string bytes;
    for (const unsigned int unit : units) {
        const char low = static_cast<char>(unit & 0xFFU);
        const char high = static_cast<char>(unit >> 8U);
        bytes.push_back(order == UnitOrder::HighFirst ? high : low);
        bytes.push_back(order == UnitOrder::HighFirst ? low : high);
    }
    return bytes;
}

// The characters at the front of a text that are well-formed and ordinary, and where each ends.
struct WellFormed {
    Units units;
    std::vector<std::size_t> ends;
    unsigned int next = 0; // the well-formed character behind them, 0 for none
};

WellFormed wellFormed(const std::string &text, bool noControls) {
    WellFormed result;
    for (std::size_t at = 0; at < text.size();) {
        constexpr unsigned short none = 0;
        unsigned short unit = none;
        const auto *bytes = reinterpret_cast<const unsigned char *>(text.data()) + at;
        const unsigned int used = detail::utf8Decode(bytes, static_cast<unsigned int>(text.size() - at), &unit);
        const bool genuine = unit != detail::replacementCharacter || (used == 3 && bytes[0] == 0xEF);
        if (unit == none || !genuine || !isOrdinary(unit, noControls)) {
            result.next = genuine ? unit : 0;
            break;
        }
        at += used;
        result.units.push_back(unit);
        result.ends.push_back(at);
    }
    return result;
}

std::size_t endOf(const WellFormed &text, std::size_t characters) {
    return characters == 0 ? 0 : text.ends[characters - 1];
}

Units modelDecodeText(const std::string &text, int size, unsigned short unstored) {
    Units out;
    const auto *at = reinterpret_cast<const unsigned char *>(text.data());
    for (auto left = static_cast<unsigned int>(text.size());
         left != 0 && *at != 0 && static_cast<int>(out.size()) + 1 < size;) {
        unsigned short unit = unstored;
        const unsigned int used = detail::utf8Decode(at, left, &unit);
        out.push_back(unit);
        at += used;
        left -= used;
    }
    return out;
}

std::string hex(const std::string &text) {
    std::string digits;
    for (const char byte : text) {
        digits += "0123456789ABCDEF"[static_cast<unsigned char>(byte) >> 4U];
        digits += "0123456789ABCDEF"[static_cast<unsigned char>(byte) & 0xFU];
    }
    return digits;
}

std::size_t width(const std::string &text) {
    std::size_t characters = 0;
    for (std::size_t at = 0; at < text.size(); ++characters) {
        at += detail::utf8Length(reinterpret_cast<const unsigned char *>(text.data()) + at,
                                 static_cast<unsigned int>(text.size() - at));
    }
    return characters;
}

// ---- One text through every kernel

class Utf8Kernels : public ::testing::Test {
protected:
    static constexpr std::size_t longest = 4096;

    // A text as a caller may hand it over: counted against the unreadable page, or terminated there under a count that
    // is too large.
    const unsigned char *placed(const std::string &text, bool terminated, std::size_t unit) {
        return in_.atBack(terminated ? text + std::string(unit, '\0') : text);
    }

    // A counted text with other text behind it on its page, where whole blocks may be read.
    const unsigned char *amongOthers(const std::string &text) {
        constexpr std::size_t behind = 300;
        unsigned char *const place = in_.back(text.size() + behind);
        std::copy(text.begin(), text.end(), place);
        std::fill_n(place + text.size(), behind, static_cast<unsigned char>(0xE4));
        return place;
    }

    void checkEncoding(const Units &units, std::size_t room) {
        for (std::size_t kind = 0; kind < 3; ++kind) {
            const UnitOrder order = kind == 0 ? UnitOrder::LowFirst : UnitOrder::HighFirst;
            const bool noControls = kind == 2;
            const auto stop = std::find_if(units.begin(), units.end(),
                                           [=](unsigned int unit) { return !isOrdinary(unit, noControls); });
            const auto ordinary = static_cast<std::size_t>(stop - units.begin());
            const std::string bytes = laidOut(units, order);
            for (const bool terminated : {false, true}) {
                const unsigned char *text = placed(bytes, terminated, 2);
                for (const std::size_t count : countsOf(units.size(), terminated)) {
                    checkEncoding(kind, text, count, units, ordinary, room);
                }
            }
            checkEncoding(kind, amongOthers(bytes), units.size(), units, ordinary, room);
        }
    }

    void checkEncoding(std::size_t kind, const unsigned char *text, std::size_t count, const Units &units,
                       std::size_t ordinary, std::size_t room) {
        const std::string expected = encoded(units, ordinary);
        for (const Kernels &kernels : kernels_) {
            char *const out = reinterpret_cast<char *>(out_.back(room));
            const Progress done = kernels.encode[kind](text, count, out, room);
            ASSERT_LE(done.read, ordinary);
            ASSERT_LT(done.written, room);
            ASSERT_EQ(std::string(out, done.written), encoded(units, done.read));
            if (room > expected.size() + 3) {
                ASSERT_EQ(done.read, ordinary);
            }
        }
        if (kind == 0 && count != 0 && room > 1) {
            checkWholeUnits<UnitOrder::LowFirst>(text, count, room);
        } else if (kind == 1 && count != 0 && room > 1) {
            checkWholeUnits<UnitOrder::HighFirst>(text, count, room);
        }
    }

    // A whole text against the loop of the family.
    template <UnitOrder order>
    void checkWholeUnits(const unsigned char *text, std::size_t count, std::size_t room) {
        std::string expected(room, '\0');
        expected.resize(kernels::restOfUcs2Text<order>(text, count, expected.data(), room, Progress()));
        for (const EncodeText encode : allEncoders<order>()) {
            char *const out = reinterpret_cast<char *>(out_.back(room));
            const unsigned int written = encode(text, count, out, room);
            ASSERT_EQ(std::string(out, written), expected);
            ASSERT_EQ(out[written], 0);
        }
    }

    void checkUnits(const Units &units) {
        const auto length = static_cast<std::size_t>(std::find(units.begin(), units.end(), 0) - units.begin());
        const std::size_t bytes = encoded(units, length).size();
        for (const UnitOrder order : {UnitOrder::LowFirst, UnitOrder::HighFirst}) {
            for (const bool terminated : {false, true}) {
                const unsigned char *text = placed(laidOut(units, order), terminated, 2);
                for (const Kernels &kernels : kernels_) {
                    for (const std::size_t count : countsOf(units.size(), terminated)) {
                        const Progress measured =
                            kernels.measureUnits[order == UnitOrder::LowFirst ? 0 : 1](text, count);
                        ASSERT_EQ(measured.read, length);
                        ASSERT_EQ(measured.written, bytes);
                    }
                }
            }
        }
        const auto stop =
            std::find_if(units.begin(), units.end(), [](unsigned int unit) { return !isOrdinary(unit, true); });
        const Units expected(units.begin(), stop);
        const unsigned char *text = placed(laidOut(units, UnitOrder::HighFirst), false, 2);
        for (const Kernels &kernels : kernels_) {
            for (const std::size_t room : {expected.size() / 2, expected.size(), units.size() + 1}) {
                auto *const out = reinterpret_cast<unsigned short *>(out_.back(2 * room));
                const Progress done = kernels.toNative(text, units.size(), out, room);
                ASSERT_EQ(done.read, std::min(room, expected.size()));
                ASSERT_EQ(done.written, done.read);
                ASSERT_TRUE(std::equal(out, out + done.read, expected.begin()));
            }
        }
    }

    void checkDecoding(const std::string &text, std::size_t room) {
        for (const bool noControls : {false, true}) {
            const WellFormed expected = wellFormed(text, noControls);
            for (const bool terminated : {false, true}) {
                const unsigned char *in = placed(text, terminated, 1);
                for (const Kernels &kernels : kernels_) {
                    auto *const out = reinterpret_cast<unsigned short *>(out_.back(2 * room));
                    const Progress done =
                        kernels.decode[noControls ? 1 : 0](in, terminated ? inflated : text.size(), out, room);
                    ASSERT_LE(done.written, std::min(room, expected.units.size())) << hex(text);
                    ASSERT_EQ(done.read, endOf(expected, done.written)) << hex(text);
                    ASSERT_TRUE(std::equal(out, out + done.written, expected.units.begin()));
                    if (room > text.size()) {
                        const unsigned int next = nextBehind(expected, done.written);
                        const bool mayStop = next >> 12U == 0xE || next >= 0xFFC0;
                        ASSERT_TRUE(done.written == expected.units.size() || (noControls && mayStop)) << next;
                    }
                }
            }
        }
    }

    void checkBytes(const std::string &text) {
        const auto length = std::min(text.find('\0'), text.size());
        const std::size_t steps = width(text.substr(0, length));
        for (const bool terminated : {false, true}) {
            const unsigned char *in = placed(text, terminated, 1);
            const std::size_t count = terminated ? inflated : text.size();
            for (const Kernels &kernels : kernels_) {
                const Progress measured = kernels.measureBytes(in, count);
                ASSERT_EQ(measured.read, length);
                ASSERT_EQ(measured.written, steps) << hex(text);
                for (const bool noControls : {false, true}) {
                    const WellFormed expected = wellFormed(text, noControls);
                    const std::size_t bytes = kernels.wellFormed[noControls ? 1 : 0](in, count);
                    const auto characters = static_cast<std::size_t>(
                        std::upper_bound(expected.ends.begin(), expected.ends.end(), bytes) - expected.ends.begin());
                    ASSERT_EQ(bytes, endOf(expected, characters)) << hex(text);
                    const auto refused =
                        std::find_if(expected.units.begin(), expected.units.end(), [=](unsigned int unit) {
                            return unit >= 0xFFC0 || (noControls && unit >> 12U == 0xE);
                        });
                    const auto last = static_cast<std::size_t>(refused - expected.units.begin());
                    ASSERT_GE(characters, last);
                    ASSERT_TRUE(std::none_of(expected.units.begin(),
                                             expected.units.begin() + static_cast<std::ptrdiff_t>(characters),
                                             [](unsigned int unit) { return unit >= 0xFFC0; }));
                }
                auto *const out = reinterpret_cast<char *>(out_.back(text.size()));
                const std::size_t copied = kernels.copyWellFormed(in, std::min(count, text.size()), out);
                ASSERT_EQ(copied, kernels.wellFormed[1](in, std::min(count, text.size()))) << hex(text);
                ASSERT_EQ(std::string(out, copied), text.substr(0, copied));
            }
        }
    }

    void checkText(const std::string &text) {
        checkDecoding(text, text.size() + 1);
        checkWholeText(text, text.size() + 200);
        checkBytes(text);
    }

    // A whole text into two units of room at least, counted or terminated. A sequence that is cut off leaves a unit as
    // it was.
    void checkWholeText(const std::string &text, std::size_t room) {
        const std::string ended = text.substr(0, text.find('\0')) + '\0';
        checkWholeText(placed(text, false, 1), text.size(), text.size() < ended.size() ? text : ended, room);
        checkWholeText(placed(text, true, 1), inflated, ended, room);
        checkWholeText(amongOthers(text), text.size(), text.size() < ended.size() ? text : ended, room);
    }

    void checkWholeText(const unsigned char *in, std::size_t length, const std::string &seen, std::size_t room) {
        constexpr unsigned short unstored = 0x5A5A;
        const Units expected = modelDecodeText(seen, static_cast<int>(room), unstored);
        const std::size_t buffer = room < nominal ? room : expected.size() + 1;
        for (const DecodeText decode : allDecoders()) {
            auto *const out = reinterpret_cast<unsigned short *>(out_.back(2 * buffer));
            std::fill_n(out, buffer, unstored);
            const unsigned int written = decode(in, length, out, room);
            ASSERT_EQ(Units(out, out + written), expected) << hex(seen);
            ASSERT_EQ(out[written], 0);
        }
    }

    static unsigned int nextBehind(const WellFormed &text, std::size_t characters) {
        return characters < text.units.size() ? text.units[characters] : text.next;
    }

    std::vector<Kernels> kernels_ = allKernels();
    GuardPages in_{longest};
    GuardPages out_{4 * longest};
};

// ---- Texts

// The limits of the three forms, of controls, their images, surrogates and the replacement character.
constexpr std::array<unsigned int, 26> slyUnits = {
    0x01,   0x1F,   0x20,   0x7F,   0x80,   0x9F,   0xA0,   0xBF,   0xC0,   0x7FF,  0x800,  0xFFF,  0x1000,
    0xD7FF, 0xD800, 0xDFFF, 0xE000, 0xE07F, 0xE080, 0xE09F, 0xE0A0, 0xEFFF, 0xFFBF, 0xFFC0, 0xFFFD, 0xFFFF};

// What begins, continues and breaks sequences.
constexpr std::array<unsigned int, 26> slyBytes = {0x00, 0x01, 0x1F, 0x20, 0x41, 0x7F, 0x80, 0x82, 0x8A,
                                                   0x9F, 0xA0, 0xBD, 0xBF, 0xC0, 0xC1, 0xC2, 0xC3, 0xDF,
                                                   0xE0, 0xE1, 0xED, 0xEE, 0xEF, 0xF0, 0xF4, 0xFF};

enum class Script { English, Czech, Russian, Chinese, Anything };
constexpr std::array<Script, 5> scripts = {Script::English, Script::Czech, Script::Russian, Script::Chinese,
                                           Script::Anything};

unsigned int unitOf(Script script, Random &random) {
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

Units unitsOf(Script script, std::size_t count, Random &random) {
    Units units(count);
    std::generate(units.begin(), units.end(), [&] { return static_cast<unsigned short>(unitOf(script, random)); });
    return units;
}

std::string textOf(Script script, std::size_t count, Random &random) {
    return encoded(unitsOf(script, count, random), count);
}

std::string bytesOf(std::initializer_list<unsigned int> bytes) {
    std::string text;
    for (const unsigned int byte : bytes) {
        text.push_back(static_cast<char>(byte));
    }
    return text;
}

// Replaces some bytes by what breaks sequences.
void spoil(std::string &text, unsigned int bytes, Random &random) {
    for (; bytes != 0 && !text.empty(); --bytes) {
        text[random.below(static_cast<unsigned int>(text.size()))] =
            static_cast<char>(random.chance(50) ? slyBytes[random.below(slyBytes.size())] : random.below(256));
    }
}

TEST_F(Utf8Kernels, EncodeEveryUnit) {
    for (unsigned int first = 0; first < 0x10000; first += 16) {
        Units units;
        for (unsigned int unit = first; unit < first + 16; ++unit) {
            units.push_back(static_cast<unsigned short>(unit));
        }
        checkEncoding(units, 64);
        checkUnits(units);
    }
    for (const unsigned int unit : slyUnits) {
        checkEncoding({static_cast<unsigned short>(unit)}, 8);
    }
}

TEST_F(Utf8Kernels, EncodeEveryLength) {
    Random random(1);
    for (const Script script : scripts) {
        for (std::size_t count = 0; count <= 200; ++count) {
            Units units = unitsOf(script, count, random);
            checkEncoding(units, 3 * count + 4);
            checkUnits(units);
            if (count != 0) {
                units[random.below(static_cast<unsigned int>(count))] =
                    static_cast<unsigned short>(random.chance(50) ? 0 : 0x8A);
                checkEncoding(units, 3 * count + 4);
                checkUnits(units);
            }
        }
    }
}

TEST_F(Utf8Kernels, EncodeIntoEveryRoom) {
    Random random(2);
    for (const Script script : scripts) {
        for (const std::size_t count : {5U, 8U, 9U, 16U, 23U, 33U, 70U}) {
            const Units units = unitsOf(script, count, random);
            for (std::size_t room = 2; room < 3 * count + 8; ++room) {
                checkEncoding(units, room);
            }
        }
    }
}

// Every row of one-, two- and three-byte forms that a block of eight may hold, alone and with a unit behind it.
TEST_F(Utf8Kernels, EncodeEveryMixtureOfForms) {
    constexpr std::array<unsigned short, 3> ofEachForm = {0x7A, 0x7FF, 0x86DB};
    for (unsigned int mixture = 0; mixture < 6561; ++mixture) {
        Units units;
        for (unsigned int rest = mixture; units.size() < 8; rest /= 3) {
            units.push_back(ofEachForm[rest % 3]);
        }
        for (const std::size_t room : {24U, 25U}) {
            ASSERT_NO_FATAL_FAILURE(checkEncoding(units, room));
        }
        units.push_back(ofEachForm[mixture % 3]);
        for (const std::size_t room : {27U, 28U}) {
            ASSERT_NO_FATAL_FAILURE(checkEncoding(units, room));
        }
    }
}

// A zero, a control and every limit at every place of up to three blocks of eight, in text of each form.
TEST_F(Utf8Kernels, EncodeEveryKindOfUnitAtEveryPlace) {
    constexpr std::array<unsigned short, 3> fillers = {0x61, 0x44F, 0x4E2D};
    for (const unsigned short filler : fillers) {
        for (std::size_t count = 8; count <= 24; ++count) {
            for (std::size_t place = 0; place < count; ++place) {
                Units units(count, filler);
                units[place] = 0;
                ASSERT_NO_FATAL_FAILURE(checkEncoding(units, 3 * count + 1));
                ASSERT_NO_FATAL_FAILURE(checkUnits(units));
                for (const unsigned int unit : slyUnits) {
                    units[place] = static_cast<unsigned short>(unit);
                    ASSERT_NO_FATAL_FAILURE(checkEncoding(units, 3 * count + 1));
                    ASSERT_NO_FATAL_FAILURE(checkUnits(units));
                }
            }
        }
    }
}

// A size that is no buffer's says that the result fits: nothing is written behind it.
TEST_F(Utf8Kernels, EncodeIntoNominalRoom) {
    Random random(10);
    for (const Script script : scripts) {
        for (std::size_t count = 1; count <= 100; ++count) {
            const Units units = unitsOf(script, count, random);
            for (std::size_t kind = 0; kind < 3; ++kind) {
                const std::string text = laidOut(units, kind == 0 ? UnitOrder::LowFirst : UnitOrder::HighFirst);
                const auto stop = std::find_if(units.begin(), units.end(),
                                               [=](unsigned int unit) { return !isOrdinary(unit, kind == 2); });
                const auto ordinary = static_cast<std::size_t>(stop - units.begin());
                const std::string expected = encoded(units, ordinary);
                const unsigned char *const in = in_.atBack(text);
                for (const Kernels &kernels : kernels_) {
                    char *const out = reinterpret_cast<char *>(out_.back(expected.size()));
                    const Progress done = kernels.encode[kind](in, count, out, std::size_t{1} << 30U);
                    ASSERT_EQ(done.read, ordinary);
                    ASSERT_EQ(std::string(out, done.written), expected);
                }
            }
        }
    }
}

// Rooms in which blocks are stored whole, of one, of two or of no kind of character, with and without an end in them.
TEST_F(Utf8Kernels, EncodeIntoAmpleRooms) {
    Random random(10);
    for (const Script script : scripts) {
        for (const Script other : scripts) {
            for (std::size_t count = 0; count <= 140; count += count < 66 ? 1 : 7) {
                Units units = unitsOf(script, count, random);
                const Units behind = unitsOf(other, random.below(40), random);
                units.insert(units.end(), behind.begin(), behind.end());
                if (random.chance(20) && !units.empty()) {
                    units[random.below(static_cast<unsigned int>(units.size()))] =
                        static_cast<unsigned short>(random.chance(50) ? 0 : 0x8A);
                }
                checkEncoding(units, 3 * units.size() + 300);
                checkEncoding(units, 120 + random.below(20));
                checkEncoding(units, 250 + random.below(20));
            }
        }
    }
}

// A size that is no buffer's says that the result fits: nothing behind it is written.
TEST_F(Utf8Kernels, EncodeAmongOthersIntoNominalRoom) {
    Random random(11);
    for (const Script script : scripts) {
        for (std::size_t count = 0; count <= 600; count += count < 140 ? 1 : 29) {
            const Units units = unitsOf(script, count, random);
            const auto stop = std::find(units.begin(), units.end(), 0);
            const std::string expected = encoded(units, static_cast<std::size_t>(stop - units.begin()));
            const unsigned char *text = amongOthers(laidOut(units, UnitOrder::LowFirst));
            for (const Kernels &kernels : kernels_) {
                char *const out = reinterpret_cast<char *>(out_.back(expected.size()));
                const Progress done = kernels.encode[0](text, count, out, nominal);
                ASSERT_EQ(std::string(out, done.written), expected);
            }
        }
    }
}

// A unit may lie across the pages: the terminator of a text is found wherever it lies.
TEST_F(Utf8Kernels, EncodeAcrossPagesAtEveryAddress) {
    Random random(3);
    for (const Script script : scripts) {
        const Units units = unitsOf(script, 120, random);
        const std::string text = laidOut(units, UnitOrder::HighFirst) + std::string(2, '\0');
        const std::string expected = encoded(units, units.size());
        const auto stop = std::find_if(units.begin(), units.end(), isControl);
        const auto native = static_cast<std::size_t>(stop - units.begin());
        GuardPages pages(8192);
        for (std::size_t before = 0; before <= 250; ++before) {
            unsigned char *const place = pages.front() + 4096 - before;
            std::copy(text.begin(), text.end(), place);
            for (const Kernels &kernels : kernels_) {
                for (const std::size_t count : {inflated, units.size()}) {
                    std::string out(expected.size() + 200, '\0');
                    const Progress done = kernels.encode[1](place, count, out.data(), out.size());
                    ASSERT_EQ(done.read, units.size()) << before;
                    ASSERT_EQ(out.substr(0, done.written), expected);
                    const Progress measured = kernels.measureUnits[1](place, count);
                    ASSERT_EQ(measured.read, units.size()) << before;
                    ASSERT_EQ(measured.written, expected.size());
                }
                Units out(units.size());
                ASSERT_EQ(kernels.toNative(place, units.size(), out.data(), out.size()).read, native) << before;
                ASSERT_TRUE(std::equal(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(native), units.begin()));
            }
        }
    }
}

TEST_F(Utf8Kernels, DecodeEveryTextOfTwoBytes) {
    for (unsigned int pair = 0; pair < 0x10000; ++pair) {
        checkText(bytesOf({pair >> 8U, pair & 0xFFU}));
    }
}

TEST_F(Utf8Kernels, DecodeSlyTextsOfThreeAndFourBytes) {
    for (const unsigned int first : slyBytes) {
        for (const unsigned int second : slyBytes) {
            for (const unsigned int third : slyBytes) {
                checkText(bytesOf({first, second, third}));
            }
            checkText(bytesOf({0xE4, first, second, 0x41}));
            checkText(bytesOf({0x41, 0xC3, first, second}));
        }
    }
}

// A text of one kind of character with something else at the end of a block, and with a rest behind it or none.
TEST_F(Utf8Kernels, DecodeSlyBytesAtTheBordersOfBlocks) {
    constexpr std::array<unsigned int, 10> bytes = {0x00, 0x41, 0x80, 0xA0, 0xBF, 0xC1, 0xC3, 0xE0, 0xE4, 0xF0};
    for (const std::string filler : {"a", "\xC3\xA9", "\xE4\xB8\xAD"}) {
        std::string text;
        while (text.size() < 140) {
            text += filler;
        }
        for (const std::size_t border : {64U, 128U}) {
            for (std::size_t start = border - border % filler.size() - filler.size(); start < border + 3;
                 start += filler.size()) {
                const std::string front = text.substr(0, start);
                for (const unsigned int first : bytes) {
                    for (const unsigned int second : bytes) {
                        checkText(front + bytesOf({first, second}) + text);
                        checkText(front + filler.substr(1) + bytesOf({first, second}));
                    }
                }
                for (const unsigned int unit : slyUnits) {
                    const std::string sequence = encoded({static_cast<unsigned short>(unit)}, 1);
                    for (std::size_t cut = 1; cut <= sequence.size(); ++cut) {
                        checkText(front + sequence.substr(0, cut) + text);
                        checkText(front + sequence.substr(0, cut));
                    }
                }
            }
        }
    }
}

// What stops a kernel or is taken for a character of its own, each at every place of the first blocks, behind and in
// front of each kind of character and at the end of a text.
TEST_F(Utf8Kernels, DecodeSlySequencesAtEveryPlace) {
    constexpr const char *sequences[] = {
        "00",       "01",       "1F",       "80",       "BF BF",    "C0 80",       "C1 BF",      "C3 C0 41",
        "C2 80",    "C2 9F",    "C2 A0",    "DF BF BF", "C3 41",    "C3 C3",       "C3 E4",      "E0 80 80",
        "E4",       "E4 41",    "E4 B8",    "E0 9F BF", "E4 C3",    "C3 00",       "E4 00",      "E0 A0 80",
        "F0",       "FE FF",    "E4 E4",    "E4 B8 00", "DF BF",    "C3",          "7F",         "E4 B8 C3",
        "C1 C1",    "C1 41",    "F0 9F",    "E4 B8 E4", "EF BF",    "EE",          "E4 1F",      "ED A0 80",
        "EF BE BF", "EF BF 80", "EF BF BD", "EE 82 8A", "EE 83 80", "E4 B8 BF BF", "F0 9F 98 80"};
    constexpr std::size_t last = 48;
    for (const std::string filler : {"a", "\xD0\x96", "\xE4\xB8\xAD", "b\xC3\xA9", "\xD0\x96\xE4\xB8\xAD-"}) {
        std::string text;
        while (text.size() <= last) {
            text += filler;
        }
        for (std::size_t place = 0; place <= last; ++place) {
            for (const char *inHex : sequences) {
                const std::string sequence = zelk_test::bytes(inHex);
                checkText(text.substr(0, place) + sequence);
                checkText(text.substr(0, place) + sequence + text);
                checkText(text.substr(text.size() - place) + sequence + text);
            }
        }
    }
}

TEST_F(Utf8Kernels, DecodeEveryLength) {
    Random random(4);
    for (const Script script : scripts) {
        const std::string text = textOf(script, 200, random);
        for (std::size_t length = 0; length <= 200; ++length) {
            checkText(text.substr(0, length));
        }
    }
}

TEST_F(Utf8Kernels, DecodeIntoEveryRoom) {
    Random random(5);
    for (const Script script : scripts) {
        for (const std::size_t count : {3U, 31U, 33U, 66U, 150U}) {
            const std::string text = textOf(script, count, random);
            for (std::size_t room = 0; room <= count + 2; ++room) {
                checkDecoding(text, room);
            }
            for (std::size_t room = 2; room <= text.size() + 70; ++room) {
                checkWholeText(text, room);
            }
            checkWholeText(text, nominal);
        }
    }
}

// A terminated text under a count that reaches its terminator or goes beyond.
void checkPlaced(const Kernels &kernels, const unsigned char *place, std::size_t length, const WellFormed &expected,
                 Script script) {
    const std::string text = reinterpret_cast<const char *>(place);
    Units out(text.size() + 80);
    const Progress done = kernels.decode[0](place, length, out.data(), out.size());
    ASSERT_EQ(done.read, endOf(expected, expected.units.size()));
    ASSERT_TRUE(std::equal(expected.units.begin(), expected.units.end(), out.begin()));
    ASSERT_EQ(kernels.measureBytes(place, length).written, width(text));
    if (script != Script::Anything) {
        ASSERT_EQ(kernels.wellFormed[0](place, length), text.size());
    }
}

TEST_F(Utf8Kernels, DecodeAcrossPagesAtEveryAddress) {
    Random random(6);
    for (const Script script : scripts) {
        std::string text = textOf(script, 150, random);
        const WellFormed expected = wellFormed(text, false);
        GuardPages pages(8192);
        for (std::size_t before = 0; before <= text.size() + 1; ++before) {
            unsigned char *const place = pages.front() + 4096 - before;
            std::copy_n(text.c_str(), text.size() + 1, place);
            for (const Kernels &kernels : kernels_) {
                for (const std::size_t length : {inflated, text.size()}) {
                    ASSERT_NO_FATAL_FAILURE(checkPlaced(kernels, place, length, expected, script)) << before;
                }
                for (const std::size_t length : {1U, 30U, 62U, 63U, 64U, 65U, 150U}) {
                    std::string copy(length, '\0');
                    const WellFormed clean = wellFormed(text.substr(0, length), true);
                    const std::size_t copied = kernels.copyWellFormed(place, length, copy.data());
                    ASSERT_LE(copied, endOf(clean, clean.units.size())) << before;
                    ASSERT_EQ(copy.substr(0, copied), text.substr(0, copied));
                    if (script != Script::Anything) {
                        ASSERT_EQ(copied, endOf(clean, clean.units.size())) << before;
                    }
                }
            }
            for (const DecodeText decode : allDecoders()) {
                for (const std::size_t length : {inflated, text.size()}) {
                    Units out(text.size() + 80);
                    const unsigned int written = decode(place, length, out.data(), out.size());
                    ASSERT_EQ(Units(out.begin(), out.begin() + written), expected.units) << before;
                    ASSERT_EQ(out[written], 0);
                }
            }
        }
    }
}

// A terminated text whose count ends behind it, but on its page: nothing behind the terminator is copied or told.
TEST_F(Utf8Kernels, DecodeInFrontOfThePageEndUnderCountsThatAreTooLarge) {
    Random random(9);
    GuardPages pages(4096);
    for (std::size_t gap = 1; gap <= 40; ++gap) {
        for (const Script script : scripts) {
            const std::string text = textOf(script, 40, random);
            const WellFormed expected = wellFormed(text, false);
            unsigned char *const place = pages.back(text.size() + 1 + gap);
            std::copy_n(text.c_str(), text.size() + 1, place);
            std::fill_n(place + text.size() + 1, gap, static_cast<unsigned char>(0xA8));
            const Poisoned behind(place + text.size() + 1, gap);
            for (const Kernels &kernels : kernels_) {
                for (std::size_t more = 1; more <= gap + 2; ++more) {
                    ASSERT_NO_FATAL_FAILURE(checkPlaced(kernels, place, text.size() + more, expected, script)) << gap;
                }
            }
        }
    }
}

TEST_F(Utf8Kernels, TakeRandomTexts) {
    Random random(7);
    for (int round = 0; round < 1000; ++round) {
        const Script script = scripts[random.below(scripts.size())];
        std::string text = textOf(script, random.below(random.chance(10) ? 1000 : 120), random);
        spoil(text, random.below(4), random);
        checkText(text);
        checkDecoding(text, random.below(static_cast<unsigned int>(text.size()) + 2));
    }
}

// ---- The functions above the kernels

std::string modelEncodeText(const Units &units, int size) {
    std::string out;
    for (const unsigned int unit : units) {
        if (unit == 0 || size - static_cast<int>(out.size()) <= 1) {
            break;
        }
        char sequence[4];
        out.append(sequence, detail::utf8Encode(unit, sequence, size - static_cast<int>(out.size())));
    }
    return out;
}

bool modelIsValid(const std::string &text) {
    const Units units = modelDecodeText(text, 0x7FFFFFFF, 1);
    return std::find(units.begin(), units.end(), detail::replacementCharacter) == units.end();
}

unsigned int modelFilter(unsigned int character, unsigned int flags) {
    if (character < 0x80) {
        return detail::filterControlCode0(static_cast<unsigned short>(character));
    }
    const auto low = static_cast<unsigned short>(character & 0xFFU);
    const bool control = (character & 0xFFE0U) == 0x80 || (character & 0xFFE0U) == 0xE080;
    return !control     ? character
           : flags != 0 ? detail::filterControlCode8Restricted(low)
                        : detail::filterControlCode8(low);
}

// The characters of a DVB text before they are bounded.
Units modelDvbUnits(const std::string &text, bool twoByte, unsigned int flags) {
    Units result;
    Utf8DecoderState state{};
    for (std::size_t at = 0; at < (twoByte ? text.size() / 2 * 2 : text.size());) {
        unsigned int character = static_cast<unsigned char>(text[at++]);
        if (twoByte) {
            character = character << 8U | static_cast<unsigned char>(text[at++]);
        } else {
            character = detail::utf8StreamDecode(state, character) & 0xFFFFU;
        }
        const unsigned int kept = modelFilter(character, flags);
        if (kept != 0) {
            result.push_back(static_cast<unsigned short>(kept));
        }
    }
    return result;
}

class Utf8Functions : public ::testing::Test {
protected:
    void checkUnits(const Units &units, int size) {
        const std::string expected = modelEncodeText(units, size);
        const auto length = static_cast<std::size_t>(std::find(units.begin(), units.end(), 0) - units.begin());
        const std::size_t bytes = encoded(units, length).size();
        for (const bool terminated : {false, true}) {
            for (const UnitOrder order : {UnitOrder::LowFirst, UnitOrder::HighFirst}) {
                const unsigned char *text = in_.atBack(laidOut(units, order) + std::string(terminated ? 2 : 0, '\0'));
                const int count = terminated ? -1 : static_cast<int>(units.size());
                unsigned char *const out = out_.back(static_cast<std::size_t>(std::max(size, 1)));
                const bool low = order == UnitOrder::LowFirst;
                const unsigned int written = low ? zelkUtf8EncodeNotAlignedInverseText(out, size, text, count)
                                                 : zelkUtf8EncodeNotAlignedText(out, size, text, count);
                ASSERT_EQ(std::string(reinterpret_cast<char *>(out), written), expected) << "size " << size;
                ASSERT_EQ(out[written], 0);
                ASSERT_EQ(low ? zelkUtf8GetLengthForNotAlignedInverseText(text, count)
                              : zelkUtf8GetLengthForNotAlignedText(text, count),
                          bytes);
            }
        }
        unsigned char *const out = out_.back(static_cast<std::size_t>(std::max(size, 1)));
        const unsigned int written = zelkUtf8EncodeText(out, size, units.data(), static_cast<int>(units.size()));
        ASSERT_EQ(std::string(reinterpret_cast<char *>(out), written), expected);
        ASSERT_EQ(zelkUtf8GetLength(units.data(), static_cast<int>(units.size())), bytes);
    }

    void checkBytes(const std::string &text, int size) {
        constexpr unsigned short unstored = 0x5A5A;
        const std::string used = text.substr(0, text.find('\0'));
        for (const bool terminated : {false, true}) {
            const unsigned char *in = in_.atBack(terminated ? text + '\0' : text);
            const int length = terminated ? -1 : static_cast<int>(text.size());
            // A terminator is no continuation byte: what it cuts off is rejected.
            const std::string seen = terminated || used.size() < text.size() ? used + '\0' : text;
            auto *const out =
                reinterpret_cast<unsigned short *>(out_.back(2 * static_cast<std::size_t>(std::max(size, 1))));
            std::fill_n(out, std::max(size, 1), unstored);
            const Units expected = modelDecodeText(seen, size, unstored);
            const unsigned int written = zelkUtf8DecodeText(out, size, in, length);
            ASSERT_EQ(Units(out, out + written), expected) << "size " << size;
            ASSERT_EQ(out[written], 0);
            ASSERT_EQ(zelkUtf8TextIsValid(in, static_cast<unsigned int>(length)) != 0, modelIsValid(seen));
            ASSERT_EQ(zelkUtf8GetTextWidth(in, static_cast<unsigned int>(length)), width(used));
            checkCopy(in, length, seen, size);
        }
    }

    void checkCopy(const unsigned char *in, int length, const std::string &seen, int size) {
        std::string expected;
        bool valid = true;
        for (std::size_t at = 0; at < seen.size() && seen[at] != 0 && static_cast<int>(expected.size()) + 1 < size;) {
            unsigned short unit = 1;
            const unsigned int used = detail::utf8Decode(reinterpret_cast<const unsigned char *>(seen.data()) + at,
                                                         static_cast<unsigned int>(seen.size() - at), &unit);
            if (unit == detail::replacementCharacter) {
                valid = false;
                break;
            }
            expected += seen.substr(at, used);
            at += used;
        }
        expected.resize(std::min(expected.size(), static_cast<std::size_t>(std::max(size, 1)) - 1));
        unsigned char *const out = out_.back(static_cast<std::size_t>(std::max(size, 1)));
        int invalid = 0;
        const unsigned int copied = zelkUtf8CopyAndCheckIfValid(out, size, in, length, &invalid);
        ASSERT_EQ(std::string(reinterpret_cast<char *>(out), copied), expected);
        ASSERT_EQ(out[copied], 0);
        ASSERT_EQ(invalid == 0, valid);
    }

    void checkDvb(const std::string &text, bool twoByte, int size, unsigned int flags) {
        const std::string bytes = (twoByte ? "\x11" : "\x15") + text;
        const char *in = reinterpret_cast<const char *>(in_.atBack(bytes));
        Units units = modelDvbUnits(text, twoByte, flags);
        const std::string utf8 = modelEncodeText(units, size);
        units.resize(std::min(units.size(), static_cast<std::size_t>(std::max(size, 1)) - 1));
        char *const out = reinterpret_cast<char *>(out_.back(static_cast<std::size_t>(std::max(size, 1))));
        const unsigned int written =
            zelk_dvb8ToUtf8(DvbCharSetStandard, out, size, in, static_cast<int>(bytes.size()), DvbCodeUtf8, 0, flags);
        ASSERT_EQ(std::string(out, written), utf8) << "size " << size;
        ASSERT_EQ(out[written], 0);
        auto *const wide =
            reinterpret_cast<unsigned short *>(out_.back(2 * static_cast<std::size_t>(std::max(size, 1))));
        const unsigned int count = zelk_dvb8ToUnicode(DvbCharSetStandard, wide, size, in,
                                                      static_cast<int>(bytes.size()), DvbCodeUtf8, 0, flags);
        ASSERT_EQ(Units(wide, wide + count), units) << "size " << size;
        ASSERT_EQ(wide[count], 0);
    }

    GuardPages in_{65536};
    GuardPages out_{4 * 65536};
};

TEST_F(Utf8Functions, ConvertRandomTexts) {
    Random random(8);
    for (int round = 0; round < 800; ++round) {
        const Script script = scripts[random.below(scripts.size())];
        const std::size_t count = random.below(random.chance(5) ? 2000 : 150);
        Units units = unitsOf(script, count, random);
        std::string text = encoded(units, count);
        for (unsigned int zeros = random.below(3); zeros != 0 && count != 0 && random.chance(30); --zeros) {
            units[random.below(static_cast<unsigned int>(count))] = 0;
        }
        const int enough = static_cast<int>(3 * count + 1);
        checkUnits(units,
                   random.chance(50) ? enough : static_cast<int>(random.below(static_cast<unsigned int>(enough))));
        spoil(text, random.chance(70) ? random.below(3) : random.below(60), random);
        checkBytes(text,
                   random.chance(50) ? enough : static_cast<int>(random.below(static_cast<unsigned int>(enough))));
    }
}

TEST_F(Utf8Functions, FilterRandomDvbTexts) {
    Random random(9);
    for (int round = 0; round < 800; ++round) {
        const Script script = scripts[random.below(scripts.size())];
        const std::size_t count = random.below(random.chance(5) ? 2000 : 150);
        Units units = unitsOf(script, count, random);
        for (unsigned int controls = random.below(random.chance(20) ? 100 : 3); controls != 0 && count != 0;
             --controls) {
            constexpr std::array<unsigned short, 9> codes = {0x00, 0x09, 0x0A, 0x1F, 0x86, 0x8A, 0x9F, 0xE087, 0xE08A};
            units[random.below(static_cast<unsigned int>(count))] = codes[random.below(codes.size())];
        }
        const int enough = static_cast<int>(3 * count + 1);
        const int size = random.chance(50) ? enough : static_cast<int>(random.below(static_cast<unsigned int>(enough)));
        const unsigned int flags = random.below(2);
        checkDvb(laidOut(units, UnitOrder::HighFirst) + (random.chance(10) ? "x" : ""), true, size, flags);
        std::string text = encoded(units, count);
        spoil(text, random.chance(70) ? random.below(3) : random.below(60), random);
        checkDvb(text, false, size, flags);
    }
}

// The unit of a sequence that the end of the text cuts off keeps what it held, however the units before it are stored.
TEST_F(Utf8Functions, LeaveTheUnitOfACutSequence) {
    for (const std::string filler : {"a\xC3\xA9", "\xD0\x96", "\xE4\xB8\xAD", "\xE4\xB8\xAD-\xD0\x96"}) {
        std::string text;
        while (text.size() < 200) {
            text += filler;
        }
        for (std::size_t length = 0; length <= text.size(); ++length) {
            checkBytes(text.substr(0, length), 300);
        }
    }
}

// A stop of the kernels at every few bytes costs the plain loop's time, not more: the answers show that both go on
// where the other left.
TEST_F(Utf8Functions, TakeTextsThatStopTheKernelsOften) {
    for (const std::size_t distance : {1U, 2U, 3U, 7U, 30U, 63U, 64U, 65U, 66U, 100U, 129U}) {
        std::string text;
        std::string dvb;
        while (text.size() < 3000) {
            text += std::string(distance, 'a') + "\xFF";
            dvb += std::string(distance, 'a') + "\xC2\x8A";
        }
        checkBytes(text, 4000);
        checkDvb(dvb, false, 4000, 0);
        checkDvb(dvb, true, 9000, 0);
        dvb += "\xE4";
        checkDvb(dvb, false, 4000, 0);
    }
}

} // namespace
