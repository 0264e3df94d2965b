// The streaming decoder of compressed DVB text, encoding types 1 and 2 (ETSI EN 300 468, Annex A), as functions.
#include "detail/huffman_stream.h"

void zelkInitHuffmanDecoder(HuffmanStreamState *state, unsigned int tableId) {
    zelk::detail::initHuffmanDecoder(*state, tableId);
}

unsigned short zelkHuffmanDecode(HuffmanStreamState *state, unsigned int byte) {
    return zelk::detail::decodeHuffman(*state, byte);
}
