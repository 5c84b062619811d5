#include "ui/text_table.h"

#include <array>

namespace halden {

namespace {

constexpr std::uint16_t kRussian = 0x0419;
// Drops the highest bits of the sublanguage: Russian of Moldova (0819h) isn't 0419h, but 1419h and 7419h are.
constexpr std::uint16_t kLanguageMask = 0x0FFF;

/// The arguments one after another, each with its NUL, and the address at which each begins. The addresses
/// point into `bytes`, so a block can't be copied. They are taken last, because appending moves the bytes.
struct ArgumentBlock {
  std::string bytes;
  std::array<const char*, 5> begins{};

  ArgumentBlock(const NumberRules& rules, const std::array<const std::string*, 5>& arguments) {
    std::array<std::size_t, 5> offsets{};
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      offsets[i] = bytes.size();
      bytes += rules.Utf8ToAnsi(*arguments[i]);
      bytes += '\0';
    }
    for (std::size_t i = 0; i < offsets.size(); ++i) begins[i] = bytes.data() + offsets[i];
  }
  ArgumentBlock(const ArgumentBlock&) = delete;
  ArgumentBlock& operator=(const ArgumentBlock&) = delete;
};

}  // namespace

std::string TextTable::LoadResFormat(std::int32_t id, const std::string& a1, const std::string& a2,
                                     const std::string& a3) const {
  const auto text = texts_.LoadText(static_cast<std::uint32_t>(id));
  return text ? FormatResText(*text, a1, a2, a3, {}, {}) : std::string();
}

std::string TextTable::FormatResText(const std::string& text, const std::string& a1, const std::string& a2,
                                     const std::string& a3, const std::string& a4,
                                     const std::string& a5) const {
  if (text.find('%') == std::string::npos) return text;
  const std::string source = rules_.Utf8ToAnsi(text);
  const ArgumentBlock block(rules_, {&a1, &a2, &a3, &a4, &a5});
  // Room for each argument twice. A text that needs more makes the formatter fail.
  std::string buffer(source.size() + 2 * (block.bytes.size() - 1), '\0');
  const std::size_t written =
      texts_.FormatMessageA(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY, source.c_str(), 0, 0,
                            buffer.data(), static_cast<std::uint32_t>(buffer.size()), block.begins.data());
  if (written >= 1) return rules_.AnsiToUtf8(buffer.substr(0, written));
  std::string plain = text;
  std::erase(plain, '%');
  return plain;
}

void SetFormCharset(Window& form, TextResources& texts) {
  if (form.FontCharset(Window::kForm) == kRussianCharset) return;
  if ((texts.GetSystemDefaultLangID() & kLanguageMask) != kRussian) return;
  form.SetFontCharset(Window::kForm, kRussianCharset);
  for (int control = 0; control < form.ControlCount(); ++control) {
    form.SetFontCharset(control, kRussianCharset);
  }
}

}  // namespace halden
