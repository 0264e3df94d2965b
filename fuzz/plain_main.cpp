// Runs one fuzz target without a fuzzer, with any compiler: over every file that is named, and over every file of the
// folders that are named. So the corpora are tests like others.
#include "fuzz.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

namespace files = std::filesystem;

std::vector<files::path> inputsIn(const files::path &path) {
    if (!files::is_directory(path)) {
        return {path};
    }
    std::vector<files::path> inputs{files::directory_iterator(path), files::directory_iterator()};
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

void run(const files::path &path) {
    std::ifstream file(path, std::ios::binary);
    fuzz::require(file.is_open(), path.c_str());
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    // A block of its own, so that the sanitizer guards the end of the input too.
    const auto input = fuzz::block<std::uint8_t>(bytes);
    LLVMFuzzerTestOneInput(input.get(), bytes.size());
}

} // namespace

int main(int count, char **arguments) {
    std::size_t runs = 0;
    for (int i = 1; i < count; ++i) {
        for (const files::path &input : inputsIn(arguments[i])) {
            std::fprintf(stderr, "%s\r", input.c_str()); // the last name stands there when a run dies
            run(input);
            ++runs;
        }
    }
    std::fprintf(stderr, "\n");
    std::printf("%zu inputs\n", runs);
    return runs > 0 ? 0 : 1;
}
