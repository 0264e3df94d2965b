// One block of malloc, which an output column hands over to its consumer. Large blocks grow in place where the C
// library can move their pages, so that a column is not there twice.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

namespace zelk::arrow {

class Block {
public:
    Block() = default;
    ~Block() { std::free(data_); }
    Block(Block &&other) noexcept
        : data_(std::exchange(other.data_, nullptr)), capacity_(std::exchange(other.capacity_, 0)) {}
    Block &operator=(Block &&other) noexcept {
        std::swap(data_, other.data_);
        std::swap(capacity_, other.capacity_);
        return *this;
    }
    Block(const Block &) = delete;
    Block &operator=(const Block &) = delete;

    unsigned char *data() { return data_; }
    const unsigned char *data() const { return data_; }
    std::size_t capacity() const { return capacity_; }

    // The values at its beginning.
    template <class Value>
    Value *as() {
        return reinterpret_cast<Value *>(data_);
    }

    // Keeps what the block holds, as far as the new size goes. Never gives a null block.
    void resize(std::size_t size) {
        void *const moved = std::realloc(data_, size == 0 ? 1 : size);
        if (moved == nullptr) {
            throw std::bad_alloc();
        }
        data_ = static_cast<unsigned char *>(moved);
        capacity_ = size;
    }

    // At least so many bytes, and half as many again as before, so that appending takes linear time.
    void grow(std::size_t least) {
        const std::size_t ample = capacity_ + capacity_ / 2;
        resize(ample > least ? ample : least);
    }

private:
    unsigned char *data_ = nullptr;
    std::size_t capacity_ = 0;
};

} // namespace zelk::arrow
