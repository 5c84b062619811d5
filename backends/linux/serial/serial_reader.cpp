#include "backends/linux/serial/serial_reader.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

namespace halden {
namespace {

/// While it lives, threads are made that leave all signals but those of their own faults to the others.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) sigdelset(&all, fault);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace

class SerialReader::Bell {
 public:
  Bell() : fd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (fd_ < 0) throw std::system_error(errno, std::generic_category());
  }
  ~Bell() { close(fd_); }
  Bell(const Bell&) = delete;
  Bell& operator=(const Bell&) = delete;

  int fd() const { return fd_; }
  void Ring() { eventfd_write(fd_, 1); }
  void Hush() {
    eventfd_t rings = 0;
    eventfd_read(fd_, &rings);
  }

 private:
  const int fd_;
};

SerialReader::SerialReader(int fd) : fd_(fd), bell_(std::make_unique<Bell>()) {
  const SignalsBlocked blocked;
  thread_ = std::thread([this] { Run(); });
}

SerialReader::~SerialReader() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  bell_->Ring();
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
  const std::size_t taken = queue_.Pop(buffer, count);
  if (taken > 0) MakeRoom();
  return taken;
}

bool SerialReader::Purge() {
  const std::lock_guard lock(mutex_);
  queue_.Clear();
  MakeRoom();
  return ioctl(fd_, TCFLSH, TCIFLUSH) == 0;
}

void SerialReader::MakeRoom() {
  if (full_) bell_->Ring();
  full_ = false;
}

void SerialReader::Run() {
  for (;;) {
    pollfd events[] = {{bell_->fd(), POLLIN, 0}, {fd_, POLLIN, 0}};
    {
      const std::lock_guard lock(mutex_);
      if (stopping_ || lost_) return;
      if (full_) events[1].fd = -1;
    }
    if (poll(events, std::size(events), -1) < 0) continue;
    if (events[0].revents != 0) bell_->Hush();
    if (events[1].revents != 0) Receive();
  }
}

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
