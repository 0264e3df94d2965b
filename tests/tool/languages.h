// ISO 639-2: the languages that have a code for bibliography and another for terminology, in this order.
#pragma once

#include <string>

namespace zelk_test {

inline constexpr const char *languagesOfTwoCodes[][2] = {
    {"alb", "sqi"}, {"arm", "hye"}, {"baq", "eus"}, {"bur", "mya"}, {"chi", "zho"}, {"cze", "ces"}, {"dut", "nld"},
    {"fre", "fra"}, {"geo", "kat"}, {"ger", "deu"}, {"gre", "ell"}, {"ice", "isl"}, {"mac", "mkd"}, {"mao", "mri"},
    {"may", "msa"}, {"per", "fas"}, {"rum", "ron"}, {"slo", "slk"}, {"tib", "bod"}, {"wel", "cym"}};

inline std::string capitals(std::string code) {
    for (char &letter : code) {
        letter = static_cast<char>(letter - 'a' + 'A');
    }
    return code;
}

} // namespace zelk_test
