// libzelk-insight from C++17: the header by itself, warnings as errors.
#include "zelk_insight.h"

#include <type_traits>

static_assert(std::is_standard_layout_v<zelkInsightEvidence> && std::is_trivial_v<zelkInsightEvidence>);
static_assert(std::is_same_v<std::underlying_type_t<zelkInsightKind>, int>);

int main() {
    char text[8];
    return zelkInsightDecode(nullptr, text, sizeof text, "A", 1, nullptr) == 1 ? 0 : 1;
}
