// simdutf, in each of its implementations that the processor runs: a receiver's processor may lack the best of them, so
// that a build of ours is compared with those that need no more than it does. Outputs are as large as it asks for.
#pragma once

#include "harness.h"

#if defined(BENCH_HAS_SIMDUTF)
#include <simdutf.h>
#endif

namespace zelk_bench {

#if defined(BENCH_HAS_SIMDUTF)
// `add(name, implementation)`
template <class Add>
void forEachSimdutf(Add add) {
    for (const simdutf::implementation *implementation : simdutf::get_available_implementations()) {
        if (implementation->supported_by_runtime_system()) {
            add("simdutf " + implementation->name(), implementation);
        }
    }
}

inline char16_t *asChar16(unsigned short *units) {
    return reinterpret_cast<char16_t *>(units);
}

inline const char16_t *asChar16(const void *units) {
    return static_cast<const char16_t *>(units);
}

constexpr bool littleEndian = std::endian::native == std::endian::little;

inline void addSimdutf(Conversion<unsigned short, char> &conversion) {
    forEachSimdutf([&](const std::string &name, const auto *implementation) {
        conversion.rival(name, [implementation](std::span<const unsigned short> text, char *out, std::size_t) {
            return littleEndian ? implementation->convert_utf16le_to_utf8(asChar16(text.data()), text.size(), out)
                                : implementation->convert_utf16be_to_utf8(asChar16(text.data()), text.size(), out);
        });
    });
}

inline void addSimdutfBytePairs(Conversion<char, char> &conversion, bool highFirst) {
    forEachSimdutf([&](const std::string &name, const auto *implementation) {
        conversion.rival(name, [implementation, highFirst](std::span<const char> text, char *out, std::size_t) {
            return highFirst ? implementation->convert_utf16be_to_utf8(asChar16(text.data()), text.size() / 2, out)
                             : implementation->convert_utf16le_to_utf8(asChar16(text.data()), text.size() / 2, out);
        });
    });
}

inline void addSimdutf(Conversion<char, unsigned short> &conversion) {
    forEachSimdutf([&](const std::string &name, const auto *implementation) {
        conversion.rival(name, [implementation](std::span<const char> text, unsigned short *out, std::size_t) {
            return littleEndian ? implementation->convert_utf8_to_utf16le(text.data(), text.size(), asChar16(out))
                                : implementation->convert_utf8_to_utf16be(text.data(), text.size(), asChar16(out));
        });
    });
}

inline void addSimdutfLatin1(Conversion<char, char> &conversion) {
    forEachSimdutf([&](const std::string &name, const auto *implementation) {
        conversion.rival(name, [implementation](std::span<const char> text, char *out, std::size_t) {
            return implementation->convert_latin1_to_utf8(text.data(), text.size(), out);
        });
    });
}

inline void addSimdutfLatin1(Conversion<char, unsigned short> &conversion) {
    forEachSimdutf([&](const std::string &name, const auto *implementation) {
        conversion.rival(name, [implementation](std::span<const char> text, unsigned short *out, std::size_t) {
            return littleEndian ? implementation->convert_latin1_to_utf16le(text.data(), text.size(), asChar16(out))
                                : implementation->convert_latin1_to_utf16be(text.data(), text.size(), asChar16(out));
        });
    });
}

inline void addSimdutfValidity(Cell &cell, const Texts<char> &texts) {
    forEachSimdutf([&](const std::string &name, const auto *implementation) {
        cell.rival(name, texts.size(), [&texts, implementation](std::size_t i) {
            return implementation->validate_utf8(texts[i].data(), texts[i].size()) ? 1 : 0;
        });
    });
}

inline void addSimdutfWidth(Cell &cell, const Texts<char> &texts) {
    forEachSimdutf([&](const std::string &name, const auto *implementation) {
        cell.rival(name, texts.size(), [&texts, implementation](std::size_t i) {
            return implementation->utf16_length_from_utf8(texts[i].data(), texts[i].size());
        });
    });
}
#else
inline void addSimdutf(Conversion<unsigned short, char> &) {}
inline void addSimdutf(Conversion<char, unsigned short> &) {}
inline void addSimdutfBytePairs(Conversion<char, char> &, bool) {}
inline void addSimdutfLatin1(Conversion<char, char> &) {}
inline void addSimdutfLatin1(Conversion<char, unsigned short> &) {}
inline void addSimdutfValidity(Cell &, const Texts<char> &) {}
inline void addSimdutfWidth(Cell &, const Texts<char> &) {}
#endif

} // namespace zelk_bench
