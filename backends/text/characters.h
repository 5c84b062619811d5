#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace halden {

/// Takes the first character off `utf8`, which must not be empty. U+FFFD for a malformed sequence: of it the
/// longest part that could have begun a character is taken, at least one byte.
char32_t TakeCharacter(std::string_view* utf8);
void AppendUtf8(char32_t character, std::string* utf8);

std::u32string DecodeUtf8(std::string_view utf8);
std::string EncodeUtf8(std::u32string_view text);

/// Cells that a character takes on a text screen: 0 for one that joins the one before and for control
/// characters, 2 for wide ones, else 1.
int DisplayWidth(char32_t character);
int DisplayWidth(std::u32string_view text);

/// Of Latin and Cyrillic letters; others are as they were.
char32_t LowerCase(char32_t character);

/// A caption as it is shown: without the "&" that marks its access key; "&&" stands for "&".
struct Caption {
  std::u32string text;
  std::optional<std::size_t> access_key;  ///< place in `text`

  explicit Caption(std::string_view utf8);
  bool HasAccessKey(char32_t key) const {
    return access_key && LowerCase(text[*access_key]) == LowerCase(key);
  }
};

}  // namespace halden
