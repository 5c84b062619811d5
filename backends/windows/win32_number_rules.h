#pragma once

#include "platform/number_rules.h"

namespace halden {

/// The rules of the user's locale and the process's ANSI code page, of which one byte is one character.
class Win32NumberRules final : public NumberRules {
 public:
  char DecimalSeparator() const override;
  char GroupSeparator() const override;
  std::string NumberToText(double value, int significant_digits) const override;
  std::string AnsiToUtf8(std::string_view ansi) const override;
  std::string Utf8ToAnsi(std::string_view utf8) const override;
};

}  // namespace halden
