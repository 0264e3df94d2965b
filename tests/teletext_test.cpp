// Teletext's private-use characters, over all units and against an own list.
#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/single_byte.h"
#include "zelk.h"

#include <algorithm>
#include <map>
#include <memory>

namespace {

using namespace zelk_test;

struct Letters {
    unsigned int first;
    std::vector<unsigned int> letters;
};

const std::vector<Letters> &letters() {
    static const std::vector<Letters> list = {
        {0xE1F5, {0x03BA}},
        {0xE200, {0x013D, 0x01D1, 0x0059, 0x010F, 0x013E, 0x01D2, 0x0165, 0x0079}},
        {0xE210, {0x1E3C, 0x1E4A, 0x0052, 0x1E90, 0x1E3D, 0x1E4B, 0x0072, 0x1E91}},
        {0xE220,
         {0x0043, 0x1EBC, 0x0047, 0x0128, 0x004C, 0x0052, 0x005A, 0x0063, 0x1EBD, 0x0067, 0x0129, 0x0072, 0x007A}},
        {0xE230,
         {0x0043, 0x0047, 0x004C, 0x004E, 0x0052, 0x0178, 0x005A, 0x0063, 0x0067, 0x006C, 0x006E, 0x0072, 0x007A}},
        {0xE240,
         {0x0106, 0x01F4, 0x0139, 0x0143, 0x0052, 0x005A, 0x0107, 0x01F5, 0x013A, 0x0144, 0x0155, 0x00FD, 0x017A}},
        {0xE250, {0x1E30, 0x1E31}},
        {0xE260, {0x0045, 0x0065}},
        {0xE270, {0x1EB8, 0x1EB9}},
        {0xE280, {0x0116, 0x0117}},
        {0xE290, {0x0119, 0x012F}},
        {0xE2A0, {0x038C, 0x007A}},
        {0xE2B0, {0x0065}},
    };
    return list;
}

unsigned int model(unsigned int unit) {
    static const std::map<unsigned int, unsigned int> known = [] {
        std::map<unsigned int, unsigned int> all;
        for (const Letters &run : letters()) {
            for (unsigned int i = 0; i < run.letters.size(); ++i) {
                all[run.first + i] = run.letters[i];
            }
        }
        return all;
    }();
    if (unit < 0xE000 || unit >= 0xE300) {
        return unit;
    }
    const auto found = known.find(unit);
    return found != known.end() ? found->second : ' ';
}

// The units that a call with this count may read, in a block of their own: the counted ones, or all and a terminator.
std::unique_ptr<unsigned short[]> inputBlock(const Units &text, int count) {
    const bool counted = count >= 0 && static_cast<std::size_t>(count) <= text.size();
    const std::size_t size = counted ? static_cast<std::size_t>(count) : text.size() + 1;
    std::unique_ptr<unsigned short[]> block(new unsigned short[size]());
    std::copy_n(text.begin(), std::min(size, text.size()), block.get());
    return block;
}

std::vector<unsigned int> charactersOf(const Units &text, int count) {
    std::vector<unsigned int> characters;
    for (const unsigned short unit : text) {
        if (unit == 0 || (count >= 0 && characters.size() == static_cast<std::size_t>(count))) {
            break;
        }
        characters.push_back(model(unit));
    }
    return characters;
}

void expectConversion(const Units &text, int count, int size) {
    SCOPED_TRACE(testing::Message() << "count " << count << ", size " << size);
    const auto in = inputBlock(text, count);
    const auto outputUnits = static_cast<std::size_t>(std::max(size, 1));

    const Units units = reference::ucs2Text(charactersOf(text, count), size);
    Guarded<unsigned short> wide(outputUnits);
    ASSERT_EQ(zelk_pela_ttxConvertToUnicode(wide.data(), size, in.get(), count), units.size());
    ASSERT_EQ(Units(wide.data(), wide.data() + units.size()), units);
    ASSERT_EQ(wide[units.size()], 0);

    const std::string utf8 = reference::utf8Text(charactersOf(text, count), size);
    Guarded<char> narrow(outputUnits);
    ASSERT_EQ(zelk_pela_ttxConvertToUtf8(narrow.data(), size, in.get(), count), utf8.size());
    ASSERT_EQ(std::string(narrow.data(), utf8.size()), utf8);
    ASSERT_EQ(narrow[utf8.size()], 0);
}

unsigned int converted(unsigned int unit) {
    const auto in = static_cast<unsigned short>(unit);
    Guarded<unsigned short> out(2);
    EXPECT_EQ(zelk_pela_ttxConvertToUnicode(out.data(), 2, &in, 1), 1U);
    return out[0];
}

std::string convertedUtf8(unsigned int unit) {
    const auto in = static_cast<unsigned short>(unit);
    Guarded<char> out(4);
    const unsigned int length = zelk_pela_ttxConvertToUtf8(out.data(), 4, &in, 1);
    return std::string(out.data(), length);
}

TEST(Teletext, Examples) {
    EXPECT_EQ(converted(0x0041), 0x0041U);
    EXPECT_EQ(converted(0xDFFF), 0xDFFFU);
    EXPECT_EQ(converted(0xE300), 0xE300U);
    EXPECT_EQ(converted(0xE000), 0x0020U);
    EXPECT_EQ(converted(0xE1DF), 0x0020U);
    EXPECT_EQ(converted(0xE1F5), 0x03BAU);
    EXPECT_EQ(converted(0xE2BF), 0x0020U);
    EXPECT_EQ(converted(0xE2C0), 0x0020U);
    EXPECT_EQ(converted(0xE2C5), 0x0020U);
    EXPECT_EQ(converted(0xE2FF), 0x0020U);
    EXPECT_EQ(converted(0xE21F), 0x0020U);
    EXPECT_EQ(converted(0xE200), 0x013DU);
    EXPECT_EQ(converted(0xE2B0), 0x0065U);
    EXPECT_EQ(convertedUtf8(0xE210), bytes("E1 B8 BC"));
    EXPECT_EQ(convertedUtf8(0xE202), "Y");
    EXPECT_EQ(convertedUtf8(0xE2C5), " ");
}

TEST(Teletext, EveryUnit) {
    for (unsigned int unit = 1; unit <= 0xFFFF; ++unit) {
        ASSERT_EQ(converted(unit), model(unit)) << std::hex << unit;
        ASSERT_EQ(convertedUtf8(unit), reference::utf8Of(model(unit))) << std::hex << unit;
    }
}

TEST(Teletext, NothingToConvertLeavesAnEmptyText) {
    const Units text = terminated({0x41, 0xE200});
    const unsigned short *const inputs[] = {nullptr, text.data()};
    for (const unsigned short *in : inputs) {
        for (const int size : {INT_MIN, -1, 0, 1}) {
            Guarded<unsigned short> wide(1);
            EXPECT_EQ(zelk_pela_ttxConvertToUnicode(wide.data(), size, in, -1), 0U);
            EXPECT_EQ(wide[0], 0);
            Guarded<char> narrow(1);
            EXPECT_EQ(zelk_pela_ttxConvertToUtf8(narrow.data(), size, in, -1), 0U);
            EXPECT_EQ(narrow[0], 0);
        }
    }
    Guarded<unsigned short> wide(4);
    EXPECT_EQ(zelk_pela_ttxConvertToUnicode(wide.data(), 4, nullptr, 2), 0U);
    EXPECT_EQ(wide[0], 0);
    EXPECT_EQ(zelk_pela_ttxConvertToUnicode(wide.data(), 4, text.data(), 0), 0U);
    EXPECT_EQ(wide[0], 0);
    EXPECT_EQ(wide[1], Guarded<unsigned short>::pattern());
}

TEST(Teletext, EverySizeAndCount) {
    const Units text = {0x41, 0xE200, 0xE210, 0xE000, 0xE1F5, 0xE202, 0x20AC, 0xFFFF, 0xE211, 0x42, 0, 0x43, 0xE210};
    for (const int count : {-1, INT_MIN, 0, 1, 2, 5, 9, 10, 11, 13, INT_MAX}) {
        for (int size = -1; size <= 36; ++size) {
            expectConversion(text, count, size);
        }
    }
}

TEST(Teletext, RandomTexts) {
    Random random(1974);
    for (int round = 0; round < 20000; ++round) {
        Units text(random.below(40));
        for (unsigned short &unit : text) {
            const unsigned int kinds[] = {random.below(0x80), 0xE000 + random.below(0x310), 0xE1F0 + random.below(0xD0),
                                          random.below(0x10000)};
            unit = static_cast<unsigned short>(kinds[random.below(4)]);
        }
        const int counts[] = {-1, static_cast<int>(random.below(45)), static_cast<int>(text.size()), INT_MAX};
        SCOPED_TRACE(round);
        expectConversion(text, counts[random.below(4)], static_cast<int>(random.below(130)));
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST(Teletext, LongTexts) {
    Units text;
    for (unsigned int i = 0; i < 70000; ++i) {
        text.push_back(static_cast<unsigned short>(i % 3 == 0 ? 0xE200 + i % 0xC0 : 0x20 + i % 0x500));
    }
    for (const int size : {70001, 69999, 210001}) {
        expectConversion(text, -1, size);
        expectConversion(text, 70000, size);
    }
}

} // namespace
