// Substrings and filters in both widths, and bit reversal, against standard strings.
#include "fuzz.h"

#include <iterator>

namespace {

using fuzz::require;

struct Narrow {
    using Unit = char;
    static constexpr auto make = zelkNewCharPacket;
    static constexpr auto filter = zelkFilterString;
    static constexpr auto substring = zelkSubstr;
};

struct Wide {
    using Unit = unsigned short;
    static constexpr auto make = zelkNewWideCharPacket;
    static constexpr auto filter = zelkFilterWideString;
    static constexpr auto substring = zelkWideSubstr;
};

template <class Unit>
bool isControl(Unit unit) {
    const auto code = static_cast<std::make_unsigned_t<Unit>>(unit);
    return code < 0x20 || (code >= 0x80 && code < 0xA0);
}

template <class Twin, class Text>
void check(const Text &text, const Text &replacement, int small, unsigned int start, unsigned int count) {
    using Unit = typename Twin::Unit;
    const auto in = fuzz::terminated<Unit>(text);
    Text clean;
    std::copy_if(text.begin(), text.end(), std::back_inserter(clean),
                 [](auto unit) { return !isControl(static_cast<Unit>(unit)); });
    for (const int size : {small, static_cast<int>(text.size()) + 2}) {
        fuzz::Output<Unit> out(size);
        require(out.text(Twin::filter(out.data(), size, in.get(), nullptr)) == fuzz::cut(clean, size), "filtered");
    }
    auto *packet = Twin::make(0, in.get());
    const bool reached = start <= text.size();
    auto *stretch = Twin::substring(packet, start, count, nullptr);
    require((stretch != nullptr) == reached, "a start after the text gives nothing");
    require(!reached || fuzz::take(stretch) == text.substr(start, count), "a stretch");
    const auto with = fuzz::terminated<Unit>(replacement);
    auto *replaced = Twin::substring(packet, start, count, with.get());
    require((replaced != nullptr) == reached, "nor is there anything to replace");
    require(!reached || fuzz::take(replaced) == Text(text).replace(start, count, replacement), "a stretch replaced");
    std::free(packet);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int small = input.size();
    const unsigned int start = input.byte() % 64;
    const unsigned int count = input.byte();
    const std::string replacement = fuzz::upToZero(input.line());
    const std::string text = fuzz::upToZero(input.rest());
    check<Narrow>(text, replacement, small, start, count);
    check<Wide>(fuzz::upToZero(fuzz::unitsOf(text)), fuzz::upToZero(fuzz::unitsOf(replacement)), small, start, count);

    const auto bits = fuzz::block<unsigned char>(text);
    const auto before = fuzz::block<unsigned char>(text);
    const auto length = static_cast<int>(text.size());
    for (int twice = 0; twice < 2; ++twice) {
        require(zelk_bitsRevertSequence(bits.get(), bits.get(), length) == length, "all bytes are reverted");
    }
    require(std::equal(bits.get(), bits.get() + length, before.get()), "bits reverted twice are as before");
    return 0;
}
