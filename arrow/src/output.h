// Columns of results: built row by row, then handed over by the interface, each array the owner of its own buffers.
#pragma once

#include "memory.h"
#include "status.h"
#include "zelk_arrow.h"

#include <climits>
#include <cstdint>
#include <memory>
#include <vector>

namespace zelk::arrow {

// A column that is ready: its buffers after the one for validity, which all columns of a result have alike. Only a
// column with nulls of its own brings one along.
struct Column {
    Column(const char *formatOf, const char *nameOf, std::int64_t lengthOf)
        : format(formatOf), name(nameOf), length(lengthOf) {}

    const char *format;
    const char *name;
    std::int64_t length;
    std::vector<Block> buffers;
    Block validity;
    std::int64_t nullCount = 0;
    std::unique_ptr<Column> dictionary;
};

// Which rows are null; all are valid at first.
class Validity {
public:
    explicit Validity(std::int64_t rows);
    void clear(std::int64_t row) {
        bits_.data()[row >> 3] &= static_cast<unsigned char>(~(1U << (row & 7)));
        ++nullCount_;
    }
    std::int64_t nullCount() const { return nullCount_; }
    Block take() { return std::move(bits_); }
    Block copy(std::int64_t rows) const;

private:
    Block bits_;
    std::int64_t nullCount_ = 0;
};

// Values of a fixed size.
template <class Value>
class Values {
public:
    explicit Values(std::int64_t rows) { block_.resize(static_cast<std::size_t>(rows) * sizeof(Value)); }
    void set(std::int64_t row, Value value) { block_.template as<Value>()[row] = value; }

    Column finish(const char *format, const char *name, std::int64_t rows) {
        Column column(format, name, rows);
        column.buffers.push_back(std::move(block_));
        return column;
    }

private:
    Block block_;
};

// Texts, or bytes, one after the other. Offsets have 32 bits until a text passes what they hold; then, as the options
// say, they are widened or the call fails.
class Texts {
public:
    enum class Kind { Text, Bytes };

    Texts(Kind kind, unsigned int options, std::int64_t rows);

    // Room for a row of at most so many bytes, which live until the next call.
    char *room(std::size_t most) {
        if (bytes_.capacity() - used_ < most) [[unlikely]] {
            bytes_.grow(used_ + most);
        }
        return reinterpret_cast<char *>(bytes_.data() + used_);
    }

    // Ends a row, of which so many bytes were written to the room; or an empty one, which needs none.
    void add(std::size_t length) {
        used_ += length;
        ++row_;
        if (wide_) {
            offsets_.as<std::int64_t>()[row_] = static_cast<std::int64_t>(used_);
        } else if (used_ <= INT32_MAX) [[likely]] {
            offsets_.as<std::int32_t>()[row_] = static_cast<std::int32_t>(used_);
        } else {
            widen();
        }
    }

    Column finish(const char *name);

private:
    void widen();

    Kind kind_;
    unsigned int options_;
    bool wide_;
    Block offsets_;
    Block bytes_;
    std::size_t used_ = 0;
    std::int64_t row_ = 0;
    std::int64_t rows_;
};

// A dictionary's values: short constant texts.
std::unique_ptr<Column> dictionaryOf(const std::vector<const char *> &values);

// Hands the columns over: a single one as it is, several as the children of a struct. Nothing is touched on failure.
void handOver(std::vector<Column> columns, bool asStruct, Validity validity, std::int64_t rows, ArrowSchema *schema,
              ArrowArray *array);

} // namespace zelk::arrow
