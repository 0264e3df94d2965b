// What every set of kernels is compiled with. A set is one source file: it names itself (ZELK_KERNEL_SET), includes
// what every target may use, and between ZELK_TARGET_BEGIN and ZELK_TARGET_END the files of its kernels, all of whose
// functions are then of its instruction set and in its namespace.
#pragma once

#include "kernels/kernels.h"
#include "kernels/target.h"
#include "tables/byte_set_planes.h"
#include "tables/dvb_marks.h"
#include "tables/kept_units.h"
#include "tables/unit_shuffles.h"
#include "tables/xml.h"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <utility>

// A stage of a conversion: a function of its own, so that the registers that it saves do not burden the others.
#define ZELK_STAGE [[gnu::noinline, maybe_unused]] static

// A small operation that becomes part of whatever uses it.
#define ZELK_OPERATION [[gnu::always_inline, maybe_unused]] static inline

namespace zelk::kernels {

// The lesser of two numbers without a branch: of std::min() compilers make one, which lengths of texts mislead.
template <class Number>
[[gnu::always_inline]] inline Number lesserOf(Number a, Number b) {
    return __builtin_expect_with_probability(a < b ? 1 : 0, 1, 0.5) != 0 ? a : b;
}

} // namespace zelk::kernels
