#pragma once

#include <filesystem>
#include <string>

namespace halden {

/// An opened tty. Destruction releases what was locked and closes it.
class SerialFile {
 public:
  /// Opens `path` for reading and writing; neither will block. Only character devices are opened, since
  /// opening something else, such as a named pipe, may have effects. On failure fd() is -1, and `errno` says
  /// why.
  explicit SerialFile(const std::string& path);
  ~SerialFile();
  SerialFile(const SerialFile&) = delete;
  SerialFile& operator=(const SerialFile&) = delete;

  int fd() const { return fd_; }

  /// Takes the lock (flock) that careful programs ask for before they use a port. False, with `errno`, if
  /// another program has it or has made the tty exclusive, or if this is no tty.
  bool Lock();
  /// Makes the tty exclusive (TIOCEXCL), which also keeps out programs that just open it. False, with
  /// `errno`, on failure. Call only after Lock.
  bool MakeExclusive();

 private:
  int fd_ = -1;
  bool exclusive_ = false;
};

/// Why the tty at `path` can't be used, in one line, by the value of `errno`. `root` is the folder that holds
/// the system's /proc.
std::string SerialFailureText(int error, const std::string& path, const std::filesystem::path& root = "/");

/// Which other program has a file open, as a text to append to "held by another program":
/// ", NAME (process N)". An ordinary user can't see what other users' programs have open. Then it is a daemon
/// that runs and is known to open serial ports, ", perhaps NAME, which runs". Empty if there is none. `root`
/// is the folder that holds the system's /proc.
std::string DescribeHolder(const std::filesystem::path& file, const std::filesystem::path& root = "/");

}  // namespace halden
