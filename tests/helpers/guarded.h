// Output buffers between guard bytes: whatever a function writes outside the size it was told is found.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

namespace zelk_test {

// `size` units for the function under test, with guards before and after; the units start as a pattern that no result
// contains by chance. check() fails the test when a guard changed; untouched() tells whether nothing was written.
template <class Unit>
class Guarded {
public:
    explicit Guarded(std::size_t size) : size_(size), units_(size + 2 * guard, pattern()) {}
    ~Guarded() { check(); }
    Guarded(const Guarded &) = delete;
    Guarded &operator=(const Guarded &) = delete;

    Unit *data() { return units_.data() + guard; }
    Unit &operator[](std::size_t index) { return units_[guard + index]; }
    std::size_t size() const { return size_; }

    void check() const {
        for (std::size_t i = 0; i < guard; ++i) {
            ASSERT_EQ(units_[i], pattern()) << "written " << guard - i << " units before the buffer";
            ASSERT_EQ(units_[guard + size_ + i], pattern()) << "written " << i << " units after the buffer";
        }
    }
    bool untouched() const {
        for (const Unit unit : units_) {
            if (unit != pattern()) {
                return false;
            }
        }
        return true;
    }

    static Unit pattern() {
        Unit unit;
        std::memset(&unit, 0xA7, sizeof unit);
        return unit;
    }

private:
    static constexpr std::size_t guard = 16;
    std::size_t size_;
    std::vector<Unit> units_;
};

} // namespace zelk_test
