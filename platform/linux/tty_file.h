#pragma once

#include <filesystem>
#include <string>

namespace halden {

/// A tty that is opened, and closed and released with the object.
class TtyFile {
 public:
  /// Opens nothing that isn't a tty; then fd() is -1 and `errno` says why. Reads and writes don't block.
  explicit TtyFile(const std::string& path);
  ~TtyFile();
  TtyFile(const TtyFile&) = delete;
  TtyFile& operator=(const TtyFile&) = delete;

  int fd() const { return fd_; }

  /// Keeps other programs away: those that ask by the lock, and those that would just open it. False, with
  /// `errno`, if another holds it.
  bool Hold();

 private:
  void Close();

  int fd_ = -1;
  bool held_ = false;
};

/// One line that says why the tty can't be used, by `errno`'s value. `root` is where the system's /proc lies.
std::string TtyFailureText(int error, const std::string& path, const std::filesystem::path& root = "/");

}  // namespace halden
