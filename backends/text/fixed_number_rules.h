#pragma once

#include <string>
#include <string_view>

#include "backends/text/code_page.h"
#include "platform/number_rules.h"

namespace halden {

/// The number-to-text conversion that all systems share: `value` rounded to `significant_digits` (clamped to
/// 1 to 17) and without trailing zeros, such as "1000", "-0.1" or "12.5". The exponent form is used only if
/// the plain form has more than 15 digits and is longer:
///
///     1e14  -> "100000000000000"        1e-20 -> "1E-20"
///     1e15  -> "1E+15"                  0.1   -> "0.1"
///
/// Zero has no sign. Not-a-number and the infinities are "NaN", "INF" and "-INF".
std::string FormatNumber(double value, int significant_digits, char decimal_separator);

/// Number rules that are given once and never change: the locale's on Linux, those of a test in tests.
class FixedNumberRules final : public NumberRules {
 public:
  /// A `group_separator` of '\0' means that no character separates groups.
  FixedNumberRules(char decimal_separator, char group_separator, CodePage page)
      : decimal_(decimal_separator), group_(group_separator), page_(page) {}

  /// Decimal point, comma between groups, western.
  static FixedNumberRules Point() { return {'.', ',', CodePage::kWestern}; }
  /// Decimal comma, no-break space between groups, Cyrillic.
  static FixedNumberRules Comma() { return {',', '\xA0', CodePage::kCyrillic}; }
  /// The C locale: decimal point, no groups, western.
  static FixedNumberRules C() { return {'.', '\0', CodePage::kWestern}; }

  char DecimalSeparator() const override { return decimal_; }
  char GroupSeparator() const override { return group_; }
  std::string NumberToText(double value, int significant_digits) const override {
    return FormatNumber(value, significant_digits, decimal_);
  }
  std::string AnsiToUtf8(std::string_view ansi) const override { return halden::AnsiToUtf8(ansi, page_); }
  std::string Utf8ToAnsi(std::string_view utf8) const override { return halden::Utf8ToAnsi(utf8, page_); }

 private:
  char decimal_;
  char group_;
  CodePage page_;
};

}  // namespace halden
