// A stand-in for the receiver's debug library, for tests and for work on a desk.
//
// libmurn-zelk asks here whether a trace is wanted and hands the text over. On a receiver the maker's library of the
// same name answers; this one writes to standard error when the environment variable MURN_DEBUG_LEVEL holds a decimal
// number of at least the level asked. Unset, empty or not a number: nothing is traced. The module number is not looked
// at.
//
//     MURN_DEBUG_LEVEL=4 LD_PRELOAD=libmurn-debug.so program
//
// The environment is read at every question and nothing is kept, so that any number of threads may trace at once.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

extern "C" {

// Tells whether `level` is traced (1) or not (0). Frame and chunk are the maker's own handles: null here.
__attribute__((visibility("default"))) int
murnDebugCheckLevelGetFrameAndChunk(unsigned int /*module*/, unsigned int level, void **frame, void **chunk) {
    *frame = nullptr;
    *chunk = nullptr;
    const char *setting = std::getenv("MURN_DEBUG_LEVEL");
    if (setting == nullptr || *setting < '0' || *setting > '9') {
        return 0;
    }
    char *end = nullptr;
    const unsigned long enabled = std::strtoul(setting, &end, 10);
    return *end == 0 && enabled >= level ? 1 : 0;
}

// Writes one trace, formatted as by printf.
__attribute__((visibility("default"), format(printf, 3, 4))) void murnDebugOutput0(void * /*frame*/, void * /*chunk*/,
                                                                                   const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
}

} // extern "C"
