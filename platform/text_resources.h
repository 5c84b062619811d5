#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace halden {

inline constexpr std::uint32_t FORMAT_MESSAGE_IGNORE_INSERTS = 0x0200;
inline constexpr std::uint32_t FORMAT_MESSAGE_FROM_STRING = 0x0400;
inline constexpr std::uint32_t FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;
inline constexpr std::uint32_t FORMAT_MESSAGE_ARGUMENT_ARRAY = 0x2000;

struct ComponentVersion {
  int major = 0;
  int minor = 0;
  int revision = 0;
};

/// The component's texts, the system's formatter and the system's language.
class TextResources {
 public:
  virtual ~TextResources() = default;

  /// The text with this number in the language of the process, in UTF-8; nothing if there is none.
  virtual std::optional<std::string> LoadText(std::uint32_t id) = 0;
  /// The language identifier of the system: 0x0419 is Russian.
  virtual std::uint16_t GetSystemDefaultLangID() = 0;
  /// Formats into `buffer`, which has room for `capacity` characters, the closing NUL included, and gives the
  /// characters written without it; 0 on failure. Texts are in the ANSI code page. Two uses:
  /// FROM_STRING | ARGUMENT_ARRAY fills %1 to %5 of `source` with the NUL-terminated strings of `arguments`;
  /// FROM_SYSTEM | IGNORE_INSERTS gives the system's sentence for the Win32 result `id`, which ends in a full
  /// stop and a line break (two characters), or 0 where the system has none.
  virtual std::uint32_t FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                                       std::uint32_t language, char* buffer, std::uint32_t capacity,
                                       const char* const* arguments) = 0;
  /// The version record of the component.
  virtual ComponentVersion Version() = 0;
};

}  // namespace halden
