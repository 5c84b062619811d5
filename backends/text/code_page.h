#pragma once

#include <string>
#include <string_view>

namespace halden {

/// An ANSI code page: one byte one character, the lower half ASCII.
enum class CodePage { kCyrillic = 1251, kWestern = 1252 };

/// Bytes that the code page leaves undefined become "?".
std::string AnsiToUtf8(std::string_view ansi, CodePage page);
/// Characters that the code page lacks become "?", one each; so does each malformed sequence.
std::string Utf8ToAnsi(std::string_view utf8, CodePage page);

/// Takes the first character off `utf8`, which must not be empty. U+FFFD for a malformed sequence: of it the
/// longest part that could have begun a character is taken, at least one byte.
char32_t TakeCharacter(std::string_view* utf8);
void AppendUtf8(char32_t character, std::string* utf8);

}  // namespace halden
