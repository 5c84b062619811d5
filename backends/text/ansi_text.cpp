#include "backends/text/ansi_text.h"

#include <algorithm>

#include "backends/text/code_page.h"

namespace halden {

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
    const auto found = std::find(characters_.begin(), characters_.end(), TakeCharacter(&utf8));
    ansi += found == characters_.end() ? '?' : static_cast<char>(found - characters_.begin());
  }
  return ansi;
}

}  // namespace halden
