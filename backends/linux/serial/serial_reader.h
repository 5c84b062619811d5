#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "backends/devices/byte_queue.h"

namespace halden {

/// Takes what a tty receives as it comes. A thread sleeps until there is something and puts it into a queue,
/// as the kernel's own holds 4095 bytes and loses them when the device goes. While the queue is full, the
/// rest waits in the kernel.
///
/// All calls come on one thread, and none of them waits for bytes.
class SerialReader {
 public:
  /// Bytes that the queue holds. Half of what the driver's own buffer does: all of them, taken at once after
  /// a pause, find room there behind a part line.
  static constexpr std::size_t kCapacity = ByteQueue::kCapacity / 2;

  /// Does not own `fd`, which is in raw mode, doesn't block and outlives the reader. Throws std::system_error
  /// where the system gives no thread.
  explicit SerialReader(int fd);
  ~SerialReader();
  SerialReader(const SerialReader&) = delete;
  SerialReader& operator=(const SerialReader&) = delete;

  /// How many bytes wait; nothing once the device has gone and all that it had sent has been taken.
  std::optional<std::size_t> Size() const;
  /// Takes the oldest bytes, at most `count`, to `buffer` and gives their number; nothing as above.
  std::optional<std::size_t> Take(char* buffer, std::size_t count);
  /// Drops what has been received, here and in the kernel. False if the kernel refuses.
  bool Purge();

 private:
  /// A file of the kernel that wakes the thread up.
  class Bell;

  void Run();
  bool Finished() const { return lost_ && queue_.Size() == 0; }
  void Receive();
  void MakeRoom();

  const int fd_;
  std::unique_ptr<Bell> bell_;

  mutable std::mutex mutex_;  // of all that follows, and held over each read, so that a purge leaves nothing
  ByteQueue queue_;
  bool full_ = false;
  bool lost_ = false;
  bool stopping_ = false;

  std::thread thread_;
};

}  // namespace halden
