#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace halden {

/// Takes the decisions of a run from the fuzzer's bytes; they are 0 once the bytes are used up.
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

/// Aborts, which the fuzzer reports, unless `kept`. `promise` says what should have held.
inline void Demand(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "broken: %s\n", promise);
  std::abort();
}

}  // namespace halden
