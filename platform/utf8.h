#pragma once

#include <string>
#include <string_view>

namespace halden {

/// A byte that is no part of well-formed UTF-8 counts as one character of its own, this plus the byte, so
/// that text goes through NextCharacter and AppendCharacter without loss.
inline constexpr char32_t kMalformedByte = 0x110000;

/// Takes the first character off `utf8`, which must not be empty.
char32_t NextCharacter(std::string_view& utf8);
void AppendCharacter(std::string& utf8, char32_t character);

}  // namespace halden
