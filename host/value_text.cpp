#include "host/value_text.h"

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

}  // namespace halden::host
