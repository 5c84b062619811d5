#include "backends/text/code_page.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "backends/text/characters.h"

namespace halden {
namespace {

/// The characters of the bytes 128 to 255; 0 for a byte that the code page leaves undefined.
using UpperHalf = std::array<char16_t, 128>;

constexpr UpperHalf kCyrillic = {
    0x0402, 0x0403, 0x201A, 0x0453, 0x201E, 0x2026, 0x2020, 0x2021, 0x20AC, 0x2030, 0x0409, 0x2039, 0x040A,
    0x040C, 0x040B, 0x040F, 0x0452, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, 0,      0x2122,
    0x0459, 0x203A, 0x045A, 0x045C, 0x045B, 0x045F, 0x00A0, 0x040E, 0x045E, 0x0408, 0x00A4, 0x0490, 0x00A6,
    0x00A7, 0x0401, 0x00A9, 0x0404, 0x00AB, 0x00AC, 0x00AD, 0x00AE, 0x0407, 0x00B0, 0x00B1, 0x0406, 0x0456,
    0x0491, 0x00B5, 0x00B6, 0x00B7, 0x0451, 0x2116, 0x0454, 0x00BB, 0x0458, 0x0405, 0x0455, 0x0457, 0x0410,
    0x0411, 0x0412, 0x0413, 0x0414, 0x0415, 0x0416, 0x0417, 0x0418, 0x0419, 0x041A, 0x041B, 0x041C, 0x041D,
    0x041E, 0x041F, 0x0420, 0x0421, 0x0422, 0x0423, 0x0424, 0x0425, 0x0426, 0x0427, 0x0428, 0x0429, 0x042A,
    0x042B, 0x042C, 0x042D, 0x042E, 0x042F, 0x0430, 0x0431, 0x0432, 0x0433, 0x0434, 0x0435, 0x0436, 0x0437,
    0x0438, 0x0439, 0x043A, 0x043B, 0x043C, 0x043D, 0x043E, 0x043F, 0x0440, 0x0441, 0x0442, 0x0443, 0x0444,
    0x0445, 0x0446, 0x0447, 0x0448, 0x0449, 0x044A, 0x044B, 0x044C, 0x044D, 0x044E, 0x044F};

/// The western code page. From byte 160 on it is the same as Latin-1.
constexpr UpperHalf MakeWestern() {
  UpperHalf page = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
                    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
                    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};
  for (std::size_t i = 32; i < page.size(); ++i) page[i] = static_cast<char16_t>(128 + i);
  return page;
}
constexpr UpperHalf kWestern = MakeWestern();

const UpperHalf& UpperHalfOf(CodePage page) {
  return page == CodePage::kCyrillic ? kCyrillic : kWestern;
}

/// "?" for a character that the code page lacks.
char ByteOf(char32_t character, const UpperHalf& upper) {
  if (character < 0x80) return static_cast<char>(character);
  const auto* found = std::find(upper.begin(), upper.end(), character);
  return found == upper.end() ? '?' : static_cast<char>(128 + (found - upper.begin()));
}

}  // namespace

std::string AnsiToUtf8(std::string_view ansi, CodePage page) {
  const UpperHalf& upper = UpperHalfOf(page);
  std::string utf8;
  utf8.reserve(ansi.size());
  for (const char c : ansi) {
    const auto byte = static_cast<unsigned char>(c);
    const char32_t character = byte < 128 ? byte : upper[byte - 128u];
    AppendUtf8(byte >= 128 && character == 0 ? U'?' : character, &utf8);
  }
  return utf8;
}

std::string Utf8ToAnsi(std::string_view utf8, CodePage page) {
  const UpperHalf& upper = UpperHalfOf(page);
  std::string ansi;
  ansi.reserve(utf8.size());
  while (!utf8.empty()) ansi += ByteOf(TakeCharacter(&utf8), upper);
  return ansi;
}

AnsiText::AnsiText(const NumberRules& rules) {
  for (std::size_t byte = 0; byte < characters_.size(); ++byte) {
    const std::string utf8 = rules.AnsiToUtf8(std::string(1, static_cast<char>(byte)));
    std::string_view rest = utf8;
    const char32_t character = rest.empty() ? U'?' : TakeCharacter(&rest);
    characters_[byte] = character == U'?' ? static_cast<char32_t>(byte) : character;
  }
}

std::string AnsiText::ToUtf8(std::string_view ansi) const {
  std::string utf8;
  for (const char byte : ansi) AppendUtf8(characters_[static_cast<unsigned char>(byte)], &utf8);
  return utf8;
}

std::string AnsiText::FromUtf8(std::string_view utf8) const {
  std::string ansi;
  while (!utf8.empty()) {
    const char32_t character = TakeCharacter(&utf8);
    if (character < 128 && characters_[character] == character) {  // nearly always
      ansi += static_cast<char>(character);
      continue;
    }
    const auto found = std::find(characters_.begin(), characters_.end(), character);
    ansi += found == characters_.end() ? '?' : static_cast<char>(found - characters_.begin());
  }
  return ansi;
}

}  // namespace halden
