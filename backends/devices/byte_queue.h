#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

namespace halden {

/// A ring buffer of received bytes, as large as a device's. Bytes that don't fit are dropped; bytes already
/// held are kept. Allocates only in the constructor.
class ByteQueue {
 public:
  static constexpr std::size_t kCapacity = 65536;

  std::size_t Size() const { return size_; }
  void Clear() { size_ = 0; }
  void Push(std::string_view bytes) {
    const std::size_t count = std::min(bytes.size(), kCapacity - size_);
    const std::size_t end = (first_ + size_) % kCapacity;
    const std::size_t to_border = std::min(count, kCapacity - end);
    std::copy_n(bytes.data(), to_border, bytes_.data() + end);
    std::copy_n(bytes.data() + to_border, count - to_border, bytes_.data());
    size_ += count;
  }
  /// Moves the oldest bytes, at most `count`, to `buffer` and returns their number.
  std::size_t Pop(char* buffer, std::size_t count) {
    count = std::min(count, size_);
    const std::size_t to_border = std::min(count, kCapacity - first_);
    std::copy_n(bytes_.data() + first_, to_border, buffer);
    std::copy_n(bytes_.data(), count - to_border, buffer + to_border);
    first_ = (first_ + count) % kCapacity;
    size_ -= count;
    return count;
  }

 private:
  std::vector<char> bytes_ = std::vector<char>(kCapacity);
  std::size_t first_ = 0;  // index of the oldest byte; the bytes wrap at kCapacity
  std::size_t size_ = 0;   // bytes held
};

}  // namespace halden
