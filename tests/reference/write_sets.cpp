// write_sets FOLDER: stores the single-byte sets that the tests take from the C library's iconv, for test runs on
// machines whose C library comes without them.
#include "reference/single_byte.h"

#include <iostream>

int main(int count, char **arguments) {
    using namespace zelk_test::reference;
    if (count != 2) {
        std::cerr << "usage: write_sets FOLDER\n";
        return 1;
    }
    std::vector<std::string> names{"ASCII", "CP1250", "CP1251", "CP1252", "CP1253", "CP1254", "CP1257"};
    for (int part = 1; part <= 16; ++part) {
        if (part != 12) {
            names.push_back("ISO-8859-" + std::to_string(part));
        }
    }
    for (const std::string &name : names) {
        std::ofstream file(std::string(arguments[1]) + "/" + name, std::ios::binary);
        for (const unsigned int code : systemSet(name)) {
            file.put(static_cast<char>(code & 0xFF)).put(static_cast<char>(code >> 8));
        }
    }
    return 0;
}
