#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace halden {

inline unsigned DigitOf(char c) {
  return static_cast<unsigned char>(c) - static_cast<unsigned>('0');
}

/// The digits at the front of a text, as a number.
struct Digits {
  std::uint64_t number = 0;  ///< means something up to 19 digits
  std::ptrdiff_t count = 0;
};

/// Eight characters as they stand in memory, the first one in the lowest byte.
inline std::uint64_t EightCharacters(const char* at) {
  std::uint64_t eight;
  std::memcpy(&eight, at, sizeof eight);
  if constexpr (std::endian::native == std::endian::big) {
    std::uint64_t swapped = 0;
    for (int i = 0; i < 8; ++i, eight >>= 8) swapped = swapped << 8 | (eight & 0xFF);
    return swapped;
  }
  return eight;
}

/// Reads the digits at the front of a text of which at least eight characters can be read. Up to seven are
/// taken at once, whatever their number, because the processor can't foresee where a number ends: the digits
/// are moved to the upper end of a word, in front of them zeros, and added up in pairs, fours and eights.
inline Digits ReadDigits(const char* at) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  const std::uint64_t values = EightCharacters(at) ^ '0' * kOnes;  // a digit becomes its value, below 10
  const std::uint64_t others = (values | ((values & 0x7F * kOnes) + (0x80 - 10) * kOnes)) & 0x80 * kOnes;
  const int count = std::countr_zero(others) / 8;
  if (count == 0) return {};
  if (count < 8) {
    std::uint64_t sum = values << (64 - 8 * count);
    sum = (sum * 10 + (sum >> 8)) & 0x00FF00FF00FF00FF;
    sum = (sum * 100 + (sum >> 16)) & 0x0000FFFF0000FFFF;
    sum = (sum * 10000 + (sum >> 32)) & 0xFFFFFFFF;
    return {sum, count};
  }
  Digits digits;
  for (unsigned digit; (digit = DigitOf(at[digits.count])) <= 9; ++digits.count)
    digits.number = digits.number * 10 + digit;
  return digits;
}

}  // namespace halden
