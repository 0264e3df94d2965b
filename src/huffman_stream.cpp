// The streaming decoder of compressed DVB text, encoding types 1 and 2 (ETSI EN 300 468, Annex A): one byte in, at most
// one character out.
#include "detail/huffman_stream.h"
#include "detail/context_tree.h"
#include "zelk.h"

namespace zelk::detail {
namespace {

// HuffmanStreamState::mode; what `value` holds depends on it.
constexpr int huffmanUnusable = -1;
constexpr int huffmanAtStart = 0;   // value: the context, 0
constexpr int huffmanInCode = 1;    // value: table offset of the node where the code goes on
constexpr int huffmanBetween = 2;   // value: the context
constexpr int huffmanInLiteral = 3; // value: the byte that holds the first bits of the literal, or noByteYet

constexpr unsigned short noByteYet = 0xFFFF;

void initHuffmanDecoder(HuffmanStreamState &state, unsigned int tableId) {
    state.mode = huffmanAtStart;
    state.value = 0;
    if (tableId == 1) {
        state.table = HuffmanDecodeTable_1;
    } else if (tableId == 2) {
        state.table = HuffmanDecodeTable_2;
    } else {
        state.mode = huffmanUnusable;
    }
}

// A character of 0x80 or more has no tree: a plain literal of the same alignment follows. Its first bits are in the
// byte that the caller offers once more.
unsigned short decodeHuffmanLiteral(HuffmanStreamState &state, unsigned int byte) {
    if (state.value == noByteYet) {
        state.value = static_cast<unsigned short>(byte);
        return nextByteWanted;
    }
    const unsigned int bothBytes = static_cast<unsigned int>(state.value) << 8U | byte;
    const auto bitsOfFirst = static_cast<unsigned int>(state.bitIndex + 1);
    const auto literal = static_cast<unsigned short>(bothBytes >> bitsOfFirst & 0xFFU);
    if (literal >= firstWithoutTree) {
        state.value = noByteYet;
        return literal;
    }
    state.mode = huffmanBetween;
    state.value = literal;
    return literal == 0 ? textEnded : literal;
}

unsigned short decodeHuffman(HuffmanStreamState &state, unsigned int byte) {
    if (byte > 0xFF) {
        return nextByteWanted;
    }
    if (state.mode < huffmanAtStart || state.mode > huffmanInLiteral) {
        return textEnded;
    }
    if (state.mode == huffmanInLiteral) {
        return decodeHuffmanLiteral(state, byte);
    }
    if (state.mode == huffmanAtStart) {
        state.bitIndex = 7;
    } else if (state.bitIndex < 0) {
        state.bitIndex = 7;
        return nextByteWanted;
    }
    unsigned int node = state.value;
    if (state.mode != huffmanInCode) {
        node = treeAfter(state.table, state.value);
        state.treeOffset = static_cast<unsigned short>(node);
    }
    const unsigned int step = walkTree(state.table, state.treeOffset, node, byte, state.bitIndex);
    if (step < leafFlag) {
        state.mode = huffmanInCode;
        state.value = static_cast<unsigned short>(node);
        state.bitIndex = 7;
        return nextByteWanted;
    }
    if (step == escapeLeaf) {
        state.mode = huffmanInLiteral;
        state.value = static_cast<unsigned short>(byte);
        return nextByteWanted;
    }
    state.mode = huffmanBetween;
    state.value = static_cast<unsigned short>(step - leafFlag);
    return state.value == 0 ? textEnded : state.value;
}

} // namespace
} // namespace zelk::detail

void zelkInitHuffmanDecoder(HuffmanStreamState *state, unsigned int tableId) {
    zelk::detail::initHuffmanDecoder(*state, tableId);
}

unsigned short zelkHuffmanDecode(HuffmanStreamState *state, unsigned int byte) {
    return zelk::detail::decodeHuffman(*state, byte);
}
