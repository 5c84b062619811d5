#pragma once

#include "platform/text_resources.h"

namespace halden {

enum class TextLanguage { kEnglish, kRussian };

/// The texts for systems that have neither string resources nor a message formatter of their own. The
/// system's sentences are English in every language.
class CommonTexts : public TextResources {
 public:
  /// `language` is that of the process, `system_language` the system's language identifier.
  CommonTexts(TextLanguage language, std::uint16_t system_language)
      : language_(language), system_language_(system_language) {}

  std::optional<std::string> LoadText(std::uint32_t id) override;
  std::uint16_t GetSystemDefaultLangID() override { return system_language_; }
  /// Of the formatter's directives: %1 to %5, %0 (ends the text), %n and %r (breaks), and % before any other
  /// character for that character itself. Fails on %6 and above, and where an argument is missing.
  std::uint32_t FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                               std::uint32_t language, char* buffer, std::uint32_t capacity,
                               const char* const* arguments) override;
  ComponentVersion Version() override { return {3, 2, 2}; }

 private:
  TextLanguage language_;
  std::uint16_t system_language_;
};

}  // namespace halden
