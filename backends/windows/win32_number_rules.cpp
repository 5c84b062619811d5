#include "backends/windows/win32_number_rules.h"

#include <windows.h>

#include "backends/text/characters.h"
#include "backends/text/fixed_number_rules.h"

namespace halden {
namespace {

constexpr char kUnknown = '?';
constexpr wchar_t kNarrowNoBreakSpace = 0x202F;
constexpr wchar_t kNoBreakSpace = 0x00A0;

char AnsiCharacter(char32_t character) {
  if (character < 0x80) return static_cast<char>(character);
  if (character > 0xFFFF) return kUnknown;
  const auto wide = static_cast<wchar_t>(character);
  char ansi[4];
  BOOL replaced = FALSE;
  const int length =
      WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, &wide, 1, ansi, sizeof ansi, nullptr, &replaced);
  return length == 1 && !replaced ? ansi[0] : kUnknown;
}

char32_t WideCharacter(char ansi) {
  wchar_t wide = 0;
  const int length = MultiByteToWideChar(CP_ACP, 0, &ansi, 1, &wide, 1);
  // A byte without a character of its own is taken for a control character of that number.
  const bool undefined = length != 1 || (wide >= 0x80 && wide < 0xA0) || wide == 0xFFFD;
  return undefined ? U'?' : wide;
}

/// A separator of the user's locale; `otherwise` where it has none, or one without a byte, which stands in no
/// text.
char Separator(LCTYPE kind, char otherwise) {
  wchar_t text[8] = {};
  if (GetLocaleInfoW(LOCALE_USER_DEFAULT, kind, text, 8) == 0 || text[0] == 0) return otherwise;
  const char mark = AnsiCharacter(text[0] == kNarrowNoBreakSpace ? kNoBreakSpace : text[0]);
  return mark == kUnknown ? otherwise : mark;
}

}  // namespace

char Win32NumberRules::DecimalSeparator() const {
  return Separator(LOCALE_SDECIMAL, '.');
}

char Win32NumberRules::GroupSeparator() const {
  return Separator(LOCALE_STHOUSAND, '\0');
}

std::string Win32NumberRules::NumberToText(double value, int significant_digits) const {
  return FormatNumber(value, significant_digits, DecimalSeparator());
}

std::string Win32NumberRules::AnsiToUtf8(std::string_view ansi) const {
  std::string utf8;
  for (const char character : ansi) AppendUtf8(WideCharacter(character), &utf8);
  return utf8;
}

std::string Win32NumberRules::Utf8ToAnsi(std::string_view utf8) const {
  std::string ansi;
  while (!utf8.empty()) ansi += AnsiCharacter(TakeCharacter(&utf8));
  return ansi;
}

}  // namespace halden
