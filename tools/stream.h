// Reading and writing of whole files in constant memory. Text is bytes here: nothing is translated, and a zero byte
// is a byte like any other.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zelk::tool {

// The reader of standard output has gone: the tool ends quietly.
struct BrokenPipe {};

// Writes to standard output. Throws BrokenPipe, or Failure when the bytes cannot be written.
void write(std::string_view bytes);

// Writes what is still buffered; main() calls it at the end of every command.
void flushOutput();

// A file that is written from its beginning. Throws Failure when it cannot be opened or written.
class OutputFile {
public:
    explicit OutputFile(std::string name);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    void write(std::string_view bytes);

    // What is buffered is written, too, or the file is not whole.
    void close();

private:
    std::string name_;
    std::FILE *file_;
};

// From here on SIGINT and SIGTERM end the input that is being read, in order, instead of the tool; a second one ends
// the tool.
void endInputOnSignals();

// A file by name, or standard input for "-". Throws Failure when the file cannot be opened or read.
class Input {
public:
    explicit Input(const std::string &name);
    // Takes the file over.
    Input(std::FILE *file, std::string name) : name_(std::move(name)), file_(file) {}
    Input(Input &&other) noexcept
        : name_(std::move(other.name_)), file_(std::exchange(other.file_, stdin)), end_(other.end_),
          stopped_(other.stopped_) {}
    ~Input();
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;
    Input &operator=(Input &&) = delete;

    // The name for messages: the file's name in printable characters, or "standard input".
    const std::string &name() const { return name_; }

    // What there is, up to `size` bytes; waits for the first of them, having written all output. 0 is the end of the
    // file, or of the time that is granted.
    std::size_t read(char *buffer, std::size_t size);

    using Clock = std::chrono::steady_clock;

    // At this time the input ends, whatever would still come.
    void endAt(Clock::time_point end) { end_ = end; }

    // Whether it ended by time or a signal, before its own end.
    bool stopped() const { return stopped_; }

private:
    bool wait(int descriptor) const;

    std::string name_;
    std::FILE *file_;
    Clock::time_point end_ = Clock::time_point::max();
    bool stopped_ = false;
};

// Bytes that Input and the converters handle at a time.
inline constexpr std::size_t chunkSize = 65536;

// Calls `use` with every input in turn; no file at all stands for standard input.
void forEachInput(const std::vector<std::string> &files, const std::function<void(Input &)> &use);

// Lines without their line feed. A last line without one is a line; an empty file has none.
class LineReader {
public:
    static constexpr std::size_t anyLength = static_cast<std::size_t>(-1);

    // A line of more than `longest` bytes is bad input and throws Failure.
    explicit LineReader(Input &input, std::size_t longest = anyLength) : input_(input), longest_(longest) {}

    // False at the end of the file. The line stays valid until the next call.
    bool next(std::string &line);

    // Number of the line last read, from 1.
    std::size_t number() const { return number_; }

    // "file:7", for messages.
    std::string place() const;

private:
    Input &input_;
    std::size_t longest_;
    std::string buffer_;
    std::size_t at_ = 0;
    std::size_t number_ = 0;
};

} // namespace zelk::tool
