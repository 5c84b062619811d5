#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

namespace halden::bench {

// Parsers to compare the driver with. Each function takes a read that ends with a whole line.

/// The code of a value in the range ±1000.
inline std::int16_t CodeOf(float value) {
  const float scaled = value * 20.0f;
  return static_cast<std::int16_t>(std::lrint(scaled < -32768.0f  ? -32768.0f
                                              : scaled > 32767.0f ? 32767.0f
                                                                  : scaled));
}

/// Calls `field` with the start and the end of each field of each line.
template <class Field>
void EachField(const std::string& read, Field field) {
  const char* line = read.data();
  const char* const end = line + read.size();
  while (const auto* cr = static_cast<const char*>(std::memchr(line, '\r', end - line))) {
    for (const char* at = line; at <= cr;) {
      const auto* stop = static_cast<const char*>(std::memchr(at, ';', cr - at));
      if (!stop) stop = cr;
      field(at, stop);
      at = stop + 1;
    }
    line = cr + 1;
    if (line < end && *line == '\n') ++line;
    if (line == end) break;
  }
}

/// The least that any program must do for a line: find its CR, split it at ";", read each number with
/// std::from_chars, scale, round and store it. `codes` must have room for all codes of the read. Returns the
/// place after the last one.
inline std::int16_t* BareLoop(const std::string& read, std::int16_t* codes) {
  EachField(read, [&](const char* at, const char* stop) {
    float value = 0;
    std::from_chars(at, stop, value);
    *codes++ = CodeOf(value);
  });
  return codes;
}

// The same numbers read with other library functions. They are added up so that the compiler can't drop them.

inline float SumByStrtof(const std::string& read) {
  float sum = 0;
  EachField(read, [&](const char* at, const char*) { sum += std::strtof(at, nullptr); });
  return sum;
}

inline float SumBySscanf(const std::string& read) {
  float sum = 0;
  EachField(read, [&](const char* at, const char* stop) {
    char field[32];  // a copy, because sscanf measures its whole input first
    const std::size_t length = stop - at;
    std::memcpy(field, at, length);
    field[length] = '\0';
    float value = 0;
    if (std::sscanf(field, "%f", &value) == 1) sum += value;
  });
  return sum;
}

inline float SumByIstringstream(const std::string& read) {
  float sum = 0;
  EachField(read, [&](const char* at, const char* stop) {
    std::istringstream field(std::string(at, stop));
    float value = 0;
    field >> value;
    sum += value;
  });
  return sum;
}

}  // namespace halden::bench
