#pragma once

#include <string>
#include <string_view>

#include "backends/text/code_page.h"
#include "platform/number_rules.h"

namespace halden {

/// The default number-to-text conversion of every system: `value` to at most `significant_digits` (taken into
/// 1 to 17) without trailing zeros, such as "1000", "-0.1" or "12.5". The exponent form, such as "1E-20",
/// only where the plain one takes more than 15 digits and is the longer of the two. Zero has no sign; what is
/// no number is "NaN", "INF" or "-INF".
std::string FormatNumber(double value, int significant_digits, char decimal_separator);

/// Rules that never change.
class FixedNumberRules final : public NumberRules {
 public:
  /// `group_separator` '\0': no character is one.
  FixedNumberRules(char decimal_separator, char group_separator, CodePage page)
      : decimal_(decimal_separator), group_(group_separator), page_(page) {}

  /// Decimal point, comma between groups, western.
  static FixedNumberRules Point() { return {'.', ',', CodePage::kWestern}; }
  /// Decimal comma, no-break space between groups, Cyrillic.
  static FixedNumberRules Comma() { return {',', '\xA0', CodePage::kCyrillic}; }
  /// Decimal point, no groups, western: the C locale.
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
