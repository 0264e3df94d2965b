// Wildcard patterns, and comparison that passes over control characters: the variants, by rules of their own.
#include "detail/wildcard.h"
#include "kernels/wildcard.h"
#include "zelk.h"

#include <cctype>

namespace zelk::detail {

namespace {

// The C library's character tables, in the locale of the call. Only the low 7 bits of a byte tell a control character,
// so 0x80 to 0x9F and 0xFF are some too: kept on purpose.
class CharacterTables {
public:
#if defined(__GLIBC__)
    int lower(Byte byte) const {
        return lower_[byte];
    }
    bool isControl(Byte byte) const {
        return (classes_[byte & 0x7FU] & _IScntrl) != 0;
    }

private:
    const int *lower_ = *__ctype_tolower_loc();
    const unsigned short *classes_ = *__ctype_b_loc();
#else
    int lower(Byte byte) const {
        return std::tolower(byte);
    }
    bool isControl(Byte byte) const {
        return std::iscntrl(byte & 0x7F) != 0;
    }
#endif
};

template <bool ignoreCase, bool ignoreControls>
class Lenient {
public:
    static constexpr bool ignoresBytes = ignoreControls;
    int fold(Byte byte) const { return ignoreCase ? tables_.lower(byte) : byte; }
    bool ignores(Byte byte) const { return ignoreControls && tables_.isControl(byte); }

private:
    CharacterTables tables_;
};

using AnyControls = Lenient<false, true>;
using AnyCaseAndControls = Lenient<true, true>;

int matchInAnyCase(const char *text, const char *pattern) {
#if defined(__GLIBC__)
    return ZELK_CHOOSE((text, pattern, *__ctype_tolower_loc()), matchWildcardsInAnyCase);
#else
    return match(Lenient<true, false>(), text, pattern);
#endif
}

} // namespace

} // namespace zelk::detail

using namespace zelk;

int zelk_patternWildcardMatch(const char *text, const char *pattern) {
    return ZELK_CHOOSE((text, pattern), matchWildcards);
}

int zelk_patternWildcardMatchIgnoreCase(const char *text, const char *pattern) {
    return detail::matchInAnyCase(text, pattern);
}

int zelk_patternWildcardMatchIgnoreControlChars(const char *text, const char *pattern) {
    return detail::match(detail::AnyControls(), text, pattern);
}

int zelk_patternWildcardMatchIgnoreCaseAndControlChars(const char *text, const char *pattern) {
    return detail::match(detail::AnyCaseAndControls(), text, pattern);
}

int zelk_patternCompareIgnoreControlChars(const char *a, const char *b) {
    return detail::compare(detail::AnyControls(), a, b);
}

int zelk_patternCompareIgnoreCaseAndControlChars(const char *a, const char *b) {
    return detail::compare(detail::AnyCaseAndControls(), a, b);
}
