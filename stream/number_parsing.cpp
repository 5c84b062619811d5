#include "stream/number_parsing.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace halden {

namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

/// A decimal number of any length, collected digit by digit without an allocation. The first kKept
/// significant digits are kept. Of the others only whether one of them is not 0 matters: every tie between
/// two doubles has fewer digits than that, so a longer number only has to be pushed off the tie. digits_ is
/// not initialised, because only the first count_ are ever read.
class Decimal {  // NOLINT(cppcoreguidelines-pro-type-member-init)
 public:
  void Negate() { negative_ = true; }

  void AddDigit(char digit, bool in_fraction) {
    if (in_fraction) --scale_;
    if (count_ == 0 && digit == '0') return;
    if (count_ < kKept) {
      digits_[count_++] = digit;
    } else {
      ++scale_;
      more_ = more_ || digit != '0';
    }
  }

  /// May be called once, after the digits.
  void AddExponent(bool negative, int magnitude) { scale_ += negative ? -magnitude : magnitude; }

  /// Rounded once to the nearest Float. Call it once: it completes the digits in place.
  template <class Float>
  Float Value() {
    if (count_ == 0) return negative_ ? -Float{0} : Float{0};
    if (more_) AppendOne();
    // Digits without a point and an exponent, "123e-2", have one form whatever the locale.
    char* end = digits_ + count_;
    *end++ = 'e';
    end = std::to_chars(end, digits_ + sizeof digits_, scale_).ptr;
    Float value = 0;
    // from_chars leaves the value alone where it is out of range, and doesn't say at which end.
    if (std::from_chars(digits_, end, value).ec != std::errc())
      value = count_ + scale_ > 0 ? std::numeric_limits<Float>::infinity() : Float{0};
    return negative_ ? -value : value;
  }

 private:
  static constexpr int kKept = 800;

  /// One more digit, for all those that were not kept. There is room for it: kKept + 16 also holds "e" and
  /// the exponent.
  void AppendOne() {
    digits_[count_++] = '1';
    --scale_;
  }

  char digits_[kKept + 16];
  int count_ = 0;
  int scale_ = 0;  // power of ten of the last digit kept; overflows only for a text of 2 billion digits
  bool negative_ = false;
  bool more_ = false;  // a digit that was not kept is not 0
};

/// Reads a text from left to right.
class Cursor {
 public:
  explicit Cursor(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

  bool AtEnd() const { return at_ == end_; }
  char Peek() const { return at_ == end_ ? '\0' : *at_; }
  char Next() { return *at_++; }
  bool Skip(char c) {
    if (at_ == end_ || *at_ != c) return false;
    ++at_;
    return true;
  }

 private:
  const char* at_;
  const char* end_;
};

/// A Cursor that skips blanks, tabs and line feeds, as if they were not in the text.
class DenseCursor {
 public:
  explicit DenseCursor(std::string_view text) : cursor_(text) { SkipSpace(); }

  char Peek() const { return cursor_.Peek(); }
  char Next() {
    const char c = cursor_.Next();
    SkipSpace();
    return c;
  }
  bool Skip(char c) {
    if (!cursor_.Skip(c)) return false;
    SkipSpace();
    return true;
  }

 private:
  void SkipSpace() {
    while (cursor_.Skip(' ') || cursor_.Skip('\t') || cursor_.Skip('\n')) {
    }
  }

  Cursor cursor_;
};

template <class Reader>
void ReadSign(Reader& reader, Decimal& number) {
  if (reader.Skip('-'))
    number.Negate();
  else
    reader.Skip('+');
}

/// Reads an exponent, if a complete one comes next. Otherwise the reader stays where it is: in "1.5e" the "e"
/// may be the beginning of a unit. Both readers are small enough to try on a copy.
template <class Reader>
void ReadExponent(Reader& reader, Decimal& number) {
  // A magnitude this large gives 0 or infinity for every text that fits into memory; more digits are ignored
  // so that it can't overflow.
  constexpr int kBeyondAll = 100000000;
  Reader ahead = reader;
  if (!ahead.Skip('e') && !ahead.Skip('E')) return;
  const bool negative = ahead.Skip('-');
  if (!negative) ahead.Skip('+');
  if (!IsDigit(ahead.Peek())) return;
  int magnitude = 0;
  while (IsDigit(ahead.Peek())) {
    const int digit = ahead.Next() - '0';
    if (magnitude < kBeyondAll) magnitude = magnitude * 10 + digit;
  }
  number.AddExponent(negative, magnitude);
  reader = ahead;
}

/// Reads digits with at most one `decimal`. Skips `group` ('\0': none) anywhere after the first digit.
/// Returns whether there was a digit.
template <class Reader>
bool ReadDigits(Reader& reader, char decimal, char group, Decimal& number) {
  bool any = false;
  bool in_fraction = false;
  for (;;) {
    const char c = reader.Peek();
    if (IsDigit(c)) {
      number.AddDigit(reader.Next(), in_fraction);
      any = true;
    } else if (c == decimal && !in_fraction && reader.Skip(decimal)) {
      in_fraction = true;
    } else if (!any || group == '\0' || !reader.Skip(group)) {
      return any;
    }
  }
}

/// Reads the whole text by the locale's rules. False if it is no number.
bool ReadNumber(const NumberRules& rules, std::string_view text, Decimal& number) {
  Cursor reader(Trim(text));
  ReadSign(reader, number);
  if (!ReadDigits(reader, rules.DecimalSeparator(), rules.GroupSeparator(), number)) return false;
  ReadExponent(reader, number);
  return reader.AtEnd();
}

}  // namespace

bool IsNumericText(const NumberRules& rules, std::string_view text) {
  Decimal number;
  return ReadNumber(rules, text, number);
}

float TextToFloat(const NumberRules& rules, std::string_view text) {
  Decimal number;
  ReadNumber(rules, text, number);
  return number.Value<float>();
}

double LeadingNumber(std::string_view text) {
  Decimal number;
  DenseCursor reader(text);
  ReadSign(reader, number);
  if (ReadDigits(reader, '.', '\0', number)) ReadExponent(reader, number);
  return number.Value<double>();
}

char SystemDecimalSeparator(const NumberRules& rules) {
  constexpr int kDoubleDigits = 15;
  return rules.NumberToText(1.1, kDoubleDigits)[1];
}

float ToSingle(double value) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  // Halfway between the largest float and the next power of two rounds up to it.
  constexpr double kRoundsToInfinity = 0x1.ffffffp127;
  if (std::fabs(value) >= kRoundsToInfinity) return value > 0 ? kInfinity : -kInfinity;
  return static_cast<float>(value);
}

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace halden
