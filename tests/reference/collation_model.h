// Collation as plainly as it can be written: both texts become lists of keys, and the lists are compared level by
// level. The keys come from the test; this header knows none.
#pragma once

#include "reference/utf8_model.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zelk_test {

struct CollationKey {
    int main = 0;
    int accent = 0;
    int letterCase = 0;
    unsigned int expansion = 0;

    static CollationKey from(std::uint32_t key) {
        return {static_cast<int>(key >> 24U), static_cast<int>(key >> 16U & 0xFFU), static_cast<int>(key >> 8U & 0xFFU),
                key & 0xFFU};
    }
};

inline std::vector<unsigned int> codePointsOf(const std::string &text) {
    const auto *bytes = reinterpret_cast<const unsigned char *>(text.c_str());
    std::vector<unsigned int> result;
    for (std::size_t i = 0; i < text.size();) {
        const Utf8Step step = utf8StepModel(bytes + i, 4); // the terminator ends every sequence
        result.push_back(step.character.value());
        i += step.consumed;
    }
    return result;
}

class CollationModel {
public:
    using KeyOf = std::function<CollationKey(unsigned int)>;
    explicit CollationModel(KeyOf keyOf) : keyOf_(std::move(keyOf)) {}

    std::vector<CollationKey> keysOf(const std::string &text) const {
        std::vector<CollationKey> result;
        for (const unsigned int code : codePointsOf(text)) {
            CollationKey key = keyOf_(code);
            if (key.main == 0) {
                continue;
            }
            result.push_back(key);
            while (key.expansion != 0) {
                key = keyOf_(key.expansion);
                result.push_back(key);
            }
        }
        return result;
    }

    int compare(const std::string &a, const std::string &b) const {
        std::vector<CollationKey> left = keysOf(a);
        std::vector<CollationKey> right = keysOf(b);
        left.emplace_back();
        right.emplace_back();
        for (const auto level : {&CollationKey::main, &CollationKey::accent, &CollationKey::letterCase}) {
            for (std::size_t i = 0; i < left.size() && i < right.size(); ++i) {
                if (left[i].*level != right[i].*level) {
                    return left[i].*level - right[i].*level;
                }
            }
        }
        return 0;
    }

private:
    KeyOf keyOf_;
};

} // namespace zelk_test
