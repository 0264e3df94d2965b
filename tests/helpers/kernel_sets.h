// Every set of kernels that this processor runs, for tests that ask each the same.
#pragma once

#include "helpers/guard_pages.h"
#include "kernels/dispatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace zelk_test {

inline std::vector<zelk::kernels::Candidate> kernelSets() {
    std::vector<zelk::kernels::Candidate> sets;
    for (const zelk::kernels::Candidate &candidate : zelk::kernels::candidates()) {
        if (candidate.isSupported()) {
            sets.push_back(candidate);
        }
    }
    return sets;
}

// How far a kernel may read after a zero that comes before its count: to the end of the aligned block of so many bytes.
#if defined(__x86_64__)
inline constexpr std::size_t readableBlock = 64;
#else
inline constexpr std::size_t readableBlock = 16;
#endif

// Units in front of an unreadable page, all of them a canary at first: an output whose stated room may be more.
template <class Unit>
class Canaries {
public:
    explicit Canaries(std::size_t most) : most_(most), pages_(most * sizeof(Unit)) {}

    // The last `count` of them, and some in front of these.
    Unit *last(std::size_t count) {
        count_ = count;
        std::fill(first(), at(0), canary);
        return at(count);
    }

    // Whether none but the first `written` have changed.
    bool areKeptAfter(std::size_t written) {
        return written <= count_ && std::all_of(first(), at(count_), isCanary) &&
               std::all_of(at(count_ - written), at(0), isCanary);
    }

private:
    static constexpr std::size_t before = 80;
    static constexpr Unit canary = static_cast<Unit>(0x5AA7);
    static bool isCanary(Unit unit) { return unit == canary; }
    Unit *at(std::size_t count) { return reinterpret_cast<Unit *>(pages_.back(count * sizeof(Unit))); }
    Unit *first() { return at(std::min(count_ + before, most_)); }

    std::size_t most_;
    std::size_t count_ = 0;
    GuardPages pages_;
};

} // namespace zelk_test
