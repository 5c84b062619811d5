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
  /// Makes the tty exclusive (TIOCEXCL), which also keeps out programs that just open it. Not so a
  /// pseudo-terminal: it would stay exclusive as long as its other end is open, even if this process is
  /// killed. False, with `errno`, on failure. Call only after Lock.
  bool MakeExclusive();

 private:
  int fd_ = -1;
  bool exclusive_ = false;
};

/// One line that says why the tty at `path` can't be used. `error` is a value of `errno`; `root` is the
/// folder that holds the system's /proc.
std::string SerialFailureText(int error, const std::string& path, const std::filesystem::path& root = "/");

/// Another program that has the file open, such as "NAME (process N)"; empty if there is none. The program
/// that is the other end of a pseudo-terminal doesn't count. An ordinary user can't see what the programs of
/// other users have open. `root` is the folder that holds the system's /proc.
std::string FindOpener(const std::filesystem::path& file, const std::filesystem::path& root = "/");

/// Which other program holds a file, as a text to append to "held by another program". The program that has
/// locked it, or else one that has it open, gives ", NAME (process N)". If neither can be seen, a running
/// daemon that is known to open serial ports gives ", perhaps NAME, which runs". Empty if there is none, or
/// if this process has the lock. `root` is the folder that holds the system's /proc.
std::string DescribeHolder(const std::filesystem::path& file, const std::filesystem::path& root = "/");

}  // namespace halden
