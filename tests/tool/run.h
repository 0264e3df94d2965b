// Runs the built tool and keeps what it writes.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace zelk_test {

struct Result {
    int status = -1; // 127: there is no such program; 128 and more: ended by a signal
    std::string out;
    std::string error;

    bool operator==(const Result &other) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Result &result);

// What a successful run writes.
inline Result success(std::string out) {
    return {0, std::move(out), {}};
}

// A run that ends with one line on standard error.
inline Result failure(int status, const std::string &message) {
    return {status, {}, message + '\n'};
}

struct Environment {
    std::vector<std::string> variables; // "NAME=value", besides PATH
    std::size_t addressSpace = 0;       // limit in bytes; 0 is none
    bool closedOutput = false;          // nobody reads standard output
    std::string outputFile;             // standard output goes here
};

Result run(const std::vector<std::string> &arguments, const std::string &input = {},
           const Environment &environment = {});

// Runs any program that is found in PATH.
Result runProgram(const std::string &program, const std::vector<std::string> &arguments, const std::string &input = {},
                  const Environment &environment = {});

// As run(), with input of any length: give(room) returns the next stretch, empty at the end, and take() sees the
// output as it comes.
Result stream(const std::vector<std::string> &arguments, const std::function<std::string()> &give,
              const std::function<void(const std::string &)> &take, const Environment &environment = {});

// A file with the given content for the time of a test.
class File {
public:
    explicit File(const std::string &content);
    ~File();
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

// An empty directory for the time of a test; what the test puts there goes with it.
class Directory {
public:
    Directory();
    ~Directory();
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;
    const std::string &path() const { return path_; }

    // Writes a file below it, and the directories on the way.
    std::string put(const std::string &name, const std::string &content) const;

private:
    std::string path_;
};

} // namespace zelk_test
