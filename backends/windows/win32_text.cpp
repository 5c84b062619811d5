#include "backends/windows/win32_text.h"

#include <array>
#include <cstring>

#include "backends/text/characters.h"
#include "backends/text/fixed_number_rules.h"
#include "backends/windows/windows_platform.h"

// After ours, whose names are macros there.
#include <windows.h>

namespace halden {
namespace {

constexpr char kUnknown = '?';
constexpr wchar_t kNarrowNoBreakSpace = 0x202F;
constexpr wchar_t kNoBreakSpace = 0x00A0;

std::wstring Widen(UINT page, std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(page, 0, text.data(), size, nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(page, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string Narrow(UINT page, std::wstring_view wide) {
  const int size = static_cast<int>(wide.size());
  std::string text(
      static_cast<std::size_t>(WideCharToMultiByte(page, 0, wide.data(), size, nullptr, 0, nullptr, nullptr)),
      '\0');
  WideCharToMultiByte(page, 0, wide.data(), size, text.data(), static_cast<int>(text.size()), nullptr,
                      nullptr);
  return text;
}

/// The character's byte in the ANSI code page; "?" if it has none or needs two bytes.
char AnsiCharacter(char32_t character) {
  if (character < 0x80) return static_cast<char>(character);
  if (character > 0xFFFF) return kUnknown;
  const auto wide = static_cast<wchar_t>(character);
  char ansi[4];
  BOOL replaced = FALSE;
  // Without the flag the system would pick a similar letter, "C" for "Ĉ".
  const int length = WideCharToMultiByte(AnsiCodePage(), WC_NO_BEST_FIT_CHARS, &wide, 1, ansi, sizeof ansi,
                                         nullptr, &replaced);
  return length == 1 && !replaced ? ansi[0] : kUnknown;
}

char32_t WideCharacter(char ansi) {
  wchar_t wide = 0;
  const int length = MultiByteToWideChar(AnsiCodePage(), 0, &ansi, 1, &wide, 1);
  // The system maps a byte that the code page leaves undefined to the control character of that number.
  const bool undefined = length != 1 || (wide >= 0x80 && wide < 0xA0) || wide == 0xFFFD;
  return undefined ? U'?' : wide;
}

/// The first character of one of the user's separators. `otherwise` if the locale has none, or if the code
/// page lacks it, since no text of a device can contain it then.
char Separator(LCTYPE kind, char otherwise) {
  wchar_t text[8] = {};
  if (GetLocaleInfoW(LOCALE_USER_DEFAULT, kind, text, 8) == 0 || text[0] == 0) return otherwise;
  // Some locales group digits with a narrow no-break space, which no code page has. Use the normal one, which
  // people type anyway.
  const char mark = AnsiCharacter(text[0] == kNarrowNoBreakSpace ? kNoBreakSpace : text[0]);
  return mark == kUnknown ? otherwise : mark;
}

}  // namespace

std::wstring WideText(std::string_view utf8) {
  return Widen(CP_UTF8, utf8);
}

std::string Utf8Text(std::wstring_view wide) {
  return Narrow(CP_UTF8, wide);
}

unsigned AnsiCodePage() {
  const UINT process = GetACP();
  if (process != CP_UTF8) return process;
  DWORD page = 0;
  GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_IDEFAULTANSICODEPAGE | LOCALE_RETURN_NUMBER,
                 reinterpret_cast<LPWSTR>(&page), sizeof page / sizeof(wchar_t));
  constexpr UINT kWestern = 1252;
  CPINFO info{};
  // 0 (CP_ACP) in a locale that has Unicode only.
  return page != CP_ACP && GetCPInfo(page, &info) && info.MaxCharSize == 1 ? page : kWestern;
}

std::wstring AnsiToWide(std::string_view ansi) {
  return Widen(AnsiCodePage(), ansi);
}

std::string WideToAnsi(std::wstring_view wide) {
  return Narrow(AnsiCodePage(), wide);
}

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

std::optional<std::string> ResourceTexts::LoadText(std::uint32_t id) {
  const wchar_t* text = nullptr;  // a capacity of 0 asks for a pointer to the resource itself
  const int length = LoadStringW(static_cast<HINSTANCE>(module_), id, reinterpret_cast<wchar_t*>(&text), 0);
  if (length <= 0) return std::nullopt;
  return Utf8Text({text, static_cast<std::size_t>(length)});
}

std::uint16_t ResourceTexts::GetSystemDefaultLangID() {
  return ::GetSystemDefaultLangID();
}

std::uint32_t ResourceTexts::FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                                            std::uint32_t language, char* buffer, std::uint32_t capacity,
                                            const char* const* arguments) {
  const std::wstring wide_source = AnsiToWide(source ? source : "");
  std::array<std::wstring, 5> texts;
  std::array<DWORD_PTR, 5> inserts{};
  for (std::size_t i = 0; arguments && i < texts.size(); ++i) {
    texts[i] = AnsiToWide(arguments[i]);
    inserts[i] = reinterpret_cast<DWORD_PTR>(texts[i].c_str());
  }
  std::wstring wide(capacity, L'\0');
  wide.resize(::FormatMessageW(flags, source ? wide_source.c_str() : nullptr, id, language, wide.data(),
                               capacity, reinterpret_cast<va_list*>(inserts.data())));
  const std::string text = WideToAnsi(wide);
  if (text.size() >= capacity) return 0;
  buffer[text.copy(buffer, text.size())] = '\0';
  return static_cast<std::uint32_t>(text.size());
}

/// Reads the version block directly, because the system's functions for it need another DLL.
ComponentVersion ResourceTexts::Version() {
  const auto module = static_cast<HINSTANCE>(module_);
  const wchar_t* const version_type = MAKEINTRESOURCEW(16);
  const HRSRC place = FindResourceW(module, MAKEINTRESOURCEW(VS_VERSION_INFO), version_type);
  const void* const block = place ? LockResource(LoadResource(module, place)) : nullptr;
  constexpr std::size_t kFixedPart = 40;  // after three 16-bit numbers and "VS_VERSION_INFO", aligned to 4
  VS_FIXEDFILEINFO fixed{};
  if (!block || SizeofResource(module, place) < kFixedPart + sizeof fixed) return {};
  std::memcpy(&fixed, static_cast<const char*>(block) + kFixedPart, sizeof fixed);
  return {HIWORD(fixed.dwFileVersionMS), LOWORD(fixed.dwFileVersionMS), LOWORD(fixed.dwFileVersionLS)};
}

}  // namespace halden
