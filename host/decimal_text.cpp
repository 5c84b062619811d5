#include "host/decimal_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace halden::host {
namespace {

constexpr int kMostDecimals = 9;

constexpr std::int64_t PowerOfTen(int exponent) {
  std::int64_t power = 1;
  while (exponent-- > 0) power *= 10;
  return power;
}

}  // namespace

std::string Fixed(double value, int decimals) {
  std::array<char, 400> room{};  // the largest double has 309 digits before the point
  const auto [end, result] =
      std::to_chars(room.data(), room.data() + room.size(), value, std::chars_format::fixed, decimals);
  std::string text(room.data(), result == std::errc() ? end : room.data());
  const bool zero = text.find_first_not_of("-0.") == std::string::npos;
  return zero && text.starts_with("-") ? text.substr(1) : text;
}

std::string Trimmed(double value, int decimals) {
  std::string text = Fixed(value, decimals);
  if (text.find('.') == std::string::npos) return text;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text;
}

std::string Shortest(float value) {
  std::array<char, 32> room{};
  return {room.data(), std::to_chars(room.data(), room.data() + room.size(), value).ptr};
}

ValueFormat FormatOf(float scale, float offset) {
  ValueFormat format{scale > 0 ? scale : 1.0, offset, 0};
  while (format.decimals < kMostDecimals &&
         static_cast<double>(PowerOfTen(format.decimals)) < 100 * format.scale) {
    ++format.decimals;
  }
  return format;
}

double ValueOf(std::int16_t code, const ValueFormat& format) {
  return code / format.scale + format.offset;
}

/// Works in units of the last decimal, which is several times as fast as formatting a double. With two
/// decimals, -12.5 is 1250 units; dropping the trailing zero gives "-12.5".
char* WriteValue(std::int16_t code, const ValueFormat& format, char* out) {
  const double value = ValueOf(code, format);
  std::int64_t units = std::llround(std::abs(value) * static_cast<double>(PowerOfTen(format.decimals)));
  int decimals = format.decimals;
  while (decimals > 0 && units % 10 == 0) {
    units /= 10;
    --decimals;
  }
  if (value < 0 && units != 0) *out++ = '-';
  const std::int64_t power = PowerOfTen(decimals);
  out = std::to_chars(out, out + kValueRoom, units / power).ptr;
  if (decimals == 0) return out;
  *out++ = '.';
  for (std::int64_t digit = power / 10; digit > 0; digit /= 10) {
    *out++ = static_cast<char>('0' + units / digit % 10);
  }
  return out;
}

char* WriteCode(std::int16_t code, char* out) {
  return std::to_chars(out, out + kValueRoom, code).ptr;
}

void CodeTexts::Make(std::int16_t code, Text& text) const {
  char room[kValueRoom];
  const char* const end = raw_ ? WriteCode(code, room) : WriteValue(code, format_, room);
  text.size = static_cast<std::uint8_t>(std::min<std::ptrdiff_t>(end - room, kLongest));
  std::copy_n(room, text.size, text.characters);
}

}  // namespace halden::host
