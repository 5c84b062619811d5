#include "backends/devices/byte_queue.h"

#include <algorithm>

namespace halden {

void ByteQueue::Push(std::string_view bytes) {
  const std::size_t count = std::min(bytes.size(), kCapacity - size_);
  const std::size_t end = (first_ + size_) % kCapacity;
  const std::size_t to_border = std::min(count, kCapacity - end);
  std::copy_n(bytes.data(), to_border, bytes_.data() + end);
  std::copy_n(bytes.data() + to_border, count - to_border, bytes_.data());
  size_ += count;
}

std::size_t ByteQueue::Pop(char* buffer, std::size_t count) {
  count = std::min(count, size_);
  const std::size_t to_border = std::min(count, kCapacity - first_);
  std::copy_n(bytes_.data() + first_, to_border, buffer);
  std::copy_n(bytes_.data(), count - to_border, buffer + to_border);
  first_ = (first_ + count) % kCapacity;
  size_ -= count;
  return count;
}

}  // namespace halden
