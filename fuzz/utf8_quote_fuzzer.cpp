// Quotes of UTF-8 text: lengths, sizes, strings and packets agree, and what is left without its quotes follows from the
// bytes.
#include "fuzz.h"

using fuzz::require;

namespace {

// All but the quotes; the terminator is a byte like the others.
std::string withoutQuotes(const std::string &text, const std::string &open, const std::string &close) {
    std::string result;
    for (std::size_t i = 0; i <= text.size();) {
        const std::string here = text.substr(i) + '\0';
        const bool opens = here.rfind(open, 0) == 0;
        if (!opens && here.rfind(close, 0) != 0) {
            result += here[0];
            ++i;
        } else {
            i += (opens ? open : close).size();
        }
    }
    return result;
}

// The bytes between the quotes, of all sections.
std::string insideQuotes(const std::string &text, const std::string &open, const std::string &close) {
    std::string result;
    std::size_t at = text.find(open);
    while (at != std::string::npos) {
        at += open.size();
        const std::size_t end = text.find(close, at);
        result += text.substr(at, end - at);
        at = end == std::string::npos ? end : text.find(open, end + close.size());
    }
    return result;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int small = input.size();
    const bool same = input.coin();
    const auto open = static_cast<unsigned short>(input.unit() | 1U); // a zero is no quote
    const auto close = same ? open : static_cast<unsigned short>(input.unit() | 1U);
    const std::string text = fuzz::upToZero(input.rest());
    const auto in = fuzz::terminated<unsigned char>(text);
    const std::string opening = zelk_test::utf8EncodeModel(open);
    const std::string closing = zelk_test::utf8EncodeModel(close);

    const std::string inside = insideQuotes(text, opening, closing);
    const std::string bare = withoutQuotes(text, opening, closing);
    require(zelkUtf8GetQuotedLength(in.get(), -1, open, close) == static_cast<int>(inside.size()),
            "quoted bytes counted");
    for (const int room : {small, static_cast<int>(text.size()) + 2}) {
        fuzz::Output<unsigned char> quoted(room);
        require(quoted.text(zelkUtf8CopyQuoted(quoted.data(), room, in.get(), -1, open, close)) ==
                    fuzz::cut(inside, room),
                "quoted bytes copied");
        fuzz::Output<unsigned char> rest(room);
        require(rest.text(zelkUtf8RemoveQuotesFromString(rest.data(), room, in.get(), open, close)) ==
                    fuzz::cut(bare, room),
                "quotes removed");
    }
    require(zelk::Utf8Utilities::CopyQuoted(text, open, close) == inside, "string equals flat");
    require(zelk::Utf8Utilities::RemoveQuotes(text, open, close) == bare.substr(0, text.size()),
            "without its quotes too");
    CharPacket *packet = zelkNewCharPacket(0, in ? reinterpret_cast<const char *>(in.get()) : nullptr);
    CharPacket *result = zelkUtf8GetQuoted(packet, open, close);
    require((result == nullptr) == inside.empty(), "nothing quoted, no packet");
    require(result == nullptr || fuzz::take(result) == inside, "packet equals flat");
    std::free(packet);
    return 0;
}
