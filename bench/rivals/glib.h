// GLib: its functions on UTF-8.
#pragma once

#include "harness.h"

#if defined(BENCH_HAS_GLIB)
#include <glib.h>
#endif

namespace zelk_bench {

#if defined(BENCH_HAS_GLIB)
inline void addGlibValidity(Cell &cell, const Texts<char> &texts) {
    cell.rival("GLib g_utf8_validate", texts.size(), [&texts](std::size_t i) {
        return g_utf8_validate_len(texts[i].data(), texts[i].size(), nullptr) ? 1 : 0;
    });
}

inline void addGlibWidth(Cell &cell, const Texts<char> &texts) {
    cell.rival("GLib g_utf8_strlen", texts.size(), [&texts](std::size_t i) {
        return g_utf8_strlen(texts[i].data(), static_cast<gssize>(texts[i].size()));
    });
}
#else
inline void addGlibValidity(Cell &, const Texts<char> &) {}
inline void addGlibWidth(Cell &, const Texts<char> &) {}
#endif

} // namespace zelk_bench
