// Writes what a sample announces, as `zelk scan --json` prints it.
#pragma once

#include <nlohmann/json.hpp>

#include <fstream>
#include <string>

namespace zelk_samples {

using Json = nlohmann::ordered_json;

// One record a line.
inline void writeListing(const std::string &path, const Json &listing) {
    std::ofstream file(path, std::ios::binary);
    const char *separator = "{\n";
    for (const auto &[name, records] : listing.items()) {
        file << separator << '"' << name << "\": [";
        const char *comma = "\n";
        for (const Json &record : records) {
            file << comma << record.dump();
            comma = ",\n";
        }
        file << (records.empty() ? "]" : "\n]");
        separator = ",\n";
    }
    file << "\n}\n";
}

} // namespace zelk_samples
