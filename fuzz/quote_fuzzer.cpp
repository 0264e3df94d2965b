// Quoted sections in both widths against one loop over the text.
#include "fuzz.h"

namespace {

using fuzz::require;

struct Narrow {
    using Unit = char;
    static constexpr auto make = zelkNewCharPacket;
    static constexpr auto length = zelkGetQuotedLength;
    static constexpr auto copy = zelkCopyQuoted;
    static constexpr auto remove = zelkRemoveQuotesFromString;
    static constexpr auto quoted = zelkGetQuoted;
};

struct Wide {
    using Unit = unsigned short;
    static constexpr auto make = zelkNewWideCharPacket;
    static constexpr auto length = zelkGetWideQuotedLength;
    static constexpr auto copy = zelkCopyWideQuoted;
    static constexpr auto remove = zelkRemoveQuotesFromWideString;
    static constexpr auto quoted = zelkGetWideQuoted;
};

template <class Twin, class Text>
void check(const Text &text, int small, unsigned int examine, typename Twin::Unit open, typename Twin::Unit close) {
    using Unit = typename Twin::Unit;
    const auto in = fuzz::terminated<Unit>(text);
    Text quoted;
    Text examined;
    Text bare;
    bool inside = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto unit = static_cast<Unit>(text[i]);
        const bool isQuote = unit == (inside ? close : open);
        inside = inside != isQuote;
        if (inside && !isQuote) {
            quoted += text[i];
            examined += i < examine ? Text(1, text[i]) : Text();
        }
        bare += unit == open || unit == close ? Text() : Text(1, text[i]);
    }
    bare += open == 0 || close == 0 ? Text() : Text(1, 0); // the terminator counts
    require(Twin::length(in.get(), examine, open, close) == examined.size(), "quoted units are counted");
    for (const int size : {small, static_cast<int>(text.size()) + 2}) {
        fuzz::Output<Unit> out(size);
        const auto count = static_cast<int>(examine);
        require(out.text(Twin::copy(out.data(), size, in.get(), count, open, close)) == fuzz::cut(examined, size),
                "quoted units are copied");
        fuzz::Output<Unit> rest(size);
        require(rest.text(Twin::remove(rest.data(), size, in.get(), open, close)) == fuzz::cut(bare, size),
                "quotes are removed");
    }
    auto *packet = Twin::make(0, in.get());
    auto *result = Twin::quoted(packet, open, close);
    require((result == nullptr) == quoted.empty(), "nothing quoted, no packet");
    require(result == nullptr || std::equal(quoted.begin(), quoted.end(), result->chars,
                                            [](auto a, Unit b) { return static_cast<Unit>(a) == b; }),
            "the packet holds what is quoted");
    require(result == nullptr || result->chars[quoted.size()] == 0, "and ends there");
    std::free(result);
    std::free(packet);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int small = input.size();
    const unsigned int examine = input.byte();
    const auto open = static_cast<char>(input.byte());
    const auto close = input.coin() ? open : static_cast<char>(input.byte());
    const std::string text = fuzz::upToZero(input.rest());
    check<Narrow>(text, small, examine, open, close);
    check<Wide>(fuzz::upToZero(fuzz::unitsOf(text)), small, examine, static_cast<unsigned char>(open),
                static_cast<unsigned char>(close));
    return 0;
}
