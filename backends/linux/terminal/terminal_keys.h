#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace halden {

enum class KeyCode {
  kCharacter,
  kEnter,
  kEscape,
  kTab,
  kBackTab,
  kBackspace,
  kDelete,
  kHome,
  kEnd,
  kPageUp,
  kPageDown,
  kUp,
  kDown,
  kLeft,
  kRight,
  kF4,
  kOther,  ///< a key that means nothing here
};

struct Key {
  KeyCode code = KeyCode::kOther;
  char32_t character = 0;
  bool alt = false;
  bool operator==(const Key&) const = default;
};

/// Turns the bytes that a terminal sends into keys. An Esc that nothing follows for a while is the key
/// itself, not the start of a sequence.
class KeyDecoder {
 public:
  static constexpr std::uint32_t kEscapeTimeoutMs = 50;

  /// `now` is a tick count in milliseconds.
  void Feed(std::string_view bytes, std::uint32_t now);
  /// The next key; nothing if none is complete yet.
  std::optional<Key> Next(std::uint32_t now);

 private:
  std::optional<Key> Decode(bool overdue);
  std::optional<Key> DecodeEscape(bool overdue);
  std::optional<Key> DecodeSequence(bool overdue);
  std::optional<Key> DecodeCharacter(std::size_t at, bool alt, bool overdue);
  std::optional<Key> Incomplete(bool overdue);

  std::string pending_;
  std::uint32_t fed_at_ = 0;
};

}  // namespace halden
