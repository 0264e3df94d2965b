#include "kernels/wildcard.h"

#include "detail/wildcard.h"
#if defined(ZELK_HAS_AVX512_KERNELS)
#include "kernels/wildcard_avx512.h"
#endif

namespace zelk::kernels::portable {

namespace {

class AnyCase {
public:
    static constexpr bool ignoresBytes = false;
    explicit AnyCase(const int *smallLetters) : smallLetters_(smallLetters) {}
    int fold(detail::Byte byte) const { return smallLetters_[byte]; }
    bool ignores(detail::Byte /*byte*/) const { return false; }

private:
    const int *smallLetters_;
};

} // namespace

int matchWildcards(const char *text, const char *pattern) {
    return detail::match(detail::ExactBytes(), text, pattern);
}

int matchWildcardsInAnyCase(const char *text, const char *pattern, const int *smallLetters) {
    return detail::match(AnyCase(smallLetters), text, pattern);
}

} // namespace zelk::kernels::portable
