// The four tables of context-tree codes, expanded by the compiler from their readable form and checked against what is
// known of the published codes.
#include "tables/context_steps.h"
#include "tables/context_tree.h"
#include "tables/context_tree_check.h"
#include "tables/huffman_description.h"
#include "tables/huffman_dvb1.h"
#include "tables/huffman_dvb2.h"
#include "tables/huffman_title.h"
#include "zelk.h"

// A plain array cannot be initialised from a computed one: the exported names are second names of the computed arrays.
extern "C" {

[[gnu::visibility("hidden")]] extern constexpr auto zelkTitleTable =
    zelk::tables::expandCodes<sizeof _title_dec_table>(zelk::tables::titleCodes);
[[gnu::visibility("hidden")]] extern constexpr auto zelkDescriptionTable =
    zelk::tables::expandCodes<sizeof _desc_dec_table>(zelk::tables::descriptionCodes);
[[gnu::visibility("hidden")]] extern constexpr auto zelkDvbTable1 =
    zelk::tables::expandCodes<sizeof HuffmanDecodeTable_1>(zelk::tables::dvbCodes1);
[[gnu::visibility("hidden")]] extern constexpr auto zelkDvbTable2 =
    zelk::tables::expandCodes<sizeof HuffmanDecodeTable_2>(zelk::tables::dvbCodes2);

[[gnu::alias("zelkTitleTable")]] extern const unsigned char _title_dec_table[1940];
[[gnu::alias("zelkDescriptionTable")]] extern const unsigned char _desc_dec_table[1782];
[[gnu::alias("zelkDvbTable1")]] extern const unsigned char HuffmanDecodeTable_1[4054];
[[gnu::alias("zelkDvbTable2")]] extern const unsigned char HuffmanDecodeTable_2[6320];
}

namespace zelk::tables {
namespace {

constexpr char endOfText = 0;

static_assert(measured(zelkTitleTable) ==
              TableFigures{
                  .nodes = 842, .longestCode = 10, .singleNodeTrees = 66, .endOfTextContexts = 33, .sound = true});
static_assert(onlyEscapesAfter(zelkTitleTable, 0x01, 0x1F));
static_assert(codesAfter(zelkTitleTable, 0,
                         {{"000", 'S'},
                          {"010", 'T'},
                          {"0010", 'W'},
                          {"0011", 'N'},
                          {"0111", 'A'},
                          {"1001", 'B'},
                          {"1010", 'M'},
                          {"1011", 'C'}}));
static_assert(codesAfter(zelkTitleTable, 'e', {{"001", endOfText}}));
static_assert(codesAfter(zelkTitleTable, 's', {{"11", endOfText}}));
// The tree of the start of a text takes 58 bytes.
static_assert(detail::treeAfter(zelkTitleTable.data(), 1) - detail::treeAfter(zelkTitleTable.data(), 0) == 58);

static_assert(measured(zelkDescriptionTable) ==
              TableFigures{
                  .nodes = 763, .longestCode = 11, .singleNodeTrees = 66, .endOfTextContexts = 2, .sound = true});
static_assert(onlyEscapesAfter(zelkDescriptionTable, 0x01, 0x1F));
static_assert(codesAfter(zelkDescriptionTable, 0,
                         {{"000", 'P'}, {"010", 'A'}, {"0011", 'B'}, {"0111", 'C'}, {"1000", 'R'}, {"1010", 'S'}}));
static_assert(mayEndAfter(zelkDescriptionTable, '"') && mayEndAfter(zelkDescriptionTable, '.'));

static_assert(measured(zelkDvbTable1) ==
              TableFigures{
                  .nodes = 1899, .longestCode = 20, .singleNodeTrees = 49, .endOfTextContexts = 69, .sound = true});
static_assert(onlyEscapesAfter(zelkDvbTable1, 0x01, 0x1F));
static_assert(codesAfter(zelkDvbTable1, 0, {{"00", 'T'}, {"010", 'B'}, {"1000", 'C'}, {"1001", 'I'}, {"1101", 'S'}}));
static_assert(codesAfter(zelkDvbTable1, 'a', {{"001", 'r'}, {"011", 't'}, {"100", 'l'}, {"110", 'n'}}));

static_assert(measured(zelkDvbTable2) ==
              TableFigures{
                  .nodes = 3032, .longestCode = 22, .singleNodeTrees = 44, .endOfTextContexts = 47, .sound = true});
static_assert(onlyEscapesAfter(zelkDvbTable2, 0x01, 0x1F));
static_assert(codesAfter(zelkDvbTable2, 0, {{"010", 'A'}, {"100", 'C'}, {"111", 'T'}, {"0001", 'J'}, {"0011", 'D'}}));
static_assert(codesAfter(zelkDvbTable2, 'a', {{"01", 'n'}, {"001", 'r'}, {"101", 't'}}));

} // namespace

#if defined(ZELK_COMPACT)

// All is read by the trees.
StepMachine stepsOf(const unsigned char * /*table*/) {
    return {};
}

#else

namespace {

constexpr auto dvbSteps1 = stepStates<zelkDvbTable1, rarestState>();
constexpr auto dvbSteps2 = stepStates<zelkDvbTable2, rarestStateOfLargest>();
constexpr auto titleSteps = stepStates<zelkTitleTable, rarestState>();
constexpr auto descriptionSteps = stepStates<zelkDescriptionTable, rarestState>();

StepMachine machineOf(const auto &states) {
    return {states.steps.data(), states.characters.data()};
}

} // namespace

StepMachine stepsOf(const unsigned char *table) {
    if (table == HuffmanDecodeTable_1) {
        return machineOf(dvbSteps1);
    }
    if (table == HuffmanDecodeTable_2) {
        return machineOf(dvbSteps2);
    }
    if (table == _title_dec_table) {
        return machineOf(titleSteps);
    }
    if (table == _desc_dec_table) {
        return machineOf(descriptionSteps);
    }
    return {};
}

#endif

} // namespace zelk::tables
