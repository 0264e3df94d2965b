// The buffers of the classes' results: on the stack where they are short, on the heap where they are not.
#include "detail/wrap.h"

#include <memory>

namespace zelk::detail {

// A text of 1 KiB, three bytes for each of it, and a terminator: bounds count so.
static constexpr std::size_t bytesOnStack = 3 * 1024 + 8;

template <class Unit>
std::string filledBy(std::size_t size, std::size_t extraBytes, FillScratch<Unit> *fill, const void *context) {
    constexpr std::size_t stackUnits = bytesOnStack / sizeof(Unit);
    Unit onStack[stackUnits];
    std::unique_ptr<Unit[]> onHeap;
    if (size > stackUnits) {
        onHeap.reset(new Unit[size]);
    }
    Unit *buffer = onHeap ? onHeap.get() : onStack;
    const std::size_t count = fill(context, buffer);
    return std::string(reinterpret_cast<const char *>(buffer), count * sizeof(Unit) + extraBytes);
}

template std::string filledBy(std::size_t, std::size_t, FillScratch<char> *, const void *);
template std::string filledBy(std::size_t, std::size_t, FillScratch<unsigned char> *, const void *);
template std::string filledBy(std::size_t, std::size_t, FillScratch<unsigned short> *, const void *);

} // namespace zelk::detail
