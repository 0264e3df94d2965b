// ICU: converters that are kept open, and its functions between UTF-8 and UTF-16.
#pragma once

#include "harness.h"

#if defined(BENCH_HAS_ICU)

#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <memory>
#include <stdexcept>

namespace zelk_bench {

using IcuConverter = std::shared_ptr<UConverter>;

inline IcuConverter openIcu(const std::string &name) {
    UErrorCode error = U_ZERO_ERROR;
    IcuConverter converter(ucnv_open(name.c_str(), &error), ucnv_close);
    if (U_FAILURE(error)) {
        throw std::runtime_error("ICU has no converter " + name);
    }
    return converter;
}

inline UChar *asUChars(unsigned short *units) {
    return reinterpret_cast<UChar *>(units);
}

inline const UChar *asUChars(const unsigned short *units) {
    return reinterpret_cast<const UChar *>(units);
}

// From `coding` to UTF-8: in one call, and in two by way of UTF-16.
inline void addIcuToUtf8(Conversion<char, char> &conversion, const std::string &coding) {
    conversion.rival("ICU ucnv_convertEx", [from = openIcu(coding), to = openIcu("UTF-8")](
                                               std::span<const char> text, char *out, std::size_t room) {
        UErrorCode error = U_ZERO_ERROR;
        UChar pivot[1024];
        UChar *pivotRead = pivot;
        UChar *pivotWrite = pivot;
        const char *in = text.data();
        char *at = out;
        ucnv_convertEx(to.get(), from.get(), &at, out + room, &in, in + text.size(), pivot, &pivotRead, &pivotWrite,
                       pivot + std::size(pivot), 1, 1, &error);
        return static_cast<std::size_t>(at - out);
    });
    conversion.rival(
        "ICU ucnv_toUChars, u_strToUTF8", [from = openIcu(coding), units = std::vector<UChar>(65536 + 64)](
                                              std::span<const char> text, char *out, std::size_t room) mutable {
            UErrorCode error = U_ZERO_ERROR;
            const std::int32_t length = ucnv_toUChars(from.get(), units.data(), static_cast<std::int32_t>(units.size()),
                                                      text.data(), static_cast<std::int32_t>(text.size()), &error);
            std::int32_t written = 0;
            u_strToUTF8(out, static_cast<std::int32_t>(room), &written, units.data(), length, &error);
            return static_cast<std::size_t>(written);
        });
}

inline void addIcuToUcs2(Conversion<char, unsigned short> &conversion, const std::string &coding) {
    conversion.rival("ICU ucnv_toUChars", [from = openIcu(coding)](std::span<const char> text, unsigned short *out,
                                                                   std::size_t room) {
        UErrorCode error = U_ZERO_ERROR;
        return static_cast<std::size_t>(ucnv_toUChars(from.get(), asUChars(out), static_cast<std::int32_t>(room),
                                                      text.data(), static_cast<std::int32_t>(text.size()), &error));
    });
}

// Between UTF-8 and UTF-16 in native byte order.
inline void addIcuUtf(Conversion<unsigned short, char> &conversion) {
    conversion.rival("ICU u_strToUTF8", [](std::span<const unsigned short> text, char *out, std::size_t room) {
        UErrorCode error = U_ZERO_ERROR;
        std::int32_t written = 0;
        u_strToUTF8(out, static_cast<std::int32_t>(room), &written, asUChars(text.data()),
                    static_cast<std::int32_t>(text.size()), &error);
        return static_cast<std::size_t>(written);
    });
}

inline void addIcuUtf(Conversion<char, unsigned short> &conversion) {
    conversion.rival("ICU u_strFromUTF8", [](std::span<const char> text, unsigned short *out, std::size_t room) {
        UErrorCode error = U_ZERO_ERROR;
        std::int32_t written = 0;
        u_strFromUTF8(asUChars(out), static_cast<std::int32_t>(room), &written, text.data(),
                      static_cast<std::int32_t>(text.size()), &error);
        return static_cast<std::size_t>(written);
    });
}

// Counts units by converting into no room.
inline void addIcuWidth(Cell &cell, const Texts<char> &texts) {
    cell.rival("ICU u_strFromUTF8", texts.size(), [&texts](std::size_t i) {
        UErrorCode error = U_ZERO_ERROR;
        std::int32_t units = 0;
        u_strFromUTF8(nullptr, 0, &units, texts[i].data(), static_cast<std::int32_t>(texts[i].size()), &error);
        return units;
    });
}

} // namespace zelk_bench

#else

namespace zelk_bench {

inline void addIcuToUtf8(Conversion<char, char> &, const std::string &) {}
inline void addIcuToUcs2(Conversion<char, unsigned short> &, const std::string &) {}
inline void addIcuUtf(Conversion<unsigned short, char> &) {}
inline void addIcuUtf(Conversion<char, unsigned short> &) {}
inline void addIcuWidth(Cell &, const Texts<char> &) {}

} // namespace zelk_bench

#endif
