#pragma once

#include <asm/termbits.h>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace halden {

/// An empty directory that is removed with the object. In memory, where fsync costs nothing.
class ScratchDirectory {
 public:
  ~ScratchDirectory() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  const std::string path_ = mkdtemp(std::string("/dev/shm/halden-test-XXXXXX").data());
};

inline std::string FileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void SetFileText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

/// A pseudo-terminal. The test has one end, and a device is opened on the other.
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

  /// A text of up to a few KB doesn't block. It arrives at the other end a moment later.
  bool Write(std::string_view text) {
    return write(fd_, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }
  /// The settings of the device's end.
  termios2 Settings() const {
    termios2 settings{};
    ioctl(fd_, TCGETS2, &settings);
    return settings;
  }
  /// Closes the test's end, which looks to the device like unplugging.
  void Hangup() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }

 private:
  int fd_;
  int number_ = -1;
};

}  // namespace halden
