#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/number_rules.h"

namespace halden {

/// Whether the whole text is a number by the rules of the user's locale. It may have blanks around it, a
/// sign, one decimal separator, group separators anywhere after the first digit, and an exponent with digits.
/// There must be a digit before the exponent: "1.", ".5" and "1e5" are numbers, "." and "e5" are not.
bool IsNumericText(const NumberRules& rules, std::string_view text);

/// The number of a text that IsNumericText accepts, rounded once to the nearest float. Beyond the range of a
/// float the result is an infinity with the text's sign, which then becomes the lowest or highest code.
float TextToFloat(const NumberRules& rules, std::string_view text);

/// The number at the front of any text by fixed rules, whatever the locale: the decimal mark is a point,
/// there are no groups, and blanks, tabs and line feeds are skipped everywhere. "1,5" -> 1, "- 4 . 5 e 1 x"
/// -> -45. 0 if the text doesn't begin with a number.
double LeadingNumber(std::string_view text);

/// The decimal separator as the system writes it: the second character of 1.1 as text. It may differ from
/// NumberRules::DecimalSeparator for a moment, while the user changes the rules.
char SystemDecimalSeparator(const NumberRules& rules);

/// Rounds to the nearest float; beyond the range of a float to an infinity. A plain cast would be undefined
/// there.
float ToSingle(double value);

/// The text without the blanks at its ends. Only blanks: tabs and line feeds stay.
std::string_view Trim(std::string_view text);

// The fast way for short plain numbers, which most fields hold. Defined inline so that the per-line loop of
// LineScanner can absorb it.

/// The value of a digit; above 9 for any other character.
inline unsigned DigitOf(char c) {
  return static_cast<unsigned char>(c) - static_cast<unsigned>('0');
}

/// Appends the digits that begin at `at` to `number` and returns the character after them, which must exist.
/// More than 19 digits overflow `number`, modulo 2^64.
inline const char* TakeDigits(const char* at, std::uint64_t& number) {
  unsigned digit = DigitOf(*at);
#pragma GCC unroll 4
  while (digit <= 9) {
    number = number * 10 + digit;
    digit = DigitOf(*++at);
  }
  return at;
}

/// A double holds every integer of up to this many decimal digits exactly.
inline constexpr int kExactDigits = 15;
inline constexpr double kPowersOfTen[kExactDigits + 1] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                          1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

/// Rounds whole / 10^decimals to the nearest float, for a `whole` and a `decimals` of at most kExactDigits
/// digits. Both operands are then exact doubles, so the quotient is the nearest double. Rounding that to a
/// float gives the nearest float too, unless the double lies exactly halfway between two floats: the true
/// quotient may lie on either side of it. Returns false in that case.
inline bool DivideByPowerOfTen(std::int64_t whole, std::ptrdiff_t decimals, float& rounded) {
  // A double has 29 more significant bits than a float.
  constexpr std::uint64_t kBelowFloat = (1u << 29) - 1;
  constexpr std::uint64_t kHalfway = 1u << 28;
  const double quotient = static_cast<double>(whole) / kPowersOfTen[decimals];
  rounded = static_cast<float>(quotient);
  return (std::bit_cast<std::uint64_t>(quotient) & kBelowFloat) != kHalfway;
}

}  // namespace halden
