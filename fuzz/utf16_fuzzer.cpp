// UTF-16 to UTF-8 with surrogate pairs, against a conversion by code points: result, length, status and terminator for
// every capacity, and the terminated variant.
#include "fuzz.h"

namespace {

using fuzz::require;

// The whole result, one string a code point; false for a surrogate without its partner.
bool convert(const std::u16string &units, std::vector<std::string> &result) {
    for (std::size_t i = 0; i < units.size(); ++i) {
        std::uint32_t code = units[i];
        if (code >= 0xDC00 && code <= 0xDFFF) {
            return false;
        }
        if (code >= 0xD800 && code <= 0xDBFF) {
            const std::uint32_t low = i + 1 < units.size() ? units[i + 1] : 0;
            if (low < 0xDC00 || low > 0xDFFF) {
                return false;
            }
            code = 0x10000 + ((code - 0xD800) << 10U) + (low - 0xDC00);
            ++i;
        }
        if (code < 0x10000) {
            result.push_back(zelk_test::utf8EncodeModel(code));
        } else {
            const auto byte = [](std::uint32_t value) { return static_cast<char>(value); };
            result.push_back({byte(0xF0 + (code >> 18)), byte(0x80 + (code >> 12) % 64), byte(0x80 + (code >> 6) % 64),
                              byte(0x80 + code % 64)});
        }
    }
    return true;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int capacity = std::max(input.size(), 0);
    const bool counted = input.coin();
    const std::u16string whole = fuzz::unitsOf(input.rest());
    const std::u16string units = counted ? whole : fuzz::upToZero(whole);
    const auto src = counted ? fuzz::block<unsigned short>(units) : fuzz::terminated<unsigned short>(units);
    const int count = counted ? static_cast<int>(units.size()) : -1;
    std::vector<std::string> sequences;
    const bool valid = convert(units, sequences);
    std::string fitting; // whole characters, up to the first that does not fit
    int needed = 0;
    for (const std::string &sequence : sequences) {
        needed += static_cast<int>(sequence.size());
        fitting += needed <= capacity ? sequence : "";
    }

    fuzz::Output<char> out(capacity);
    int length = -1;
    zelk::UErrorCode status = zelk::ZeroError;
    char *dest = capacity == 0 ? nullptr : out.data();
    const char *result = zelk::CodeConversion::strToUTF8(dest, capacity, &length, src.get(), count, &status);
    if (!valid) {
        require(result == nullptr && status == zelk::InvalidCharFound, "a surrogate without its partner is refused");
    } else {
        require(result == dest && length == needed, "the length is that of the whole");
        require(status == (needed < capacity    ? zelk::ZeroError
                           : needed == capacity ? zelk::StringNotTerminatedWarning
                                                : zelk::BufferOverflowError),
                "the status says what fits");
        require(std::memcmp(out.data(), fitting.data(), fitting.size()) == 0, "the bytes that fit");
        require(needed >= capacity || out.data()[needed] == 0, "terminated where there is room");
    }
    if (!counted) {
        fuzz::Output<char> again(capacity);
        const int code = zelk::CodeConversion::convertUTF16ToUTF8Str(src.get(), again.data(), capacity);
        require(code == (!valid ? -6 : needed > capacity ? -2 : 0), "the code follows the status");
    }
    return 0;
}
