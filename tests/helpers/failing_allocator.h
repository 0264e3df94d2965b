// malloc and its kin, replaced for one test program, to count requests, to find what is not given back, and to fail the
// n-th request. While requests are watched a new block is filled with one byte, so that a test sees what was never
// written. operator new comes through it, and so does what the C library itself asks for. Include it in one source of a
// program with one thread.
//
// It needs a C library that offers its own functions under a second name, and no sanitizer in between: where
// `countsAllocations` is false nothing is replaced.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define ZELK_TEST_COUNTS_ALLOCATIONS 1
#else
#define ZELK_TEST_COUNTS_ALLOCATIONS 0
#endif

namespace zelk_test {

inline constexpr bool countsAllocations = ZELK_TEST_COUNTS_ALLOCATIONS != 0;

// Which of the requests from here on fail.
enum class Failing { None, OneRequest, OneRequestAndAllLater };

// The requests while an object of this class lives, or until stop(). One object at a time.
class AllocationWatch {
public:
    explicit AllocationWatch(Failing failing = Failing::None, long number = 0) {
        state() = {.watching = true, .failing = failing, .failingNumber = number};
    }
    ~AllocationWatch() { stop(); }
    AllocationWatch(const AllocationWatch &) = delete;
    AllocationWatch &operator=(const AllocationWatch &) = delete;

    static void stop() { state().watching = false; }
    static long requests() { return state().requests; }
    static long failures() { return state().failures; }

    // Blocks of the watched time that have not been given back, also after it.
    static std::size_t blocksInUse() { return state().blockCount; }

    // For the replaced functions. True when the request is to be refused.
    static bool refuse() {
        State &now = state();
        if (!now.watching) {
            return false;
        }
        ++now.requests;
        const bool fails = (now.failing == Failing::OneRequest && now.requests == now.failingNumber) ||
                           (now.failing == Failing::OneRequestAndAllLater && now.requests >= now.failingNumber);
        now.failures += fails ? 1 : 0;
        return fails;
    }
    static constexpr unsigned char unwritten = 0xA7;

    static void *filled(void *block, std::size_t size) {
        if (state().watching && block != nullptr) {
            std::memset(block, unwritten, size);
        }
        return block;
    }
    static void *given(void *block) {
        State &now = state();
        if (now.watching && block != nullptr) {
            if (now.blockCount == now.blocks.size()) {
                std::abort(); // more blocks at once than any test has
            }
            now.blocks[now.blockCount++] = block;
        }
        return block;
    }
    static void takenBack(void *block) {
        State &now = state();
        auto *const end = now.blocks.begin() + now.blockCount;
        auto *const found = std::find(now.blocks.begin(), end, block);
        if (block != nullptr && found != end) {
            *found = now.blocks[--now.blockCount];
        }
    }

private:
    struct State {
        bool watching = false;
        Failing failing = Failing::None;
        long failingNumber = 0;
        long requests = 0;
        long failures = 0;
        std::size_t blockCount = 0;
        std::array<void *, 256> blocks{};
    };
    static State &state() {
        static constinit State state;
        return state;
    }
};

} // namespace zelk_test

#if ZELK_TEST_COUNTS_ALLOCATIONS

extern "C" {

void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void __libc_free(void *block);

void *malloc(std::size_t size) noexcept {
    if (zelk_test::AllocationWatch::refuse()) {
        return nullptr;
    }
    return zelk_test::AllocationWatch::given(zelk_test::AllocationWatch::filled(__libc_malloc(size), size));
}

void *calloc(std::size_t count, std::size_t size) noexcept {
    return zelk_test::AllocationWatch::refuse() ? nullptr
                                                : zelk_test::AllocationWatch::given(__libc_calloc(count, size));
}

void *realloc(void *block, std::size_t size) noexcept {
    if (zelk_test::AllocationWatch::refuse()) {
        return nullptr;
    }
    zelk_test::AllocationWatch::takenBack(block);
    return zelk_test::AllocationWatch::given(__libc_realloc(block, size));
}

void free(void *block) noexcept {
    zelk_test::AllocationWatch::takenBack(block);
    __libc_free(block);
}

} // extern "C"

#endif
