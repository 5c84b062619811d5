#include "backends/linux/terminal/terminal_keys.h"

#include <algorithm>

#include "backends/text/characters.h"

namespace halden {

namespace {

constexpr char kEsc = '\x1b';

Key KeyOfLetter(char letter) {
  switch (letter) {
    case 'A':
      return {KeyCode::kUp};
    case 'B':
      return {KeyCode::kDown};
    case 'C':
      return {KeyCode::kRight};
    case 'D':
      return {KeyCode::kLeft};
    case 'H':
      return {KeyCode::kHome};
    case 'F':
      return {KeyCode::kEnd};
    case 'M':
      return {KeyCode::kEnter};
    case 'S':
      return {KeyCode::kF4};
    case 'Z':
      return {KeyCode::kBackTab};
    default:
      return {};
  }
}

Key KeyOfNumber(int number) {
  switch (number) {
    case 1:
    case 7:
      return {KeyCode::kHome};
    case 4:
    case 8:
      return {KeyCode::kEnd};
    case 3:
      return {KeyCode::kDelete};
    case 5:
      return {KeyCode::kPageUp};
    case 6:
      return {KeyCode::kPageDown};
    case 14:
      return {KeyCode::kF4};
    default:
      return {};
  }
}

/// The number at this place of "number;number", at most three digits of it; 0 if there is none.
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

Key KeyOfSequence(std::string_view parameters, char last) {
  Key key = last == '~' ? KeyOfNumber(Parameter(parameters, 0)) : KeyOfLetter(last);
  const int modifiers = Parameter(parameters, 1);
  key.alt = modifiers > 0 && ((modifiers - 1) & 2) != 0;
  return key;
}

std::size_t Utf8Length(char lead) {
  const auto byte = static_cast<unsigned char>(lead);
  return byte < 0xC2 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : byte < 0xF5 ? 4 : 1;
}

}  // namespace

void KeyDecoder::Feed(std::string_view bytes, std::uint32_t now) {
  if (bytes.empty()) return;
  pending_ += bytes;
  fed_at_ = now;
}

std::optional<Key> KeyDecoder::Next(std::uint32_t now) {
  if (pending_.empty()) return std::nullopt;
  return Decode(now - fed_at_ >= kEscapeTimeoutMs);
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

std::optional<Key> KeyDecoder::DecodeEscape(bool overdue) {
  const char next = pending_.size() < 2 ? kEsc : pending_[1];
  if (pending_.size() < 2 && !overdue) return std::nullopt;
  if (next == kEsc) {
    pending_.erase(0, 1);
    return Key{KeyCode::kEscape};
  }
  const bool starts_sequence = next == '[' || next == 'O';
  if (starts_sequence && !(overdue && pending_.size() == 2)) return DecodeSequence(overdue);
  if (static_cast<unsigned char>(next) >= 0x20 && next != '\x7f') return DecodeCharacter(1, true, overdue);
  pending_.erase(0, 2);
  return Key{};
}

/// "ESC [ parameters letter", "ESC O letter", or "ESC [ [ letter" of the system's own console.
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
  Key key = KeyOfSequence(std::string_view(pending_).substr(kBegin, end - kBegin), pending_[end]);
  if (console) key = pending_[end] == 'D' ? Key{KeyCode::kF4} : Key{};
  pending_.erase(0, end + 1);
  return key;
}

std::optional<Key> KeyDecoder::DecodeCharacter(std::size_t at, bool alt, bool overdue) {
  if (pending_.size() < at + Utf8Length(pending_[at])) return Incomplete(overdue);
  std::string_view rest = std::string_view(pending_).substr(at);
  const char32_t character = TakeCharacter(&rest);
  pending_.erase(0, pending_.size() - rest.size());
  return Key{KeyCode::kCharacter, character, alt};
}

/// What hasn't been completed in time means nothing.
std::optional<Key> KeyDecoder::Incomplete(bool overdue) {
  if (!overdue) return std::nullopt;
  pending_.clear();
  return Key{};
}

}  // namespace halden
