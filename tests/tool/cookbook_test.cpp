// The examples of docs/cookbook.md, README.md and docs/lint.md: in a block of the kind "console" each line after "$ "
// is a command of a shell, and the lines after it are what it writes, to standard output and standard error. "..." at
// the end of them stands for any rest.
#include "tool/run.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace zelk_test;

const std::string root = ZELK_TOOL_SOURCES "/..";

struct Example {
    std::string command;
    std::string output;
};

std::vector<Example> examples(const std::string &name) {
    std::vector<Example> result;
    std::ifstream page(root + name, std::ios::binary);
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (line.rfind("```", 0) == 0) {
            inside = line == "```console";
        } else if (inside && line.rfind("$ ", 0) == 0) {
            result.push_back({line.substr(2), {}});
        } else if (inside && !result.empty()) {
            result.back().output += line + '\n';
        }
    }
    return result;
}

class Page : public testing::TestWithParam<const char *> {};

INSTANTIATE_TEST_SUITE_P(Cookbook, Page, testing::Values("/docs/cookbook.md", "/README.md", "/docs/lint.md"));

TEST_P(Page, ExamplesWriteWhatTheySay) {
    const std::vector<Example> all = examples(GetParam());
    EXPECT_GE(all.size(), 1U);
    for (const Example &example : all) {
        const Result result =
            runProgram("bash", {"-c", "cd '" + root + "' && PATH=$(dirname " ZELK_TOOL "):$PATH && { " +
                                          example.command + "\n} 2>&1"});
        const std::size_t rest = example.output.find("...\n");
        if (rest == std::string::npos) {
            EXPECT_EQ(result.out, example.output) << example.command;
        } else {
            EXPECT_FALSE(result.out.empty()) << example.command;
            EXPECT_EQ(result.out.substr(0, rest), example.output.substr(0, rest)) << example.command;
        }
    }
}

} // namespace
