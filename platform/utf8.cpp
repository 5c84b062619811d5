#include "platform/utf8.h"

namespace halden {
namespace {

/// Bytes that follow `lead`; -1 if no character starts with it.
int FollowingBytes(unsigned char lead) {
  if (lead < 0x80) return 0;
  if (lead < 0xC2) return -1;
  if (lead < 0xE0) return 1;
  if (lead < 0xF0) return 2;
  return lead < 0xF5 ? 3 : -1;
}

/// True for what the shortest form of `following` bytes can not be, and for no characters at all.
bool Forbidden(char32_t character, int following) {
  constexpr char32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
  return character < kLeast[following] || character > 0x10FFFF ||
         (character >= 0xD800 && character <= 0xDFFF);
}

}  // namespace

char32_t NextCharacter(std::string_view& utf8) {
  const unsigned char lead = static_cast<unsigned char>(utf8.front());
  utf8.remove_prefix(1);
  const int following = FollowingBytes(lead);
  if (following == 0) return lead;
  const char32_t malformed = kMalformedByte + lead;
  if (following < 0 || utf8.size() < static_cast<std::size_t>(following)) return malformed;
  char32_t character = lead & (0x3Fu >> following);
  for (int i = 0; i < following; ++i) {
    const unsigned char byte = static_cast<unsigned char>(utf8[i]);
    if ((byte & 0xC0) != 0x80) return malformed;
    character = character << 6 | (byte & 0x3Fu);
  }
  if (Forbidden(character, following)) return malformed;
  utf8.remove_prefix(following);
  return character;
}

void AppendCharacter(std::string& utf8, char32_t character) {
  const auto tail = [&](int shift) { return static_cast<char>(0x80 | (character >> shift & 0x3F)); };
  if (character < 0x80) {
    utf8 += static_cast<char>(character);
  } else if (character < 0x800) {
    utf8 += {static_cast<char>(0xC0 | character >> 6), tail(0)};
  } else if (character < 0x10000) {
    utf8 += {static_cast<char>(0xE0 | character >> 12), tail(6), tail(0)};
  } else if (character < kMalformedByte) {
    utf8 += {static_cast<char>(0xF0 | character >> 18), tail(12), tail(6), tail(0)};
  } else {
    utf8 += static_cast<char>(character - kMalformedByte);
  }
}

}  // namespace halden
