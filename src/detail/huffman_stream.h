// The answers of the streaming decoder of compressed DVB text that are no characters. Whole texts know them, too.
#pragma once

namespace zelk::detail {

inline constexpr unsigned short nextByteWanted = 0xFFFE;
inline constexpr unsigned short textEnded = 0xFFFF;

} // namespace zelk::detail
