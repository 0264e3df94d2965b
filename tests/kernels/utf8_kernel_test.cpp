// The kernels that take UTF-8, each set against the codec that reads one character at a time: texts between unreadable
// pages, under their count or under counts that their terminator makes too large, and outputs that must not change but
// for the result; and the functions above the kernels against plain loops.
#include "helpers/guard_pages.h"
#include "helpers/kernel_sets.h"
#include "helpers/poison.h"
#include "helpers/text.h"
#include "kernels/unit_texts.h"
#include "zelk.h"

#include <algorithm>
#include <array>
#include <climits>
#include <string>
#include <vector>

namespace {

using namespace zelk;
using namespace zelk_test;
using kernels::Candidate;
using kernels::Kernels;
using kernels::Progress;

// ---- Plain models

// The characters at the front of a text that are well-formed and ordinary, and where each ends.
struct WellFormed {
    Units units;
    std::vector<std::size_t> ends;
    unsigned int next = 0; // the well-formed character after them, 0 for none

    std::size_t bytesOf(std::size_t characters) const { return characters == 0 ? 0 : ends[characters - 1]; }
    unsigned int after(std::size_t characters) const { return characters < units.size() ? units[characters] : next; }
};

WellFormed wellFormed(const std::string &text, bool noControls) {
    WellFormed result;
    for (std::size_t at = 0; at < text.size();) {
        constexpr unsigned short none = 0;
        unsigned short unit = none;
        const unsigned char *bytes = u8(text) + at;
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

Units modelDecodeText(const std::string &text, int size, unsigned short unstored) {
    Units out;
    const unsigned char *at = u8(text);
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

std::size_t width(const std::string &text) {
    std::size_t characters = 0;
    for (std::size_t at = 0; at < text.size(); ++characters) {
        at += detail::utf8Length(u8(text) + at, static_cast<unsigned int>(text.size() - at));
    }
    return characters;
}

// What the kernels for text without controls may leave to the rule: they look no closer at the images' block.
bool mayStopClean(unsigned int next) {
    return next >> 12U == 0xE;
}

// ---- One text through every kernel

class Utf8Kernels : public ::testing::Test {
protected:
    static constexpr std::size_t longest = 32768;

    // A text as callers hand it over: counted, in front of an unreadable page or after one; and terminated, under
    // counts that are too large, with no more to be read after the terminator than the rest of its block.
    template <class Check>
    void forEachPlace(const std::string &text, Check check) {
        check(in_.atBack(text), text.size());

        const std::string::size_type gap = ++turn_ % 3 == 0 ? turn_ % 64 : 0;
        unsigned char *const front = front_.front() + gap;
        std::copy(text.begin(), text.end(), front);
        constexpr std::size_t others = 300;
        std::fill_n(front + text.size(), others, static_cast<unsigned char>(0xA8));
        {
            const Poisoned after(front + text.size(), others);
            check(front, text.size());
        }

        constexpr std::size_t counts[] = {0xFFFFFFFFU, 0x7FFFFFFFU, 65535, 0};
        const std::size_t count = counts[turn_ % 4];
        const std::size_t rest = turn_ % readableBlock;
        unsigned char *const terminated = in_.back(text.size() + 1 + rest);
        std::copy_n(text.c_str(), text.size() + 1, terminated);
        std::fill_n(terminated + text.size() + 1, rest, static_cast<unsigned char>(0xA8));
        check(terminated, std::max(count, text.size() + 2));
    }

    void checkDecoding(const std::string &text, std::size_t room) {
        const std::array<WellFormed, 2> expected = {wellFormed(text, false), wellFormed(text, true)};
        forEachPlace(text, [&](const unsigned char *in, std::size_t count) {
            for (const bool noControls : {false, true}) {
                for (const Candidate &set : sets_) {
                    const auto decode = noControls ? set.kernels->cleanUtf8ToUcs2 : set.kernels->utf8ToUcs2;
                    const std::size_t whole = expected[noControls ? 1 : 0].units.size();
                    checkDecoding(set, decode, in, count, expected[noControls ? 1 : 0], noControls, room, room);
                    checkDecoding(set, decode, in, count, expected[noControls ? 1 : 0], noControls, INT_MAX, whole);
                }
            }
        });
    }

    void checkDecoding(const Candidate &set, decltype(Kernels::utf8ToUcs2) decode, const unsigned char *in,
                       std::size_t count, const WellFormed &expected, bool noControls, std::size_t room,
                       std::size_t memory) {
        unsigned short *const out = units_.last(memory);
        const Progress done = decode(in, count, out, room);
        const std::size_t most = std::min(room, expected.units.size());
        ASSERT_LE(done.written, most) << set.name;
        ASSERT_EQ(done.read, expected.bytesOf(done.written)) << set.name;
        ASSERT_TRUE(std::equal(out, out + done.written, expected.units.begin())) << set.name;
        ASSERT_TRUE(units_.areKeptAfter(done.written)) << set.name;
        ASSERT_TRUE(done.written == most || (noControls && mayStopClean(expected.after(done.written)))) << set.name;
    }

    void checkBytes(const std::string &text) {
        const std::size_t length = std::min(text.find('\0'), text.size());
        const std::size_t steps = width(text.substr(0, length));
        const auto isLast = [](unsigned int unit) { return unit >= 0xFFC0; };
        const std::array<WellFormed, 2> expected = {wellFormed(text, false), wellFormed(text, true)};
        std::array<std::size_t, 2> characters{};
        for (std::size_t i = 0; i < 2; ++i) {
            const Units &units = expected[i].units;
            characters[i] = static_cast<std::size_t>(std::find_if(units.begin(), units.end(), isLast) - units.begin());
        }
        forEachPlace(text, [&](const unsigned char *in, std::size_t count) {
            for (const Candidate &set : sets_) {
                const Progress measured = set.kernels->measureUtf8(in, count);
                ASSERT_EQ(measured.read, length) << set.name;
                ASSERT_EQ(measured.written, steps) << set.name;
                ASSERT_EQ(set.kernels->wellFormedUtf8(in, count), expected[0].bytesOf(characters[0])) << set.name;

                const std::size_t clean = expected[1].bytesOf(characters[1]);
                char *const out = bytes_.last(clean);
                const std::size_t copied = set.kernels->copyCleanUtf8(in, count, out);
                ASSERT_LE(copied, clean) << set.name;
                ASSERT_EQ(std::string(out, copied), text.substr(0, copied)) << set.name;
                ASSERT_TRUE(bytes_.areKeptAfter(copied)) << set.name;
                const auto taken = static_cast<std::size_t>(
                    std::upper_bound(expected[1].ends.begin(), expected[1].ends.end(), copied) -
                    expected[1].ends.begin());
                ASSERT_EQ(copied, expected[1].bytesOf(taken)) << set.name;
                ASSERT_TRUE(copied == clean || mayStopClean(expected[1].after(taken))) << set.name;
            }
        });
    }

    void checkText(const std::string &text) {
        SCOPED_TRACE(hex(text));
        checkDecoding(text, text.size() + 1);
        checkBytes(text);
    }

    std::vector<Candidate> sets_ = kernelSets();

private:
    GuardPages in_{longest};
    GuardPages front_{longest};
    Canaries<unsigned short> units_{longest};
    Canaries<char> bytes_{longest};
    std::size_t turn_ = 0;
};

TEST_F(Utf8Kernels, TakeEveryTextOfTwoBytes) {
    for (unsigned int pair = 0; pair < 0x10000; ++pair) {
        ASSERT_NO_FATAL_FAILURE(checkText(bytesOf({pair >> 8U, pair & 0xFFU})));
    }
}

TEST_F(Utf8Kernels, TakeSlyTextsOfThreeAndFourBytes) {
    for (const unsigned int first : slyBytes) {
        for (const unsigned int second : slyBytes) {
            for (const unsigned int third : slyBytes) {
                ASSERT_NO_FATAL_FAILURE(checkText(bytesOf({first, second, third})));
            }
            ASSERT_NO_FATAL_FAILURE(checkText(bytesOf({0xE4, first, second, 0x41})));
            ASSERT_NO_FATAL_FAILURE(checkText(bytesOf({0x41, 0xC3, first, second})));
        }
    }
}

// Every unit that UTF-8 can carry, among others of its kind.
TEST_F(Utf8Kernels, TakeEveryUnit) {
    for (unsigned int first = 0; first < 0x10000; first += 16) {
        Units units;
        for (unsigned int unit = first; unit < first + 16; ++unit) {
            units.push_back(static_cast<unsigned short>(unit == 0 ? 1 : unit));
        }
        ASSERT_NO_FATAL_FAILURE(checkText(encoded(units, units.size())));
    }
}

// A text of one kind of character with something else at the end of a block, and with a rest after it or none.
TEST_F(Utf8Kernels, TakeSlyBytesAtTheBordersOfBlocks) {
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
                        ASSERT_NO_FATAL_FAILURE(checkText(front + bytesOf({first, second}) + text));
                        ASSERT_NO_FATAL_FAILURE(checkText(front + filler.substr(1) + bytesOf({first, second})));
                    }
                }
                for (const unsigned int unit : slyUnits) {
                    const std::string sequence = encoded({static_cast<unsigned short>(unit)}, 1);
                    for (std::size_t cut = 1; cut <= sequence.size(); ++cut) {
                        ASSERT_NO_FATAL_FAILURE(checkText(front + sequence.substr(0, cut) + text));
                        ASSERT_NO_FATAL_FAILURE(checkText(front + sequence.substr(0, cut)));
                    }
                }
            }
        }
    }
}

// What stops a kernel or is taken for a character of its own, each at every place of the first blocks, after and in
// front of each kind of character and at the end of a text.
TEST_F(Utf8Kernels, TakeSlySequencesAtEveryPlace) {
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
                const std::string sequence = bytes(inHex);
                ASSERT_NO_FATAL_FAILURE(checkText(text.substr(0, place) + sequence));
                ASSERT_NO_FATAL_FAILURE(checkText(text.substr(0, place) + sequence + text));
                ASSERT_NO_FATAL_FAILURE(checkText(text.substr(text.size() - place) + sequence + text));
            }
        }
    }
}

TEST_F(Utf8Kernels, TakeEveryLength) {
    Random random(4);
    for (const Script script : scripts) {
        const std::string text = textOf(script, 300, random);
        for (std::size_t length = 0; length <= 300; ++length) {
            ASSERT_NO_FATAL_FAILURE(checkText(text.substr(0, length)));
        }
    }
}

// A text goes on for a few bytes after the 2048 that are checked and converted at once.
TEST_F(Utf8Kernels, TakeEveryRestAfterALongPart) {
    constexpr std::size_t part = 2048;
    for (const std::string filler : {"\xC3\xA9", "b\xC3\xA9", "\xE4\xB8\xAD"}) {
        std::string text;
        while (text.size() < 2 * part) {
            text += filler;
        }
        for (std::size_t length = part - 70; length < part + 140; ++length) {
            ASSERT_NO_FATAL_FAILURE(checkText(text.substr(0, length)));
        }
    }
}

// Continuation bytes at the same places of all blocks, of which 255 are counted in one byte.
TEST_F(Utf8Kernels, MeasureMoreBlocksThanAByteCounts) {
    for (const std::string filler : {"\xC3\xA9", "\xC3\xA9\xE4\xB8\xADz"}) {
        for (const std::size_t block : {16U, 32U}) {
            for (std::size_t blocks = 253; blocks < 262; ++blocks) {
                std::string text;
                while (text.size() < 2 * 255 * block) {
                    text += filler;
                }
                text.resize(blocks * block + blocks % 5);
                ASSERT_NO_FATAL_FAILURE(checkBytes(text));
                ASSERT_NO_FATAL_FAILURE(checkBytes(text + text));
            }
        }
    }
}

TEST_F(Utf8Kernels, DecodeIntoEveryRoom) {
    Random random(5);
    for (const Script script : scripts) {
        for (const std::size_t count : {3U, 31U, 33U, 66U, 150U, 300U}) {
            const std::string text = textOf(script, count, random);
            for (std::size_t room = 0; room <= count + 2; ++room) {
                ASSERT_NO_FATAL_FAILURE(checkDecoding(text, room));
            }
        }
    }
}

// Of a text of each length at each distance from the end of a block, counted and terminated, nothing is missed.
TEST_F(Utf8Kernels, TakeTextsAtEveryAddress) {
    Random random(6);
    GuardPages pages(8192);
    Canaries<unsigned short> out(400);
    for (const Script script : {Script::English, Script::Czech, Script::Russian, Script::Chinese}) {
        const std::string whole = textOf(script, 150, random);
        for (std::size_t length = 1; length <= whole.size(); length += length < 100 ? 1 : 9) {
            const std::string text = whole.substr(0, length);
            const WellFormed expected = wellFormed(text, false);
            for (std::size_t address = 0; address < 64; ++address) {
                unsigned char *const in = pages.front() + address;
                std::copy_n(text.c_str(), length + 1, in);
                const std::size_t count = address % 2 == 0 ? length : 0xFFFFFFFFU;
                for (const Candidate &set : sets_) {
                    unsigned short *const units = out.last(expected.units.size());
                    const Progress done = set.kernels->utf8ToUcs2(in, count, units, INT_MAX);
                    ASSERT_EQ(done.written, expected.units.size()) << set.name << ' ' << length << ' ' << address;
                    ASSERT_TRUE(std::equal(units, units + done.written, expected.units.begin())) << set.name;
                    ASSERT_TRUE(out.areKeptAfter(done.written)) << set.name;
                    ASSERT_EQ(set.kernels->wellFormedUtf8(in, count), done.read) << set.name;
                    ASSERT_EQ(set.kernels->measureUtf8(in, count).written, width(text)) << set.name;
                }
            }
        }
    }
}

// A zero at every place of a text, with an unreadable page right after the block that it lies in: a count that goes on
// after it is no licence to read there.
TEST_F(Utf8Kernels, ReadNoFurtherThanTheBlockOfTheTerminator) {
    Random random(7);
    GuardPages pages(4096);
    for (const Script script : {Script::English, Script::Czech, Script::Russian, Script::Chinese}) {
        const std::string text = textOf(script, 300, random);
        for (std::size_t length = 0; length <= text.size(); length += length < 150 ? 1 : 7) {
            const std::string part = text.substr(0, length);
            const WellFormed expected = wellFormed(part, false);
            for (const std::size_t rest : {std::size_t{0}, length % readableBlock, readableBlock - 1}) {
                unsigned char *const in = pages.back(length + 1 + rest);
                std::copy_n(part.c_str(), length + 1, in);
                std::fill_n(in + length + 1, rest, static_cast<unsigned char>(0xA8));
                for (const std::size_t count : {length + 1, length + 40, length + 400, std::size_t{0xFFFFFFFFU}}) {
                    for (const Candidate &set : sets_) {
                        Units out(length);
                        const Progress done = set.kernels->utf8ToUcs2(in, count, out.data(), length);
                        ASSERT_EQ(done.written, expected.units.size()) << set.name << ' ' << length << ' ' << rest;
                        ASSERT_EQ(set.kernels->wellFormedUtf8(in, count), done.read) << set.name;
                        ASSERT_EQ(set.kernels->measureUtf8(in, count).read, length) << set.name;
                    }
                }
            }
        }
    }
}

TEST_F(Utf8Kernels, TakeRandomTexts) {
    Random random(7);
    for (int round = 0; round < 1500; ++round) {
        const Script script = scripts[random.below(scripts.size())];
        std::string text = textOf(script, random.below(random.chance(10) ? 1000 : 120), random);
        const Script other = scripts[random.below(scripts.size())];
        text += textOf(other, random.below(100), random);
        spoil(text, random.below(4), random);
        ASSERT_NO_FATAL_FAILURE(checkText(text));
        ASSERT_NO_FATAL_FAILURE(checkDecoding(text, random.below(static_cast<unsigned int>(text.size()) + 2)));
    }
}

// ---- The functions above the kernels

bool modelIsValid(const std::string &text) {
    const Units units = modelDecodeText(text, INT_MAX, 1);
    return std::find(units.begin(), units.end(), detail::replacementCharacter) == units.end();
}

class Utf8Functions : public ::testing::Test {
protected:
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
            const unsigned int used =
                detail::utf8Decode(u8(seen) + at, static_cast<unsigned int>(seen.size() - at), &unit);
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

    void checkDvb(const std::string &text, int size, unsigned int flags) { dvb_.check(text, false, size, flags); }

private:
    GuardPages in_{65536};
    GuardPages out_{4 * 65536};
    DvbTexts dvb_;
};

TEST_F(Utf8Functions, ConvertRandomTexts) {
    Random random(8);
    for (int round = 0; round < 800; ++round) {
        const Script script = scripts[random.below(scripts.size())];
        const std::size_t count = random.below(random.chance(5) ? 2000 : 150);
        std::string text = textOf(script, count, random);
        const int enough = static_cast<int>(3 * count + 1);
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
        std::string text = encoded(units, count);
        spoil(text, random.chance(70) ? random.below(3) : random.below(60), random);
        checkDvb(text, size, random.below(2));
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
        checkDvb(dvb, 4000, 0);
        dvb += "\xE4";
        checkDvb(dvb, 4000, 0);
    }
}

} // namespace
