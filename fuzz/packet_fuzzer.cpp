// Packets and their joins in both widths against standard strings.
#include "fuzz.h"

namespace {

using fuzz::require;

struct Narrow {
    using Unit = char;
    static constexpr auto make = zelkNewCharPacket;
    static constexpr auto cons = [](auto... texts) { return zelkConsCharPacket(texts...); };
    static constexpr auto cat = [](auto... packets) { return zelkCatCharPackets(packets...); };
};

struct Wide {
    using Unit = unsigned short;
    static constexpr auto make = zelkNewWideCharPacket;
    static constexpr auto cons = [](auto... texts) { return zelkConsWideCharPacket(texts...); };
    static constexpr auto cat = [](auto... packets) { return zelkCatWideCharPackets(packets...); };
};

template <class Twin, class Text>
void check(const Text &first, const Text &second, unsigned short room) {
    using Unit = typename Twin::Unit;
    const auto a = fuzz::terminated<Unit>(first);
    const auto b = fuzz::terminated<Unit>(second);
    const Unit *none = nullptr;
    require(fuzz::take(Twin::make(0, a.get())) == first, "a packet sized to its text");
    require(room == 0 || fuzz::take(Twin::make(room, a.get())) == first.substr(0, room), "a packet of a size");
    require(fuzz::take(Twin::make(room, nullptr)).empty(), "an empty packet");
    require(fuzz::take(Twin::cons(a.get(), b.get(), a.get(), none)) == first + second + first, "joined texts");
    require(fuzz::take(Twin::cons(b.get(), none)) == second, "a text alone");

    auto *left = Twin::make(0, a.get());
    auto *right = Twin::make(0, b.get());
    const decltype(left) end = nullptr;
    if (left->length > 0) { // a zero inside a packet is text
        left->chars[left->length / 2] = 0;
    }
    Text holed = first;
    if (!holed.empty()) {
        holed[holed.size() / 2] = 0;
    }
    require(fuzz::take(Twin::cat(left, right, left, end)) == holed + second + holed, "joined packets");
    require(fuzz::take(Twin::cat(right, end)) == second, "a packet alone");
    std::free(left);
    std::free(right);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const auto room = static_cast<unsigned short>(input.byte());
    const std::string first = fuzz::upToZero(input.line());
    const std::string second = fuzz::upToZero(input.rest());
    check<Narrow>(first, second, room);
    check<Wide>(fuzz::upToZero(fuzz::unitsOf(first)), fuzz::upToZero(fuzz::unitsOf(second)), room);
    return 0;
}
