// Memory of libzelk-arrow: requests that fail leave nothing over, and texts beyond what 32 bits count.
#include "columns.h"
#include "helpers/failing_allocator.h"

#include <gtest/gtest.h>

#include <functional>

using namespace zelk_test;

namespace {

constexpr zelkArrowOutput plain = {0, nullptr, nullptr};

// Fails each request of a call in turn, until one call has none that fails.
void failEach(const std::function<zelkArrowStatus(ArrowSchema *, ArrowArray *)> &call) {
    long failing = 1;
    for (bool failed = true; failed; ++failing) {
        ArrowSchema schema{};
        ArrowArray array{};
        zelkArrowStatus status{};
        {
            const AllocationWatch watch(Failing::OneRequest, failing);
            status = call(&schema, &array);
            failed = AllocationWatch::failures() != 0;
            if (array.release != nullptr) {
                array.release(&array);
            }
            if (schema.release != nullptr) {
                schema.release(&schema);
            }
        }
        EXPECT_EQ(AllocationWatch::blocksInUse(), 0U) << "request " << failing;
        EXPECT_EQ(status, failed ? ZelkArrowNoMemory : ZelkArrowDone) << "request " << failing;
    }
    EXPECT_GT(failing, 6);
}

} // namespace

TEST(ArrowMemory, AFailedRequestReleasesAllAndSaysSo) {
    if (!countsAllocations) {
        GTEST_SKIP() << "the sanitizer has the allocator";
    }
    std::mt19937 random(5);
    const Cells rows = randomCells(random, 40, 1);
    const InputColumn column(Layout::Dictionary, rows);
    zelkArrowDecodeSettings decoding{};
    decoding.reading = {DvbCharSetStandard, DvbCodeNone, 0, 0, 0};
    for (const unsigned int columns : {1U, 2U, 128U, 255U}) {
        decoding.columns = columns;
        failEach([&](ArrowSchema *schema, ArrowArray *array) {
            return zelkArrowDecode(&decoding, &column.schema, &column.array, schema, array);
        });
    }
    zelkArrowEncodeSettings encoding{};
    encoding.columns = 15;
    failEach([&](ArrowSchema *schema, ArrowArray *array) {
        return zelkArrowEncode(&encoding, &column.schema, &column.array, schema, array);
    });
    const zelkArrowConvertSettings converting = {ZelkArrowUcs2High, 0, plain};
    failEach([&](ArrowSchema *schema, ArrowArray *array) {
        return zelkArrowConvert(&converting, &column.schema, &column.array, schema, array);
    });
    failEach([&](ArrowSchema *schema, ArrowArray *array) {
        return zelkArrowSortKeys(nullptr, &column.schema, &column.array, schema, array);
    });
    const zelkArrowMatchSettings matching = {"a*", 0, plain};
    failEach([&](ArrowSchema *schema, ArrowArray *array) {
        return zelkArrowMatch(&matching, &column.schema, &column.array, schema, array);
    });
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// One value, many rows: the input is small.
TEST(ArrowMemory, TextsBeyond32BitsGrowOrFailByName) {
    if (sizeof(void *) < sizeof(std::int64_t)) {
        GTEST_SKIP() << "no address space for two GiB";
    }
    constexpr std::int64_t rowSize = 1 << 24;
    constexpr std::int64_t rowCount = 130; // 2.03 GiB
    const InputColumn column(Layout::Dictionary, Cells(rowCount, Cell(std::string(rowSize, 'a'))));
    zelkArrowDecodeSettings settings{};
    settings.reading = {DvbCharSetStandard, DvbCodeNone, 0, 0, 0};
    {
        ResultColumn result;
        EXPECT_EQ(zelkArrowDecode(&settings, &column.schema, &column.array, &result.schema, &result.array),
                  ZelkArrowTooLarge);
        EXPECT_EQ(result.array.release, nullptr);
    }
    settings.output.options = ZelkArrowGrow;
    ResultColumn result;
    ASSERT_EQ(zelkArrowDecode(&settings, &column.schema, &column.array, &result.schema, &result.array), ZelkArrowDone);
    EXPECT_STREQ(result.schema.format, "U");
    for (std::int64_t row = 0; row <= rowCount; ++row) {
        ASSERT_EQ(ResultColumn::value<std::int64_t>(result.array, row), row * rowSize);
    }
    EXPECT_EQ(ResultColumn::cell(result.schema, result.array, rowCount - 1), std::string(rowSize, 'a'));
}

#endif
