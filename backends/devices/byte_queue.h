#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace halden {

/// A receive queue with a device's bound: what comes while it is full is lost, what it holds stays. Allocates
/// only when it is made.
class ByteQueue {
 public:
  static constexpr std::size_t kCapacity = 65536;

  std::size_t Size() const { return size_; }
  void Clear() { size_ = 0; }
  void Push(std::string_view bytes);
  /// Takes the oldest bytes, at most `count`, to `buffer` and gives their number.
  std::size_t Pop(char* buffer, std::size_t count);

 private:
  std::vector<char> bytes_ = std::vector<char>(kCapacity);
  std::size_t first_ = 0;
  std::size_t size_ = 0;
};

}  // namespace halden
