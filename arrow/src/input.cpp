#include "input.h"
#include "status.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string_view>

namespace zelk::arrow {
namespace {

// Buffers of the interface need not be aligned.
template <class Value>
Value load(const void *buffer, std::int64_t index) {
    Value value;
    std::memcpy(&value, static_cast<const unsigned char *>(buffer) + index * static_cast<std::int64_t>(sizeof value),
                sizeof value);
    return value;
}

// The bits that say which rows are not null; a null pointer where all are not.
const unsigned char *validityOf(const ArrowArray &array) {
    return array.null_count == 0 || array.n_buffers < 1 ? nullptr
                                                        : static_cast<const unsigned char *>(array.buffers[0]);
}

bool isValid(const unsigned char *validity, std::int64_t index) {
    return validity == nullptr || (validity[index >> 3] >> (index & 7) & 1) != 0;
}

int checkedLength(std::int64_t length) {
    if (length < 0) {
        fail(ZelkArrowInvalid);
    }
    if (length > ZELK_ARROW_LONGEST_ROW) {
        fail(ZelkArrowTooLarge);
    }
    return static_cast<int>(length);
}

// Null for no row, and never for an empty one. Bytes that are never looked at need not be there.
Row rowOf(const void *buffer, std::int64_t offset, std::int64_t length) {
    const int checked = checkedLength(length);
    if (checked == 0) {
        return {"", 0};
    }
    if (buffer == nullptr) {
        fail(ZelkArrowInvalid);
    }
    return {static_cast<const char *>(buffer) + offset, checked};
}

const void *bufferOf(const ArrowArray &array, std::int64_t index) {
    if (index >= array.n_buffers) {
        fail(ZelkArrowInvalid);
    }
    return array.buffers[index];
}

// A buffer that every row is found by.
const void *neededBuffer(const ArrowArray &array, std::int64_t index) {
    const void *const buffer = bufferOf(array, index);
    if (buffer == nullptr) {
        fail(ZelkArrowInvalid);
    }
    return buffer;
}

std::int64_t integerAt(char format, const void *values, std::int64_t index) {
    switch (format) {
    case 'c':
        return load<std::int8_t>(values, index);
    case 'C':
        return load<std::uint8_t>(values, index);
    case 's':
        return load<std::int16_t>(values, index);
    case 'S':
        return load<std::uint16_t>(values, index);
    case 'i':
        return load<std::int32_t>(values, index);
    case 'I':
        return load<std::uint32_t>(values, index);
    case 'l':
        return load<std::int64_t>(values, index);
    default:
        return static_cast<std::int64_t>(std::min<std::uint64_t>(load<std::uint64_t>(values, index), INT64_MAX));
    }
}

bool isInteger(std::string_view format) {
    return format.size() == 1 && std::string_view("cCsSiIlL").find(format[0]) != std::string_view::npos;
}

// The numbers of an array are what its producer says; those that no array can have are refused.
void check(const ArrowArray &array) {
    if (array.length < 0 || array.offset < 0 || array.length > INT64_MAX / 64 || array.offset > INT64_MAX / 64 ||
        array.n_buffers < 0 || (array.n_buffers > 0 && array.buffers == nullptr)) {
        fail(ZelkArrowInvalid);
    }
}

template <class Offset>
Row offsetRow(const Layout &layout, std::int64_t index) {
    const std::int64_t begin = load<Offset>(layout.first, index);
    const std::int64_t end = load<Offset>(layout.first, index + 1);
    if (begin < 0 || end < begin) {
        fail(ZelkArrowInvalid);
    }
    return rowOf(layout.second, begin, end - begin);
}

Row fixedRow(const Layout &layout, std::int64_t index) {
    return rowOf(layout.first, index * layout.number, layout.number);
}

// A view holds up to twelve bytes itself, and says of more in which buffer they are.
Row viewRow(const Layout &layout, std::int64_t index) {
    constexpr std::int64_t viewSize = 16;
    constexpr std::int32_t mostInside = 12;
    const unsigned char *const view = static_cast<const unsigned char *>(layout.first) + index * viewSize;
    const auto length = load<std::int32_t>(view, 0);
    if (length <= mostInside) {
        return rowOf(view, 4, length);
    }
    const auto buffer = load<std::int32_t>(view, 2);
    const auto offset = load<std::int32_t>(view, 3);
    if (buffer < 0 || buffer >= layout.number || offset < 0) {
        fail(ZelkArrowInvalid);
    }
    return rowOf(layout.buffers[2 + buffer], offset, length);
}

Row dictionaryRow(const Layout &layout, std::int64_t index) {
    const std::int64_t value = integerAt(layout.indexFormat, layout.first, index);
    if (value < 0 || value >= layout.number) {
        fail(ZelkArrowInvalid);
    }
    Row row;
    layout.values->read(*layout.values, value, 1, &row);
    return row;
}

template <Row (*row)(const Layout &, std::int64_t)>
void readRows(const Layout &layout, std::int64_t first, std::size_t count, Row *rows) {
    const std::int64_t begin = layout.offset + first;
    for (std::size_t i = 0; i < count; ++i) {
        const std::int64_t index = begin + static_cast<std::int64_t>(i);
        rows[i] = isValid(layout.validity, index) ? row(layout, index) : Row{nullptr, 0};
    }
}

void readNulls(const Layout & /*layout*/, std::int64_t /*first*/, std::size_t count, Row *rows) {
    std::fill_n(rows, count, Row{nullptr, 0});
}

// "w:" and a number of bytes.
std::int64_t fixedWidth(std::string_view format) {
    std::int64_t width = 0;
    for (const char digit : format.substr(2)) {
        if (digit < '0' || digit > '9') {
            fail(ZelkArrowInvalid);
        }
        width = width * 10 + (digit - '0');
        if (width > ZELK_ARROW_LONGEST_ROW) {
            fail(ZelkArrowTooLarge);
        }
    }
    return width;
}

// What reads the rows of a format, of a dictionary by its indices.
auto readerFor(const ArrowSchema &schema) -> decltype(Layout::read) {
    const std::string_view format = schema.format;
    if (schema.dictionary != nullptr) {
        return isInteger(format) ? readRows<dictionaryRow> : nullptr;
    }
    if (format == "z" || format == "u") {
        return readRows<offsetRow<std::int32_t>>;
    }
    if (format == "Z" || format == "U") {
        return readRows<offsetRow<std::int64_t>>;
    }
    if (format == "vz" || format == "vu") {
        return readRows<viewRow>;
    }
    if (format == "n") {
        return readNulls;
    }
    return format.starts_with("w:") ? readRows<fixedRow> : nullptr;
}

Layout layoutOf(const ArrowSchema &schema, const ArrowArray &array) {
    check(array);
    Layout layout;
    layout.read = readerFor(schema);
    if (layout.read == nullptr) {
        fail(ZelkArrowWrongType);
    }
    layout.offset = array.offset;
    if (array.length == 0 || layout.read == readNulls) { // then there need not be any buffers
        return layout;
    }
    layout.validity = validityOf(array);
    layout.first = layout.read == readRows<fixedRow> ? bufferOf(array, 1) : neededBuffer(array, 1);
    layout.buffers = array.buffers;
    if (layout.read == readRows<fixedRow>) {
        layout.number = fixedWidth(schema.format);
    } else if (layout.read == readRows<viewRow>) {
        layout.number = array.n_buffers - 3; // without validity, views, and the sizes of those between
    } else if (layout.read != readRows<dictionaryRow>) {
        layout.second = bufferOf(array, 2);
    } else {
        if (array.dictionary == nullptr) {
            fail(ZelkArrowInvalid);
        }
        layout.indexFormat = schema.format[0];
        layout.number = array.dictionary->length;
    }
    return layout;
}

} // namespace

Rows::Rows(const ArrowSchema *schema, const ArrowArray *array) {
    if (schema == nullptr || array == nullptr || schema->format == nullptr) {
        fail(ZelkArrowInvalid);
    }
    layout_ = layoutOf(*schema, *array);
    count_ = array->length;
    if (layout_.read == readRows<dictionaryRow>) {
        if (schema->dictionary->format == nullptr) {
            fail(ZelkArrowInvalid);
        }
        if (schema->dictionary->dictionary != nullptr || readerFor(*schema->dictionary) == nullptr) {
            fail(ZelkArrowWrongType);
        }
        if (array->length != 0) {
            values_ = layoutOf(*schema->dictionary, *array->dictionary);
            layout_.values = &values_;
        }
    }
}

Integers::Integers(const zelkArrowColumn &column, std::int64_t rows) {
    if (column.schema == nullptr) {
        return;
    }
    if (column.array == nullptr || column.schema->format == nullptr || column.array->length != rows) {
        fail(ZelkArrowInvalid);
    }
    if (!isInteger(column.schema->format) || column.schema->dictionary != nullptr) {
        fail(ZelkArrowWrongType);
    }
    check(*column.array);
    if (rows != 0) {
        neededBuffer(*column.array, 1);
    }
    array_ = column.array;
    format_ = column.schema->format[0];
}

int Integers::at(std::int64_t row, int otherwise) const {
    if (array_ == nullptr) {
        return otherwise;
    }
    const std::int64_t index = array_->offset + row;
    if (!isValid(validityOf(*array_), index)) {
        return otherwise;
    }
    return static_cast<int>(std::clamp<std::int64_t>(integerAt(format_, array_->buffers[1], index), INT_MIN, INT_MAX));
}

const char *Copier::copy(const Row &row) {
    const auto length = static_cast<std::size_t>(row.length);
    if (block_.capacity() <= length) {
        block_.grow(length + 1);
    }
    std::memcpy(block_.data(), row.bytes, length);
    block_.data()[length] = 0;
    return block_.as<char>();
}

} // namespace zelk::arrow
