#include "stream.h"

#include "command.h"

#include <algorithm>
#include <cerrno>

namespace zelk::tool {

namespace {

[[noreturn]] void failOutput() {
    if (errno == EPIPE) {
        throw BrokenPipe{};
    }
    failSystem("standard output", errno);
}

} // namespace

void write(std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size()) {
        failOutput();
    }
}

void flushOutput() {
    if (std::fflush(stdout) != 0) {
        failOutput();
    }
}

Input::Input(const std::string &name) : name_(name == "-" ? "standard input" : name), file_(stdin) {
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

std::size_t Input::read(char *buffer, std::size_t size) {
    const std::size_t count = std::fread(buffer, 1, size, file_);
    if (count < size && std::ferror(file_) != 0) {
        failSystem(name_, errno);
    }
    return count;
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
