// glibc iconv with a descriptor that is kept open.
#pragma once

#include <cstddef>
#include <iconv.h>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>

namespace zelk_bench {

// Converts one text a call; the codings by the names of iconv.
template <class In, class Out>
class Iconv {
public:
    Iconv(const char *from, const char *to) : descriptor_(open(from, to), iconv_close) {}

    std::size_t operator()(std::span<const In> text, Out *out, std::size_t room) const {
        char *inAt = const_cast<char *>(reinterpret_cast<const char *>(text.data()));
        char *outAt = reinterpret_cast<char *>(out);
        std::size_t inLeft = text.size_bytes();
        std::size_t outLeft = room * sizeof(Out);
        iconv(descriptor_.get(), &inAt, &inLeft, &outAt, &outLeft);
        return room - outLeft / sizeof(Out);
    }

private:
    static iconv_t open(const char *from, const char *to) {
        const iconv_t descriptor = iconv_open(to, from);
        if (descriptor == iconv_t(-1)) {
            throw std::runtime_error(std::string("iconv has no conversion from ") + from + " to " + to);
        }
        return descriptor;
    }

    std::shared_ptr<void> descriptor_;
};

} // namespace zelk_bench
