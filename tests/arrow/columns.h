// Columns of the Arrow C data interface for tests: rows laid out in any of its ways, and results read back. The layouts
// are written here from the interface's document, so that they test how the library reads it.
#pragma once

#include "zelk_arrow.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zelk_test {

using Cell = std::optional<std::string>;
using Cells = std::vector<Cell>;

enum class Layout { Binary, LargeBinary, View, Dictionary, Text, LargeText, TextView };
inline constexpr std::array allLayouts = {Layout::Binary, Layout::LargeBinary, Layout::View,    Layout::Dictionary,
                                          Layout::Text,   Layout::LargeText,   Layout::TextView};

// A column of the test's own memory. Its buffers hold nothing but the rows: a byte outside is one too many.
class InputColumn {
public:
    // `before` and `after` are rows outside of the slice that the array is.
    InputColumn(Layout layout, const Cells &cells, std::size_t before = 0, std::size_t after = 0) {
        build(layout, cells);
        array.offset = static_cast<std::int64_t>(before);
        array.length = static_cast<std::int64_t>(cells.size() - before - after);
        array.null_count = -1; // not counted
    }
    InputColumn(const InputColumn &) = delete;
    InputColumn &operator=(const InputColumn &) = delete;

    ArrowSchema schema{};
    ArrowArray array{};

private:
    template <class Offset>
    void buildOffsets(const Cells &cells) {
        std::string offsets;
        std::string bytes;
        const auto add = [&]() {
            const auto end = static_cast<Offset>(bytes.size());
            offsets.append(reinterpret_cast<const char *>(&end), sizeof end);
        };
        add();
        for (const Cell &cell : cells) {
            bytes += cell.value_or("");
            add();
        }
        keep(offsets);
        keep(bytes);
    }

    void buildViews(const Cells &cells) {
        std::array<std::string, 2> buffers; // rows alternate between them
        std::string views;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const std::string cell = cells[i].value_or("");
            std::array<char, 16> view{};
            const auto length = static_cast<std::int32_t>(cell.size());
            std::memcpy(view.data(), &length, sizeof length);
            if (cell.size() <= 12) {
                std::copy(cell.begin(), cell.end(), view.begin() + 4);
            } else {
                const auto number = static_cast<std::int32_t>(i % 2);
                std::string &buffer = buffers[i % 2];
                const auto offset = static_cast<std::int32_t>(buffer.size());
                std::copy(cell.begin(), cell.begin() + 4, view.begin() + 4);
                std::memcpy(view.data() + 8, &number, sizeof number);
                std::memcpy(view.data() + 12, &offset, sizeof offset);
                buffer += cell;
            }
            views.append(view.data(), view.size());
        }
        keep(views);
        std::string sizes;
        for (const std::string &buffer : buffers) {
            const auto size = static_cast<std::int64_t>(buffer.size());
            sizes.append(reinterpret_cast<const char *>(&size), sizeof size);
        }
        keep(buffers[0]);
        keep(buffers[1]);
        keep(sizes);
    }

    void buildDictionary(const Cells &cells) {
        Cells values;
        std::string indices;
        for (const Cell &cell : cells) {
            const auto found = std::find(values.begin(), values.end(), cell);
            const auto index = static_cast<std::uint16_t>(found - values.begin());
            if (found == values.end()) {
                values.push_back(cell); // a null among the values too
            }
            indices.append(reinterpret_cast<const char *>(&index), sizeof index);
        }
        keep(indices);
        dictionary_ = std::make_unique<InputColumn>(Layout::Binary, values);
        schema.dictionary = &dictionary_->schema;
        array.dictionary = &dictionary_->array;
    }

    void build(Layout layout, const Cells &cells) {
        std::string validity((cells.size() + 7) / 8, '\0');
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (cells[i].has_value()) {
                validity[i / 8] = static_cast<char>(validity[i / 8] | 1 << i % 8);
            }
        }
        keep(validity);
        constexpr std::array formats = {"z", "Z", "vz", "S", "u", "U", "vu"};
        schema.format = formats[static_cast<std::size_t>(layout)];
        schema.name = "";
        switch (layout) {
        case Layout::Binary:
        case Layout::Text:
            buildOffsets<std::int32_t>(cells);
            break;
        case Layout::LargeBinary:
        case Layout::LargeText:
            buildOffsets<std::int64_t>(cells);
            break;
        case Layout::View:
        case Layout::TextView:
            buildViews(cells);
            break;
        case Layout::Dictionary:
            buildDictionary(cells);
            break;
        }
        for (const auto &block : blocks_) {
            pointers_.push_back(block.get());
        }
        array.n_buffers = static_cast<std::int64_t>(pointers_.size());
        array.buffers = pointers_.data();
    }

    // In a block of its own, of just that size, so that a sanitizer sees a byte beyond.
    void keep(const std::string &bytes) {
        blocks_.push_back(std::make_unique<char[]>(bytes.size()));
        std::copy(bytes.begin(), bytes.end(), blocks_.back().get());
    }

    std::vector<std::unique_ptr<char[]>> blocks_;
    std::vector<const void *> pointers_;
    std::unique_ptr<InputColumn> dictionary_;
};

// A column of integers.
template <class Value>
class IntegerColumn {
public:
    IntegerColumn(const char *format, const std::vector<std::optional<Value>> &values) {
        validity_.resize(values.size() / 8 + 1);
        for (std::size_t i = 0; i < values.size(); ++i) {
            values_.push_back(values[i].value_or(Value{}));
            if (values[i].has_value()) {
                validity_[i / 8] = static_cast<unsigned char>(validity_[i / 8] | 1U << i % 8);
            }
        }
        buffers_ = {validity_.data(), values_.data()};
        schema_.format = format;
        array_.length = static_cast<std::int64_t>(values.size());
        array_.null_count = -1;
        array_.n_buffers = 2;
        array_.buffers = buffers_.data();
    }
    IntegerColumn(const IntegerColumn &) = delete;
    IntegerColumn &operator=(const IntegerColumn &) = delete;

    zelkArrowColumn column() const { return {&schema_, &array_}; }

private:
    std::vector<unsigned char> validity_;
    std::vector<Value> values_;
    std::array<const void *, 2> buffers_{};
    ArrowSchema schema_{};
    ArrowArray array_{};
};

// What a result must be for its consumer to read it at all. The exception fails a test, and ends a fuzz target.
inline void require(bool holds, const char *what) {
    if (!holds) {
        throw std::logic_error(what);
    }
}

// Reads a result back, as its consumer would.
class ResultColumn {
public:
    ResultColumn() = default;
    ~ResultColumn() {
        if (array.release != nullptr) {
            array.release(&array);
        }
        if (schema.release != nullptr) {
            schema.release(&schema);
        }
    }
    ResultColumn(const ResultColumn &) = delete;
    ResultColumn &operator=(const ResultColumn &) = delete;

    ArrowSchema schema{};
    ArrowArray array{};

    static bool isValid(const ArrowArray &from, std::int64_t row) {
        const auto *const bits = static_cast<const unsigned char *>(from.buffers[0]);
        return bits == nullptr || (bits[row / 8] >> row % 8 & 1) != 0;
    }

    template <class Value>
    static Value value(const ArrowArray &from, std::int64_t row) {
        return static_cast<const Value *>(from.buffers[1])[row];
    }

    static Cell cell(const ArrowSchema &type, const ArrowArray &from, std::int64_t row) {
        if (!isValid(from, row)) {
            return std::nullopt;
        }
        if (type.dictionary != nullptr) {
            require(std::string_view(type.format) == "c", "a dictionary has indices of 8 bits");
            return cell(*type.dictionary, *from.dictionary, value<std::int8_t>(from, row));
        }
        const auto *const bytes = static_cast<const char *>(from.buffers[2]);
        const std::string_view format = type.format;
        if (format == "u" || format == "z") {
            const auto begin = value<std::int32_t>(from, row);
            return std::string(bytes + begin, static_cast<std::size_t>(value<std::int32_t>(from, row + 1) - begin));
        }
        require(format == "U" || format == "Z", "a column is text or bytes");
        const auto begin = value<std::int64_t>(from, row);
        return std::string(bytes + begin, static_cast<std::size_t>(value<std::int64_t>(from, row + 1) - begin));
    }

    Cells cells() const { return cellsOf(schema, array); }

    static Cells cellsOf(const ArrowSchema &type, const ArrowArray &from) {
        Cells result;
        std::int64_t nulls = 0;
        for (std::int64_t row = 0; row < from.length; ++row) {
            result.push_back(cell(type, from, row));
            nulls += isValid(from, row) ? 0 : 1;
        }
        require(from.null_count == nulls, "the nulls are counted");
        require(from.offset == 0, "a result begins at its first row");
        return result;
    }

    template <class Value>
    static std::vector<std::optional<Value>> valuesOf(const ArrowArray &from) {
        std::vector<std::optional<Value>> result;
        for (std::int64_t row = 0; row < from.length; ++row) {
            result.push_back(isValid(from, row) ? std::optional(value<Value>(from, row)) : std::nullopt);
        }
        return result;
    }
};

// UTF-8 by RFC 3629, section 4.
inline bool isUtf8(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const auto byte = [&](std::size_t i) {
            return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0U;
        };
        const auto within = [&](std::size_t i, unsigned int low, unsigned int high) {
            return byte(i) >= low && byte(i) <= high;
        };
        const auto tail = [&](std::size_t i) { return within(i, 0x80, 0xBF); };
        if (byte(0) < 0x80) {
            at += 1;
        } else if (within(0, 0xC2, 0xDF) && tail(1)) {
            at += 2;
        } else if (((byte(0) == 0xE0 && within(1, 0xA0, 0xBF)) || (byte(0) == 0xED && within(1, 0x80, 0x9F)) ||
                    (within(0, 0xE1, 0xEF) && byte(0) != 0xED && tail(1))) &&
                   tail(2)) {
            at += 3;
        } else if (((byte(0) == 0xF0 && within(1, 0x90, 0xBF)) || (byte(0) == 0xF4 && within(1, 0x80, 0x8F)) ||
                    (within(0, 0xF1, 0xF3) && tail(1))) &&
                   tail(2) && tail(3)) {
            at += 4;
        } else {
            return false;
        }
    }
    return true;
}

// UTF-16 to UTF-8 by RFC 3629, up to a zero unit; lone surrogates are U+FFFD.
inline std::string utf16ToUtf8(const std::string &bytes, bool highFirst) {
    std::vector<unsigned int> units;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto first = static_cast<unsigned char>(bytes[i]);
        const auto second = static_cast<unsigned char>(bytes[i + 1]);
        units.push_back(highFirst ? first * 256U + second : second * 256U + first);
        if (units.back() == 0) {
            units.pop_back();
            break;
        }
    }
    std::string text;
    for (std::size_t i = 0; i < units.size(); ++i) {
        unsigned int character = units[i];
        const auto surrogate = [&](std::size_t at, unsigned int first) {
            return at < units.size() && units[at] >= first && units[at] < first + 0x400;
        };
        if (surrogate(i, 0xD800) && surrogate(i + 1, 0xDC00)) {
            character = 0x10000 + (units[i] - 0xD800) * 0x400 + (units[i + 1] - 0xDC00);
            ++i;
        } else if (surrogate(i, 0xD800) || surrogate(i, 0xDC00)) {
            character = 0xFFFD;
        }
        if (character < 0x80) {
            text += static_cast<char>(character);
        } else if (character < 0x800) {
            text += static_cast<char>(0xC0 | character >> 6);
            text += static_cast<char>(0x80 | (character & 0x3F));
        } else if (character < 0x10000) {
            text += static_cast<char>(0xE0 | character >> 12);
            text += static_cast<char>(0x80 | (character >> 6 & 0x3F));
            text += static_cast<char>(0x80 | (character & 0x3F));
        } else {
            text += static_cast<char>(0xF0 | character >> 18);
            text += static_cast<char>(0x80 | (character >> 12 & 0x3F));
            text += static_cast<char>(0x80 | (character >> 6 & 0x3F));
            text += static_cast<char>(0x80 | (character & 0x3F));
        }
    }
    return text;
}

// Strings of every kind of text, sound and broken; many end with a mark.
inline std::string randomString(std::mt19937 &random) {
    const auto below = [&random](unsigned int limit) { return static_cast<unsigned int>(random() % limit); };
    static const std::vector<std::string> heads = {"",
                                                   "",
                                                   "",
                                                   "",
                                                   "\x05",
                                                   "\x01",
                                                   "\x0B",
                                                   "\x03",
                                                   "\x11",
                                                   "\x14",
                                                   "\x15",
                                                   "\x1D",
                                                   "\x0F",
                                                   "\x08",
                                                   std::string("\x10\x00\x02", 3),
                                                   std::string("\x10\x00\x0F", 3),
                                                   std::string("\x10\x00", 2),
                                                   "\x10",
                                                   "\x1F\x01",
                                                   "\x1F\x02",
                                                   "\x1F\x05",
                                                   "\x1F\x06",
                                                   "\x1F\x63",
                                                   "\x1F",
                                                   "\x12"};
    std::string result = heads[below(static_cast<unsigned int>(heads.size()))];
    const unsigned int length = below(8) == 0 ? 0 : below(below(16) == 0 ? 300 : 24);
    const unsigned int kind = below(4);
    for (unsigned int i = 0; i < length; ++i) {
        result += static_cast<char>(kind == 0   ? below(256)
                                    : kind == 1 ? 0x20 + below(0x5F)
                                    : kind == 2 ? 0xA0 + below(0x60)
                                                : (below(3) == 0 ? 0xC0 + below(0x10) : 'a' + below(26)));
    }
    if (below(3) == 0) {
        result += static_cast<char>(0xC0 + below(0x10));
    }
    return result;
}

inline Cells randomCells(std::mt19937 &random, std::size_t count, unsigned int nullsOf8) {
    Cells cells(count);
    for (Cell &cell : cells) {
        if (random() % 8 >= nullsOf8) {
            cell = randomString(random);
        }
    }
    return cells;
}

} // namespace zelk_test
