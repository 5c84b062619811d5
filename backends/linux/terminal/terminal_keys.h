#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace halden {

/// The keys that a window reacts to, whatever bytes a terminal sends for them.
enum class KeyCode {
  kCharacter,  ///< Key::character holds it
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
  kOther,  ///< any other key, and bytes that no key sends
};

struct Key {
  KeyCode code = KeyCode::kOther;
  char32_t character = 0;  ///< of kCharacter; else 0
  bool alt = false;        ///< pressed together with Alt
  bool operator==(const Key&) const = default;
};

/// Turns the bytes that a terminal sends into keys: characters in UTF-8, control characters, and the
/// sequences that xterm, rxvt, the Linux console and their relatives send.
///
/// The Esc key sends the byte that also begins a sequence. Only time tells them apart: an Esc that no byte
/// follows for kEscapeTimeoutMs is the key. An incomplete sequence or character becomes kOther after the same
/// time.
class KeyDecoder {
 public:
  static constexpr std::uint32_t kEscapeTimeoutMs = 50;

  /// Adds bytes that arrived at `now`, a tick count in milliseconds that may wrap. Cutting the same bytes
  /// into other pieces gives the same keys.
  void Feed(std::string_view bytes, std::uint32_t now);
  /// Takes the next key; nothing if none is complete yet. Call it until it returns nothing.
  std::optional<Key> Next(std::uint32_t now);

 private:
  // Each takes a key off `pending_`, or returns nothing to wait for more bytes. `overdue`: the time-out has
  // passed, so none will come.
  std::optional<Key> Decode(bool overdue);
  std::optional<Key> DecodeEscape(bool overdue);
  std::optional<Key> DecodeSequence(bool overdue);
  std::optional<Key> DecodeCharacter(std::size_t at, bool alt, bool overdue);
  std::optional<Key> Incomplete(bool overdue);

  std::string pending_;       // received, but not yet part of a returned key
  std::uint32_t fed_at_ = 0;  // when the last byte arrived
};

}  // namespace halden
