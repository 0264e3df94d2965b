// What the fuzz targets share: settings and texts out of the fuzzer's bytes, input blocks that end where the call's
// text ends, outputs between guards, and the way to fail. Bytes are std::string, UCS-2 units std::u16string.
#pragma once

#include "zelk.hpp"

#include "helpers/text.h"
#include "reference/utf8_model.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace fuzz {

inline void require(bool holds, const char *what) {
    if (!holds) {
        std::fprintf(stderr, "fuzz: this does not hold: %s\n", what);
        std::abort();
    }
}

// Settings come from the front of the fuzzer's bytes, the text is what is left.
class Input {
public:
    Input(const std::uint8_t *data, std::size_t size) : at_(data), end_(data + size) {}

    unsigned int byte() { return at_ != end_ ? *at_++ : 0; }
    bool coin() { return byte() % 2 != 0; }
    unsigned int unit() {
        const unsigned int high = byte();
        return high << 8U | byte();
    }

    // One of the named values 0 to `count` - 1, and now and then one without a name.
    unsigned int named(unsigned int count) {
        const unsigned int value = byte() % (count + 2);
        return value < count ? value : value == count ? count : 0x80000000U + value;
    }

    // The size of an output, from less than nothing to more than most texts need.
    int size() { return static_cast<int>(byte()) - 2; }

    std::string line() {
        const std::uint8_t *end = std::find(at_, end_, '\n');
        std::string text(at_, end);
        at_ = end != end_ ? end + 1 : end;
        return text;
    }
    std::string rest() { return {std::exchange(at_, end_), end_}; }

private:
    const std::uint8_t *at_;
    const std::uint8_t *end_;
};

template <class Text>
Text upToZero(const Text &text) {
    return text.substr(0, text.find(typename Text::value_type{0}));
}

// Byte pairs, high byte first; an odd last byte is left out.
inline std::u16string unitsOf(std::string_view pairs) {
    std::u16string units;
    for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
        units +=
            static_cast<char16_t>(static_cast<unsigned char>(pairs[i]) << 8 | static_cast<unsigned char>(pairs[i + 1]));
    }
    return units;
}

// A heap block of the text and `zeros` zeros and no more: the sanitizer finds a read after it.
template <class Unit = char, class Text>
std::unique_ptr<Unit[]> block(const Text &text, std::size_t zeros = 0) {
    std::unique_ptr<Unit[]> units(new Unit[text.size() + zeros]);
    if constexpr (sizeof(Unit) == sizeof text[0]) {
        std::memcpy(units.get(), text.data(), text.size() * sizeof(Unit));
    } else {
        std::transform(text.begin(), text.end(), units.get(), [](auto unit) { return static_cast<Unit>(unit); });
    }
    std::fill_n(units.get() + text.size(), zeros, Unit{0});
    return units;
}

template <class Unit = char, class Text>
std::unique_ptr<Unit[]> terminated(const Text &text) {
    return block<Unit>(upToZero(text), 1);
}

// An output of `size` units, at least one, between guards.
template <class Unit>
class Output {
public:
    explicit Output(int size)
        : size_(static_cast<std::size_t>(std::max(size, 1))), units_(size_ + 2 * guard, pattern()) {}
    ~Output() {
        const auto isGuard = [](const Unit *units) {
            return std::count(units, units + guard, pattern()) == static_cast<std::ptrdiff_t>(guard);
        };
        require(isGuard(units_.data()) && isGuard(units_.data() + guard + size_), "guards are untouched");
    }
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    Unit *data() { return units_.data() + guard; }

    // The result of a call that counted `length` units: inside the buffer, and terminated.
    auto text(unsigned int length) const {
        require(length < size_, "the result leaves room for its terminator");
        require(units_[guard + length] == 0, "the result is terminated");
        const auto *begin = units_.data() + guard;
        return std::conditional_t<sizeof(Unit) == 1, std::string, std::u16string>(begin, begin + length);
    }

private:
    static constexpr std::size_t guard = 64;
    static Unit pattern() { return static_cast<Unit>(0xA7A7); }

    std::size_t size_;
    std::vector<Unit> units_;
};

// Room for records that a call counts and writes, with a guard after it. Kept from call to call, for such an amount of
// memory takes longer to get than a call does.
template <class Record>
class Records {
public:
    Record *begin(unsigned int room) {
        room_ = room;
        if (records_.size() <= room) {
            records_.resize(std::size_t{room} + 1);
        }
        std::memset(&records_[room], pattern, sizeof(Record));
        return records_.data();
    }

    // Those that had room, of `count`.
    std::vector<Record> end(unsigned int count) const {
        const auto *const guard = reinterpret_cast<const unsigned char *>(&records_[room_]);
        require(std::count(guard, guard + sizeof(Record), pattern) == static_cast<std::ptrdiff_t>(sizeof(Record)),
                "no record is written beyond the room");
        return {records_.data(), records_.data() + std::min(room_, count)};
    }

private:
    static constexpr unsigned char pattern = 0xA7;

    unsigned int room_ = 0;
    std::vector<Record> records_;
};

// What an output of `size` units holds of a text that is cut wherever it does not fit.
template <class Text>
Text cut(const Text &text, int size) {
    return text.substr(0, size > 1 ? static_cast<std::size_t>(size) - 1 : 0);
}

// The same for UTF-8: a sequence that does not fit is skipped, until only the terminator fits.
inline std::string utf8Of(std::u16string_view units, int size) {
    std::string text;
    for (const char16_t unit : units) {
        const std::string sequence = zelk_test::utf8EncodeModel(unit);
        const int room = size - static_cast<int>(text.size());
        if (room < 2) {
            break;
        }
        text += static_cast<int>(sequence.size()) < room ? sequence : "";
    }
    return text;
}

inline std::string utf8Of(std::u16string_view units) {
    return utf8Of(units, static_cast<int>(units.size()) * 3 + 1);
}

// The bytes of units as the class interface returns them.
inline std::string nativeBytes(const std::u16string &units) {
    return {reinterpret_cast<const char *>(units.data()), units.size() * sizeof units[0]};
}

// The text of a packet by its length; the packet is released. No packet is the text "(null)".
template <class Packet>
auto take(Packet *packet) {
    using Unit = std::decay_t<decltype(packet->chars[0])>;
    using Text = std::conditional_t<sizeof(Unit) == 1, std::string, std::u16string>;
    if (packet == nullptr) {
        const char *none = "(null)";
        return Text(none, none + std::strlen(none));
    }
    require(packet->length < packet->capacity && packet->chars[packet->length] == 0, "the packet holds its text");
    const Text text(packet->chars, packet->chars + packet->length);
    std::free(packet);
    return text;
}

} // namespace fuzz
