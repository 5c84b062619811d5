#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>

// Numbers as decimal text. The decimal mark is a point in every locale, and zero has no sign.

namespace halden::host {

/// `value` with exactly `decimals` digits after the point: Fixed(2, 1) is "2.0".
std::string Fixed(double value, int decimals);

/// As Fixed, without trailing zeros: Trimmed(2.50, 3) is "2.5".
std::string Trimmed(double value, int decimals);

/// The shortest text that reads back as the same float.
std::string Shortest(float value);

/// How the codes of a channel read back as physical values.
struct ValueFormat {
  double scale = 1;   ///< codes per unit, above 0
  double offset = 0;  ///< units
  int decimals = 0;   ///< as FormatOf chooses them, at most 9

  bool operator==(const ValueFormat&) const = default;
};

/// A format with enough decimals to resolve a hundredth of the step between two codes, so that a text always
/// reads back as the code it came from. A scale that is not above 0 counts as 1.
ValueFormat FormatOf(float scale, float offset);

double ValueOf(std::int16_t code, const ValueFormat& format);

/// The most characters that WriteValue and WriteCode write.
inline constexpr int kValueRoom = 32;

/// Writes the code's physical value without trailing zeros to `out`, which has room for kValueRoom
/// characters. Returns the end of the text; no NUL is added. Allocates nothing.
char* WriteValue(std::int16_t code, const ValueFormat& format, char* out);
/// Like WriteValue, for the code itself.
char* WriteCode(std::int16_t code, char* out);

/// A cache of the texts of all 65536 codes in one format, because a long recording writes the same codes
/// again and again. Takes 1 MiB.
class CodeTexts {
 public:
  /// `raw`: the texts are the codes themselves, and `format` is ignored.
  CodeTexts(const ValueFormat& format, bool raw) : format_(format), raw_(raw) {}

  /// Writes the code's text to `out`, where kValueRoom characters must fit. Returns the end of the text.
  char* Write(std::int16_t code, char* out) {
    Text& text = (*texts_)[static_cast<std::uint16_t>(code)];
    if (text.size == 0) Make(code, text);
    std::copy_n(text.characters, kLongest, out);  // a fixed size is faster than the exact one
    return out + text.size;
  }

 private:
  static constexpr int kLongest = 15;  // enough for every format of the driver, e.g. "0.500007630"
  struct Text {
    char characters[kLongest];
    std::uint8_t size;  // 0: not made yet
  };

  void Make(std::int16_t code, Text& text) const;

  ValueFormat format_;
  bool raw_;
  std::unique_ptr<std::array<Text, 65536>> texts_ = std::make_unique<std::array<Text, 65536>>();
};

}  // namespace halden::host
