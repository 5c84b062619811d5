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

/// The component's text table and version, and the system's message formatter and language.
class TextResources {
 public:
  virtual ~TextResources() = default;

  /// The text with this number in the process's language, in UTF-8; nullopt if there is none.
  virtual std::optional<std::string> LoadText(std::uint32_t id) = 0;
  /// The system's language identifier, as Win32 numbers them: 0x0419 is Russian.
  virtual std::uint16_t GetSystemDefaultLangID() = 0;
  /// Writes at most `capacity` characters, including the closing NUL, to `buffer`. Returns the number written
  /// without the NUL; 0 on failure. All texts are in the ANSI code page. Two combinations of flags are used:
  ///   FROM_STRING | ARGUMENT_ARRAY replaces %1 to %5 in `source` by the NUL-terminated `arguments`;
  ///   FROM_SYSTEM | IGNORE_INSERTS gives the system's sentence for the Win32 result `id`, ending in a full
  ///   stop and a two-character line break, or fails if the system has none.
  virtual std::uint32_t FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                                       std::uint32_t language, char* buffer, std::uint32_t capacity,
                                       const char* const* arguments) = 0;
  /// The numbers in the component's version record.
  virtual ComponentVersion Version() = 0;
};

}  // namespace halden
