// The kernels of XML text, each instruction set's own: what they convert is what loops over single characters make of
// it, they stop only where they may, of the output nothing else changes, and neither text nor output is left, both
// lying beside unreadable pages.
#include "helpers/guard_pages.h"
#include "helpers/kernel_sets.h"
#include "helpers/text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

using namespace zelk;
using namespace zelk_test;
using kernels::Progress;

struct Entity {
    char character;
    const char *text;
};
constexpr Entity entities[] = {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&apos;"}};

std::string escaped(const std::string &text) {
    std::string result;
    for (const char character : text) {
        const Entity *found = nullptr;
        for (const Entity &entity : entities) {
            found = entity.character == character ? &entity : found;
        }
        found != nullptr ? result.append(found->text) : result.append(1, character);
    }
    return result;
}

const Entity *entityAt(const std::string &text, std::size_t at) {
    if (text[at] != '&') {
        return nullptr;
    }
    for (const Entity &entity : entities) {
        if (text.compare(at, std::strlen(entity.text), entity.text) == 0) {
            return &entity;
        }
    }
    return nullptr;
}

// Where the kernel has to stop in any case.
std::size_t firstOddReference(const std::string &text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const Entity *entity = entityAt(text, at);
        if (entity == nullptr && text[at] == '&') {
            break;
        }
        at += entity != nullptr ? std::strlen(entity->text) : 1;
    }
    return at;
}

std::string unescaped(const std::string &text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const Entity *entity = entityAt(text, at);
        result.push_back(entity != nullptr ? entity->character : text[at]);
        at += entity != nullptr ? std::strlen(entity->text) : 1;
    }
    return result;
}

class Places {
public:
    // The text right before an unreadable page, or right after one: counted, or ended by its zero byte, then perhaps
    // `after` bytes up to the page. Of the room as much as stated is writable, unless that is more than may be needed.
    void expectAsModel(const std::string &text, std::size_t room, std::size_t after) {
        std::string bytes = text;
        if (after > 0) {
            bytes.push_back(0);
            bytes.append(after - 1, '&');
        }
        const bool isAtFront = ++round_ % 4 == 0;
        expectAt(text, reinterpret_cast<const char *>(isAtFront ? in_.atFront(bytes) : in_.atBack(bytes)), after, room);
    }

private:
    void expectAt(const std::string &text, const char *in, std::size_t after, std::size_t room) {
        constexpr std::size_t counts[] = {PTRDIFF_MAX, 0x7FFFFFFF, 0xFFFFFFFF, 65535};
        const std::size_t count = after > 0 ? counts[round_ % std::size(counts)] : text.size();
        expectEscaped(text, in, count, room);
        expectUnescaped(text, in, count, room);
    }

    void expectEscaped(const std::string &text, const char *in, std::size_t count, std::size_t room) {
        const auto where = [&] { return testing::PrintToString(text) + " in " + std::to_string(room); };
        const std::string whole = escaped(text);
        for (const kernels::Candidate &set : sets_) {
            char *const out = out_.last(std::min(room, whole.size()));
            const Progress done = set.kernels->escapeXml(in, count, out, room);
            ASSERT_LE(done.read, text.size()) << set.name << where();
            ASSERT_LE(done.written, room) << set.name << where();
            ASSERT_EQ(std::string(out, done.written), escaped(text.substr(0, done.read))) << set.name << where();
            ASSERT_TRUE(out_.areKeptAfter(done.written)) << set.name << where();
            const std::size_t next = escaped(text.substr(done.read, 1)).size(); // 0 at the end
            ASSERT_TRUE(done.read == text.size() || next > room - done.written) << set.name << where();
            ASSERT_EQ(set.kernels->escapedXmlLength(in, count), whole.size()) << set.name << where();
        }
    }

    void expectUnescaped(const std::string &text, const char *in, std::size_t count, std::size_t room) {
        const auto where = [&] { return testing::PrintToString(text) + " in " + std::to_string(room); };
        const std::size_t odd = firstOddReference(text);
        for (const kernels::Candidate &set : sets_) {
            char *const out = out_.last(std::min(room, unescaped(text.substr(0, odd)).size()));
            const Progress done = set.kernels->unescapeXml(in, count, out, room);
            ASSERT_LE(done.read, odd) << set.name << where();
            ASSERT_LE(done.written, room) << set.name << where();
            ASSERT_EQ(std::string(out, done.written), unescaped(text.substr(0, done.read))) << set.name << where();
            ASSERT_TRUE(out_.areKeptAfter(done.written)) << set.name << where();
            if (room >= 6 * text.size() + 256) {
                ASSERT_TRUE(done.read == odd || text[done.read] == '&') << set.name << where();
            }
        }
    }

    GuardPages in_{16384};
    Canaries<char> out_{65536};
    std::vector<kernels::Candidate> sets_ = kernelSets();
    std::size_t round_ = 0;
};

// The output begins `ahead` bytes before the text, in the same buffer: what the kernel has not read is still there.
void expectUnescapedInPlace(const std::string &text, std::size_t ahead, std::size_t room) {
    static GuardPages pages(16384);
    static const std::vector<kernels::Candidate> sets = kernelSets();
    for (const kernels::Candidate &set : sets) {
        for (const bool isCounted : {false, true}) {
            const std::string before = std::string(ahead, '-') + text + std::string(isCounted ? 0 : 1, '\0');
            auto *const out = reinterpret_cast<char *>(pages.atBack(before));
            const Progress done = set.kernels->unescapeXml(out + ahead, isCounted ? text.size() : INT_MAX, out, room);
            ASSERT_LE(done.read, firstOddReference(text)) << set.name;
            ASSERT_LE(done.written, room) << set.name;
            std::string after = before;
            const std::string written = unescaped(text.substr(0, done.read));
            after.replace(0, written.size(), written);
            ASSERT_EQ(std::string(out, before.size()), after)
                << set.name << ' ' << testing::PrintToString(text) << ' ' << ahead << ' ' << room;
            ASSERT_EQ(done.written, written.size()) << set.name;
        }
    }
}

TEST(XmlKernels, EveryByte) {
    Places places;
    for (int byte = 1; byte < 256; ++byte) {
        for (const std::size_t length : {1U, 8U, 20U, 64U}) {
            std::string text(length, 'x');
            text[length / 2] = static_cast<char>(byte);
            places.expectAsModel(text, 600, length % 3);
        }
    }
}

TEST(XmlKernels, EverySpecialAtEveryPlace) {
    Places places;
    for (const std::size_t length : {1U, 7U, 8U, 63U, 64U, 65U, 130U}) {
        for (std::size_t place = 0; place < length; ++place) {
            for (const Entity &entity : entities) {
                std::string text(length, 'x');
                text[place] = entity.character;
                places.expectAsModel(text, 1000, place % 3);
            }
        }
    }
}

TEST(XmlKernels, EveryEntityAtEveryPlaceOfABlock) {
    Places places;
    for (const Entity &entity : entities) {
        for (std::size_t place = 0; place < 70; ++place) {
            for (const char *after : {"", "x", "amp;", "&lt;x", "t;&gt;"}) {
                std::string text(place, 'x');
                text += entity.text;
                text += after;
                places.expectAsModel(text, 2000, place % 70);
                text.append(100, ';');
                places.expectAsModel(text, 2000, place % 70);
            }
        }
    }
}

// Names that differ from an entity in one byte are left alone, wherever they lie.
TEST(XmlKernels, EveryNearMissOfAnEntity) {
    Places places;
    for (const Entity &entity : entities) {
        const std::string name = entity.text;
        for (std::size_t at = 1; at < name.size(); ++at) {
            for (int byte = 1; byte < 256; byte += 3) {
                std::string text = "&amp;" + name + std::string(70, 'x');
                text[5 + at] = static_cast<char>(byte);
                places.expectAsModel(text, 2000, 0);
            }
        }
    }
}

TEST(XmlKernels, RandomTextsInEveryRoom) {
    const std::vector<std::string> pieces = {"&amp;", "&lt;",  "&gt;", "&quot;", "&apos;",
                                             "&",     "&#65;", "&am",  ";",      "amp;",
                                             "plain", "<",     "\"'",  "\xC3",   "a long run of text"};
    Places places;
    Random random(711);
    for (int round = 0; round < 200; ++round) {
        const auto kinds = 5 + random.below(static_cast<std::uint32_t>(pieces.size()) - 4);
        std::string text;
        for (std::uint32_t count = random.below(40); count > 0; --count) {
            text += random.chance(30) ? "plain text " : pieces[random.below(kinds)];
        }
        for (std::size_t room = 0; room < 200; room += 1 + room / 8) {
            places.expectAsModel(text, room, random.below(100));
        }
        places.expectAsModel(text, 10'000, random.below(100));
    }
}

TEST(XmlKernels, EveryLengthInARoomThatIsNotThere) {
    Places places;
    Random random(713);
    for (std::size_t length = 0; length <= 300; ++length) {
        for (const std::uint32_t percent : {0U, 3U, 30U}) {
            std::string text(length, 'x');
            for (char &character : text) {
                character = random.chance(percent) ? entities[random.below(5)].character : character;
            }
            places.expectAsModel(text, INT_MAX, length % 70);
            places.expectAsModel(escaped(text), INT_MAX, length % 70);
            places.expectAsModel(text, escaped(text).size(), 0);
            places.expectAsModel(escaped(text), text.size(), 0);
        }
    }
}

// The room ends in front of the end of a text that goes on for a few bytes after the window in which a zero is looked
// for at once.
TEST(XmlKernels, EveryRoomForTheEndOfALongText) {
    constexpr std::size_t window = 256;
    Places places;
    for (std::size_t length = window - 20; length < window + 40; ++length) {
        for (const std::size_t special : {std::size_t{0}, window + 1}) {
            std::string text(length, 'x');
            text[std::min(special, length - 1)] = '<';
            const std::size_t whole = escaped(text).size();
            for (std::size_t room = whole - 40; room < whole; ++room) {
                places.expectAsModel(text, room, length % 3);
            }
        }
    }
}

// At every place of two lines of memory: no step across the end of a line passes over the zero.
TEST(XmlKernels, AZeroBeforeTheCountEndsTheText) {
    constexpr std::size_t size = 140;
    alignas(64) char memory[64 + size];
    char out[6 * size];
    for (const kernels::Candidate &set : kernelSets()) {
        for (std::size_t start = 0; start < 64; ++start) {
            for (std::size_t zero = 0; zero < size; ++zero) {
                std::fill(std::begin(memory), std::end(memory), 'x');
                memory[start + zero] = 0;
                for (std::size_t count = zero; count <= size; count += 1 + count / 16) {
                    ASSERT_LE(set.kernels->escapeXml(memory + start, count, out, sizeof out).read, zero) << set.name;
                    ASSERT_LE(set.kernels->unescapeXml(memory + start, count, out, sizeof out).read, zero) << set.name;
                    ASSERT_EQ(set.kernels->escapedXmlLength(memory + start, count), zero) << set.name;
                }
            }
        }
    }
}

TEST(XmlKernels, UnescapedInPlace) {
    const std::vector<std::string> pieces = {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;", "&#65;", "&am", "&;"};
    Random random(714);
    for (std::size_t length = 0; length <= 300; ++length) {
        for (const std::uint32_t percent : {0U, 2U, 10U, 50U, 100U}) {
            for (const std::uint32_t kinds : {5U, 8U}) {
                std::string text;
                while (text.size() < length) {
                    text += random.chance(percent) ? pieces[random.below(kinds)]
                                                   : std::string(1, static_cast<char>('a' + random.below(26)));
                }
                for (const std::size_t ahead : {std::size_t{0}, std::size_t{1} + random.below(80)}) {
                    ASSERT_NO_FATAL_FAILURE(expectUnescapedInPlace(text, ahead, random.chance(50) ? INT_MAX : length));
                }
            }
        }
    }
}

// Texts over several pages, with something special at every distance, at times much of it.
TEST(XmlKernels, RandomLongTexts) {
    const std::vector<std::string> pieces = {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;", "<", "'", "\"", "&#x41;"};
    Places places;
    Random random(712);
    for (int round = 0; round < 150; ++round) {
        const auto kinds = 5 + random.below(static_cast<std::uint32_t>(pieces.size()) - 4);
        const std::uint32_t longestRun = 1 + random.below(200);
        std::string text;
        while (text.size() < 6'000) {
            text += std::string(random.below(longestRun), 'x') + pieces[random.below(kinds)];
        }
        for (const std::size_t room : {std::size_t{60'000}, std::size_t{3'000} + random.below(4'000)}) {
            places.expectAsModel(text, room, random.below(100));
        }
    }
}

} // namespace
