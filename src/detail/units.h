// The three layouts of UCS-2 text. Native units are read through a plain pointer; byte pairs, which may lie at any
// address, through a BytePairs that is used like one: one loop then serves all three.
#pragma once

#include <cstddef>

namespace zelk::detail {

enum class FirstByte { High, Low };

template <FirstByte order>
class BytePairs {
public:
    explicit constexpr BytePairs(const unsigned char *bytes) : at_(bytes) {}

    constexpr unsigned int operator*() const {
        constexpr std::size_t high = order == FirstByte::High ? 0 : 1;
        return static_cast<unsigned int>(at_[high]) << 8U | at_[1 - high];
    }
    constexpr BytePairs &operator++() {
        at_ += 2;
        return *this;
    }
    constexpr BytePairs &operator+=(std::size_t units) {
        at_ += 2 * units;
        return *this;
    }
    constexpr const unsigned char *bytes() const { return at_; }
    friend constexpr bool operator==(BytePairs units, std::nullptr_t) { return units.at_ == nullptr; }

private:
    const unsigned char *at_;
};

using HighByteFirst = BytePairs<FirstByte::High>;
using LowByteFirst = BytePairs<FirstByte::Low>;

} // namespace zelk::detail
