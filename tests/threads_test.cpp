// Every family from eight threads at once, first calls included: under ThreadSanitizer this shows that nothing is
// shared but constant tables, and each thread's results must equal those of the first.
#include "zelk.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string take(CharPacket *packet) {
    const std::string text = packet == nullptr ? "null" : std::string(packet->chars, packet->length);
    std::free(packet);
    return text;
}

// One pass over all families; the result holds whatever they gave.
std::string useEveryFamily() {
    std::string all;
    char text[256];
    unsigned char utf8[256];
    unsigned short units[256];

    all += take(zelkConsCharPacket("join", "(ed)", static_cast<char *>(nullptr)));
    zelkCopyQuoted(text, sizeof text, "f(ab)c", -1, '(', ')');
    all += text;
    zelkFilterString(text, sizeof text, "a\tb", nullptr);
    all += text;
    zelkUtf8DecodeText(units, 256, reinterpret_cast<const unsigned char *>("\xE2\x82\xAC"), -1);
    zelkUtf8EncodeText(utf8, sizeof utf8, units, -1);
    all += reinterpret_cast<const char *>(utf8);
    all += zelk::IsoConverter(15).convertIsoToUtf8("\xA4 15");
    all += zelk::WinConverter(1251, 0).convertWindowsToUtf8("\xC0");
    const unsigned short teletext[] = {0xE210, 0};
    zelk_pela_ttxConvertToUtf8(text, sizeof text, teletext, -1);
    all += text;
    const zelk::DvbConverter dvb(DvbCharSetStandard, 0);
    all += dvb.convertDvb8ToUtf8("\xC2"
                                 "e");
    all += dvb.convertDvb8ToUtf8(std::string("\x1F\x01\x00\x12\x34", 5));
    all += dvb.convertDvb8ToUtf8(std::string("\x1F\x05\xCA\x35\x81\x7F", 6));
    all += dvb.convertDvb8ToUtf8(std::string("\x1F\x06\x8C\x35\x81\x7F", 6));
    all += zelk::DvbConverter(DvbCharSetGb2312, 0).convertDvb8ToUtf8("\xC4\xE3");
    unsigned int size = sizeof utf8;
    const unsigned char compressed[] = {0x12, 0x34, 0x56};
    zelk::ProgramTitleDecoder(0).decode(compressed, 3, utf8, &size);
    all.append(reinterpret_cast<const char *>(utf8), size == 0 ? 0 : size - 2);
    all += std::to_string(zelk2upperChar(0xE9)) + std::to_string(zelkcharGetClass('5'));
    all += std::to_string(zelkCollate(0, "\xC3\xA9t\xC3\xA9", "ete"));
    all += std::to_string(zelk_patternWildcardMatchIgnoreCase("ABC", "a*c"));
    all += zelk::XmlConverter::unXml(zelk::XmlConverter::xmlify("<&>"));
    const unsigned short pair[] = {0xD83D, 0xDE00, 0};
    zelk::CodeConversion::convertUTF16ToUTF8Str(pair, text, sizeof text);
    all += text;
    return all;
}

TEST(Threads, EveryFamilyFromEightThreads) {
    constexpr int threadCount = 8;
    constexpr int rounds = 200;
    std::vector<std::string> first(threadCount);
    std::atomic<int> ready{0};
    std::atomic<int> differences{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            ++ready;
            while (ready < threadCount) {
                std::this_thread::yield();
            }
            first[static_cast<std::size_t>(i)] = useEveryFamily();
            for (int round = 1; round < rounds; ++round) {
                differences += useEveryFamily() == first[static_cast<std::size_t>(i)] ? 0 : 1;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(differences, 0);
    for (const std::string &result : first) {
        EXPECT_EQ(result, first[0]);
    }
    EXPECT_NE(first[0].find("join(ed)ab"), std::string::npos);
}

} // namespace
