#pragma once

#include "platform/text_resources.h"

namespace halden {

/// The string tables and the version block of a module, in the language that the system's loader picks.
class ResourceTexts final : public TextResources {
 public:
  /// `module` is the module's handle, and must stay loaded.
  explicit ResourceTexts(void* module) : module_(module) {}

  std::optional<std::string> LoadText(std::uint32_t id) override;
  std::uint16_t GetSystemDefaultLangID() override;
  std::uint32_t FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                               std::uint32_t language, char* buffer, std::uint32_t capacity,
                               const char* const* arguments) override;
  /// The revision is the block's fourth number. Zeros if the module has no block.
  ComponentVersion Version() override;

 private:
  void* module_;
};

}  // namespace halden
