#pragma once

#include <cstdint>

namespace halden::host {

/// How the codes of a channel read back as physical values.
struct ValueFormat {
  double scale = 1;   ///< codes per unit, above 0
  double offset = 0;  ///< units
  int decimals = 0;   ///< see FormatOf
};

/// A format whose decimals resolve a hundredth of the step between two codes, so that a text always reads
/// back as the code it came from. A scale that is not above 0 counts as 1.
ValueFormat FormatOf(float scale, float offset);

double ValueOf(std::int16_t code, const ValueFormat& format);

/// Room that WriteValue and WriteCode may need.
inline constexpr int kValueRoom = 32;

/// Writes the code's physical value with a point as decimal mark and without trailing zeros to `out`, where
/// kValueRoom characters fit. Returns the end of the text.
char* WriteValue(std::int16_t code, const ValueFormat& format, char* out);
char* WriteCode(std::int16_t code, char* out);

}  // namespace halden::host
