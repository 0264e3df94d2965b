// Collation as plainly as it can be written: both texts become lists of keys, and the lists are compared level by
// level. The keys come from the test; this header knows none.
#pragma once

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

// The code points of a text by the sequence forms of one to three bytes; whatever else is U+FFFD: a wrong byte alone,
// an overlong form as a whole, a broken sequence up to the byte that breaks it.
inline std::vector<unsigned int> codePointsOf(const std::string &text) {
    std::vector<unsigned int> result;
    const auto byteAt = [&text](std::size_t i) -> unsigned int {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
    };
    std::size_t i = 0;
    while (i < text.size()) {
        const unsigned int lead = byteAt(i++);
        if (lead < 0x80) {
            result.push_back(lead);
            continue;
        }
        const unsigned int wanted = lead < 0xC0 || lead > 0xEF ? 0 : lead < 0xE0 ? 1 : 2;
        unsigned int value = wanted == 1 ? lead - 0xC0 : lead - 0xE0;
        unsigned int found = 0;
        while (found < wanted && byteAt(i) >= 0x80 && byteAt(i) < 0xC0) {
            value = value * 64 + (byteAt(i++) - 0x80);
            ++found;
        }
        const bool accepted = wanted > 0 && found == wanted && value >= (wanted == 1 ? 0x80U : 0x800U);
        result.push_back(accepted ? value : 0xFFFD);
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
