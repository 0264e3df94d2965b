// How a family goes on after a kernel.
#pragma once

#include <cstddef>

namespace zelk::detail {

// The steps by the exact rule before the kernel is tried again: one, to pass what stopped it, or many where it made too
// little way to be worth its call.
constexpr std::size_t plainSteps(std::size_t kernelRead) {
    return kernelRead >= 64 ? 1 : 64;
}

} // namespace zelk::detail
