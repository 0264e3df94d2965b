// Memory between unreadable pages: a byte read or written outside ends the test program on the spot, also where a
// sanitizer does not look.
#pragma once

#include <algorithm>
#include <gtest/gtest.h>

#include <cstddef>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace zelk_test {

class GuardPages {
public:
    explicit GuardPages(std::size_t size)
        : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))), size_((size + page_ - 1) / page_ * page_) {
        void *const block =
            mmap(nullptr, size_ + 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(block, MAP_FAILED);
        block_ = static_cast<unsigned char *>(block);
        EXPECT_EQ(mprotect(block_, page_, PROT_NONE), 0);
        EXPECT_EQ(mprotect(block_ + page_ + size_, page_, PROT_NONE), 0);
    }
    ~GuardPages() { munmap(block_, size_ + 2 * page_); }
    GuardPages(const GuardPages &) = delete;
    GuardPages &operator=(const GuardPages &) = delete;

    // `count` bytes right behind the first guard page, and right in front of the second.
    unsigned char *front() { return block_ + page_; }
    unsigned char *back(std::size_t count) { return block_ + page_ + size_ - count; }

    // A copy of the bytes right in front of the second guard page.
    unsigned char *atBack(std::string_view bytes) {
        unsigned char *const place = back(bytes.size());
        std::copy(bytes.begin(), bytes.end(), place);
        return place;
    }
    unsigned char *atFront(std::string_view bytes) {
        std::copy(bytes.begin(), bytes.end(), front());
        return front();
    }

private:
    std::size_t page_;
    std::size_t size_;
    unsigned char *block_ = nullptr;
};

} // namespace zelk_test
