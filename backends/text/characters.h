#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace halden {

/// Removes the first character from `utf8`, which must not be empty, and returns it. A malformed sequence
/// gives U+FFFD. The longest part of it that could have begun a character is removed, at least one byte:
///
///     "\xE2\x82" "A"  ->  U+FFFD, then 'A'
char32_t TakeCharacter(std::string_view* utf8);
/// Appends the UTF-8 sequence of `character`, which must be at most U+10FFFF.
void AppendUtf8(char32_t character, std::string* utf8);

/// Each malformed sequence becomes one U+FFFD.
std::u32string DecodeUtf8(std::string_view utf8);
std::string EncodeUtf8(std::u32string_view text);

/// The number of cells that a character takes on a text screen: 0 for combining and control characters, 2 for
/// wide ones (East Asian scripts, most emoji), else 1.
int DisplayWidth(char32_t character);
int DisplayWidth(std::u32string_view text);

/// Lower case of Latin and Cyrillic letters; other characters are returned unchanged.
char32_t LowerCase(char32_t character);

/// A caption as it is displayed, without the "&" that marks its access key; "&&" is displayed as "&":
///
///     "&Open"  ->  text "Open", access_key 0
///     "A && B" ->  text "A & B", no access key
struct Caption {
  std::u32string text;
  std::optional<std::size_t> access_key;  ///< its position in `text`

  explicit Caption(std::string_view utf8);
  /// Whether `key` is the access key, in either case.
  bool HasAccessKey(char32_t key) const {
    return access_key && LowerCase(text[*access_key]) == LowerCase(key);
  }
};

}  // namespace halden
