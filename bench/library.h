// Builds of our own library, several in one process.
#pragma once

#include <dlfcn.h>
#include <stdexcept>
#include <string>
#include <utility>

namespace zelk_bench {

// Loaded for itself: its names do not reach the other builds. It stays loaded until the process ends.
class Library {
public:
    Library(std::string name, const std::string &path)
        : name_(std::move(name)), handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }

    const std::string &name() const { return name_; }

    // A function or an object that the library exports, by its name for the linker.
    template <class Exported>
    Exported *find(const char *symbol) const {
        void *const address = dlsym(handle_, symbol);
        if (address == nullptr) {
            throw std::runtime_error(dlerror());
        }
        return reinterpret_cast<Exported *>(address);
    }

private:
    std::string name_;
    void *handle_;
};

} // namespace zelk_bench

#define BENCH_FIND(library, symbol) (library).find<decltype(symbol)>(#symbol)
