#include <zelk.hpp>

int main() {
    return zelk::GetSupportedCharacterSets().size() == 41 ? 0 : 1;
}
