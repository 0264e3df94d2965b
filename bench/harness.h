// Cells of the benchmark's tables: contenders that do the same work on the same texts, timed interleaved.
//
// A cell is one kind of work on one kind of text in one length. Its contenders are builds of our library, which the
// command line names, and rivals. They run in random order, again and again, so that what disturbs the machine disturbs
// all of them. Before a cell is timed, all results are compared with those of the first build, and differences are
// reported.
#pragma once

#include "corpus.h"
#include "library.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace zelk_bench {

// What the command line asks for.
struct Contest {
    std::vector<Library> libraries;
    bool rivals = true;
};

class Cell {
public:
    Cell(const Contest &contest, std::string work, std::string text, Length length)
        : contest_(contest), work_(std::move(work)), text_(std::move(text)), length_(length) {}

    const std::vector<Library> &libraries() const { return contest_.libraries; }
    bool rivals() const { return contest_.rivals; }

    // `function(i)` does the work on text number i; what it returns is kept from the optimiser and otherwise ignored.
    template <class Function>
    void add(const std::string &contender, std::size_t texts, Function function) {
        texts_ = texts;
        contenders_.emplace_back(contender, [texts, function](benchmark::State &state) mutable {
            for ([[maybe_unused]] const auto pass : state) {
                for (std::size_t i = 0; i < texts; ++i) {
                    benchmark::DoNotOptimize(function(i));
                }
                benchmark::ClobberMemory();
            }
        });
    }

    // Every build of ours: `bind(library)` gives its function.
    template <class Bind>
    void ours(std::size_t texts, Bind bind) {
        for (const Library &library : libraries()) {
            addChecked(library.name(), texts, bind(library));
        }
    }

    template <class Function>
    void rival(const std::string &name, std::size_t texts, Function function) {
        if (rivals()) {
            addChecked(name, texts, function);
        }
    }

    void noteDifferences(const std::string &contender, std::size_t differences, std::size_t texts) const;
    void setBytesWritten(std::size_t bytes) { bytes_ = bytes; }

    // Times the contenders and prints their runs.
    void run() const;

private:
    // The results are compared with those of the first contender.
    template <class Function>
    void addChecked(const std::string &contender, std::size_t texts, Function function) {
        std::vector<long long> results;
        for (std::size_t i = 0; i < texts; ++i) {
            results.push_back(static_cast<long long>(function(i)));
        }
        if (results_.empty()) {
            results_ = results;
        }
        std::size_t differences = 0;
        for (std::size_t i = 0; i < texts; ++i) {
            differences += results[i] != results_[i] ? 1 : 0;
        }
        noteDifferences(contender, differences, texts);
        add(contender, texts, function);
    }

    const Contest &contest_;
    std::string work_;
    std::string text_;
    Length length_;
    std::size_t texts_ = 0;
    std::size_t bytes_ = 0;
    std::vector<long long> results_;
    std::vector<std::pair<std::string, std::function<void(benchmark::State &)>>> contenders_;
};

// A cell of conversions. `function(text, out, room)` converts one text into at most `room` units and returns the units
// written, the terminator not counted.
template <class In, class Out>
class Conversion {
public:
    Conversion(Cell &cell, Texts<In> texts)
        : cell_(cell), texts_(std::move(texts)), room_(texts_.longest() * 6 + 64), out_(room_) {}
    Conversion(const Conversion &) = delete;
    Conversion &operator=(const Conversion &) = delete;

    // Every build of ours, `bind(library)` giving its function, and the memcpy of what the first one writes. What that
    // one gives is what all others are compared with.
    template <class Bind>
    void ours(Bind bind) {
        for (const Library &library : cell_.libraries()) {
            auto function = bind(library);
            if (results_.size() == 0) {
                for (std::size_t i = 0; i < texts_.size(); ++i) {
                    const std::size_t written = function(texts_[i], out_.data(), room_);
                    results_.add({out_.data(), written});
                }
                cell_.setBytesWritten(results_.totalUnits() * sizeof(Out));
            } else {
                check(library.name(), function);
            }
            add(library.name(), function);
        }
        if (cell_.rivals()) {
            cell_.add("memcpy", texts_.size(), [this](std::size_t i) {
                const std::span<const Out> result = results_[i];
                return std::memcpy(out_.data(), result.data(), result.size_bytes());
            });
        }
    }

    template <class Function>
    void rival(const std::string &name, Function function) {
        rival(name, function, function);
    }

    // For rivals that hand over a block of their own: `convert` is timed, `copy` is used for the comparison.
    template <class Function, class Copy>
    void rival(const std::string &name, Function convert, Copy copy) {
        if (cell_.rivals()) {
            check(name, copy);
            add(name, convert);
        }
    }

private:
    template <class Function>
    void check(const std::string &name, Function function) {
        std::size_t differences = 0;
        for (std::size_t i = 0; i < texts_.size(); ++i) {
            const std::size_t written = function(texts_[i], out_.data(), room_);
            const std::span<const Out> expected = results_[i];
            differences += std::equal(expected.begin(), expected.end(), out_.data(), out_.data() + written) ? 0 : 1;
        }
        cell_.noteDifferences(name, differences, texts_.size());
    }

    template <class Function>
    void add(const std::string &name, Function function) {
        cell_.add(name, texts_.size(),
                  [this, function](std::size_t i) mutable { return function(texts_[i], out_.data(), room_); });
    }

    Cell &cell_;
    Texts<In> texts_;
    Texts<Out> results_;
    std::size_t room_;
    Buffer<Out> out_;
};

// The cells of one program.
class Program {
public:
    // `prepare(cell)` adds the contenders; it runs only if the cell does. What it returns lives until the cell is
    // timed.
    template <class Prepare>
    void cell(const std::string &work, const std::string &text, Length length, Prepare prepare) {
        steps_.emplace_back(work + "/" + text + "/" + std::string(lengthName(length)), [=](const Contest &contest) {
            Cell cell(contest, work, text, length);
            [[maybe_unused]] const auto kept = prepare(cell);
            cell.run();
        });
    }

    // Arguments: those of Google Benchmark; --library=NAME=PATH for each build of ours; --no-rivals; and words of which
    // a cell's name must contain one.
    int run(int argc, char **argv);

private:
    std::vector<std::pair<std::string, std::function<void(const Contest &)>>> steps_;
};

} // namespace zelk_bench
