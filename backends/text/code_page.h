#pragma once

#include <array>
#include <string>
#include <string_view>

#include "platform/number_rules.h"

namespace halden {

/// An ANSI code page: one byte one character, the lower half ASCII.
enum class CodePage { kCyrillic = 1251, kWestern = 1252 };

/// Bytes that the code page leaves undefined become "?".
std::string AnsiToUtf8(std::string_view ansi, CodePage page);
/// Characters that the code page lacks become "?", one each; so does each malformed sequence.
std::string Utf8ToAnsi(std::string_view utf8, CodePage page);

/// The system's ANSI code page made exact: each of the 256 bytes stands for one character of its own, also
/// those that the code page leaves undefined (byte 81h is then U+0081), so that every string of bytes
/// survives the way to UTF-8 and back.
class AnsiText {
 public:
  /// Reads the code page of `rules` once and keeps no reference.
  explicit AnsiText(const NumberRules& rules);

  std::string ToUtf8(std::string_view ansi) const;
  /// One byte a character, "?" for a character that no byte stands for.
  std::string FromUtf8(std::string_view utf8) const;

 private:
  std::array<char32_t, 256> characters_{};
};

}  // namespace halden
