// Memory: what each function asks for, and what is left when it gets none. Every function of the interface
// runs under an allocator that fails on its first request, then on its second, and so on until it succeeds.
#include "helpers/every_function.h"
#include "helpers/failing_allocator.h"

#include <gtest/gtest.h>

#include <iconv.h>
#include <new>
#include <optional>
#include <string>

using namespace zelk_test;

namespace {

// Latin-1 letters (which are no UTF-8), quotes, markup and entities: something to do for every function.
std::string textOfLength(std::size_t length) {
    const std::string words = "\"e\" <b>Caf\xE9 & cr\xE8me</b> &amp; '\xFC"
                              "ber' ";
    std::string text;
    while (text.size() < length) {
        text += words;
    }
    return text.substr(0, length);
}

constexpr std::size_t lengths[] = {4, 60, 300, 1024, 5000};
constexpr std::size_t longestOnStack = 1024; // three bytes for each of these, and a terminator
constexpr std::size_t bytesOnStack = 3 * longestOnStack + 8;

// A standard string keeps up to 15 bytes in itself.
long ownBlocks(const std::string &result) {
    return result.size() > std::string().capacity() ? 1 : 0;
}

// The rest of a block is as malloc gave it: only the fields and what the capacity counts are compared.
template <class Packet>
std::string textAndFields(void *packet) {
    const auto *const fields = static_cast<const Packet *>(packet);
    return std::string(static_cast<const char *>(packet), sizeof(Packet) + fields->length * sizeof fields->chars[0]);
}

bool isWide(const std::string &name) {
    return name.find("Wide") != std::string::npos || name.find("ToUnicode") != std::string::npos ||
           name == "zelkUtf8DecodeString";
}

std::string readPacket(const PacketFunction &function, void *packet) {
    return isWide(function.name) ? textAndFields<WideCharPacket>(packet) : textAndFields<CharPacket>(packet);
}

class Allocation : public ::testing::Test {
protected:
    void SetUp() override {
        if (!countsAllocations) {
            GTEST_SKIP() << "the allocator cannot be replaced here";
        }
    }
};

// Runs the operation with each of its requests failing, until none does; `check` judges a run with a failure.
template <class Run, class Check>
void failEachRequest(Failing failing, Run run, Check check) {
    for (long number = 1;; ++number) {
        ASSERT_LT(number, 100) << "it never succeeds";
        bool failed = false;
        {
            std::optional<std::string> result;
            try {
                const AllocationWatch watch(failing, number);
                result = run();
            } catch (const std::bad_alloc &) {
            }
            failed = AllocationWatch::failures() != 0;
            check(failed, result);
        }
        EXPECT_EQ(AllocationWatch::blocksInUse(), 0U) << "leaked when request " << number << " failed";
        if (!failed) {
            return;
        }
    }
}

} // namespace

TEST(FunctionLists, AreComplete) {
    expectCompleteLists(ZELK_EXPORTS);
}

TEST_F(Allocation, PlainFunctionsAskForNothing) {
    for (const std::size_t length : lengths) {
        const AnyText text(textOfLength(length));
        AnyRoom room(length);
        for (const PlainFunction &function : plainFunctions) {
            const AllocationWatch watch;
            function.call(text, room);
            AllocationWatch::stop();
            EXPECT_EQ(AllocationWatch::requests(), 0) << function.name << ", length " << length;
        }
    }
}

TEST_F(Allocation, PacketsAreOneBlock) {
    for (const std::size_t length : lengths) {
        const AnyText text(textOfLength(length));
        for (const PacketFunction &function : packetFunctions) {
            SCOPED_TRACE(std::string(function.name) + ", length " + std::to_string(length));
            const AllocationWatch watch;
            void *const packet = function.call(text);
            AllocationWatch::stop();
            EXPECT_NE(packet, nullptr);
            EXPECT_EQ(AllocationWatch::requests(), 1);
            EXPECT_EQ(AllocationWatch::blocksInUse(), 1U);
            std::free(packet);
            EXPECT_EQ(AllocationWatch::blocksInUse(), 0U);
        }
    }
}

TEST_F(Allocation, PacketsAreNullWithoutMemory) {
    for (const std::size_t length : lengths) {
        const AnyText text(textOfLength(length));
        for (const PacketFunction &function : packetFunctions) {
            SCOPED_TRACE(std::string(function.name) + ", length " + std::to_string(length));
            const Owned<void> before(function.call(text));
            ASSERT_NE(before, nullptr);
            void *packet = nullptr;
            {
                const AllocationWatch watch(Failing::OneRequestAndAllLater, 1);
                packet = function.call(text);
            }
            EXPECT_EQ(packet, nullptr);
            EXPECT_EQ(AllocationWatch::blocksInUse(), 0U);
            const Owned<void> after(function.call(text));
            ASSERT_NE(after, nullptr);
            EXPECT_EQ(readPacket(function, after.get()), readPacket(function, before.get()));
        }
    }
}

TEST_F(Allocation, PacketsOfEveryKindAreNullWithoutMemory) {
    const auto narrow = Narrow::newPacket(0, "abc");
    const auto wide = Wide::newPacket(0, nullptr);
    const AllocationWatch watch(Failing::OneRequestAndAllLater, 1);
    const bool allNull =
        zelkNewCharPacket(10, nullptr) == nullptr && zelkNewCharPacket(10, "abc") == nullptr &&
        zelkNewWideCharPacket(10, nullptr) == nullptr && zelkSubstr(narrow.get(), 0, 2, nullptr) == nullptr &&
        zelkUtf8Substr(narrow.get(), 0, 2, nullptr) == nullptr &&
        zelkWideSubstr(wide.get(), 0, 2, nullptr) == nullptr && zelkCatWideCharPackets(nullptr) == nullptr;
    AllocationWatch::stop();
    EXPECT_TRUE(allNull);
    EXPECT_EQ(AllocationWatch::failures(), 7);
}

// Their capacity wraps to 0, so that the copy has no room for anything.
TEST_F(Allocation, TheLargestPacketsRefuseTheTextAndStayUnwritten) {
    const unsigned short wideText[] = {'a', 'b', 'c', 0};
    Owned<CharPacket> narrow;
    Owned<WideCharPacket> wide;
    {
        const AllocationWatch watch;
        narrow.reset(zelkNewCharPacket(65535, "abc"));
        wide.reset(zelkNewWideCharPacket(65535, wideText));
    }
    ASSERT_NE(narrow, nullptr);
    ASSERT_NE(wide, nullptr);
    EXPECT_EQ(narrow->length, 0);
    EXPECT_EQ(wide->length, 0);
    for (const std::size_t i : {0U, 1U, 65535U}) {
        EXPECT_EQ(static_cast<unsigned char>(narrow->chars[i]), AllocationWatch::unwritten) << i;
        EXPECT_EQ(wide->chars[i], AllocationWatch::unwritten * 0x101) << i;
    }
}

// A text in pieces may be offered again when there was no memory for one of them: nothing has happened to its state.
TEST_F(Allocation, TheStateOfATolerantTextStaysWithoutMemory) {
    const std::string text = textOfLength(5000);
    const zelk::IsoConverter converter(2);
    int flag = 0;
    {
        const AllocationWatch watch(Failing::OneRequestAndAllLater, 1);
        EXPECT_EQ(zelkConvertIsoToUtf8Tolerant(2, text.c_str(), -1, &flag), nullptr);
    }
    EXPECT_EQ(flag, 0);
    failEachRequest(
        Failing::OneRequest,
        [&] {
            flag = 0;
            return converter.convertIsoToUtf8Tolerant(text, &flag);
        },
        [&](bool failed, const std::optional<std::string> & /*result*/) { EXPECT_EQ(flag, failed ? 0 : 1); });
}

TEST_F(Allocation, StringsCostTheirOwnBlockAndOneForALongText) {
    for (const std::size_t length : lengths) {
        const AnyText text(textOfLength(length));
        for (const StringFunction &function : stringFunctions) {
            SCOPED_TRACE(std::string(function.name) + ", length " + std::to_string(length));
            const AllocationWatch watch;
            const std::string result = function.call(text);
            AllocationWatch::stop();
            const long scratch = AllocationWatch::requests() - ownBlocks(result);
            EXPECT_GE(scratch, 0);
            EXPECT_LE(scratch, length <= longestOnStack ? 0 : 1);
        }
    }
}

// The scratch of an escaped text is as long as its result and the terminator.
TEST_F(Allocation, ScratchLeavesTheStackWhereItIsLonger) {
    for (const std::size_t length : {bytesOnStack - 2, bytesOnStack - 1, bytesOnStack}) {
        const std::string text(length, 'x');
        const AllocationWatch watch;
        const std::string result = zelk::XmlConverter::xmlify(text);
        AllocationWatch::stop();
        EXPECT_EQ(AllocationWatch::requests() - ownBlocks(result), length < bytesOnStack ? 0 : 1)
            << "length " << length;
    }
}

TEST_F(Allocation, StringsAreTheAllocatorsExceptionWithoutMemory) {
    for (const std::size_t length : lengths) {
        const AnyText text(textOfLength(length));
        for (const StringFunction &function : stringFunctions) {
            const std::string expected = function.call(text);
            for (const Failing failing : {Failing::OneRequest, Failing::OneRequestAndAllLater}) {
                SCOPED_TRACE(std::string(function.name) + ", length " + std::to_string(length));
                failEachRequest(
                    failing, [&] { return function.call(text); },
                    [&](bool failed, const std::optional<std::string> &result) {
                        EXPECT_EQ(result.has_value(), !failed);
                        EXPECT_EQ(result.value_or(expected), expected);
                    });
            }
        }
    }
}

// Where the C library's iconv finds no memory, it fails, and the result is the text itself.
TEST_F(Allocation, IconvWithoutMemoryGivesTheTextOrTheAllocatorsException) {
    iconv_t const keepsTheModulesLoaded = iconv_open("UTF-8", "ISO-8859-2");
    ASSERT_NE(keepsTheModulesLoaded, reinterpret_cast<iconv_t>(-1));
    long opening = 0;
    {
        const AllocationWatch watch;
        iconv_close(iconv_open("UTF-8", "ISO-8859-2"));
        opening = AllocationWatch::requests();
    }
    for (const std::size_t length : lengths) {
        const AnyText text("Caf\xC3\xA9 " + std::string(length, 'x'));
        for (const StringFunction &function : iconvFunctions) {
            SCOPED_TRACE(std::string(function.name) + ", length " + std::to_string(length));
            std::string expected;
            {
                const AllocationWatch watch;
                expected = function.call(text);
            }
            EXPECT_NE(expected, text.bytes);
            EXPECT_LE(AllocationWatch::requests() - opening - ownBlocks(expected), length < longestOnStack ? 0 : 1);
            for (const Failing failing : {Failing::OneRequest, Failing::OneRequestAndAllLater}) {
                failEachRequest(
                    failing, [&] { return function.call(text); },
                    [&](bool failed, const std::optional<std::string> &result) {
                        if (result.has_value()) {
                            EXPECT_EQ(*result, failed ? text.bytes : expected);
                        }
                        EXPECT_TRUE(failed || result.has_value());
                    });
            }
        }
    }
    iconv_close(keepsTheModulesLoaded);
}
