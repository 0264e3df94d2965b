// The kernels of collation, each instruction set's own: against loops over single bytes, at every alignment, and with
// both texts right beside unreadable pages.
#include "helpers/guard_pages.h"
#include "helpers/kernel_sets.h"
#include "helpers/text.h"
#include "tables/collation.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace zelk;
using namespace zelk_test;
using kernels::LesserDifferences;

std::size_t expectedShared(const std::string &a, const std::string &b) {
    std::size_t shared = 0;
    while (shared < a.size() && shared < b.size() && a[shared] == b[shared]) {
        ++shared;
    }
    return shared;
}

std::size_t expectedAlike(const std::string &a, const std::string &b, LesserDifferences &differences) {
    std::size_t alike = 0;
    for (; alike < a.size() && alike < b.size(); ++alike) {
        const unsigned int left = static_cast<unsigned char>(a[alike]);
        const unsigned int right = static_cast<unsigned char>(b[alike]);
        if (left == right) {
            continue;
        }
        const std::uint32_t leftKey = tables::collationKeyOf(left);
        const std::uint32_t rightKey = tables::collationKeyOf(right);
        if (left >= 0x80 || right >= 0x80 || leftKey >> 24U != rightKey >> 24U || ((leftKey | rightKey) & 0xFFU) != 0) {
            break;
        }
        differences.note(leftKey, rightKey);
    }
    return alike;
}

// Texts side by side, each `distance` bytes in front of an unreadable page, or right after one.
class Sides {
public:
    void expectAsModel(const std::string &a, const std::string &b, std::size_t aDistance, std::size_t bDistance) {
        expectAsModel(a, b, place(left_, a, aDistance), place(right_, b, bDistance));
        expectAsModel(a, b, left_.atFront(a + '\0'), place(right_, b, bDistance));
        expectAsModel(a, b, place(left_, a, aDistance), right_.atFront(b + '\0'));
    }

private:
    void expectAsModel(const std::string &a, const std::string &b, const unsigned char *left,
                       const unsigned char *right) {
        LesserDifferences expected;
        const std::size_t alike = expectedAlike(a, b, expected);
        for (const kernels::Candidate &set : sets_) {
            const kernels::TextPlaces places = set.kernels->passShared(left, right);
            ASSERT_EQ(places.left - left, static_cast<std::ptrdiff_t>(expectedShared(a, b)))
                << set.name << ' ' << testing::PrintToString(a) << ' ' << testing::PrintToString(b);
            ASSERT_EQ(places.right - right, places.left - left)
                << set.name << ' ' << testing::PrintToString(a) << ' ' << testing::PrintToString(b);
            LesserDifferences differences;
            ASSERT_EQ(set.kernels->alikeBytes(left, right, differences), alike)
                << set.name << ' ' << testing::PrintToString(a) << ' ' << testing::PrintToString(b);
            ASSERT_EQ(differences.decision(), expected.decision())
                << set.name << ' ' << testing::PrintToString(a) << ' ' << testing::PrintToString(b);
        }
    }

    // What lies after the terminator goes on alike: it must not count.
    static const unsigned char *place(GuardPages &pages, const std::string &text, std::size_t distance) {
        std::string bytes = text;
        bytes.push_back(0);
        bytes.append(distance, 'a');
        return pages.atBack(bytes);
    }

    GuardPages left_{8192};
    GuardPages right_{8192};
    std::vector<kernels::Candidate> sets_ = kernelSets();
};

TEST(CollationKernels, EveryPairOfCharacters) {
    Sides sides;
    for (unsigned int left = 1; left < 256; ++left) {
        for (unsigned int right = 1; right < 256; ++right) {
            const std::string a = {'x', static_cast<char>(left), 'm'};
            const std::string b = {'x', static_cast<char>(right), 'M'};
            sides.expectAsModel(a, b, 0, 64);
        }
    }
}

// The place of the difference runs over four blocks, for texts that end anywhere in the last block of a page.
TEST(CollationKernels, EveryPlaceAndAlignment) {
    Sides sides;
    for (std::size_t length = 0; length <= 300; ++length) {
        const std::string text(length, 'a');
        for (std::size_t place = 0; place <= length; place += 1 + place / 16) {
            for (const char *other : {"A", "b", "%", "\xC3", ""}) {
                std::string changed = text;
                changed.replace(place, place < length ? 1 : 0, other);
                sides.expectAsModel(text, changed, (length + place) % 67, place % 65);
            }
        }
    }
}

// Every pair of alignments, both texts the same up to their ends.
TEST(CollationKernels, EqualTextsAtEveryPairOfAlignments) {
    Sides sides;
    for (std::size_t aDistance = 0; aDistance < 64; ++aDistance) {
        for (std::size_t bDistance = 0; bDistance < 64; ++bDistance) {
            const std::string text((aDistance * 7 + bDistance * 5) % 150, 'n');
            sides.expectAsModel(text, text, aDistance, bDistance);
        }
    }
}

TEST(CollationKernels, RandomTexts) {
    const std::string alphabet = "aAnNbB--  %0\xC3\xA9\xE9";
    Sides sides;
    Random random(611);
    for (int round = 0; round < 20'000; ++round) {
        std::string a(random.below(random.chance(20) ? 300 : 60), 0);
        const auto letters = 2 + random.below(static_cast<std::uint32_t>(alphabet.size()) - 1);
        for (char &character : a) {
            character = alphabet[random.below(letters)];
        }
        std::string b = a;
        for (std::uint32_t changes = random.below(5); changes > 0 && !b.empty(); --changes) {
            char &character = b[random.below(static_cast<std::uint32_t>(b.size()))];
            character = static_cast<char>(character ^ (random.chance(80) ? 0x20 : 0x03));
        }
        b.resize(random.chance(80) ? b.size() : random.below(static_cast<std::uint32_t>(b.size()) + 1));
        b = b.substr(0, b.find('\0'));
        sides.expectAsModel(a, b, random.below(130), random.below(130));
    }
}

} // namespace
