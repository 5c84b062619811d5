#pragma once

#include <string>
#include <string_view>

namespace halden {

/// How the user's system writes numbers and text. Asked anew at each use: the user may change the rules while
/// the driver runs. Nothing here throws but for lack of memory.
class NumberRules {
 public:
  virtual ~NumberRules() = default;

  /// The decimal separator, one character of the ANSI code page, "." or "," as a rule.
  virtual char DecimalSeparator() const = 0;
  /// The character between groups of digits, in the ANSI code page; '\0' where the locale has none.
  virtual char GroupSeparator() const = 0;
  /// The default number-to-text conversion: decimal digits with the decimal separator, no groups, as few
  /// digits as tell the value at `significant_digits`, an exponent only where the plain form would be longer.
  virtual std::string NumberToText(double value, int significant_digits) const = 0;

  /// Between the ANSI code page, one byte one character, and UTF-8. Characters that the code page lacks
  /// become "?"; bytes that it leaves undefined, and malformed UTF-8, do too.
  virtual std::string AnsiToUtf8(std::string_view ansi) const = 0;
  virtual std::string Utf8ToAnsi(std::string_view utf8) const = 0;
};

}  // namespace halden
