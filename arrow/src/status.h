// How a call ends early: inside, by an exception that the outermost function turns into its status.
#pragma once

#include "zelk_arrow.h"

#include <new>

namespace zelk::arrow {

struct Failure {
    zelkArrowStatus status;
};

[[noreturn]] inline void fail(zelkArrowStatus status) {
    throw Failure{status};
}

template <class Work>
zelkArrowStatus statusOf(Work work) noexcept {
    try {
        work();
        return ZelkArrowDone;
    } catch (const Failure &failure) {
        return failure.status;
    } catch (const std::bad_alloc &) {
        return ZelkArrowNoMemory;
    }
}

} // namespace zelk::arrow
