// libzelk-arrow from C++17: the header by itself, warnings as errors.
#include "zelk_arrow.h"

#include <type_traits>

static_assert(std::is_standard_layout_v<zelkArrowDecodeSettings> && std::is_trivial_v<zelkArrowDecodeSettings>);
static_assert(std::is_same_v<std::underlying_type_t<zelkArrowStatus>, int>);
static_assert(sizeof(ArrowArray) == 80 || sizeof(void *) != 8, "the layout of the published interface");

int main() {
    ArrowSchema schema{};
    schema.format = "z";
    const ArrowArray empty{};
    ArrowSchema outSchema;
    ArrowArray out;
    if (zelkArrowDecode(nullptr, &schema, &empty, &outSchema, &out) != ZelkArrowDone) {
        return 1;
    }
    out.release(&out);
    outSchema.release(&outSchema);
    return 0;
}
