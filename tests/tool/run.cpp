#include "tool/run.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zelk_test {

namespace {

struct Pipe {
    Pipe() {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        read = ends[0];
        write = ends[1];
    }
    ~Pipe() {
        closeRead();
        closeWrite();
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;
    void closeRead() {
        if (read >= 0) {
            (void)close(read);
        }
        read = -1;
    }
    void closeWrite() {
        if (write >= 0) {
            (void)close(write);
        }
        write = -1;
    }
    int read = -1;
    int write = -1;
};

// The new process, or -1 when the program is not found.
pid_t start(const std::string &program, std::vector<std::string> arguments, const Environment &environment,
            const Pipe &input, const Pipe &output, const Pipe &error) {
    arguments.insert(arguments.begin(), program);
    if (environment.addressSpace != 0) {
        const std::string limit = std::to_string(environment.addressSpace / 1024);
        arguments.insert(arguments.begin(), {"sh", "-c", "ulimit -v " + limit + "; exec \"$0\" \"$@\""});
    }
    std::vector<std::string> variables = environment.variables;
    variables.push_back(std::string("PATH=") + std::getenv("PATH"));
    const auto pointers = [](std::vector<std::string> &words) {
        std::vector<char *> result;
        result.reserve(words.size() + 1);
        for (std::string &word : words) {
            result.push_back(word.data());
        }
        result.push_back(nullptr);
        return result;
    };

    posix_spawn_file_actions_t files;
    (void)posix_spawn_file_actions_init(&files);
    (void)posix_spawn_file_actions_adddup2(&files, input.read, STDIN_FILENO);
    (void)posix_spawn_file_actions_adddup2(&files, output.write, STDOUT_FILENO);
    (void)posix_spawn_file_actions_adddup2(&files, error.write, STDERR_FILENO);
    if (!environment.outputFile.empty()) {
        (void)posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, environment.outputFile.c_str(), O_WRONLY, 0);
    }
    posix_spawnattr_t attributes;
    (void)posix_spawnattr_init(&attributes);
    sigset_t defaults;
    (void)sigemptyset(&defaults);
    (void)sigaddset(&defaults, SIGPIPE);
    (void)posix_spawnattr_setsigdefault(&attributes, &defaults);
    (void)posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t child = -1;
    const int failed = posix_spawnp(&child, arguments[0].c_str(), &files, &attributes, pointers(arguments).data(),
                                    pointers(variables).data());
    (void)posix_spawnattr_destroy(&attributes);
    (void)posix_spawn_file_actions_destroy(&files);
    return failed == 0 ? child : -1;
}

// Feeds and drains the child until both of its outputs have ended.
Result communicate(const std::string &program, const std::vector<std::string> &arguments,
                   const std::function<std::string()> &give, const std::function<void(const std::string &)> &take,
                   const Environment &environment) {
    (void)std::signal(SIGPIPE, SIG_IGN);
    Pipe input;
    Pipe output;
    Pipe error;
    if (environment.closedOutput) {
        output.closeRead();
    }
    Result result;
    const pid_t child = start(program, arguments, environment, input, output, error);
    if (child < 0) {
        result.status = 127;
        return result;
    }
    input.closeRead();
    output.closeWrite();
    error.closeWrite();
    (void)fcntl(input.write, F_SETFL, O_NONBLOCK);

    std::string waiting;
    std::vector<char> buffer(65536);
    while (output.read >= 0 || error.read >= 0) {
        if (waiting.empty() && input.write >= 0) {
            waiting = give();
            if (waiting.empty()) {
                input.closeWrite();
            }
        }
        pollfd files[3] = {{input.write, POLLOUT, 0}, {output.read, POLLIN, 0}, {error.read, POLLIN, 0}};
        (void)poll(files, 3, -1);
        if (files[0].revents != 0) {
            const ssize_t count = write(input.write, waiting.data(), waiting.size());
            if (count > 0) {
                waiting.erase(0, static_cast<std::size_t>(count));
            } else if (errno != EAGAIN) {
                input.closeWrite(); // the child reads no more
            }
        }
        const auto drain = [&buffer](Pipe &from, short events, const std::function<void(const std::string &)> &use) {
            if (events == 0) {
                return;
            }
            const ssize_t count = read(from.read, buffer.data(), buffer.size());
            if (count > 0) {
                use(std::string(buffer.data(), static_cast<std::size_t>(count)));
            } else {
                from.closeRead();
            }
        };
        drain(output, files[1].revents, take);
        drain(error, files[2].revents, [&result](const std::string &text) { result.error += text; });
    }
    int status = 0;
    (void)waitpid(child, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

} // namespace

std::ostream &operator<<(std::ostream &stream, const Result &result) {
    return stream << "status " << result.status << "\n--- standard output\n"
                  << ::testing::PrintToString(result.out) << "\n--- standard error\n"
                  << ::testing::PrintToString(result.error) << '\n';
}

Result runProgram(const std::string &program, const std::vector<std::string> &arguments, const std::string &input,
                  const Environment &environment) {
    bool given = false;
    std::string out;
    Result result = communicate(
        program, arguments, [&] { return std::exchange(given, true) ? std::string() : input; },
        [&out](const std::string &text) { out += text; }, environment);
    result.out = out;
    return result;
}

Result run(const std::vector<std::string> &arguments, const std::string &input, const Environment &environment) {
    return runProgram(ZELK_TOOL, arguments, input, environment);
}

Result stream(const std::vector<std::string> &arguments, const std::function<std::string()> &give,
              const std::function<void(const std::string &)> &take, const Environment &environment) {
    return communicate(ZELK_TOOL, arguments, give, take, environment);
}

File::File(const std::string &content) : path_(::testing::TempDir() + "zelk-test-XXXXXX") {
    const int file = mkstemp(path_.data());
    std::size_t at = 0;
    while (at < content.size()) {
        const ssize_t count = write(file, content.data() + at, content.size() - at);
        if (count < 0) {
            throw std::runtime_error("cannot write " + path_);
        }
        at += static_cast<std::size_t>(count);
    }
    (void)close(file);
}

File::~File() {
    (void)unlink(path_.c_str());
}

Directory::Directory() : path_(::testing::TempDir() + "zelk-test-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) {
        throw std::runtime_error("cannot make " + path_);
    }
}

Directory::~Directory() {
    std::error_code failed;
    std::filesystem::remove_all(path_, failed);
}

std::string Directory::put(const std::string &name, const std::string &content) const {
    const std::filesystem::path path = std::filesystem::path(path_) / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path.string();
}

} // namespace zelk_test
