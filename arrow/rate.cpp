// Measures zelkArrowDecode() on names of 14 languages, shuffled: nanoseconds a row by column and batch, two threads on
// slices of one column, and the peak of memory. What one thread takes is its processor time; of all the best of many
// rounds counts, for the machine does other work too.
//
//     arrow_rate CORPUS [ROWS]     the corpus is bench/corpus; ROWS (default 4000000) are those of the memory's peak
#include "zelk_arrow.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

// A column of binary with 32-bit offsets.
struct Names {
    std::vector<std::int32_t> offsets{0};
    std::string bytes;
    std::vector<const void *> buffers;
    ArrowSchema schema{};
    ArrowArray array{};

    explicit Names(const std::vector<std::string> &names, std::size_t rows) {
        std::mt19937 random(14);
        offsets.reserve(rows + 1);
        for (std::size_t i = 0; i < rows; ++i) {
            bytes += names[random() % names.size()];
            offsets.push_back(static_cast<std::int32_t>(bytes.size()));
        }
        bytes.shrink_to_fit();
        buffers = {nullptr, offsets.data(), bytes.data()};
        schema.format = "z";
        array.length = static_cast<std::int64_t>(rows);
        array.n_buffers = 3;
        array.buffers = buffers.data();
    }
    std::size_t size() const { return bytes.size() + offsets.size() * sizeof(std::int32_t); }
};

std::vector<std::string> readNames(const std::filesystem::path &corpus) {
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(corpus)) {
        if (entry.path().filename().string().ends_with("_titles.txt")) {
            std::ifstream file(entry.path());
            for (std::string line; std::getline(file, line);) {
                std::string name(4 * line.size() + 16, '\0');
                name.resize(zelkInsightEncode(nullptr, name.data(), static_cast<int>(name.size()), line.data(),
                                              static_cast<int>(line.size()), nullptr));
                names.push_back(name);
            }
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

void decode(const Names &names, unsigned int columns, std::int64_t begin, std::int64_t end) {
    zelkArrowDecodeSettings settings{};
    settings.columns = columns;
    settings.reading = {DvbCharSetStandard, DvbCodeNone, 0, 0, 0};
    ArrowArray slice = names.array;
    slice.offset = begin;
    slice.length = end - begin;
    ArrowSchema schema;
    ArrowArray out;
    if (zelkArrowDecode(&settings, &names.schema, &slice, &schema, &out) != ZelkArrowDone) {
        std::abort();
    }
    out.release(&out);
    schema.release(&schema);
}

double secondsOf(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <class Work>
double bestSeconds(clockid_t clock, int rounds, Work work) {
    double best = 1e9;
    for (int round = 0; round < rounds; ++round) {
        const double begin = secondsOf(clock);
        work();
        best = std::min(best, secondsOf(clock) - begin);
    }
    return best;
}

double statusKibibytes(const std::string &field) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(field)) {
            return std::atof(line.c_str() + field.size() + 1);
        }
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fputs("usage: arrow_rate CORPUS [ROWS]\n", stderr);
        return 2;
    }
    const std::vector<std::string> names = readNames(argv[1]);
    const struct {
        const char *name;
        unsigned int columns;
    } kinds[] = {{"text", ZelkArrowText},
                 {"text, table, findings", ZelkArrowText | ZelkArrowTable | ZelkArrowFindingCount},
                 {"sort key", ZelkArrowSortKey},
                 {"guessed table", ZelkArrowGuessedTable | ZelkArrowConfidence}};
    for (const std::size_t rows : {std::size_t{2048}, std::size_t{65536}, std::size_t{1000000}}) {
        const Names column(names, rows);
        for (const auto &kind : kinds) {
            const bool slow = kind.columns >= ZelkArrowGuessedTable && kind.columns != ZelkArrowSortKey;
            if (slow && rows > 2048) {
                continue;
            }
            const std::size_t total = kind.columns == ZelkArrowText ? 20000000 : 4000000;
            const double seconds = bestSeconds(CLOCK_THREAD_CPUTIME_ID, slow ? 2 : static_cast<int>(total / rows),
                                               [&]() { decode(column, kind.columns, 0, column.array.length); });
            std::printf("%zu rows\t%s\t%.1f ns a row\n", rows, kind.name, seconds * 1e9 / static_cast<double>(rows));
        }
    }
    {
        const Names column(names, 1000000);
        const std::int64_t half = column.array.length / 2;
        const double one = bestSeconds(CLOCK_MONOTONIC, 20, [&]() { decode(column, ZelkArrowText, 0, 2 * half); });
        const double two = bestSeconds(CLOCK_MONOTONIC, 20, [&]() {
            std::thread other([&]() { decode(column, ZelkArrowText, 0, half); });
            decode(column, ZelkArrowText, half, 2 * half);
            other.join();
        });
        std::printf("two threads\ttext\t%.2f times as fast as one\n", one / two);
    }
    const std::size_t rows = argc > 2 ? static_cast<std::size_t>(std::atoll(argv[2])) : 4000000;
    const Names column(names, rows);
    std::ofstream("/proc/self/clear_refs") << "5\n"; // the peak so far is forgotten
    const double before = statusKibibytes("VmRSS:");
    decode(column, ZelkArrowText, 0, column.array.length);
    const double input = static_cast<double>(column.size()) / 1024;
    std::printf("%zu rows\tmemory\t%.2f times the input, which is counted in\n", rows,
                (statusKibibytes("VmHWM:") - before + input) / input);
    return 0;
}
