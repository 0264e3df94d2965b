// The four context-tree tables: their bytes, by checksums of the published arrays, and their shape.
#include "zelk.h"

#include "helpers/text.h"
#include "reference/context_codes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <vector>

namespace {

using namespace zelk_test;

struct Table {
    const char *name;
    const unsigned char *bytes;
    std::size_t size;
    std::uint32_t crc32; // ISO 3309
    std::uint64_t fnv1a; // 64 bits
    std::size_t codes;
    std::size_t longestCode;
    std::size_t singleNodeTrees;
    std::size_t endOfTextContexts;
};

const Table tables[] = {
    {"title", _title_dec_table, sizeof _title_dec_table, 0x7107E23B, 0xD180D4FFC20571E6, 842 + 128, 10, 66, 33},
    {"description", _desc_dec_table, sizeof _desc_dec_table, 0x37A905E4, 0x226B70A21E970345, 763 + 128, 11, 66, 2},
    {"dvb 1", HuffmanDecodeTable_1, sizeof HuffmanDecodeTable_1, 0x6AC32C3D, 0x87F5ACA38B44526B, 1899 + 128, 20, 49,
     69},
    {"dvb 2", HuffmanDecodeTable_2, sizeof HuffmanDecodeTable_2, 0xB5850BE5, 0x9D8A55FCC0266791, 3032 + 128, 22, 44,
     47},
};

std::uint32_t crc32(const unsigned char *bytes, std::size_t size) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t i = 0; i < size; ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
        }
    }
    return ~crc;
}

std::uint64_t fnv1a(const unsigned char *bytes, std::size_t size) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ bytes[i]) * 0x100000001B3;
    }
    return hash;
}

unsigned int offsetOf(const Table &table, std::size_t context) {
    return table.bytes[2 * context] * 256U + table.bytes[2 * context + 1];
}

std::size_t nodesOf(const Table &table, std::size_t context) {
    const std::size_t end = context == 127 ? table.size : offsetOf(table, context + 1);
    return (end - offsetOf(table, context)) / 2;
}

TEST(HuffmanTable, SizesArePublished) {
    EXPECT_EQ(sizeof _title_dec_table, 1940U);
    EXPECT_EQ(sizeof _desc_dec_table, 1782U);
    EXPECT_EQ(sizeof HuffmanDecodeTable_1, 4054U);
    EXPECT_EQ(sizeof HuffmanDecodeTable_2, 6320U);
}

TEST(HuffmanTable, ChecksumsKnowTheirPublishedValues) {
    const auto *check = reinterpret_cast<const unsigned char *>("123456789");
    EXPECT_EQ(crc32(check, 9), 0xCBF43926U);
    EXPECT_EQ(fnv1a(check, 1), 0xAF63AC4C86019AFCU);
}

TEST(HuffmanTable, BytesAreThePublishedOnes) {
    for (const Table &table : tables) {
        EXPECT_EQ(crc32(table.bytes, table.size), table.crc32) << table.name;
        EXPECT_EQ(fnv1a(table.bytes, table.size), table.fnv1a) << table.name;
    }
}

TEST(HuffmanTable, TreesLieBackToBackFromByte256) {
    for (const Table &table : tables) {
        EXPECT_EQ(offsetOf(table, 0), 256U) << table.name;
        for (std::size_t context = 0; context < 127; ++context) {
            EXPECT_LT(offsetOf(table, context), offsetOf(table, context + 1)) << table.name << ' ' << context;
            EXPECT_EQ(offsetOf(table, context) % 2, 0U);
        }
    }
}

TEST(HuffmanTable, EachNodeIsReachedOnceInsideItsTree) {
    for (const Table &table : tables) {
        for (std::size_t context = 0; context < 128; ++context) {
            const unsigned char *tree = table.bytes + offsetOf(table, context);
            const std::size_t nodes = nodesOf(table, context);
            std::multiset<unsigned int> targets{0};
            for (std::size_t i = 0; i < 2 * nodes; ++i) {
                if (tree[i] < 0x80) {
                    targets.insert(tree[i]);
                }
            }
            ASSERT_EQ(targets.size(), nodes) << table.name << ' ' << context;
            for (unsigned int node = 0; node < nodes; ++node) {
                ASSERT_EQ(targets.count(node), 1U) << table.name << ' ' << context << ' ' << node;
            }
        }
    }
}

// From the last number down, breadth first, the 1-branch before the 0-branch.
TEST(HuffmanTable, NodesAreNumberedAsThePublishedArrays) {
    for (const Table &table : tables) {
        for (std::size_t context = 0; context < 128; ++context) {
            const unsigned char *tree = table.bytes + offsetOf(table, context);
            std::vector<unsigned int> order{0};
            for (std::size_t i = 0; i < order.size(); ++i) {
                for (const std::size_t bit : {1U, 0U}) {
                    if (const unsigned int next = tree[2 * order[i] + bit]; next < 0x80) {
                        EXPECT_EQ(next, nodesOf(table, context) - order.size()) << table.name << ' ' << context;
                        order.push_back(next);
                    }
                }
            }
        }
    }
}

TEST(HuffmanTable, CodesHaveThePublishedFigures) {
    for (const Table &table : tables) {
        const ContextCodes codes = contextCodes(table.bytes);
        std::size_t count = 0;
        std::size_t longest = 0;
        std::size_t singleNodeTrees = 0;
        std::size_t endOfTextContexts = 0;
        for (std::size_t context = 0; context < 128; ++context) {
            std::uint64_t sum = 0;
            bool escapes = false;
            bool ends = false;
            for (const auto &[code, character] : codes[context]) {
                sum += std::uint64_t{1} << (32 - code.size());
                longest = std::max(longest, code.size());
                escapes = escapes || character == escapeCharacter;
                ends = ends || character == 0;
            }
            EXPECT_EQ(sum, std::uint64_t{1} << 32) << table.name << ' ' << context;
            EXPECT_TRUE(escapes) << table.name << ' ' << context;
            count += codes[context].size();
            singleNodeTrees += nodesOf(table, context) == 1 ? 1 : 0;
            endOfTextContexts += ends ? 1 : 0;
        }
        EXPECT_EQ(count, table.codes) << table.name;
        EXPECT_EQ(longest, table.longestCode) << table.name;
        EXPECT_EQ(singleNodeTrees, table.singleNodeTrees) << table.name;
        EXPECT_EQ(endOfTextContexts, table.endOfTextContexts) << table.name;
    }
}

TEST(HuffmanTable, ControlContextsKnowOnlyEscapes) {
    for (const Table &table : tables) {
        for (std::size_t context = 0x01; context <= 0x1F; ++context) {
            EXPECT_EQ(nodesOf(table, context), 1U);
            EXPECT_EQ(table.bytes[offsetOf(table, context)], 0x9B) << table.name << ' ' << context;
            EXPECT_EQ(table.bytes[offsetOf(table, context) + 1], 0x9B) << table.name << ' ' << context;
        }
    }
}

TEST(HuffmanTable, RowsAreThePublishedOnes) {
    struct Row {
        std::size_t table;
        unsigned int context;
        const char *code;
        char character;
    };
    const Row rows[] = {
        {0, 0, "000", 'S'},  {0, 0, "010", 'T'},   {0, 0, "0010", 'W'},  {0, 0, "0011", 'N'},  {0, 0, "0111", 'A'},
        {0, 0, "1001", 'B'}, {0, 0, "1010", 'M'},  {0, 0, "1011", 'C'},  {0, 'e', "001", 0},   {0, 's', "11", 0},
        {1, 0, "000", 'P'},  {1, 0, "010", 'A'},   {1, 0, "0011", 'B'},  {1, 0, "0111", 'C'},  {1, 0, "1000", 'R'},
        {1, 0, "1010", 'S'}, {2, 0, "00", 'T'},    {2, 0, "010", 'B'},   {2, 0, "1000", 'C'},  {2, 0, "1001", 'I'},
        {2, 0, "1101", 'S'}, {2, 'a', "001", 'r'}, {2, 'a', "011", 't'}, {2, 'a', "100", 'l'}, {2, 'a', "110", 'n'},
        {3, 0, "010", 'A'},  {3, 0, "100", 'C'},   {3, 0, "111", 'T'},   {3, 0, "0001", 'J'},  {3, 0, "0011", 'D'},
        {3, 'a', "01", 'n'}, {3, 'a', "001", 'r'}, {3, 'a', "101", 't'},
    };
    for (const Row &row : rows) {
        const ContextCodes codes = contextCodes(tables[row.table].bytes);
        const auto found = codes[row.context].find(row.code);
        ASSERT_NE(found, codes[row.context].end()) << tables[row.table].name << ' ' << row.code;
        EXPECT_EQ(found->second, static_cast<unsigned char>(row.character))
            << tables[row.table].name << ' ' << row.code;
    }
    EXPECT_EQ(nodesOf(tables[0], 0), 29U) << "58 bytes";
    const ContextCodes description = contextCodes(_desc_dec_table);
    for (const std::size_t context : {0x22U, 0x2EU}) {
        bool ends = false;
        for (const auto &[code, character] : description[context]) {
            ends = ends || character == 0;
        }
        EXPECT_TRUE(ends) << context;
    }
}

} // namespace
