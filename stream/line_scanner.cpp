#include "stream/line_scanner.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace halden {

namespace {

constexpr char kCR = '\r';
constexpr int kMostDigits = 15;  // so many make a number that a double holds exactly
constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

unsigned DigitOf(char c) {
  return static_cast<unsigned char>(c) - static_cast<unsigned>('0');
}

/// Adds the digits that stand here to the number.
const char* ReadDigits(const char* at, std::uint64_t& number) {
  for (unsigned digit; (digit = DigitOf(*at)) <= 9; ++at) number = number * 10 + digit;
  return at;
}

/// digits / 10^decimals as the nearest float. Both are doubles without error, so the quotient is the nearest
/// double, and rounding that once more goes wrong only where it lies halfway between two floats; then the
/// answer is false.
bool Quotient(std::uint64_t digits, std::ptrdiff_t decimals, float& rounded) {
  constexpr std::uint64_t kBelowFloat = (1u << 29) - 1;
  constexpr std::uint64_t kHalfway = 1u << 28;
  const double quotient = static_cast<double>(static_cast<std::int64_t>(digits)) / kPowersOfTen[decimals];
  rounded = static_cast<float>(quotient);
  return (std::bit_cast<std::uint64_t>(quotient) & kBelowFloat) != kHalfway;
}

}  // namespace

void LineScanner::Prepare(char decimal, char group, char separator) {
  if (classes_['0'] == kDigit && decimal == decimal_ && group == group_ && separator == separator_) return;
  decimal_ = decimal;
  group_ = group;
  separator_ = separator;
  classes_.fill(kOther);
  for (char c = '0'; c <= '9'; ++c) classes_[c] = kDigit;
  classes_['+'] = classes_['-'] = kSign;
  const bool known = decimal == '.' || decimal == ',';
  for (unsigned char mark : {'.', ','}) {
    const char c = static_cast<char>(mark);
    classes_[mark] = known && (c == decimal || c != group) ? kMark : kNumberChar;
  }
  if (separator != kNoSeparator) classes_[static_cast<unsigned char>(separator)] = kSeparator;
  classes_[static_cast<unsigned char>(kCR)] = kEnd;
}

LineScanner::Result LineScanner::Scan(const char* line, const char* last_cr, float* values,
                                      std::int16_t channels) const {
  Result result;
  std::int16_t i = 0;
  const char* at = line;
  for (;;) {
    at = ReadField(at, values[i], result.read);
    if (!at) return {};
    ++i;
    if (*at == kCR) break;
    if (i == channels) {  // more fields than channels
      at = static_cast<const char*>(std::memchr(at, kCR, last_cr - at + 1));
      break;
    }
    ++at;
    while (*at == ' ') ++at;
    if (*at == kCR) {
      // Nothing behind the last separator: the channel keeps its value. Blanks there were trimmed with the
      // line.
      if (separator_ != ' ') ++i;
      break;
    }
  }
  std::fill(values + i, values + channels, 0.0f);
  result.end = at;
  return result;
}

/// Gives the separator or CR behind the field; null if it is not ordinary.
const char* LineScanner::ReadField(const char* at, float& value, std::int16_t& read) const {
  bool negative = false;
  if (DigitOf(*at) > 9) {
    at = Skip(at, kOther);
    if (ClassOf(*at) == kSeparator || ClassOf(*at) == kEnd) {
      value = 0;
      return at;
    }
    if (ClassOf(*at) == kSign) negative = *at++ == '-';
    if (DigitOf(*at) > 9) return nullptr;
  }
  std::uint64_t number = 0;
  const char* const first = at;
  at = ReadDigits(at, number);
  std::ptrdiff_t digits = at - first;
  std::ptrdiff_t decimals = 0;
  if (ClassOf(*at) == kMark) {
    const char* const fraction = at + 1;
    at = ReadDigits(fraction, number);
    decimals = at - fraction;
    if (decimals == 0) return nullptr;
    digits += decimals;
  }
  at = Skip(at, kOther);
  float magnitude;
  if ((ClassOf(*at) != kSeparator && ClassOf(*at) != kEnd) || digits > kMostDigits ||
      !Quotient(number, decimals, magnitude))
    return nullptr;
  value = negative ? -magnitude : magnitude;
  ++read;
  return at;
}

}  // namespace halden
