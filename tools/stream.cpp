#include "stream.h"

#include "failure.h"
#include "unicode.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace zelk::tool {

namespace {

// A signal writes a byte into it; who waits for input looks there, too.
int stopPipe[2] = {-1, -1};

extern "C" void noteSignal(int /*signal*/) {
    const int error = errno;
    [[maybe_unused]] const ssize_t written = ::write(stopPipe[1], "", 1);
    errno = error;
}

[[noreturn]] void failOutput() {
    if (errno == EPIPE) {
        throw BrokenPipe{};
    }
    failSystem("standard output", errno);
}

} // namespace

void write(std::string_view bytes) {
    if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size()) {
        failOutput();
    }
}

void flushOutput() {
    if (std::fflush(stdout) != 0) {
        failOutput();
    }
}

OutputFile::OutputFile(std::string name) : name_(std::move(name)), file_(std::fopen(name_.c_str(), "wb")) {
    if (file_ == nullptr) {
        failSystem(name_, errno);
    }
}

OutputFile::~OutputFile() {
    if (file_ != nullptr) {
        (void)std::fclose(file_);
    }
}

void OutputFile::write(std::string_view bytes) {
    if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) {
        failSystem(name_, errno);
    }
}

void OutputFile::close() {
    if (std::fclose(std::exchange(file_, nullptr)) != 0) {
        failSystem(name_, errno);
    }
}

void endInputOnSignals() {
    if (pipe2(stopPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        failSystem("pipe", errno);
    }
    struct sigaction action = {};
    action.sa_handler = noteSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART); // what is being written is written
    (void)sigaction(SIGINT, &action, nullptr);
    (void)sigaction(SIGTERM, &action, nullptr);
}

Input::Input(const std::string &name) : name_(name == "-" ? "standard input" : onOneLine(name)), file_(stdin) {
    if (name != "-") {
        file_ = std::fopen(name.c_str(), "rb");
        if (file_ == nullptr) {
            failSystem(name_, errno);
        }
    }
}

Input::~Input() {
    if (file_ != stdin) {
        (void)std::fclose(file_);
    }
}

// Whether there is something to read before the time is over and no signal has come. Output leaves before the wait.
bool Input::wait(int descriptor) const {
    for (bool flushed = false;; flushed = true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
        if (end_ != Clock::time_point::max() && left <= 0) {
            return false;
        }
        constexpr int longest = 1'000'000;
        const int timeout = !flushed ? 0
                            : end_ == Clock::time_point::max()
                                ? -1
                                : static_cast<int>(std::min<std::int64_t>(left, longest));
        pollfd files[] = {{descriptor, POLLIN, 0}, {stopPipe[0], POLLIN, 0}};
        const int count = poll(files, 2, timeout);
        if (count < 0 && errno != EINTR) {
            failSystem(name_, errno);
        }
        if (count > 0) {
            return files[1].revents == 0;
        }
        if (!flushed) {
            flushOutput();
        }
    }
}

std::size_t Input::read(char *buffer, std::size_t size) {
    const int descriptor = fileno(file_);
    if (descriptor < 0) { // a file in memory
        const std::size_t count = std::fread(buffer, 1, size, file_);
        if (count < size && std::ferror(file_) != 0) {
            failSystem(name_, errno);
        }
        return count;
    }
    for (;;) {
        if (!wait(descriptor)) {
            stopped_ = true;
            return 0;
        }
        const ssize_t count = ::read(descriptor, buffer, size);
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR && errno != EAGAIN) {
            failSystem(name_, errno);
        }
    }
}

void forEachInput(const std::vector<std::string> &files, const std::function<void(Input &)> &use) {
    const std::vector<std::string> standardInput = {"-"};
    for (const std::string &name : files.empty() ? standardInput : files) {
        Input input(name);
        use(input);
    }
}

bool LineReader::next(std::string &line) {
    line.clear();
    bool found = false;
    for (;;) {
        if (at_ == buffer_.size()) {
            buffer_.resize(chunkSize);
            buffer_.resize(input_.read(buffer_.data(), chunkSize));
            at_ = 0;
            if (buffer_.empty()) {
                break;
            }
        }
        found = true;
        const std::size_t end = std::min(buffer_.find('\n', at_), buffer_.size());
        if (end - at_ > longest_ - line.size()) {
            failInput("{}:{}: expected a line of at most {} bytes", input_.name(), number_ + 1, longest_);
        }
        line.append(buffer_, at_, end - at_);
        at_ = std::min(end + 1, buffer_.size());
        if (end < buffer_.size()) {
            break;
        }
    }
    number_ += found ? 1 : 0;
    return found;
}

std::string LineReader::place() const {
    return fmt::format("{}:{}", input_.name(), number_);
}

} // namespace zelk::tool
