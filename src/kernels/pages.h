// How far a text whose end is unknown may be read: its terminator lies in the memory page where it begins, or that page
// is read to its end.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zelk::kernels {

inline constexpr std::size_t pageBytes = 4096; // the smallest of any target

// The bytes from an address to the end of its page.
inline std::size_t bytesInPage(const void *at) {
    return pageBytes - (reinterpret_cast<std::uintptr_t>(at) & (pageBytes - 1));
}

// Whether so many bytes, a page at most, lie on the page of the first one.
inline bool areOnPage(const void *at, std::size_t count) {
    return (reinterpret_cast<std::uintptr_t>(at) & (pageBytes - 1)) <= pageBytes - count;
}

} // namespace zelk::kernels
