// The sets of kernels that this build has, the best one first: what the tests walk.
#pragma once

#include "kernels/kernels.h"

#include <span>

namespace zelk::kernels {

struct Candidate {
    const char *name;
    bool (*isSupported)(); // by the processor that runs
    const Kernels *kernels;
};

std::span<const Candidate> candidates();

} // namespace zelk::kernels
