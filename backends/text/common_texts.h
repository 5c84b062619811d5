#pragma once

#include "platform/text_resources.h"

namespace halden {

enum class TextLanguage { kEnglish, kRussian };

// Windows language identifiers.
inline constexpr std::uint16_t kEnglishLanguage = 0x0409;
inline constexpr std::uint16_t kRussianLanguage = 0x0419;

/// The texts of the forms and the system's error messages, for systems that have neither string resources nor
/// a message formatter. The forms are English or Russian; the system's messages are always English.
class CommonTexts : public TextResources {
 public:
  /// `language` selects the texts of the forms. `system_language` is the Windows language identifier that
  /// GetSystemDefaultLangID returns, such as 0409h for English (United States).
  CommonTexts(TextLanguage language, std::uint16_t system_language)
      : language_(language), system_language_(system_language) {}

  std::optional<std::string> LoadText(std::uint32_t id) override;
  std::uint16_t GetSystemDefaultLangID() override { return system_language_; }
  /// Supports the system's messages and these directives: %1 to %5 (arguments), %0 (ends the text), %n and %r
  /// (line breaks), and % followed by any other character for that character. Fails, with 0, on %6 and above,
  /// on a missing argument, and if the text and its NUL don't fit into `capacity` bytes.
  std::uint32_t FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                               std::uint32_t language, char* buffer, std::uint32_t capacity,
                               const char* const* arguments) override;
  ComponentVersion Version() override;

 private:
  TextLanguage language_;
  std::uint16_t system_language_;
};

}  // namespace halden
