#pragma once

#include <string>
#include <string_view>

namespace halden {

/// How the user's system writes numbers and encodes text. The driver asks again at each use, because the user
/// may change the rules while it runs. Calls throw std::bad_alloc only.
class NumberRules {
 public:
  virtual ~NumberRules() = default;

  /// The decimal separator in the ANSI code page, usually '.' or ','.
  virtual char DecimalSeparator() const = 0;
  /// The separator between groups of digits in the ANSI code page; '\0' if the locale doesn't group.
  virtual char GroupSeparator() const = 0;
  /// Rounds to `significant_digits` digits and writes the result without trailing zeros and without grouping:
  /// 12.5 with 7 digits is "12.5" or "12,5". Uses an exponent only if the plain form would be longer.
  virtual std::string NumberToText(double value, int significant_digits) const = 0;

  /// Conversion between the ANSI code page, one byte per character, and UTF-8. Characters missing from the
  /// code page, bytes that it leaves undefined and malformed UTF-8 become "?".
  virtual std::string AnsiToUtf8(std::string_view ansi) const = 0;
  virtual std::string Utf8ToAnsi(std::string_view utf8) const = 0;
};

}  // namespace halden
