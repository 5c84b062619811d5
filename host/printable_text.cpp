#include "host/printable_text.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

#include "backends/text/characters.h"

namespace halden::host {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD, which also stands for malformed bytes

bool IsControl(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F);
}

/// Line and paragraph separators, and marks that reverse what follows them: U+202E shows "gpj.exe" as
/// "exe.jpg".
bool Rearranges(char32_t c) {
  return c == 0x2028 || c == 0x2029 || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

std::string Escape(const char* format, unsigned value) {
  char text[12];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

/// How many letters must be inserted, removed or replaced to turn one word into the other.
std::size_t EditDistance(std::string_view from, std::string_view to) {
  // row[i] is the distance between what has been read of `from` and the first i letters of `to`.
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t read = 0; read < from.size(); ++read) {
    std::size_t diagonal = read;
    row[0] = read + 1;
    for (std::size_t i = 0; i < to.size(); ++i) {
      const std::size_t replaced = diagonal + (from[read] != to[i]);
      diagonal = row[i + 1];
      row[i + 1] = std::min({replaced, diagonal + 1, row[i] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string printable;
  printable.reserve(text.size());
  while (!text.empty()) {
    const std::string_view before = text;
    const char32_t c = TakeCharacter(&text);
    const std::string_view bytes = before.substr(0, before.size() - text.size());
    const bool malformed = c == 0xFFFD && bytes != kReplacement;
    if (malformed || c < 0x20 || c == 0x7F) {
      for (const char byte : bytes) printable += Escape("\\x%02x", static_cast<unsigned char>(byte));
    } else if (IsControl(c) || Rearranges(c)) {
      printable += Escape("\\u%04x", static_cast<unsigned>(c));
    } else {
      printable += bytes;
    }
  }
  return printable;
}

std::string Quoted(std::string_view text) {
  return "\"" + Printable(text) + "\"";
}

std::string NearestWord(const std::string& word, const std::vector<std::string>& words) {
  std::string nearest;
  std::size_t least = 3;
  for (const std::string& candidate : words) {
    const std::size_t distance = EditDistance(word, candidate);
    if (distance >= least || 2 * distance >= candidate.size()) continue;
    least = distance;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace halden::host
