#pragma once

#include <cstdint>

namespace halden {

/// Where the receive buffer's bytes come from.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  /// Bytes that Read would give at once; not above 0 if there are none or they can't be counted.
  virtual std::int32_t RxQueueCount() = 0;
  /// Reads at most `count` bytes to `buffer`, which has room for them. Gives the bytes read, -1 on failure.
  virtual std::int32_t Read(void* buffer, std::int32_t count) = 0;
};

}  // namespace halden
