// The Standard Compression Scheme for Unicode (Unicode Technical Standard #6), in which ATSC sends text by mode 0x3E.
#pragma once

#include <string>

namespace zelk::tool {

// The text as UTF-8. U+FFFD stands for what is reserved or cut off, and for each character above U+FFFF.
std::string readScsu(const std::string &bytes);

} // namespace zelk::tool
