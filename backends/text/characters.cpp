#include "backends/text/characters.h"

#include <algorithm>
#include <iterator>

#include "backends/text/code_page.h"

namespace halden {

namespace {

struct Span {
  char32_t first;
  char32_t last;
};

constexpr Span kJoining[] = {{0x0000, 0x001F}, {0x007F, 0x009F}, {0x0300, 0x036F}, {0x0483, 0x0489},
                             {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F}, {0x20D0, 0x20F0},
                             {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}};
constexpr Span kWide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0xA4CF},  {0xAC00, 0xD7A3},
                          {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},  {0xFFE0, 0xFFE6},
                          {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <std::size_t kSize>
bool IsIn(const Span (&spans)[kSize], char32_t character) {
  return std::any_of(std::begin(spans), std::end(spans), [character](const Span& span) {
    return span.first <= character && character <= span.last;
  });
}

}  // namespace

std::u32string DecodeUtf8(std::string_view utf8) {
  std::u32string text;
  while (!utf8.empty()) text += TakeCharacter(&utf8);
  return text;
}

std::string EncodeUtf8(std::u32string_view text) {
  std::string utf8;
  for (const char32_t character : text) AppendUtf8(character, &utf8);
  return utf8;
}

int DisplayWidth(char32_t character) {
  if (IsIn(kJoining, character)) return 0;
  return IsIn(kWide, character) ? 2 : 1;
}

int DisplayWidth(std::u32string_view text) {
  int width = 0;
  for (const char32_t character : text) width += DisplayWidth(character);
  return width;
}

char32_t LowerCase(char32_t character) {
  const bool latin = (character >= U'A' && character <= U'Z') ||
                     (character >= 0xC0 && character <= 0xDE && character != 0xD7);
  if (latin || (character >= 0x0410 && character <= 0x042F)) return character + 0x20;
  return character >= 0x0400 && character <= 0x040F ? character + 0x50 : character;
}

Caption::Caption(std::string_view utf8) {
  const std::u32string source = DecodeUtf8(utf8);
  for (std::size_t i = 0; i < source.size(); ++i) {
    if (source[i] == U'&') {
      if (++i == source.size()) break;
      if (source[i] != U'&') access_key = text.size();
    }
    text += source[i];
  }
}

}  // namespace halden
