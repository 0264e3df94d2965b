// Collation is an order: antisymmetric, transitive on three texts, equal to itself; and texts with a shared beginning,
// which is stepped over, sort as what follows it.
#include "fuzz.h"

namespace {

using fuzz::require;

int sign(int value) {
    return (value > 0) - (value < 0);
}

int compare(const std::string &a, const std::string &b) {
    const auto left = fuzz::terminated(a);
    const auto right = fuzz::terminated(b);
    const int result = zelkCollate(0, left.get(), right.get());
    require(sign(zelkCollate(0, right.get(), left.get())) == -sign(result), "antisymmetric");
    return sign(result);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::size_t shared = input.byte();
    const std::string a = fuzz::upToZero(input.line());
    const std::string b = fuzz::upToZero(input.line());
    const std::string c = fuzz::upToZero(input.rest());
    const int ab = compare(a, b);
    const int bc = compare(b, c);
    const int ac = compare(a, c);
    require(compare(a, a) == 0, "equal to itself");
    require(ab > 0 || bc > 0 || ac <= 0, "transitive");
    require(ab < 0 || bc < 0 || ac >= 0, "transitive the other way");
    require(ab != 0 || ac == bc, "equal texts sort alike");
    const std::string beginning(shared, 'x');
    require(compare(beginning + a, beginning + b) == ab, "a shared beginning changes nothing");
    return 0;
}
