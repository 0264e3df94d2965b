// Basic blocks of the kernels, which the compiler makes call this file (-fsanitize-coverage=trace-pc): one line for
// each call. The texts are longer than those of instructions.cpp, for a kernel takes 64 bytes in a block or two.
#include "growth/counter.h"

#include <cstdint>
#include <cstdio>

const std::size_t shortestText = 3360;

namespace {

std::uint64_t blocks;

} // namespace

// The compiler's name.
extern "C" void __sanitizer_cov_trace_pc() {
    ++blocks;
}

void startCounting() {
    blocks = 0;
}

void stopCounting(const std::string &label) {
    const auto counted = static_cast<unsigned long long>(blocks);
    std::printf("%s %llu\n", label.c_str(), counted);
}
