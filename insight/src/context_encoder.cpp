// Codes are looked for in the trees that decoders walk. A text is sent once and read often, so that the walk may take
// its time; trees have at most 127 nodes.
#include "context_encoder.h"

#include "detail/context_tree.h"
#include "zelk_insight.h"

#include <array>

namespace zelk::insight {
namespace {

using detail::escapeLeaf;
using detail::firstWithoutTree;
using detail::leafFlag;
using detail::treeAfter;

// The shortest code of a leaf, or a length of 0: the tree breadth first.
Code codeOfLeaf(const unsigned char *tree, unsigned int leaf) {
    struct Place {
        unsigned char node;
        unsigned char length;
        std::uint32_t bits;
    };
    std::array<Place, leafFlag> queue;
    queue[0] = {0, 0, 0};
    unsigned int queued = 1;
    for (unsigned int i = 0; i < queued; ++i) {
        const Place place = queue[i];
        for (const unsigned int bit : {0U, 1U}) {
            const unsigned int next = tree[2 * place.node + bit];
            const std::uint32_t bits = place.bits << 1U | bit;
            if (next == leaf) {
                return {bits, place.length + 1U};
            }
            if (next < leafFlag && queued < queue.size()) {
                queue[queued++] = {static_cast<unsigned char>(next), static_cast<unsigned char>(place.length + 1),
                                   bits};
            }
        }
    }
    return {0, 0};
}

} // namespace

const unsigned char *contextTable(unsigned int number) {
    switch (number) {
    case 1:
        return HuffmanDecodeTable_1;
    case 2:
        return HuffmanDecodeTable_2;
    case 3:
        return _title_dec_table;
    case 4:
        return _desc_dec_table;
    default:
        return nullptr;
    }
}

Code contextCode(const unsigned char *table, unsigned int before, unsigned int byte) {
    if (before >= firstWithoutTree) {
        return {byte, 8};
    }
    const unsigned char *const tree = table + treeAfter(table, before);
    const unsigned int leaf = leafFlag + byte;
    const Code code = byte < leafFlag && leaf != escapeLeaf ? codeOfLeaf(tree, leaf) : Code{0, 0};
    if (code.length != 0) {
        return code;
    }
    const Code escaped = codeOfLeaf(tree, escapeLeaf);
    return {escaped.bits << 8U | byte, escaped.length + 8};
}

} // namespace zelk::insight

using namespace zelk::insight;

unsigned int zelkInsightCompress(unsigned int code, char *out, int outSize, const char *in, int inLen) {
    const unsigned char *const table = contextTable(code);
    BitWriter writer(out, outSize);
    unsigned int before = 0;
    bool ended = table == nullptr;
    for (unsigned int i = 0; !ended; ++i) {
        const bool counted = inLen >= 0;
        const bool past = in == nullptr || (counted && i >= static_cast<unsigned int>(inLen));
        const unsigned int byte = past ? 0U : static_cast<unsigned char>(in[i]);
        writer.put(contextCode(table, before, byte));
        before = byte;
        ended = byte == 0;
    }
    return writer.finish();
}
