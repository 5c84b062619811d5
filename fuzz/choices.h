#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace halden {

/// The decisions of a run, taken from bytes; zeros once they are used up.
class Choices {
 public:
  Choices(const std::uint8_t* bytes, std::size_t size) : at_(bytes), end_(bytes + size) {}

  bool Left() const { return at_ != end_; }
  std::uint8_t Byte() { return at_ == end_ ? std::uint8_t{0} : *at_++; }
  std::uint16_t Word() { return static_cast<std::uint16_t>(Byte() | Byte() << 8); }
  std::uint32_t Number() { return Word() | std::uint32_t{Word()} << 16; }
  int Below(int bound) { return Byte() % bound; }
  std::string Text(std::size_t length) {
    std::string text;
    while (text.size() < length && Left()) text += static_cast<char>(Byte());
    return text;
  }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
};

/// Ends the program where a promise is broken.
inline void Demand(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "broken: %s\n", promise);
  std::abort();
}

}  // namespace halden
