// The functions of clean.h with AVX-512, 64 bytes at a time: libmurn-zelk decodes with it, and what is done besides
// must not take longer than that. Nothing is here where no processor has it, or where the build asks for what others
// run.
#pragma once

#if defined(__x86_64__) && defined(__gnu_linux__) && !defined(ZELK_INSIGHT_PORTABLE)
#define ZELK_INSIGHT_AVX512 1

#include "clean.h"

#include "tables/dvb_tables.h"

#include <cstddef>

namespace zelk::insight::avx512 {

inline bool isSupported() {
    // Of two ways a processor takes one; the tests of the portable functions take the other.
    return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi"); // GCOVR_EXCL_BR_LINE
}

// As in clean.h.
Bytes kindOf(const unsigned char *bytes, std::size_t count);
Bytes copyAscii(char *out, const unsigned char *bytes, std::size_t count, tables::DvbTable table);
bool copyUtf8(char *out, const unsigned char *bytes, std::size_t count);
bool copyTwoByteAscii(char *out, const unsigned char *bytes, std::size_t count);
bool isPlainTwoByte(const unsigned char *bytes, std::size_t count);
bool isWholeTableText(const unsigned char *bytes, std::size_t count, const char *text, std::size_t length, bool marks);
bool isWholeText(const char *text, std::size_t length, std::size_t characters);
bool hasRare(const char *text, std::size_t count);
bool copyUsualUtf8(char *out, const unsigned char *bytes, std::size_t count);

// Of a string in a table of bytes: Ascii, which is copied, Whole, or Unknown.
Bytes copyIfAscii(char *out, const unsigned char *bytes, std::size_t count, tables::DvbTable table);

// Of two-byte text, at least one character: Ascii, which is copied, Whole, or Other where that is not known.
Bytes copyTwoByte(char *out, const unsigned char *bytes, std::size_t count);

} // namespace zelk::insight::avx512
#endif
