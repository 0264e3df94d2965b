// Columns of the caller, read in blocks of rows: whatever the layout, a row comes out as a pointer and a length.
#pragma once

#include "memory.h"
#include "zelk_arrow.h"

#include <cstddef>
#include <cstdint>

namespace zelk::arrow {

// A row's bytes; `bytes` is null where the row is, and then the length is 0.
struct Row {
    const char *bytes;
    int length;
};

// How a column lies in its buffers. Which of the fields count is the reader's affair.
struct Layout {
    void (*read)(const Layout &layout, std::int64_t first, std::size_t count, Row *rows) = nullptr;
    const unsigned char *validity = nullptr; // null where no row is
    std::int64_t offset = 0;
    const void *first = nullptr;  // offsets, views, indices or the bytes themselves
    const void *second = nullptr; // the bytes that offsets count
    const void **buffers = nullptr;
    std::int64_t number = 0; // a row's bytes, the buffers of views, or the values of a dictionary
    char indexFormat = 0;
    const Layout *values = nullptr;
};

// A column of bytes or text, or a dictionary of those.
class Rows {
public:
    Rows(const ArrowSchema *schema, const ArrowArray *array);
    Rows(const Rows &) = delete;
    Rows &operator=(const Rows &) = delete;

    std::int64_t count() const { return count_; }

    // Writes the rows from `first` on; a row that is too long, or outside of its buffer's offsets, fails.
    void read(std::int64_t first, std::size_t count, Row *rows) const { layout_.read(layout_, first, count, rows); }

private:
    Layout layout_;
    Layout values_;
    std::int64_t count_ = 0;
};

// A column of integers, or none.
class Integers {
public:
    // The array has `rows` rows, as the column that it belongs to.
    Integers(const zelkArrowColumn &column, std::int64_t rows);

    bool given() const { return array_ != nullptr; }

    // The value of a row, cut to what an int holds; `otherwise` where it is null or there is no column.
    int at(std::int64_t row, int otherwise) const;

private:
    const ArrowArray *array_ = nullptr;
    char format_ = 0;
};

// A copy of a row with a zero after it, for the functions that look there. It lives until the next copy.
class Copier {
public:
    const char *copy(const Row &row);

    // The row itself where its last byte is no mark: 0xA0 to 0xCF hold the marks of all tables.
    const char *guarded(const Row &row) {
        const auto last = static_cast<unsigned char>(row.bytes[row.length - 1]);
        return last >= 0xA0 && last <= 0xCF ? copy(row) : row.bytes;
    }

private:
    Block block_;
};

} // namespace zelk::arrow
