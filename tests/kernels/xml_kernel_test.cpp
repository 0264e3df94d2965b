// The kernels of XML text, each instruction set's own: what they convert is what loops over single characters make of
// it, they stop only where they may, and neither text nor output is left, both lying beside unreadable pages.
#include "kernels/dispatch.h"
#include "kernels/xml_portable.h"
#if defined(ZELK_HAS_AVX512_KERNELS)
#include "kernels/xml_avx512.h"
#endif

#include "helpers/guard_pages.h"
#include "helpers/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>

namespace {

using namespace zelk;
using namespace zelk_test;
using kernels::Progress;

struct Kernels {
    const char *name;
    Progress (*escape)(const char *, std::size_t, char *, std::size_t);
    Progress (*unescape)(const char *, std::size_t, char *, std::size_t);
    std::uint64_t (*escapedLength)(const char *, std::size_t);
    decltype(&kernels::portable::escapeShortXml) escapeShort;
    decltype(&kernels::portable::unescapeShortXml) unescapeShort;
};

std::vector<Kernels> kernelsOfThisMachine() {
    using namespace kernels;
    std::vector<Kernels> all{{"portable", portable::escapeXml, portable::unescapeXml, portable::escapedXmlLength,
                              portable::escapeShortXml, portable::unescapeShortXml}};
#if defined(ZELK_HAS_AVX512_KERNELS)
    if (instructionSet() == InstructionSet::Avx512) {
        all.push_back({"avx512", avx512::escapeXml, avx512::unescapeXml, avx512::escapedXmlLength,
                       avx512::escapeShortXml, avx512::unescapeShortXml});
    }
#endif
    return all;
}

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

// Stands for the conversion that goes on where a text is not for the short way.
constexpr unsigned int leftToOthers = UINT_MAX;
unsigned int otherwise(const char * /*text*/, std::size_t /*length*/, char * /*out*/, std::size_t /*room*/) {
    return leftToOthers;
}

class Places {
public:
    // The text right in front of an unreadable page: counted, or ended by its zero byte, then perhaps `behind` bytes.
    void expectAsModel(const std::string &text, std::size_t room, std::size_t behind) {
        std::string bytes = text;
        if (behind > 0) {
            bytes.push_back(0);
            bytes.append(behind - 1, '&');
        }
        const auto *const in = reinterpret_cast<const char *>(in_.atBack(bytes));
        const std::size_t limit = behind > 0 ? static_cast<std::size_t>(PTRDIFF_MAX) : text.size();
        auto *const out = reinterpret_cast<char *>(out_.back(room));
        const std::size_t ample = 6 * text.size() + 256;
        const std::size_t odd = firstOddReference(text);
        for (const Kernels &kernel : all_) {
            const auto where = [&] { return testing::PrintToString(text) + " in " + std::to_string(room); };
            const Progress done = kernel.escape(in, limit, out, room);
            ASSERT_LE(done.read, text.size()) << kernel.name << where();
            ASSERT_LE(done.written, room) << kernel.name << where();
            ASSERT_EQ(std::string(out, done.written), escaped(text.substr(0, done.read))) << kernel.name << where();
            if (room >= ample) {
                ASSERT_EQ(done.read, text.size()) << kernel.name << where();
            }
            ASSERT_EQ(kernel.escapedLength(in, limit), escaped(text).size()) << kernel.name << where();

            const Progress back = kernel.unescape(in, limit, out, room);
            ASSERT_LE(back.read, odd) << kernel.name << where();
            ASSERT_LE(back.written, room) << kernel.name << where();
            ASSERT_EQ(std::string(out, back.written), unescaped(text.substr(0, back.read))) << kernel.name << where();
            if (room >= ample) {
                ASSERT_TRUE(back.read == odd || text[back.read] == '&') << kernel.name << where();
            }
            if (room > 0) {
                expectShort(kernel, text, in, limit, room);
            }
        }
    }

private:
    // All of the text, or nothing that counts.
    void expectShort(const Kernels &kernel, const std::string &text, const char *in, std::size_t limit,
                     std::size_t room) {
        auto *const out = reinterpret_cast<char *>(out_.back(room));
        const bool isName = text.size() < 59 && std::string(kernel.name) != "portable";
        const bool isShort = isName && room > 1000;
        const bool fits = isName && room > text.size(); // which is enough where nothing is special
        const unsigned int written = kernel.escapeShort(in, limit, out, room - 1, otherwise);
        if (written != leftToOthers || isShort || (fits && escaped(text) == text)) {
            ASSERT_LT(written, room) << kernel.name << ' ' << testing::PrintToString(text);
            ASSERT_EQ(std::string(out, written + 1), escaped(text) + '\0') << kernel.name;
        }
        const unsigned int back = kernel.unescapeShort(in, limit, out, room - 1, otherwise);
        if (back != leftToOthers || (isShort && firstOddReference(text) == text.size()) ||
            (fits && text.find('&') == std::string::npos)) {
            ASSERT_LT(back, room) << kernel.name << ' ' << testing::PrintToString(text);
            ASSERT_EQ(firstOddReference(text), text.size()) << kernel.name;
            ASSERT_EQ(std::string(out, back + 1), unescaped(text) + '\0') << kernel.name;
        }
    }

    GuardPages in_{16384};
    GuardPages out_{65536};
    std::vector<Kernels> all_ = kernelsOfThisMachine();
};

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
            for (const char *behind : {"", "x", "amp;", "&lt;x", "t;&gt;"}) {
                std::string text(place, 'x');
                text += entity.text;
                text += behind;
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
