// Calls every function of the two C interfaces with random strings, sizes and settings, and gives what came out as one
// number for each string. The same source is a native program and a module beside zelk.wasm: two libraries that give
// the same numbers do the same. One compiler makes both programs: the order of the random numbers in arguments is its
// own.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The tables of <zelk.h>, which a module cannot refer to by name. */
typedef struct DifferentialTables {
    const unsigned char *bitReversal;
    const unsigned char *dvb1;
    const unsigned char *dvb2;
    const unsigned char *title;
    const unsigned char *description;
} DifferentialTables;

/** The families, and the name of each; null after the last. */
const char *differentialFamily(unsigned int family);

/** What the `count` strings from number `first` on give in one family. */
uint64_t differentialRun(const DifferentialTables *tables, unsigned int family, unsigned int first, unsigned int count);

#ifdef __cplusplus
}
#endif
