#pragma once

#include <cstddef>

namespace zelk::kernels {

// How far a kernel came: input units consumed, output units written for them. What is left is for the plain loop, which
// knows the exact rule near the end of a buffer.
struct Progress {
    std::size_t read = 0;
    std::size_t written = 0;
};

// The steps that a plain loop takes before it tries the kernel again: one, to pass what stopped it, or many where the
// kernel made too little way to be worth its call.
constexpr std::size_t plainSteps(std::size_t kernelRead) {
    return kernelRead >= 64 ? 1 : 64;
}

} // namespace zelk::kernels
