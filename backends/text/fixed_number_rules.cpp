#include "backends/text/fixed_number_rules.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdlib>

namespace halden {
namespace {

constexpr std::size_t kLongestPlain = 15;  // digits, leading and trailing zeros included

/// A positive number as 0.DIGITS times 10 to the power `point`. The digits neither begin nor end with a zero:
/// 12.5 is {"125", 2}, and 0.001 is {"1", -2}.
struct Decimal {
  std::string digits;
  int point = 0;
};

/// Rounds by to_chars, which is exact and independent of the locale: "1.25e+01" is taken apart.
Decimal Decompose(double value, int significant_digits) {
  char text[32] = {};
  const auto end =
      std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, significant_digits - 1);
  const std::string_view whole(text, static_cast<std::size_t>(end.ptr - text));
  const std::size_t mark = whole.find('e');
  Decimal decimal{std::string(1, whole.front()), std::atoi(text + mark + 1) + 1};
  if (mark > 2) decimal.digits += whole.substr(2, mark - 2);
  decimal.digits.erase(decimal.digits.find_last_not_of('0') + 1);
  return decimal;
}

/// {"125", 2} -> "12.5", {"1", -2} -> "0.001", {"1", 4} -> "1000"
std::string PlainForm(const Decimal& decimal, char separator) {
  std::string text = decimal.digits;
  if (decimal.point <= 0) {
    return std::string("0") + separator + std::string(static_cast<std::size_t>(-decimal.point), '0') + text;
  }
  const auto point = static_cast<std::size_t>(decimal.point);
  if (text.size() <= point) return text.append(point - text.size(), '0');
  return text.insert(point, 1, separator);
}

/// {"125", 2} -> "1.25E+01": at least two digits of exponent, as Windows writes them.
std::string ExponentForm(const Decimal& decimal, char separator) {
  std::string text = decimal.digits;
  if (text.size() > 1) text.insert(1, 1, separator);
  const int exponent = decimal.point - 1;
  text += exponent < 0 ? "E-" : "E+";
  if (std::abs(exponent) < 10) text += '0';
  return text + std::to_string(std::abs(exponent));
}

std::string FormatPositive(double value, int significant_digits, char separator) {
  const Decimal decimal = Decompose(value, significant_digits);
  std::string plain = PlainForm(decimal, separator);
  const auto digits = std::count_if(plain.begin(), plain.end(), [](char c) { return c >= '0' && c <= '9'; });
  if (static_cast<std::size_t>(digits) <= kLongestPlain) return plain;
  std::string exponent = ExponentForm(decimal, separator);
  return exponent.size() < plain.size() ? exponent : plain;
}

}  // namespace

std::string FormatNumber(double value, int significant_digits, char decimal_separator) {
  if (std::isnan(value)) return "NaN";
  if (value == 0) return "0";
  const std::string sign = value < 0 ? "-" : "";
  if (std::isinf(value)) return sign + "INF";
  return sign + FormatPositive(std::fabs(value), std::clamp(significant_digits, 1, 17), decimal_separator);
}

}  // namespace halden
