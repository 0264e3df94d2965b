// What a test was at when an access to an unreadable page ended it: told on standard error, before the signal takes its
// usual course.
#pragma once

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <unistd.h>

namespace zelk_test {

class LastCase {
public:
    LastCase() {
        struct sigaction action = {};
        action.sa_handler = tell;
        sigaction(SIGSEGV, &action, &usual());
    }
    ~LastCase() { sigaction(SIGSEGV, &usual(), nullptr); }
    LastCase(const LastCase &) = delete;
    LastCase &operator=(const LastCase &) = delete;

    // The texts must live as long as the case.
    void is(const char *function, const char *kind, std::size_t length, long count, const char *place) {
        now() = {function, kind, length, count, place};
    }

private:
    struct Case {
        const char *function = "none";
        const char *kind = "none";
        std::size_t length = 0;
        long count = 0;
        const char *place = "nowhere";
    };
    static Case &now() {
        static Case current;
        return current;
    }
    static struct sigaction &usual() {
        static struct sigaction action;
        return action;
    }
    // Returning repeats the access, and the usual handler gets it.
    static void tell(int /*signal*/) {
        char line[400];
        const Case &last = now();
        const int length = std::snprintf(line, sizeof line, "access out of bounds: %s, %s, length %zu, count %ld, %s\n",
                                         last.function, last.kind, last.length, last.count, last.place);
        [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line, static_cast<std::size_t>(length));
        sigaction(SIGSEGV, &usual(), nullptr);
    }
};

} // namespace zelk_test
