#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace halden {

/// Bytes in the order in which they came, in storage that is allocated once.
class ByteQueue {
 public:
  explicit ByteQueue(std::size_t capacity) : storage_(capacity) {}

  std::size_t size() const { return size_; }
  void Clear() { size_ = 0; }

  /// Room behind the last byte, in one piece; empty only when the queue is full.
  std::span<std::uint8_t> Room() {
    const std::size_t end = (first_ + size_) % storage_.size();
    return {&storage_[end], std::min(storage_.size() - end, storage_.size() - size_)};
  }
  /// Appends the first `count` bytes of Room().
  void Commit(std::size_t count) { size_ += count; }

  /// Takes the first bytes, `count` or as many as there are, and gives how many.
  std::size_t Take(void* bytes, std::size_t count) {
    count = std::min(count, size_);
    const std::size_t unbroken = std::min(count, storage_.size() - first_);
    auto* to = static_cast<std::uint8_t*>(bytes);
    std::copy_n(storage_.begin() + static_cast<std::ptrdiff_t>(first_), unbroken, to);
    std::copy_n(storage_.begin(), count - unbroken, to + unbroken);
    first_ = (first_ + count) % storage_.size();
    size_ -= count;
    return count;
  }

 private:
  std::vector<std::uint8_t> storage_;
  std::size_t first_ = 0;
  std::size_t size_ = 0;
};

}  // namespace halden
