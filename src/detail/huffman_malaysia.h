// Compressed DVB text of encoding types 5 and 6, with a bound on the output.
#pragma once

namespace zelk::detail {

// As decompressMalaysiaHuffmanTable, but writes at most `capacity` bytes (negative: no bound) and returns their number:
// the first piece or literal that does not fit whole ends the text. With a null `dst` nothing is written and the result
// is what would have been. No terminator. The result never passes the largest int.
int malaysiaDecode(unsigned int tableId, const unsigned char *src, int srcLength, unsigned char *dst,
                   long long capacity);

} // namespace zelk::detail
