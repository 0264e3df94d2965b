// The native side: prints a line for each block of strings of each family.
#include "families.h"
#include "zelk.h"

#include <cstdio>
#include <cstdlib>

int main(int count, char **arguments) {
    if (count != 3) {
        std::fputs("usage: native STRINGS-PER-FAMILY STRINGS-PER-BLOCK\n", stderr);
        return 2;
    }
    const auto strings = static_cast<unsigned int>(std::strtoul(arguments[1], nullptr, 10));
    const auto block = static_cast<unsigned int>(std::strtoul(arguments[2], nullptr, 10));
    const DifferentialTables tables = {zelk_bitsRevSeqTab, HuffmanDecodeTable_1, HuffmanDecodeTable_2, _title_dec_table,
                                       _desc_dec_table};
    for (unsigned int family = 0; differentialFamily(family) != nullptr; ++family) {
        for (unsigned int first = 0; first < strings; first += block) {
            const unsigned int here = strings - first < block ? strings - first : block;
            std::printf("%s %u %016llx\n", differentialFamily(family), first,
                        static_cast<unsigned long long>(differentialRun(&tables, family, first, here)));
        }
    }
}
