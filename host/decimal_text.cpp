#include "host/decimal_text.h"

#include <array>
#include <charconv>

namespace halden::host {

std::string Fixed(double value, int decimals) {
  std::array<char, 400> room{};
  const auto [end, result] =
      std::to_chars(room.data(), room.data() + room.size(), value, std::chars_format::fixed, decimals);
  std::string text(room.data(), result == std::errc() ? end : room.data());
  const bool zero = text.find_first_not_of("-0.") == std::string::npos;
  return zero && text.starts_with("-") ? text.substr(1) : text;
}

std::string Shortest(float value) {
  std::array<char, 32> room{};
  return {room.data(), std::to_chars(room.data(), room.data() + room.size(), value).ptr};
}

std::string Short(double value, int decimals) {
  std::string text = Fixed(value, decimals);
  if (text.find('.') == std::string::npos) return text;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text;
}

}  // namespace halden::host
