// A value for every code point from 0 up, in pages: equal pages are stored once, so that long stretches without
// anything of their own cost one byte per page.
//
//     value = pages[pageOf[code / pageSize] * pageSize + code % pageSize]
//
// Pages stand in the order of their first use. Page numbers instead of pointers: no relocation.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zelk::tables {

template <class Value, std::size_t pageSize, std::size_t pageCount, std::size_t distinctPages>
struct PageTable {
    static_assert(distinctPages <= 256, "a page number is one byte");

    std::array<std::uint8_t, pageCount> pageOf;
    std::array<Value, distinctPages * pageSize> pages;

    // `code` is below pageCount * pageSize.
    constexpr Value operator[](unsigned int code) const {
        return pages[pageOf[code / pageSize] * pageSize + code % pageSize];
    }
};

// For each page the earliest one with the same values, itself if there is none before.
template <std::size_t pageSize, class Value, std::size_t size>
consteval auto firstLike(const std::array<Value, size> &values) {
    static_assert(size % pageSize == 0);
    std::array<std::size_t, size / pageSize> result{};
    for (std::size_t page = 0; page < result.size(); ++page) {
        std::size_t earlier = 0;
        const auto equal = [&] {
            std::size_t i = 0;
            while (i < pageSize && values[earlier * pageSize + i] == values[page * pageSize + i]) {
                ++i;
            }
            return i == pageSize;
        };
        while (!equal()) {
            ++earlier;
        }
        result[page] = earlier;
    }
    return result;
}

template <std::size_t pageCount>
consteval std::size_t countDistinct(const std::array<std::size_t, pageCount> &twins) {
    std::size_t count = 0;
    for (std::size_t page = 0; page < pageCount; ++page) {
        count += twins[page] == page ? 1 : 0;
    }
    return count;
}

// Stores in pages what the lambda `expand` yields: an array with a value for each code point.
template <std::size_t pageSize, auto expand>
consteval auto inPages() {
    constexpr auto values = expand();
    constexpr auto twins = firstLike<pageSize>(values);
    constexpr std::size_t pageCount = twins.size();

    PageTable<typename decltype(values)::value_type, pageSize, pageCount, countDistinct(twins)> table{};
    std::size_t stored = 0;
    for (std::size_t page = 0; page < pageCount; ++page) {
        if (twins[page] != page) {
            table.pageOf[page] = table.pageOf[twins[page]];
            continue;
        }
        table.pageOf[page] = static_cast<std::uint8_t>(stored);
        for (std::size_t i = 0; i < pageSize; ++i) {
            table.pages[stored * pageSize + i] = values[page * pageSize + i];
        }
        ++stored;
    }
    return table;
}

} // namespace zelk::tables
