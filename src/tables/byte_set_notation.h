// How the definitions of the single-byte sets are written, so that a person can lay them beside the published tables: a
// grid of code points, sixteen a row; or a known set and the positions where the new one differs from it.
#pragma once

#include "tables/byte_sets.h"

#include <initializer_list>
#include <string_view>

namespace zelk::tables {

struct Position {
    std::uint8_t byte;
    std::uint16_t codePoint;
};

// Consecutive bytes, `first` and `last` included, with consecutive code points from `codePoint` on.
struct Run {
    std::uint8_t first;
    std::uint8_t last;
    std::uint16_t codePoint;
};

// Every byte is its own code point, that of U+0000 to U+00FF: ISO 8859-1 and the lower part of most other sets.
inline constexpr CodePoints identity = []() {
    CodePoints set{};
    for (unsigned int byte = 0; byte < set.size(); ++byte) {
        set[byte] = static_cast<std::uint16_t>(byte);
    }
    return set;
}();

consteval CodePoints with(CodePoints set, std::initializer_list<Run> runs) {
    for (const Run &run : runs) {
        for (unsigned int byte = run.first; byte <= run.last; ++byte) {
            set[byte] = static_cast<std::uint16_t>(run.codePoint + byte - run.first);
        }
    }
    return set;
}

consteval CodePoints except(CodePoints set, std::initializer_list<Position> positions) {
    for (const Position &position : positions) {
        set[position.byte] = position.codePoint;
    }
    return set;
}

consteval CodePoints withoutAny(CodePoints set, unsigned int first, unsigned int last) {
    for (unsigned int byte = first; byte <= last; ++byte) {
        set[byte] = unassigned;
    }
    return set;
}

consteval std::uint16_t codePointOf(std::string_view cell) {
    if (cell == "----") {
        return unassigned;
    }
    std::size_t codePoint = 0;
    for (const char character : cell) {
        const std::size_t digit = std::string_view("0123456789ABCDEF").find(character);
        if (digit == std::string_view::npos) {
            throw "a cell is four hexadecimal digits or ----";
        }
        codePoint = codePoint << 4U | digit;
    }
    return static_cast<std::uint16_t>(codePoint);
}

// The bytes from `first` on by a grid: rows of sixteen hexadecimal code points with one blank between two, "----" where
// the set assigns nothing. Text that is no such grid does not compile.
consteval CodePoints withGrid(CodePoints set, unsigned int first, std::string_view grid) {
    constexpr std::size_t digits = 4;
    constexpr std::size_t stride = digits + 1;
    if ((grid.size() + 1) % (16 * stride) != 0) {
        throw "a grid is made of rows of sixteen cells";
    }
    for (std::size_t at = 0; at < grid.size(); at += stride) {
        if (at != 0 && grid[at - 1] != ' ') {
            throw "cells are separated by one blank";
        }
        set.at(first + at / stride) = codePointOf(grid.substr(at, digits));
    }
    return set;
}

// For the checks below each definition.

constexpr unsigned int unassignedCount(const CodePoints &set) {
    unsigned int count = 0;
    for (const std::uint16_t codePoint : set) {
        count += codePoint == unassigned ? 1U : 0U;
    }
    return count;
}

constexpr unsigned int differences(const CodePoints &set, const CodePoints &other) {
    unsigned int count = 0;
    for (unsigned int byte = 0; byte < set.size(); ++byte) {
        count += set[byte] != other[byte] ? 1U : 0U;
    }
    return count;
}

constexpr bool isRun(const CodePoints &set, const Run &run) {
    for (unsigned int byte = run.first; byte <= run.last; ++byte) {
        if (set[byte] != run.codePoint + byte - run.first) {
            return false;
        }
    }
    return true;
}

constexpr bool onlyPosition0HoldsZero(const CodePoints &set) {
    for (unsigned int byte = 1; byte < set.size(); ++byte) {
        if (set[byte] == 0) {
            return false;
        }
    }
    return set[0] == 0;
}

constexpr bool areUnassigned(const CodePoints &set, std::initializer_list<std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes) {
        if (set[byte] != unassigned) {
            return false;
        }
    }
    return unassignedCount(set) == bytes.size();
}

} // namespace zelk::tables
