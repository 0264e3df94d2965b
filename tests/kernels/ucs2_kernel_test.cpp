// The kernels that take UCS-2, each set against the codec that forms one character at a time: texts between unreadable
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
using kernels::UnitOrder;

// The kernels to UTF-8, and what each takes.
struct Encoding {
    decltype(Kernels::lowFirstToUtf8) Kernels::*kernel;
    UnitOrder order;
    bool noControls;
};

constexpr Encoding encodings[] = {{&Kernels::lowFirstToUtf8, UnitOrder::LowFirst, false},
                                  {&Kernels::highFirstToUtf8, UnitOrder::HighFirst, false},
                                  {&Kernels::cleanHighFirstToUtf8, UnitOrder::HighFirst, true}};

// The units before the first that stops a conversion.
std::size_t ordinaryUnits(const Units &units, bool noControls) {
    const auto stop =
        std::find_if(units.begin(), units.end(), [=](unsigned int unit) { return !isOrdinary(unit, noControls); });
    return static_cast<std::size_t>(stop - units.begin());
}

// ---- One text through every kernel

class Ucs2Kernels : public ::testing::Test {
protected:
    static constexpr std::size_t longest = 8192;

    // A text as callers hand it over: counted, in front of an unreadable page or after one; and terminated, under
    // counts that are too large if they may be, with no more to be read after the terminator than the rest of its
    // block.
    enum class Counts { Exact, Any };

    template <class Check>
    void forEachPlace(const std::string &text, Counts kind, Check check) {
        check(in_.atBack(text), text.size() / 2);

        const std::string::size_type gap = ++turn_ % 3 == 0 ? turn_ % 64 : 0;
        unsigned char *const front = front_.front() + gap;
        std::copy(text.begin(), text.end(), front);
        constexpr std::size_t others = 300;
        std::fill_n(front + text.size(), others, static_cast<unsigned char>(0xE4));
        {
            const Poisoned after(front + text.size(), others);
            check(front, text.size() / 2);
        }

        constexpr std::size_t counts[] = {0xFFFFFFFFU, 0x7FFFFFFFU, 65535, 0};
        const std::size_t count = kind == Counts::Any ? counts[turn_ % 4] : 0;
        const std::size_t rest = turn_ % (readableBlock - 1);
        unsigned char *const terminated = in_.back(text.size() + 2 + rest);
        std::copy(text.begin(), text.end(), terminated);
        std::fill_n(terminated + text.size(), 2, static_cast<unsigned char>(0));
        std::fill_n(terminated + text.size() + 2, rest, static_cast<unsigned char>(0xE4));
        check(terminated, std::max(count, text.size() / 2 + 1));
    }

    // Into so much room, and into no more than the result takes under a room that is no buffer's.
    void checkEncoding(const Units &units, std::size_t room) {
        for (const Encoding &encoding : encodings) {
            const std::size_t ordinary = ordinaryUnits(units, encoding.noControls);
            const std::string expected = encoded(units, ordinary);
            const Counts counts = encoding.noControls ? Counts::Exact : Counts::Any;
            forEachPlace(laidOut(units, encoding.order), counts, [&](const unsigned char *in, std::size_t count) {
                for (const Candidate &set : sets_) {
                    const auto encode = set.kernels->*encoding.kernel;
                    char *const out = bytes_.last(room);
                    const Progress done = encode(in, count, out, room);
                    ASSERT_LE(done.read, ordinary) << set.name;
                    ASSERT_LE(done.written, room) << set.name;
                    ASSERT_EQ(std::string(out, done.written), encoded(units, done.read)) << set.name;
                    ASSERT_TRUE(bytes_.areKeptAfter(done.written)) << set.name;
                    if (room >= 3 * count) {
                        ASSERT_EQ(done.read, ordinary) << set.name;
                    }

                    char *const exact = bytes_.last(expected.size());
                    const Progress all = encode(in, count, exact, INT_MAX);
                    ASSERT_EQ(all.read, ordinary) << set.name;
                    ASSERT_EQ(std::string(exact, all.written), expected) << set.name;
                    ASSERT_TRUE(bytes_.areKeptAfter(all.written)) << set.name;
                }
            });
        }
    }

    void checkUnits(const Units &units) {
        const std::size_t length = ordinaryUnits(units, false);
        const std::size_t bytes = encoded(units, length).size();
        for (const UnitOrder order : {UnitOrder::LowFirst, UnitOrder::HighFirst}) {
            forEachPlace(laidOut(units, order), Counts::Any, [&](const unsigned char *in, std::size_t count) {
                for (const Candidate &set : sets_) {
                    const auto measure =
                        order == UnitOrder::LowFirst ? set.kernels->measureLowFirst : set.kernels->measureHighFirst;
                    const Progress measured = measure(in, count);
                    ASSERT_EQ(measured.read, length) << set.name;
                    ASSERT_EQ(measured.written, bytes) << set.name;
                }
            });
        }
        const std::size_t ordinary = ordinaryUnits(units, true);
        forEachPlace(
            laidOut(units, UnitOrder::HighFirst), Counts::Exact, [&](const unsigned char *in, std::size_t count) {
                for (const Candidate &set : sets_) {
                    for (const std::size_t room : {ordinary / 2, ordinary, units.size() + 1, std::size_t{INT_MAX}}) {
                        unsigned short *const out = units_.last(std::min(room, ordinary));
                        const Progress done = set.kernels->cleanHighFirstToNative(in, count, out, room);
                        ASSERT_EQ(done.read, std::min(room, ordinary)) << set.name;
                        ASSERT_EQ(done.written, done.read) << set.name;
                        ASSERT_TRUE(std::equal(out, out + done.read, units.begin())) << set.name;
                        ASSERT_TRUE(units_.areKeptAfter(done.written)) << set.name;
                    }
                }
            });
    }

    std::vector<Candidate> sets_ = kernelSets();

private:
    GuardPages in_{longest};
    GuardPages front_{longest};
    Canaries<char> bytes_{longest};
    Canaries<unsigned short> units_{longest};
    std::size_t turn_ = 0;
};

TEST_F(Ucs2Kernels, TakeEveryUnit) {
    for (unsigned int first = 0; first < 0x10000; first += 16) {
        Units units;
        for (unsigned int unit = first; unit < first + 16; ++unit) {
            units.push_back(static_cast<unsigned short>(unit));
        }
        ASSERT_NO_FATAL_FAILURE(checkEncoding(units, 64));
        ASSERT_NO_FATAL_FAILURE(checkUnits(units));
    }
    for (const unsigned int unit : slyUnits) {
        ASSERT_NO_FATAL_FAILURE(checkEncoding({static_cast<unsigned short>(unit)}, 8));
    }
}

TEST_F(Ucs2Kernels, TakeEveryLength) {
    Random random(1);
    for (const Script script : scripts) {
        for (std::size_t count = 0; count <= 300; ++count) {
            Units units = unitsOf(script, count, random);
            ASSERT_NO_FATAL_FAILURE(checkEncoding(units, 3 * count + 4));
            ASSERT_NO_FATAL_FAILURE(checkUnits(units));
            if (count != 0) {
                units[random.below(static_cast<unsigned int>(count))] =
                    static_cast<unsigned short>(random.chance(50) ? 0 : 0x8A);
                ASSERT_NO_FATAL_FAILURE(checkEncoding(units, 3 * count + 4));
                ASSERT_NO_FATAL_FAILURE(checkUnits(units));
            }
        }
    }
}

TEST_F(Ucs2Kernels, EncodeIntoEveryRoom) {
    Random random(2);
    for (const Script script : scripts) {
        for (const std::size_t count : {5U, 8U, 9U, 16U, 23U, 33U, 70U}) {
            const Units units = unitsOf(script, count, random);
            for (std::size_t room = 0; room < 3 * count + 8; ++room) {
                ASSERT_NO_FATAL_FAILURE(checkEncoding(units, room));
            }
        }
    }
}

// Every row of one-, two- and three-byte forms that a block of eight may hold, alone and with a unit after it.
TEST_F(Ucs2Kernels, EncodeEveryMixtureOfForms) {
    constexpr std::array<unsigned short, 3> ofEachForm = {0x7A, 0x7FF, 0x86DB};
    for (unsigned int mixture = 0; mixture < 6561; ++mixture) {
        Units units;
        for (unsigned int rest = mixture; units.size() < 8; rest /= 3) {
            units.push_back(ofEachForm[rest % 3]);
        }
        ASSERT_NO_FATAL_FAILURE(checkEncoding(units, 24));
        units.push_back(ofEachForm[mixture % 3]);
        ASSERT_NO_FATAL_FAILURE(checkEncoding(units, 28));
    }
}

// A zero, a control and every limit at every place of up to three blocks of eight, in text of each form.
TEST_F(Ucs2Kernels, TakeEveryKindOfUnitAtEveryPlace) {
    constexpr std::array<unsigned short, 3> fillers = {0x61, 0x44F, 0x4E2D};
    for (const unsigned short filler : fillers) {
        for (const std::size_t count : {8U, 15U, 16U, 17U, 24U}) {
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

// Rooms in which blocks are stored whole, of one, of two or of no kind of character, with and without an end in them.
TEST_F(Ucs2Kernels, EncodeIntoAmpleRooms) {
    Random random(10);
    for (const Script script : scripts) {
        for (const Script other : scripts) {
            for (std::size_t count = 0; count <= 140; count += count < 66 ? 1 : 7) {
                Units units = unitsOf(script, count, random);
                const Units more = unitsOf(other, random.below(40), random);
                units.insert(units.end(), more.begin(), more.end());
                if (random.chance(20) && !units.empty()) {
                    units[random.below(static_cast<unsigned int>(units.size()))] =
                        static_cast<unsigned short>(random.chance(50) ? 0 : 0x8A);
                }
                ASSERT_NO_FATAL_FAILURE(checkEncoding(units, 3 * units.size() + 300));
                ASSERT_NO_FATAL_FAILURE(checkEncoding(units, 120 + random.below(20)));
                ASSERT_NO_FATAL_FAILURE(checkEncoding(units, 250 + random.below(20)));
            }
        }
    }
}

// A unit may lie across blocks and pages: the terminator of a text is found wherever it lies.
TEST_F(Ucs2Kernels, TakeTextsAtEveryAddress) {
    Random random(3);
    GuardPages pages(8192);
    for (const Script script : scripts) {
        const Units units = unitsOf(script, 120, random);
        const std::string text = laidOut(units, UnitOrder::HighFirst) + std::string(2, '\0');
        const std::size_t length = ordinaryUnits(units, false);
        const std::string expected = encoded(units, length);
        const std::size_t native = ordinaryUnits(units, true);
        for (std::size_t before = 0; before <= 250; ++before) {
            unsigned char *const place = pages.front() + 4096 - before;
            std::copy(text.begin(), text.end(), place);
            for (const Candidate &set : sets_) {
                for (const std::size_t count : {std::size_t{0xFFFFFFFFU}, units.size()}) {
                    std::string out(expected.size() + 200, '\0');
                    const Progress done = set.kernels->highFirstToUtf8(place, count, out.data(), out.size());
                    ASSERT_EQ(done.read, length) << set.name << ' ' << before;
                    ASSERT_EQ(out.substr(0, done.written), expected) << set.name;
                    const Progress measured = set.kernels->measureHighFirst(place, count);
                    ASSERT_EQ(measured.read, length) << set.name << ' ' << before;
                    ASSERT_EQ(measured.written, expected.size()) << set.name;
                }
                Units out(units.size());
                ASSERT_EQ(set.kernels->cleanHighFirstToNative(place, units.size(), out.data(), out.size()).read, native)
                    << set.name << ' ' << before;
                ASSERT_TRUE(std::equal(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(native), units.begin()));
            }
        }
    }
}

// A zero at every place of a text, with an unreadable page right after the block that it lies in: a count that goes on
// after it is no licence to read there.
TEST_F(Ucs2Kernels, ReadNoFurtherThanTheBlockOfTheTerminator) {
    Random random(7);
    GuardPages pages(4096);
    for (const Script script : {Script::English, Script::Czech, Script::Russian, Script::Chinese}) {
        const Units units = unitsOf(script, 200, random);
        for (std::size_t length = 0; length <= units.size(); length += length < 100 ? 1 : 7) {
            const std::string text =
                laidOut({units.begin(), units.begin() + static_cast<std::ptrdiff_t>(length)}, UnitOrder::LowFirst) +
                std::string(2, '\0');
            const std::string expected = encoded(units, length);
            for (const std::size_t rest : {std::size_t{0}, length % (readableBlock - 1), readableBlock - 2}) {
                unsigned char *const in = pages.back(text.size() + rest);
                std::copy(text.begin(), text.end(), in);
                std::fill_n(in + text.size(), rest, static_cast<unsigned char>(0xA8));
                for (const std::size_t count : {length + 1, length + 40, length + 400, std::size_t{0xFFFFFFFFU}}) {
                    for (const Candidate &set : sets_) {
                        std::string out(3 * length, '\0');
                        const Progress done = set.kernels->lowFirstToUtf8(in, count, out.data(), out.size());
                        ASSERT_EQ(out.substr(0, done.written), expected) << set.name << ' ' << length << ' ' << rest;
                        ASSERT_EQ(set.kernels->measureLowFirst(in, count).read, length) << set.name;
                    }
                }
            }
        }
    }
}

// ---- The functions above the kernels

class Ucs2Functions : public ::testing::Test {
protected:
    void checkUnits(const Units &units, int size) {
        const std::string expected = modelEncodeText(units, size);
        const std::size_t bytes = encoded(units, ordinaryUnits(units, false)).size();
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

    void checkDvb(const std::string &text, int size, unsigned int flags) { dvb_.check(text, true, size, flags); }

private:
    GuardPages in_{65536};
    GuardPages out_{4 * 65536};
    DvbTexts dvb_;
};

TEST_F(Ucs2Functions, ConvertRandomTexts) {
    Random random(8);
    for (int round = 0; round < 800; ++round) {
        const Script script = scripts[random.below(scripts.size())];
        const std::size_t count = random.below(random.chance(5) ? 2000 : 150);
        Units units = unitsOf(script, count, random);
        for (unsigned int zeros = random.below(3); zeros != 0 && count != 0 && random.chance(30); --zeros) {
            units[random.below(static_cast<unsigned int>(count))] = 0;
        }
        const int enough = static_cast<int>(3 * count + 1);
        checkUnits(units,
                   random.chance(50) ? enough : static_cast<int>(random.below(static_cast<unsigned int>(enough))));
    }
}

TEST_F(Ucs2Functions, FilterRandomDvbTexts) {
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
        checkDvb(laidOut(units, UnitOrder::HighFirst) + (random.chance(10) ? "x" : ""), size, random.below(2));
    }
}

// A stop of the kernels at every few units costs the plain loop's time, not more: the answers show that both go on
// where the other left.
TEST_F(Ucs2Functions, TakeTextsThatStopTheKernelsOften) {
    for (const std::size_t distance : {1U, 2U, 3U, 7U, 30U, 63U, 64U, 65U, 66U, 100U, 129U}) {
        Units units;
        while (units.size() < 3000) {
            units.resize(units.size() + distance, 'a');
            units.push_back(0x8A);
        }
        checkDvb(laidOut(units, UnitOrder::HighFirst), 9000, 0);
    }
}

} // namespace
