#pragma once

#include <array>
#include <cstdint>

namespace halden {

/// Reads the values of ordinary lines straight from the receive buffer, each byte once. A field is ordinary
/// if it holds at most one number, [sign]digits[mark digits], and around it only bytes that stripping
/// removes. Such a field has one reading, whichever of the full rules would get to it: where "." or "," is
/// neither the decimal nor the group separator it is replaced by the decimal separator, so it is a decimal
/// mark too. What isn't ordinary is handed over.
class LineScanner {
 public:
  static constexpr char kNoSeparator = '\0';

  /// Fixes the rules for the lines that follow. `separator` may be kNoSeparator: a line is one value.
  void Prepare(char decimal, char group, char separator);

  struct Result {
    const char* end = nullptr;  ///< the CR that ends the line; null: hand the line over
    std::int16_t read = 0;      ///< fields in which a number was read
  };

  /// Reads a line that begins with no blank and is not empty into `channels` values, at least 1. A CR ends
  /// it, at `last_cr` or in front of it. When a line is handed over, the values stored by then are those that
  /// the full rules store as well.
  Result Scan(const char* line, const char* last_cr, float* values, std::int16_t channels) const;

 private:
  enum Class : std::uint8_t { kOther, kDigit, kSign, kMark, kNumberChar, kSeparator, kEnd };

  const char* ReadField(const char* at, float& value, std::int16_t& read) const;
  const char* Skip(const char* at, Class what) const {
    while (ClassOf(*at) == what) ++at;
    return at;
  }
  Class ClassOf(char c) const { return classes_[static_cast<unsigned char>(c)]; }

  std::array<Class, 256> classes_{};
  char decimal_ = '\0';
  char group_ = '\0';
  char separator_ = '\0';
};

}  // namespace halden
