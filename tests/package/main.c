#include <zelk.h>

int main(void) {
    return zelkUtf8CharGetEncodedLength(0x20AC) == 3 ? 0 : 1;
}
