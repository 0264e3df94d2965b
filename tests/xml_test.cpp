// XML entities: rows of known results, every output size, and byte-by-byte models of both directions.
#include "zelk.hpp"

#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/xml_model.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zelk_test;
using zelk::XmlConverter;

using Conversion = unsigned int (*)(char *, int, const char *, int);

// A copy that ends where the text ends, so that the address sanitizer sees a read after a count.
std::vector<char> exactly(const std::string &text) {
    return {text.begin(), text.end()};
}

// The result in a buffer of just `size` bytes, checked for guards, terminator and count.
std::string convert(Conversion conversion, int size, const char *in, int length) {
    Guarded<char> out(static_cast<std::size_t>(size));
    const unsigned int count = conversion(out.data(), size, in, length);
    EXPECT_LT(count, static_cast<unsigned int>(size));
    EXPECT_EQ(out[count], 0);
    return std::string(out.data(), count);
}

std::string escaped(const std::string &text, int size = 200) {
    return convert(zelk_xmlify, size, text.c_str(), -1);
}

std::string unescaped(const std::string &text, int size = 200) {
    return convert(zelk_unxml, size, text.c_str(), -1);
}

std::string counted(Conversion conversion, const std::string &text, int size = 200) {
    const std::vector<char> in = exactly(text);
    return convert(conversion, size, in.data(), static_cast<int>(in.size()));
}

std::string randomText(Random &random, std::uint32_t longest, const std::string &alphabet) {
    std::string text(random.below(longest + 1), 0);
    for (char &character : text) {
        character = alphabet[random.below(static_cast<std::uint32_t>(alphabet.size()))];
    }
    return text;
}

TEST(XmlEscape, EveryCharacter) {
    for (unsigned int c = 0; c < 256; ++c) {
        const std::string entity = modelEntity(static_cast<char>(c));
        if (entity.size() == 1) {
            EXPECT_EQ(zelk_xmlescape(c), nullptr) << c;
        } else {
            EXPECT_STREQ(zelk_xmlescape(c), entity.c_str());
        }
        if (c != 0) {
            EXPECT_EQ(escaped(std::string(1, static_cast<char>(c))), entity);
        }
    }
    for (const unsigned int c : {64U, 0x126U, 0x10026U, 0x80000026U, 0xFFFFFFFFU}) {
        EXPECT_EQ(zelk_xmlescape(c), nullptr) << c;
    }
}

TEST(XmlEscape, AnEntityIsNeverSplit) {
    EXPECT_EQ(escaped("a<b"), "a&lt;b");
    EXPECT_EQ(escaped("a<b", 5), "a");
    EXPECT_EQ(escaped("a<b", 6), "a&lt;");
    EXPECT_EQ(escaped("<", 4), "");
    EXPECT_EQ(escaped("\"b", 4), "") << "what does not fit ends the text; the b after it is not written";
}

TEST(XmlEscape, Length) {
    EXPECT_EQ(zelk_xmlifiedLength(nullptr, -1), 0U);
    EXPECT_EQ(zelk_xmlifiedLength("abc", 0), 0U);
    EXPECT_EQ(zelk_xmlifiedLength("", 5), 0U);
    EXPECT_EQ(zelk_xmlifiedLength("a<b", -1), 6U);
    EXPECT_EQ(zelk_xmlifiedLength("a<b", 1), 1U);
    EXPECT_EQ(zelk_xmlifiedLength("<>&\"'", INT_MAX), 25U);
    EXPECT_EQ(zelk_xmlifiedLength("a\0<", 3), 1U);
    EXPECT_EQ(zelk_xmlifiedLength(std::string(70'000, '"').c_str(), -1), 420'000U);
}

TEST(XmlEscape, RefusedCalls) {
    for (const Conversion conversion : {zelk_xmlify, zelk_unxml}) {
        for (const int size : {0, -1, INT_MIN}) {
            Guarded<char> out(1);
            EXPECT_EQ(conversion(out.data(), size, "abc", -1), 0U);
            EXPECT_TRUE(out.untouched());
            EXPECT_EQ(conversion(out.data(), size, nullptr, -1), 0U);
            EXPECT_TRUE(out.untouched());
        }
        EXPECT_EQ(convert(conversion, 1, "abc", -1), "");
        EXPECT_EQ(convert(conversion, 10, "abc", 0), "");
        EXPECT_EQ(convert(conversion, 10, "", -1), "");
        EXPECT_EQ(convert(conversion, 10, "", 5), "");
        EXPECT_EQ(convert(conversion, 10, nullptr, -1), "");
        EXPECT_EQ(convert(conversion, 10, nullptr, 5), "");
    }
}

// However much room there is for the kernels' blocks.
TEST(XmlEscape, OfATextWithoutCharactersTheTerminatorAloneIsWritten) {
    for (const Conversion conversion : {zelk_xmlify, zelk_unxml}) {
        for (const int size : {1, 2, 64, 65, 80, 128, 1000}) {
            for (const auto &[in, count] : {std::pair("abc", 0), std::pair("", -1), std::pair("", 5)}) {
                Guarded<char> out(static_cast<std::size_t>(size));
                EXPECT_EQ(conversion(out.data(), size, in, count), 0U);
                EXPECT_EQ(out[0], 0);
                out[0] = Guarded<char>::pattern();
                EXPECT_TRUE(out.untouched()) << "size " << size;
            }
        }
    }
}

TEST(XmlEscape, CountsAndSizesOfAnyValue) {
    for (const Conversion conversion : {zelk_xmlify, zelk_unxml}) {
        for (const int count : {INT_MIN, -7, -1, 3, 4, INT_MAX}) {
            EXPECT_EQ(convert(conversion, 10, "abc", count), "abc") << count;
        }
        EXPECT_EQ(convert(conversion, 10, "abc", 2), "ab");
        char out[16];
        EXPECT_EQ(conversion(out, INT_MAX, "abc", INT_MAX), 3U);
        EXPECT_EQ(conversion(out, INT_MAX, "abc", -1), 3U);
    }
}

TEST(XmlUnescape, Entities) {
    EXPECT_EQ(unescaped("&amp;&lt;&gt;&quot;&apos;"), "&<>\"'");
    EXPECT_EQ(unescaped("x&amp;lt;y"), "x&lt;y") << "one pass only";
}

TEST(XmlUnescape, AShortenedNameMatches) {
    EXPECT_EQ(unescaped("&a;&am;&ap;&l;&g;&q;&;"), "&&'<>\"&");
    EXPECT_EQ(unescaped("&quo;&quot;&apo;"), "\"\"'");
}

TEST(XmlUnescape, ANameThatTheTextEnds) {
    EXPECT_EQ(unescaped("&am"), "&");
    EXPECT_EQ(unescaped("&"), "&");
    EXPECT_EQ(unescaped("&#65"), "A");
    EXPECT_EQ(unescaped("&#"), bytes("00"));
    EXPECT_EQ(counted(zelk_unxml, "&am"), "&");
    EXPECT_EQ(counted(zelk_unxml, "&"), "&");
    EXPECT_EQ(counted(zelk_unxml, "&#65"), "A");
    EXPECT_EQ(convert(zelk_unxml, 20, "&amp;lt;", 2), "&") << "the count ends the name";
    EXPECT_EQ(convert(zelk_unxml, 20, "&#65;", 3), "\x06");
    EXPECT_EQ(convert(zelk_unxml, 20, "&#65;", 1), "&") << "the number sign lies after the count";
}

TEST(XmlUnescape, DecimalReferences) {
    EXPECT_EQ(unescaped("&#65;"), "A");
    EXPECT_EQ(unescaped("&#321;"), "A") << "modulo 256";
    EXPECT_EQ(unescaped("&#9999;"), bytes("0F"));
    EXPECT_EQ(unescaped("&#0065;"), "A");
    EXPECT_EQ(unescaped("&#00065;"), "&#00065;") << "five digits are no reference";
    EXPECT_EQ(unescaped("x&#x41;y"), bytes("78 00 79")) << "hexadecimal is not understood";
    EXPECT_EQ(unescaped("&#;"), bytes("00"));
    EXPECT_EQ(unescaped("&#6x;"), bytes("06"));
    EXPECT_EQ(unescaped("&# 65;&#+65;&#-1;"), bytes("41 41 FF")) << "blanks and signs as strtoul() has them";
    for (int number = 0; number < 10'000; ++number) {
        ASSERT_EQ(unescaped("&#" + std::to_string(number) + ";"), std::string(1, static_cast<char>(number % 256)));
    }
}

TEST(XmlUnescape, WhatIsNoReferenceIsCopied) {
    EXPECT_EQ(unescaped("&xyz;"), "&xyz;");
    EXPECT_EQ(unescaped("&xyz"), "&xyz");
    EXPECT_EQ(unescaped("&ampersand;"), "&ampersand;");
    EXPECT_EQ(unescaped("&AMP;"), "&AMP;");
    EXPECT_EQ(unescaped("&&lt;"), "&<");
    EXPECT_EQ(unescaped("&\xFF;"), "&\xFF;");
    EXPECT_EQ(unescaped("&amp;amp;amp"), "&amp;amp");
}

TEST(XmlUnescape, OutputFullInsideTheText) {
    EXPECT_EQ(unescaped("&lt;&gt;", 2), "<");
    EXPECT_EQ(unescaped("&lt;&gt;", 3), "<>");
    EXPECT_EQ(unescaped("&#65;&#66;&#67;", 3), "AB");
    std::string longest;
    for (int count = 1; count < 20; ++count) {
        longest += "&#0065;";
        EXPECT_EQ(unescaped(longest + "&#0065;", count + 1), std::string(static_cast<std::size_t>(count), 'A'));
    }
}

TEST(XmlModels, AllShortTexts) {
    const std::string alphabet("&;a#6l<\0", 8);
    std::vector<std::string> texts{""};
    for (std::size_t i = 0; i < texts.size() && texts[i].size() < 4; ++i) {
        for (const char character : alphabet) {
            texts.push_back(texts[i] + character);
        }
    }
    for (const std::string &text : texts) {
        for (const int size : {2, 3, 30}) {
            ASSERT_EQ(counted(zelk_unxml, text, size), modelUnescape(text, size)) << testing::PrintToString(text);
            ASSERT_EQ(counted(zelk_xmlify, text, size), modelEscape(text, size)) << testing::PrintToString(text);
        }
    }
}

TEST(XmlModels, RandomTextsInEverySize) {
    const std::string alphabet = "&&&;;;#ampltgquos0169x<>\"' -+\xFF\x80";
    const std::string mostlyPlain = "abcdefghijklmnopqrstuvwxyz !#$%(=?\xA6\xA7\xBC\xBE\xA2&\"'<>;";
    Random random(71);
    for (int i = 0; i < 1'500; ++i) {
        const std::string text = randomText(random, 40, random.chance(50) ? alphabet : mostlyPlain);
        const unsigned int needed = zelk_xmlifiedLength(text.c_str(), -1);
        ASSERT_EQ(needed, modelEscape(text, INT_MAX).size());
        for (int size = 1; size <= static_cast<int>(needed) + 2; ++size) {
            ASSERT_EQ(counted(zelk_xmlify, text, size), modelEscape(text, size)) << size;
            ASSERT_EQ(escaped(text, size), modelEscape(text, size)) << size;
            ASSERT_EQ(counted(zelk_unxml, text, size), modelUnescape(text, size)) << text << ' ' << size;
            ASSERT_EQ(unescaped(text, size), modelUnescape(text, size)) << text << ' ' << size;
        }
    }
}

TEST(XmlModels, EverySpecialAtEveryPlaceOfARun) {
    for (std::size_t length = 1; length < 40; ++length) {
        for (std::size_t place = 0; place < length; ++place) {
            for (int c = 1; c < 256; ++c) {
                std::string text(length, '~');
                text[place] = static_cast<char>(c);
                const auto needed = length - 1 + modelEntity(static_cast<char>(c)).size();
                ASSERT_EQ(zelk_xmlifiedLength(text.data(), static_cast<int>(length)), needed) << length << ' ' << c;
            }
        }
    }
}

// The output begins where the text begins, or before it in the same buffer.
TEST(XmlModels, UnescapedInPlace) {
    const std::vector<std::string> pieces = {"&amp;",  "&lt;", "&gt;",   "&quot;", "&apos;", "&#65;", "&#0065;",
                                             "&#x41;", "&a;",  "&none;", "&",      "&;",     "&#;",   "&longname;"};
    Random random(2607);
    for (int length = 0; length <= 300; ++length) {
        for (const std::uint32_t percent : {2U, 15U, 60U, 100U}) {
            const std::uint32_t kinds = random.chance(50) ? 5 : static_cast<std::uint32_t>(pieces.size());
            std::string text;
            while (text.size() < static_cast<std::size_t>(length)) {
                text += random.chance(percent) ? pieces[random.below(kinds)] : std::string(1, 'x');
            }
            const std::size_t ahead = random.chance(50) ? 0 : random.below(80);
            const bool isCounted = random.chance(50);
            const std::string before = std::string(ahead, '-') + text + (isCounted ? "" : std::string(1, '\0'));
            const int size = random.chance(50) ? INT_MAX : static_cast<int>(random.below(400));
            const std::string expected = modelUnescape(text, size);
            std::vector<char> buffer(before.begin(), before.end());
            buffer.push_back('+'); // the terminator's place, where a text that is counted has nothing to unescape
            const unsigned int written =
                zelk_unxml(buffer.data(), size, buffer.data() + ahead, isCounted ? static_cast<int>(text.size()) : -1);
            ASSERT_EQ(written, size < 1 ? 0 : expected.size()) << testing::PrintToString(text);
            std::string after = before + '+';
            if (size > 0) {
                after.replace(0, expected.size() + 1, expected + '\0');
            }
            ASSERT_EQ(std::string(buffer.begin(), buffer.end()), after) << testing::PrintToString(text);
        }
    }
}

TEST(XmlModels, BackAndForth) {
    Random random(72);
    for (int i = 0; i < 200; ++i) {
        std::string text(random.below(3'000), 0);
        for (char &character : text) {
            character = static_cast<char>(1 + random.below(255));
        }
        EXPECT_EQ(XmlConverter::unXml(XmlConverter::xmlify(text)), text);
    }
}

struct Free {
    void operator()(CharPacket *packet) const { std::free(packet); }
};
using Packet = std::unique_ptr<CharPacket, Free>;

std::string textOf(const Packet &packet) {
    EXPECT_EQ(packet->chars[packet->length], 0);
    return std::string(packet->chars, packet->length);
}

TEST(XmlPackets, Texts) {
    EXPECT_EQ(zelkXmlify(nullptr, -1), nullptr);
    EXPECT_EQ(zelkUnXml(nullptr, -1), nullptr);

    const Packet escapedPacket(zelkXmlify("a<b", -1));
    EXPECT_EQ(textOf(escapedPacket), "a&lt;b");
    EXPECT_EQ(escapedPacket->capacity, 7);

    const Packet unescapedPacket(zelkUnXml("a&lt;b", -1));
    EXPECT_EQ(textOf(unescapedPacket), "a<b");
    EXPECT_EQ(unescapedPacket->capacity, 7);

    EXPECT_EQ(textOf(Packet(zelkXmlify("", -1))), "");
    EXPECT_EQ(textOf(Packet(zelkXmlify("abc", 0))), "");
    EXPECT_EQ(textOf(Packet(zelkUnXml("abc", 0))), "");
    EXPECT_EQ(textOf(Packet(zelkUnXml("a&#x41;b", 8))), bytes("61 00 62"));
    EXPECT_EQ(textOf(Packet(zelkUnXml("ab\0cd", 5))), "ab");
}

// A text of n bytes asks for a capacity of n + 1 modulo 65536, and gets as much text as that holds.
TEST(XmlPackets, CapacityIsModulo65536) {
    struct Row {
        std::size_t length;
        unsigned short capacity;
        unsigned short kept;
    };
    const Row rows[] = {
        {65'534, 65'535, 65'534}, {65'535, 0, 0}, {65'536, 1, 0}, {65'537, 2, 1}, {70'000, 4'465, 4'464}};
    for (const Row &row : rows) {
        const std::string text(row.length, 'x');
        for (const int count : {-1, static_cast<int>(row.length)}) {
            for (const Packet &packet :
                 {Packet(zelkXmlify(text.c_str(), count)), Packet(zelkUnXml(text.c_str(), count))}) {
                EXPECT_EQ(packet->capacity, row.capacity) << row.length;
                EXPECT_EQ(textOf(packet), text.substr(0, row.kept)) << row.length;
            }
        }
    }
    const Packet entities(zelkXmlify(std::string(11'000, '"').c_str(), -1));
    EXPECT_EQ(entities->capacity, 66'001 - 65'536);
    EXPECT_EQ(entities->length, 462) << "77 whole entities";
}

TEST(XmlPackets, UnescapingTakesItsCapacityFromTheCount) {
    const Packet packet(zelkUnXml("abc", INT_MAX));
    EXPECT_EQ(packet->capacity, 0);
    EXPECT_EQ(packet->length, 0);
    EXPECT_EQ(Packet(zelkUnXml("abc", 100))->capacity, 101);
}

TEST(XmlConverter, Strings) {
    EXPECT_EQ(XmlConverter::xmlify(nullptr, -1), "");
    EXPECT_EQ(XmlConverter::unXml(nullptr, 5), "");
    EXPECT_EQ(XmlConverter::xmlify("a<b", -1), "a&lt;b");
    EXPECT_EQ(XmlConverter::xmlify("a<b", 1), "a");
    EXPECT_EQ(XmlConverter::xmlify(std::string("'a'")), "&apos;a&apos;");
    EXPECT_EQ(XmlConverter::xmlify(std::string()), "");
    EXPECT_EQ(XmlConverter::xmlify(std::string("a\0b", 3)), "a") << "a zero byte ends the text";
    EXPECT_EQ(XmlConverter::unXml("&lt;b", -1), "<b");
    EXPECT_EQ(XmlConverter::unXml("&lt;b", 3), "<");
    EXPECT_EQ(XmlConverter::unXml("&lt;b", INT_MAX), "<b");
    EXPECT_EQ(XmlConverter::unXml(std::string("&#x41;z")), bytes("00 7A"));
    EXPECT_EQ(XmlConverter::unXml(std::string()), "");
}

TEST(XmlConverter, LongTextsComeWhole) {
    const std::string text(70'000, '<');
    const std::string result = XmlConverter::xmlify(text);
    EXPECT_EQ(result.size(), 280'000U);
    EXPECT_EQ(XmlConverter::unXml(result), text);
}

} // namespace
