#include "backends/linux/terminal/terminal_keys.h"

#include <algorithm>

#include "backends/text/characters.h"

namespace halden {

namespace {

constexpr char kEsc = '\x1b';

/// How a sequence ends, and the key that sends it.
struct SequenceKey {
  int ending;
  KeyCode code;
};

/// "ESC [ letter" or "ESC O letter". M is Enter on the number pad.
constexpr SequenceKey kLetterKeys[] = {
    {'A', KeyCode::kUp},   {'B', KeyCode::kDown},  {'C', KeyCode::kRight},
    {'D', KeyCode::kLeft}, {'H', KeyCode::kHome},  {'F', KeyCode::kEnd},
    {'S', KeyCode::kF4},   {'M', KeyCode::kEnter}, {'Z', KeyCode::kBackTab}};

/// "ESC [ number ~". Home and End have two numbers each, by the kind of terminal.
constexpr SequenceKey kNumberKeys[] = {{1, KeyCode::kHome},     {7, KeyCode::kHome},   {4, KeyCode::kEnd},
                                       {8, KeyCode::kEnd},      {3, KeyCode::kDelete}, {5, KeyCode::kPageUp},
                                       {6, KeyCode::kPageDown}, {14, KeyCode::kF4}};

/// The key with this ending; kOther if the table has none.
template <std::size_t kSize>
Key KeyOf(const SequenceKey (&keys)[kSize], int ending) {
  for (const SequenceKey& key : keys) {
    if (key.ending == ending) return {key.code};
  }
  return {};
}

/// The number at this place (from 0) of "number;number"; 0 if there is none. Only its first three digits
/// count, which keeps it within an int.
int Parameter(std::string_view parameters, int place) {
  for (; place > 0; --place) {
    const std::size_t end = parameters.find(';');
    parameters.remove_prefix(end == std::string_view::npos ? parameters.size() : end + 1);
  }
  int number = 0;
  for (std::size_t i = 0; i < std::min<std::size_t>(parameters.size(), 3); ++i) {
    if (parameters[i] < '0' || parameters[i] > '9') break;
    number = number * 10 + (parameters[i] - '0');
  }
  return number;
}

/// The key of "ESC [ parameters last". The second parameter is 1 plus a sum of modifiers, of which Alt is 2:
/// "ESC [ 1 ; 3 B" is Alt-Down.
Key KeyOfSequence(std::string_view parameters, char last) {
  Key key = last == '~' ? KeyOf(kNumberKeys, Parameter(parameters, 0)) : KeyOf(kLetterKeys, last);
  const int modifiers = Parameter(parameters, 1);
  key.alt = modifiers > 0 && ((modifiers - 1) & 2) != 0;
  return key;
}

/// Bytes of the character that begins with `lead`; 1 for a byte that can't begin one.
std::size_t Utf8Length(char lead) {
  const auto byte = static_cast<unsigned char>(lead);
  return byte < 0xC2 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : byte < 0xF5 ? 4 : 1;
}

/// Whether the bytes at the front are a whole character, or can't become one any more.
bool HoldsCharacter(std::string_view bytes) {
  const std::string_view begun = bytes.substr(0, Utf8Length(bytes.front()));
  const auto continues = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
  return begun.size() == Utf8Length(bytes.front()) || !std::all_of(begun.begin() + 1, begun.end(), continues);
}

}  // namespace

// `pending_` always begins where a key begins. Each function below either takes whole keys off its front, or
// leaves it as it is and returns nothing. Examples of what is pending, with the key or what happens:
//
//   "a"             the character a
//   "\x1b"          waits; Esc when overdue
//   "\x1b\x1b"      Esc, and the second byte stays
//   "\x1ba"         Alt-a
//   "\x1b["         waits; Alt-[ when overdue
//   "\x1b[1;3"      waits; kOther when overdue
//   "\x1b[1;3B"     Alt-Down
//   "\x1b[1\r"      kOther, and Enter stays
//   "\xD0"          waits for the second byte of a character
//   "\xD0z"         U+FFFD, and z stays
//   "\x01"          kOther: Ctrl-A means nothing here

void KeyDecoder::Feed(std::string_view bytes, std::uint32_t now) {
  if (bytes.empty()) return;
  pending_ += bytes;
  fed_at_ = now;
}

std::optional<Key> KeyDecoder::Next(std::uint32_t now) {
  if (pending_.empty()) return std::nullopt;
  return Decode(now - fed_at_ >= kEscapeTimeoutMs);  // unsigned, so right across the wrap of the tick count
}

std::optional<Key> KeyDecoder::Decode(bool overdue) {
  KeyCode code = KeyCode::kOther;
  switch (pending_.front()) {
    case kEsc:
      return DecodeEscape(overdue);
    case '\r':
    case '\n':
      code = KeyCode::kEnter;
      break;
    case '\t':
      code = KeyCode::kTab;
      break;
    case '\b':
    case '\x7f':
      code = KeyCode::kBackspace;
      break;
    default:
      if (static_cast<unsigned char>(pending_.front()) >= 0x20) return DecodeCharacter(0, false, overdue);
  }
  pending_.erase(0, 1);
  return Key{code};
}

/// Esc itself, Alt and a character, or a sequence.
std::optional<Key> KeyDecoder::DecodeEscape(bool overdue) {
  const char next = pending_.size() < 2 ? kEsc : pending_[1];
  if (pending_.size() < 2 && !overdue) return std::nullopt;
  if (next == kEsc) {  // alone, or followed by another one
    pending_.erase(0, 1);
    return Key{KeyCode::kEscape};
  }
  const bool starts_sequence = next == '[' || next == 'O';
  if (starts_sequence && !(overdue && pending_.size() == 2)) return DecodeSequence(overdue);
  if (static_cast<unsigned char>(next) >= 0x20 && next != '\x7f') return DecodeCharacter(1, true, overdue);
  pending_.erase(0, 2);
  return Key{};
}

/// "ESC [ parameters letter", "ESC O letter", or "ESC [ [ letter", which the Linux console sends for F1 to
/// F5.
std::optional<Key> KeyDecoder::DecodeSequence(bool overdue) {
  constexpr std::size_t kBegin = 2;
  std::size_t end = kBegin;
  const bool console = pending_.size() > kBegin && pending_[1] == '[' && pending_[kBegin] == '[';
  if (console) {
    ++end;
  } else {
    while (end < pending_.size() && pending_[end] >= 0x20 && pending_[end] < 0x40) ++end;
  }
  if (end >= pending_.size()) return Incomplete(overdue);
  if (const auto last = static_cast<unsigned char>(pending_[end]); last < 0x20 || last >= 0x7F) {
    pending_.erase(0, end);  // broken off: this byte begins the next key
    return Key{};
  }
  Key key = KeyOfSequence(std::string_view(pending_).substr(kBegin, end - kBegin), pending_[end]);
  if (console) key = pending_[end] == 'D' ? Key{KeyCode::kF4} : Key{};
  pending_.erase(0, end + 1);
  return key;
}

/// The character that begins at this place of `pending_`. Malformed UTF-8 gives U+FFFD.
std::optional<Key> KeyDecoder::DecodeCharacter(std::size_t at, bool alt, bool overdue) {
  std::string_view rest = std::string_view(pending_).substr(at);
  if (!HoldsCharacter(rest)) return Incomplete(overdue);
  const char32_t character = TakeCharacter(&rest);
  pending_.erase(0, pending_.size() - rest.size());
  return Key{KeyCode::kCharacter, character, alt};
}

/// Waits for the rest, or drops what isn't complete in time.
std::optional<Key> KeyDecoder::Incomplete(bool overdue) {
  if (!overdue) return std::nullopt;
  pending_.clear();
  return Key{};
}

}  // namespace halden
