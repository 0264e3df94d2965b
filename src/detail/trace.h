// Debug traces through the receiver's debug library.
//
// Its two functions are weak references: where libmurn-debug is loaded they answer, where it is absent nothing is
// traced and nothing fails to load.
#pragma once

extern "C" {
__attribute__((weak, visibility("default"))) int
murnDebugCheckLevelGetFrameAndChunk(unsigned int module, unsigned int level, void **frame, void **chunk);
__attribute__((weak, visibility("default"))) void murnDebugOutput0(void *frame, void *chunk, const char *format, ...);
}

namespace zelk::detail {

inline constexpr unsigned int traceModule = 0x5A4B; // "ZK": this library
inline constexpr unsigned int traceLevel = 4;       // 1 error, 2 warning, 3 information, 4 debug

// One trace. Ask enabled() first: what a trace prints need not be computed otherwise.
class Trace {
public:
    Trace()
        : enabled_(murnDebugCheckLevelGetFrameAndChunk != nullptr &&
                   murnDebugCheckLevelGetFrameAndChunk(traceModule, traceLevel, &frame_, &chunk_) != 0) {}

    bool enabled() const { return enabled_; }

    // `format` as for printf. Call only where enabled().
    template <class... Arguments>
    void print(const char *format, Arguments... arguments) const {
        if (murnDebugOutput0 != nullptr) {
            murnDebugOutput0(frame_, chunk_, format, arguments...);
        }
    }

private:
    void *frame_ = nullptr;
    void *chunk_ = nullptr;
    bool enabled_;
};

} // namespace zelk::detail
