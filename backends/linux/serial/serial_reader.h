#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "backends/devices/byte_queue.h"

namespace halden {

/// Reads what a tty receives as soon as it arrives. The kernel's own buffer is too small for a program that
/// reads every 50 ms (4095 bytes), and it is lost when the device is unplugged. So a thread sleeps until
/// there is something to read and moves it into a queue. While the queue is full, the rest waits in the
/// kernel.
///
/// All public calls are made on one thread. None of them waits for bytes.
class SerialReader {
 public:
  /// Size of the queue in bytes: half of the driver's receive buffer. After a pause of the driver, a full
  /// queue then still fits there along with the unfinished line that the buffer may hold.
  static constexpr std::size_t kCapacity = ByteQueue::kCapacity / 2;

  /// `fd` stays the caller's. It must be in raw mode and non-blocking, and must outlive the reader. Throws
  /// std::system_error if the system has no thread or no eventfd left.
  explicit SerialReader(int fd);
  ~SerialReader();
  SerialReader(const SerialReader&) = delete;
  SerialReader& operator=(const SerialReader&) = delete;

  /// Number of bytes waiting; nullopt once the device is gone and all its bytes have been taken.
  std::optional<std::size_t> Size() const;
  /// Moves the oldest bytes, at most `count`, to `buffer` and returns how many; nullopt as for Size.
  std::optional<std::size_t> Take(char* buffer, std::size_t count);
  /// Drops everything that has been received, here and in the kernel. False if the kernel refuses.
  bool Purge();

 private:
  class WakeEvent;

  void Run();
  bool Finished() const { return lost_ && queue_.Size() == 0; }
  void Receive();
  void ResumeIfFull();

  const int fd_;
  std::unique_ptr<WakeEvent> wake_;

  // Guards everything below. Receive holds it across read(), so that after Purge no byte from before arrives.
  mutable std::mutex mutex_;
  ByteQueue queue_;
  bool full_ = false;      // the thread doesn't read until ResumeIfFull
  bool lost_ = false;      // the device has gone; the thread has ended
  bool stopping_ = false;  // the thread is to end

  std::thread thread_;
};

}  // namespace halden
