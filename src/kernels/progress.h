#pragma once

#include <cstddef>

namespace zelk::kernels {

// How far a kernel came: input units consumed, output units written for them. What is left is for the plain loop, which
// knows the exact rule near the end of a buffer.
struct Progress {
    std::size_t read = 0;
    std::size_t written = 0;
};

} // namespace zelk::kernels
