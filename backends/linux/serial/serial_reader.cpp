#include "backends/linux/serial/serial_reader.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

#include "backends/linux/process/ending_signals.h"

namespace halden {
/// Wakes the thread from poll().
class SerialReader::WakeEvent {
 public:
  WakeEvent() : fd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (fd_ < 0) throw std::system_error(errno, std::generic_category());
  }
  ~WakeEvent() { close(fd_); }
  WakeEvent(const WakeEvent&) = delete;
  WakeEvent& operator=(const WakeEvent&) = delete;

  int fd() const { return fd_; }
  void Set() { eventfd_write(fd_, 1); }
  void Clear() {
    eventfd_t count = 0;
    eventfd_read(fd_, &count);
  }

 private:
  const int fd_;
};

SerialReader::SerialReader(int fd) : fd_(fd), wake_(std::make_unique<WakeEvent>()) {
  const SignalsBlocked blocked;
  thread_ = std::thread([this] { Run(); });
}

SerialReader::~SerialReader() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_->Set();
  thread_.join();
}

std::optional<std::size_t> SerialReader::Size() const {
  const std::lock_guard lock(mutex_);
  if (Finished()) return std::nullopt;
  return queue_.Size();
}

std::optional<std::size_t> SerialReader::Take(char* buffer, std::size_t count) {
  const std::lock_guard lock(mutex_);
  if (Finished()) return std::nullopt;
  // Bytes of a device that is gone by now are still taken.
  const std::size_t taken = queue_.Pop(buffer, count);
  if (taken > 0) ResumeIfFull();
  return taken;
}

bool SerialReader::Purge() {
  const std::lock_guard lock(mutex_);
  queue_.Clear();
  ResumeIfFull();
  return ioctl(fd_, TCFLSH, TCIFLUSH) == 0;
}

/// Makes the thread read again once the queue has room. The caller holds the mutex.
void SerialReader::ResumeIfFull() {
  if (full_) wake_->Set();
  full_ = false;
}

/// The thread's function. Returns when the device is gone or the reader is being destroyed.
void SerialReader::Run() {
  for (;;) {
    pollfd events[] = {{wake_->fd(), POLLIN, 0}, {fd_, POLLIN, 0}};
    {
      const std::lock_guard lock(mutex_);
      if (stopping_ || lost_) return;
      if (full_) events[1].fd = -1;  // poll ignores it, and waits for the event alone
    }
    if (poll(events, std::size(events), -1) < 0) continue;
    if (events[0].revents != 0) wake_->Clear();
    if (events[1].revents != 0) Receive();
  }
}

/// Reads once, no more than the queue has room for. A read of 0 bytes means that the line was hung up,
/// because the port is in raw mode with VMIN = 1.
void SerialReader::Receive() {
  const std::lock_guard lock(mutex_);
  char bytes[4096];
  const std::size_t room = std::min(sizeof bytes, kCapacity - queue_.Size());
  const ssize_t count = read(fd_, bytes, room);
  if (count > 0) {
    queue_.Push({bytes, static_cast<std::size_t>(count)});
    full_ = queue_.Size() == kCapacity;
  } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
    lost_ = true;
  }
}

}  // namespace halden
