#pragma once

#include <asm/termbits.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace halden {

/// A pseudo-terminal. The test holds the one end and a device is opened on the other.
class Pty {
 public:
  Pty() : fd_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    grantpt(fd_);
    unlockpt(fd_);
    ioctl(fd_, TIOCGPTN, &number_);
  }
  ~Pty() { Hangup(); }
  Pty(const Pty&) = delete;

  int number() const { return number_; }
  /// The path of the device's end.
  std::string path() const { return "/dev/pts/" + std::to_string(number_); }

  /// Short enough a text doesn't block. It arrives at the other end within a moment, not at once.
  bool Write(std::string_view text) {
    return write(fd_, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }
  /// The settings of the device's end.
  termios2 Settings() const {
    termios2 settings{};
    ioctl(fd_, TCGETS2, &settings);
    return settings;
  }
  void Hangup() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }

 private:
  int fd_;
  int number_ = -1;
};

}  // namespace halden
