#pragma once

#include <array>
#include <string>
#include <string_view>

#include "platform/number_rules.h"

namespace halden {

/// An ANSI code page with one byte for each character. Bytes below 128 are ASCII.
enum class CodePage { kCyrillic = 1251, kWestern = 1252 };

/// Bytes that the code page leaves undefined become "?".
std::string AnsiToUtf8(std::string_view ansi, CodePage page);
/// Each character that the code page lacks becomes "?", and so does each malformed sequence.
std::string Utf8ToAnsi(std::string_view utf8, CodePage page);

/// The system's ANSI code page without gaps. A byte that the code page leaves undefined becomes the character
/// of the same number (81h is U+0081), so every string of bytes can be converted to UTF-8 and back unchanged.
/// The registry needs this: the bytes of names and texts must not depend on how they are stored.
class AnsiText {
 public:
  /// Reads the code page of `rules` once and keeps no reference.
  explicit AnsiText(const NumberRules& rules);

  std::string ToUtf8(std::string_view ansi) const;
  /// One byte for each character, "?" for a character that the code page lacks.
  std::string FromUtf8(std::string_view utf8) const;

 private:
  std::array<char32_t, 256> characters_{};  // that the bytes stand for
};

}  // namespace halden
