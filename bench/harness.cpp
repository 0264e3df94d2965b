#include "harness.h"

#include <cstdio>
#include <stdexcept>
#include <string_view>

namespace zelk_bench {

namespace {

constexpr std::string_view libraryOption = "--library=";

// One line a repetition: what was run, and the nanoseconds of processor time that one pass over the texts took.
class LineReporter : public benchmark::BenchmarkReporter {
public:
    explicit LineReporter(std::string cell) : cell_(std::move(cell)) {}

    bool ReportContext(const Context &) override { return true; }

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                const double pass = run.cpu_accumulated_time * 1e9 / static_cast<double>(run.iterations);
                std::printf("run\t%s\t%s\t%.4f\n", cell_.c_str(), run.run_name.function_name.c_str(), pass);
            }
        }
        std::fflush(stdout);
    }

private:
    std::string cell_;
};

} // namespace

void Cell::noteDifferences(const std::string &contender, std::size_t differences, std::size_t texts) const {
    if (differences != 0) {
        std::printf("note\t%s\t%s\t%s\t%s\t%zu\t%zu\n", work_.c_str(), text_.c_str(), lengthName(length_).data(),
                    contender.c_str(), differences, texts);
    }
}

void Cell::run() const {
    const std::string name = work_ + "\t" + text_ + "\t" + std::string(lengthName(length_));
    std::printf("cell\t%s\t%zu\t%zu\n", name.c_str(), texts_, bytes_);
    for (const auto &[contender, function] : contenders_) {
        benchmark::RegisterBenchmark(contender.c_str(), function);
    }
    LineReporter reporter(name);
    benchmark::RunSpecifiedBenchmarks(&reporter, "all");
    benchmark::ClearRegisteredBenchmarks();
}

int Program::run(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    try {
        Contest contest;
        std::vector<std::string> words;
        for (const std::string argument : std::span(argv + 1, argv + argc)) {
            if (argument == "--no-rivals") {
                contest.rivals = false;
            } else if (argument.starts_with(libraryOption)) {
                const std::size_t name = libraryOption.size();
                const std::size_t end = argument.find('=', name);
                contest.libraries.emplace_back(argument.substr(name, end - name), argument.substr(end + 1));
            } else {
                words.push_back(argument);
            }
        }
        if (contest.libraries.empty()) {
            throw std::runtime_error("needs --library=NAME=PATH");
        }
        for (const auto &[name, step] : steps_) {
            const auto named = [&name = name](const std::string &word) { return name.find(word) != std::string::npos; };
            if (words.empty() || std::any_of(words.begin(), words.end(), named)) {
                step(contest);
            }
        }
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "%s: %s\n", argv[0], failure.what());
        return 1;
    }
    return 0;
}

} // namespace zelk_bench
