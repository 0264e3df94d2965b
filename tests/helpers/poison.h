// Memory that AddressSanitizer or Valgrind reports when it is touched, as long as an object lives; no more than its
// bytes elsewhere. Not every machine that the tests are compiled for has their headers.
#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define ZELK_TEST_POISON
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZELK_TEST_POISON
#endif
#endif

#if defined(ZELK_TEST_POISON)
#include <sanitizer/asan_interface.h>
#elif __has_include(<valgrind/memcheck.h>)
#define ZELK_TEST_MEMCHECK
#include <valgrind/memcheck.h>
#endif

namespace zelk_test {

class Poisoned {
public:
    Poisoned(void *at, std::size_t size) : at_(at), size_(size) {
#if defined(ZELK_TEST_POISON)
        __asan_poison_memory_region(at_, size_);
#elif defined(ZELK_TEST_MEMCHECK)
        VALGRIND_MAKE_MEM_NOACCESS(at_, size_);
#endif
    }
    ~Poisoned() {
#if defined(ZELK_TEST_POISON)
        __asan_unpoison_memory_region(at_, size_);
#elif defined(ZELK_TEST_MEMCHECK)
        VALGRIND_MAKE_MEM_DEFINED(at_, size_);
#endif
    }
    Poisoned(const Poisoned &) = delete;
    Poisoned &operator=(const Poisoned &) = delete;

private:
    [[maybe_unused]] void *at_;
    [[maybe_unused]] std::size_t size_;
};

} // namespace zelk_test
