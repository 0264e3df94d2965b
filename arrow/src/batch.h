// The loop that every function has: rows in blocks, nulls noted, progress reported.
#pragma once

#include "input.h"
#include "output.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace zelk::arrow {

constexpr zelkArrowOutput plainOutput = {0, nullptr, nullptr};

// Calls each(row, bytes) for every row in order. A null row is noted, and then comes as an empty one.
template <class Each>
Validity forEachRow(const Rows &rows, const zelkArrowOutput &output, Each each) {
    constexpr std::int64_t progressStep = 65536;
    constexpr unsigned int knownOptions = ZelkArrowLarge | ZelkArrowGrow;
    if ((output.options & ~knownOptions) != 0) {
        fail(ZelkArrowInvalid);
    }
    std::array<Row, 256> block;
    const std::int64_t count = rows.count();
    Validity validity(count);
    const auto tell = [&](std::int64_t done) {
        if (output.progress != nullptr && output.progress(done, count, output.context) != 0) {
            fail(ZelkArrowStopped);
        }
    };
    if (count == 0) {
        tell(0);
    }
    for (std::int64_t done = 0; done < count;) {
        const auto size = static_cast<std::size_t>(std::min<std::int64_t>(block.size(), count - done));
        rows.read(done, size, block.data());
        for (std::size_t i = 0; i < size; ++i, ++done) {
            if (block[i].bytes == nullptr) {
                validity.clear(done);
                block[i].bytes = "";
            }
            each(done, block[i]);
        }
        if (done % progressStep == 0 || done == count) {
            tell(done);
        }
    }
    return validity;
}

// A call that gives texts, or bytes: write(row, room) returns how many of at most `most(row)` bytes it wrote.
template <class Most, class Write>
void convertRows(Texts::Kind kind, const zelkArrowOutput &output, const ArrowSchema *schema, const ArrowArray *in,
                 ArrowSchema *outSchema, ArrowArray *out, Most most, Write write) {
    const Rows rows(schema, in);
    Texts texts(kind, output.options, rows.count());
    Validity validity = forEachRow(rows, output, [&](std::int64_t, const Row &row) {
        const auto size = static_cast<std::size_t>(most(row));
        texts.add(write(row, texts.room(size), static_cast<int>(size)));
    });
    std::vector<Column> columns;
    columns.push_back(texts.finish(""));
    handOver(std::move(columns), false, std::move(validity), rows.count(), outSchema, out);
}

} // namespace zelk::arrow
