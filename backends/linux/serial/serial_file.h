#pragma once

#include <filesystem>
#include <string>

namespace halden {

/// A tty that is opened, and closed and released with the object.
class SerialFile {
 public:
  /// Opens no more than character devices; else fd() is -1 and `errno` says why. Reads and writes don't
  /// block.
  explicit SerialFile(const std::string& path);
  ~SerialFile();
  SerialFile(const SerialFile&) = delete;
  SerialFile& operator=(const SerialFile&) = delete;

  int fd() const { return fd_; }

  /// Whether it is a tty that nobody holds; then programs that ask by the lock are kept away. Else false,
  /// with `errno`.
  bool Free();
  /// Keeps those away, too, that would just open it. False, with `errno`, if it can't be held.
  bool Hold();

 private:
  int fd_ = -1;
  bool held_ = false;
};

/// One line that says why the tty can't be used, by `errno`'s value. `root` is where the system's /proc lies.
std::string SerialFailureText(int error, const std::string& path, const std::filesystem::path& root = "/");

}  // namespace halden
