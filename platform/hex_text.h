#pragma once

#include <cstdint>
#include <string>

namespace halden {

/// `number` as exactly `digits` lower-case hexadecimal digits; higher digits are cut off.
/// HexText(0xABCD, 8) is "0000abcd".
inline std::string HexText(std::uint32_t number, int digits) {
  std::string text(digits, '0');
  for (int i = digits - 1; i >= 0; --i, number >>= 4) text[i] = "0123456789abcdef"[number & 15];
  return text;
}

}  // namespace halden
