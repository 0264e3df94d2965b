// Quoted sections of 8-bit and 16-bit text: every short text over a small alphabet against a plain model.
#include "zelk.h"

#include "helpers/guarded.h"
#include "helpers/text.h"
#include "helpers/twins.h"

#include <climits>
#include <string>

using namespace zelk_test;

namespace {

unsigned int quotedLength(const char *text, unsigned int examine, char open, char close) {
    return zelkGetQuotedLength(text, examine, open, close);
}

unsigned int quotedLength(const unsigned short *text, unsigned int examine, unsigned short open, unsigned short close) {
    return zelkGetWideQuotedLength(text, examine, open, close);
}

unsigned int copyQuoted(char *dst, int size, const char *src, int examine, char open, char close) {
    return zelkCopyQuoted(dst, size, src, examine, open, close);
}

unsigned int copyQuoted(unsigned short *dst, int size, const unsigned short *src, int examine, unsigned short open,
                        unsigned short close) {
    return zelkCopyWideQuoted(dst, size, src, examine, open, close);
}

unsigned int removeQuotes(char *dst, int size, const char *src, char first, char second) {
    return zelkRemoveQuotesFromString(dst, size, src, first, second);
}

unsigned int removeQuotes(unsigned short *dst, int size, const unsigned short *src, unsigned short first,
                          unsigned short second) {
    return zelkRemoveQuotesFromWideString(dst, size, src, first, second);
}

Owned<CharPacket> getQuoted(const CharPacket *text, char open, char close) {
    return Owned<CharPacket>(zelkGetQuoted(text, open, close));
}

Owned<WideCharPacket> getQuoted(const WideCharPacket *text, unsigned short open, unsigned short close) {
    return Owned<WideCharPacket>(zelkGetWideQuoted(text, open, close));
}

// Cuts the text at its quotes, and keeps every second piece.
std::string quotedModel(std::string text, char open, char close) {
    std::string result;
    for (bool inside = false;; inside = !inside) {
        const std::size_t end = text.find(inside ? close : open);
        if (inside) {
            result += text.substr(0, end);
        }
        if (end == std::string::npos) {
            return result;
        }
        text.erase(0, end + 1);
    }
}

// The terminator belongs to the text.
std::string withoutQuotesModel(std::string text, char first, char second) {
    text.push_back('\0');
    std::erase_if(text, [=](char character) { return character == first || character == second; });
    return text;
}

template <class Twin>
struct Quotes : public ::testing::Test {
    using Unit = typename Twin::Unit;
    using Text = std::vector<Unit>;

    static unsigned int length(const std::string &text, unsigned int examine, char open, char close) {
        return quotedLength(withZero(units<Twin>(text)).data(), examine, unit(open), unit(close));
    }

    // The copy's result, after a look at the terminator and at what lies after it.
    static Text copy(const std::string &text, int size, int examine, char open, char close) {
        Guarded<Unit> dst(static_cast<std::size_t>(size));
        const unsigned int count =
            copyQuoted(dst.data(), size, withZero(units<Twin>(text)).data(), examine, unit(open), unit(close));
        return result(dst, count);
    }

    static Text remove(const std::string &text, int size, char first, char second) {
        Guarded<Unit> dst(static_cast<std::size_t>(size));
        const unsigned int count =
            removeQuotes(dst.data(), size, withZero(units<Twin>(text)).data(), unit(first), unit(second));
        return result(dst, count);
    }

    static Text result(Guarded<Unit> &dst, unsigned int count) {
        EXPECT_LT(count, dst.size());
        EXPECT_EQ(dst[count], 0);
        for (std::size_t i = count + 1; i < dst.size(); ++i) {
            EXPECT_EQ(dst[i], Guarded<Unit>::pattern());
        }
        return Text(dst.data(), dst.data() + count);
    }

    static Unit unit(char character) { return static_cast<Unit>(character); }
    static Text text(std::string_view characters) { return units<Twin>(characters); }
};

TYPED_TEST_SUITE(Quotes, Twins);

// Every text of up to `longest` characters over the alphabet.
template <class Visit>
void forEachText(const std::string &alphabet, std::size_t longest, const std::string &prefix, Visit visit) {
    visit(prefix);
    if (prefix.size() < longest) {
        for (const char character : alphabet) {
            forEachText(alphabet, longest, prefix + character, visit);
        }
    }
}

} // namespace

TYPED_TEST(Quotes, AreTakenFromEverySection) {
    EXPECT_EQ(this->length("f(ab)c(d)", 100, '(', ')'), 3U);
    EXPECT_EQ(this->copy("f(ab)c(d)", 20, -1, '(', ')'), this->text("abd"));
    EXPECT_EQ(this->copy("a*bc*d*e*f", 20, -1, '*', '*'), this->text("bce"));
}

TYPED_TEST(Quotes, MayStayUnclosed) {
    EXPECT_EQ(this->length("*abc", 100, '*', '*'), 3U);
    EXPECT_EQ(this->copy("*abc", 20, -1, '*', '*'), this->text("abc"));
}

TYPED_TEST(Quotes, AreCutByTheCount) {
    EXPECT_EQ(this->length("x(abc)", 4, '(', ')'), 2U);
    EXPECT_EQ(this->copy("x(abc)", 20, 4, '(', ')'), this->text("ab"));
    EXPECT_EQ(this->copy("x(abc)", 20, 0, '(', ')'), this->text(""));
    EXPECT_EQ(this->copy("x(abc)", 20, INT_MIN, '(', ')'), this->text("abc"));
    EXPECT_EQ(this->copy("x(abc)", 20, INT_MAX, '(', ')'), this->text("abc"));
}

TYPED_TEST(Quotes, OfShortTextsFollowTheModel) {
    for (const auto &[open, close] : {std::pair('(', ')'), std::pair('*', '*'), std::pair(')', 'a')}) {
        forEachText("a()*", 5, "", [&, open = open, close = close](const std::string &text) {
            for (unsigned int examine = 0; examine <= text.size() + 1; ++examine) {
                const std::string expected = quotedModel(text.substr(0, examine), open, close);
                ASSERT_EQ(this->length(text, examine, open, close), expected.size()) << text;
                ASSERT_EQ(this->copy(text, 8, static_cast<int>(examine), open, close), this->text(expected)) << text;
            }
            const std::string expected = quotedModel(text, open, close);
            ASSERT_EQ(this->length(text, UINT_MAX, open, close), expected.size());
            for (int size = 1; size < 8; ++size) {
                ASSERT_EQ(this->copy(text, size, -1, open, close),
                          this->text(expected.substr(0, static_cast<std::size_t>(size) - 1)))
                    << text;
            }
        });
    }
}

TYPED_TEST(Quotes, TestTheCountBeforeTheNextUnit) {
    const auto text = std::make_unique<typename TypeParam::Unit[]>(3); // not terminated
    std::fill_n(text.get(), 3, this->unit('*'));
    Guarded<typename TypeParam::Unit> dst(10);
    EXPECT_EQ(quotedLength(text.get(), 3, this->unit('*'), this->unit('x')), 2U);
    EXPECT_EQ(copyQuoted(dst.data(), 10, text.get(), 3, this->unit('*'), this->unit('x')), 2U);
    EXPECT_EQ(copyQuoted(dst.data(), 3, text.get(), -1, this->unit('*'), this->unit('x')), 2U);
}

TYPED_TEST(Quotes, OfNothingAreNothing) {
    using Character = typename TypeParam::Unit;
    const Character star = this->unit('*');
    EXPECT_EQ(quotedLength(static_cast<const Character *>(nullptr), 10, star, star), 0U);
    const auto text = withZero(this->text("*ab*"));
    for (const int size : {1, 0, -1, INT_MIN}) {
        Guarded<Character> dst(1);
        EXPECT_EQ(copyQuoted(dst.data(), size, text.data(), -1, star, star), 0U);
        EXPECT_EQ(dst[0], 0);
        dst[0] = 1;
        EXPECT_EQ(removeQuotes(dst.data(), size, text.data(), star, star), 0U);
        EXPECT_EQ(dst[0], 0);
    }
    Guarded<Character> dst(1);
    EXPECT_EQ(copyQuoted(dst.data(), 9, nullptr, -1, star, star), 0U);
    EXPECT_EQ(dst[0], 0);
    dst[0] = 1;
    EXPECT_EQ(removeQuotes(dst.data(), 9, nullptr, star, star), 0U);
    EXPECT_EQ(dst[0], 0);
}

TYPED_TEST(Quotes, RemovalCountsTheTerminator) {
    EXPECT_EQ(this->remove("*ab*", 10, '*', '/'), withZero(this->text("ab")));
    EXPECT_EQ(this->remove("*ab*", 3, '*', '/'), this->text("ab"));
    EXPECT_EQ(this->remove("", 2, '*', '/'), withZero(this->text("")));
    EXPECT_EQ(this->remove("*ab*", 10, '*', '\0'), this->text("ab"));
    EXPECT_EQ(this->remove("*ab*", 10, '\0', '*'), this->text("ab"));
}

TYPED_TEST(Quotes, RemovalOfShortTextsFollowsTheModel) {
    for (const auto &[first, second] : {std::pair('(', ')'), std::pair('*', '*'), std::pair('a', '\0')}) {
        forEachText("ab(*", 5, "", [&, first = first, second = second](const std::string &text) {
            const std::string expected = withoutQuotesModel(text, first, second);
            for (int size = 1; size < 10; ++size) {
                ASSERT_EQ(this->remove(text, size, first, second),
                          this->text(expected.substr(0, static_cast<std::size_t>(size) - 1)))
                    << text;
            }
        });
    }
}

TYPED_TEST(Quotes, InPacketsGiveANewPacketOrNone) {
    using Packet = typename TypeParam::Packet;
    const auto star = this->unit('*');
    EXPECT_EQ(getQuoted(static_cast<const Packet *>(nullptr), star, star), nullptr);
    for (const char *const text : {"", "abc", "abc*", "a**b"}) {
        const auto packet = TypeParam::newPacket(0, withZero(this->text(text)).data());
        EXPECT_EQ(getQuoted(packet.get(), star, star), nullptr) << text;
    }
    const auto packet = TypeParam::newPacket(0, withZero(this->text("*xy*")).data());
    const auto quoted = getQuoted(packet.get(), star, star);
    ASSERT_NE(quoted, nullptr);
    EXPECT_EQ(quoted->capacity, 3);
    EXPECT_EQ(terminatedTextOf(quoted), this->text("xy"));

    const auto sections = TypeParam::newPacket(0, withZero(this->text("f(ab)c)d(e")).data());
    EXPECT_EQ(terminatedTextOf(getQuoted(sections.get(), this->unit('('), this->unit(')'))), this->text("abe"));

    packet->length = 2; // the length ends the text, not the terminator
    EXPECT_EQ(terminatedTextOf(getQuoted(packet.get(), star, star)), this->text("x"));
}

TYPED_TEST(Quotes, InTheLongestPacketAreAllTaken) {
    const std::string text = "*" + std::string(65534, 'x');
    const auto packet =
        TypeParam::newPacket(0, withZero(this->text(std::string(1, '*') + std::string(65533, 'x'))).data());
    const auto quoted = getQuoted(packet.get(), this->unit('*'), this->unit('*'));
    ASSERT_NE(quoted, nullptr);
    EXPECT_EQ(quoted->capacity, 65534);
    EXPECT_EQ(terminatedTextOf(quoted).size(), 65533U);

    EXPECT_EQ(this->length(std::string(70000, '*') + text, UINT_MAX, '*', '*'), 65534U);
}

TEST(QuotedPackets, KeepTheirLengthInTheWideTwinOnly) {
    const auto narrow = Narrow::newPacket(0, "*xy*");
    EXPECT_EQ(getQuoted(narrow.get(), '*', '*')->length, 0);
    const auto wide = Wide::newPacket(0, withZero(units<Wide>("*xy*")).data());
    EXPECT_EQ(getQuoted(wide.get(), '*', '*')->length, 2);
}

TEST(WideQuotes, AreWholeUnits) {
    const Units text = terminated({0x0128, 0x2018, 0x0028, 0x0129, 0x2019, 'b'});
    Guarded<unsigned short> dst(10);
    EXPECT_EQ(zelkCopyWideQuoted(dst.data(), 10, text.data(), -1, 0x2018, 0x2019), 2U);
    EXPECT_EQ(dst[0], 0x0028);
    EXPECT_EQ(dst[1], 0x0129);
}

TEST(NarrowQuotes, MayBeAnyByte) {
    Guarded<char> dst(10);
    EXPECT_EQ(zelkCopyQuoted(dst.data(), 10, "a\xAB\xE9\xBB", -1, '\xAB', '\xBB'), 1U);
    EXPECT_EQ(dst[0], '\xE9');
    EXPECT_EQ(zelkRemoveQuotesFromString(dst.data(), 10, "\xAB\xE9\xBB", '\xAB', '\xBB'), 2U);
}
