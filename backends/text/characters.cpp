#include "backends/text/characters.h"

#include <algorithm>
#include <iterator>

namespace halden {

namespace {

constexpr char32_t kMalformed = 0xFFFD;

/// A range of characters, both ends included.
struct Span {
  char32_t first;
  char32_t last;
};

// Control and combining characters, joiners, and other marks that take no cell.
constexpr Span kJoining[] = {{0x0000, 0x001F}, {0x007F, 0x009F}, {0x0300, 0x036F}, {0x0483, 0x0489},
                             {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F}, {0x20D0, 0x20F0},
                             {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}};
// The blocks that terminals display in two cells. A few rare characters in them are narrow.
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

char32_t TakeCharacter(std::string_view* utf8) {
  const auto lead = static_cast<unsigned char>(utf8->front());
  utf8->remove_prefix(1);
  if (lead < 0x80) return lead;
  if (lead < 0xC2 || lead > 0xF4) return kMalformed;

  const int tail = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  char32_t character = lead & (0x3Fu >> tail);
  // The range of the second byte excludes overlong forms, surrogates and everything beyond U+10FFFF. The
  // bytes after it may have any value from 80h to BFh.
  unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  for (int i = 0; i < tail; ++i) {
    if (utf8->empty()) return kMalformed;
    const auto next = static_cast<unsigned char>(utf8->front());
    if (next < low || next > high) return kMalformed;
    character = (character << 6) | (next & 0x3Fu);
    utf8->remove_prefix(1);
    low = 0x80;
    high = 0xBF;
  }
  return character;
}

void AppendUtf8(char32_t character, std::string* utf8) {
  const auto append_tail = [&](int shift) {
    *utf8 += static_cast<char>(0x80 | ((character >> shift) & 0x3F));
  };
  if (character < 0x80) {
    *utf8 += static_cast<char>(character);
  } else if (character < 0x800) {
    *utf8 += static_cast<char>(0xC0 | (character >> 6));
    append_tail(0);
  } else if (character < 0x10000) {
    *utf8 += static_cast<char>(0xE0 | (character >> 12));
    append_tail(6);
    append_tail(0);
  } else {
    *utf8 += static_cast<char>(0xF0 | (character >> 18));
    append_tail(12);
    append_tail(6);
    append_tail(0);
  }
}

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
