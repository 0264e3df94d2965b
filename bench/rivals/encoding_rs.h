// encoding_rs: its decoders of single-byte sets, and its functions between UTF-8 and UTF-16.
#pragma once

#include "harness.h"

#if defined(BENCH_HAS_ENCODING_RS)
#include <stdexcept>

// By bench/rivals/crates/src/lib.rs.
extern "C" {
struct RivalEncoding;
const RivalEncoding *rivalEncoding(const char *label, std::size_t length);
std::size_t rivalDecodeToUtf8(const RivalEncoding *encoding, const char *in, std::size_t length, char *out,
                              std::size_t room);
std::size_t rivalDecodeToUtf16(const RivalEncoding *encoding, const char *in, std::size_t length, unsigned short *out,
                               std::size_t room);
std::size_t rivalUtf16ToUtf8(const unsigned short *in, std::size_t length, char *out, std::size_t room);
std::size_t rivalUtf8ToUtf16(const char *in, std::size_t length, unsigned short *out, std::size_t room);
std::size_t rivalUtf8ValidUpTo(const char *in, std::size_t length);
}
#endif

namespace zelk_bench {

#if defined(BENCH_HAS_ENCODING_RS)
inline const RivalEncoding *encodingNamed(const std::string &coding) {
    const RivalEncoding *const encoding = rivalEncoding(coding.data(), coding.size());
    if (encoding == nullptr) {
        throw std::runtime_error("encoding_rs does not know " + coding);
    }
    return encoding;
}

inline void addEncodingRsToUtf8(Conversion<char, char> &conversion, const std::string &coding) {
    conversion.rival("encoding_rs",
                     [encoding = encodingNamed(coding)](std::span<const char> text, char *out, std::size_t room) {
                         return rivalDecodeToUtf8(encoding, text.data(), text.size(), out, room);
                     });
}

inline void addEncodingRsToUcs2(Conversion<char, unsigned short> &conversion, const std::string &coding) {
    conversion.rival("encoding_rs", [encoding = encodingNamed(coding)](std::span<const char> text, unsigned short *out,
                                                                       std::size_t room) {
        return rivalDecodeToUtf16(encoding, text.data(), text.size(), out, room);
    });
}

inline void addEncodingRs(Conversion<unsigned short, char> &conversion) {
    conversion.rival("encoding_rs", [](std::span<const unsigned short> text, char *out, std::size_t room) {
        return rivalUtf16ToUtf8(text.data(), text.size(), out, room);
    });
}

inline void addEncodingRs(Conversion<char, unsigned short> &conversion) {
    conversion.rival("encoding_rs", [](std::span<const char> text, unsigned short *out, std::size_t room) {
        return rivalUtf8ToUtf16(text.data(), text.size(), out, room);
    });
}

inline void addEncodingRsValidity(Cell &cell, const Texts<char> &texts) {
    cell.rival("encoding_rs", texts.size(), [&texts](std::size_t i) {
        return rivalUtf8ValidUpTo(texts[i].data(), texts[i].size()) == texts[i].size() ? 1 : 0;
    });
}
#else
inline void addEncodingRsToUtf8(Conversion<char, char> &, const std::string &) {}
inline void addEncodingRsToUcs2(Conversion<char, unsigned short> &, const std::string &) {}
inline void addEncodingRs(Conversion<unsigned short, char> &) {}
inline void addEncodingRs(Conversion<char, unsigned short> &) {}
inline void addEncodingRsValidity(Cell &, const Texts<char> &) {}
#endif

} // namespace zelk_bench
