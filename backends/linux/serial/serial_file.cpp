#include "backends/linux/serial/serial_file.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <optional>
#include <sstream>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <system_error>
#include <unistd.h>

#include "backends/linux/process/port_restorer.h"

namespace halden {
namespace {

namespace fs = std::filesystem;

/// Names the group to join: on most systems the serial ports belong to one, such as "dialout".
std::string DeniedText(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return "permission denied";
  const group* owner = getgrgid(status.st_gid);
  const std::string name = owner != nullptr ? owner->gr_name : std::to_string(status.st_gid);
  return "permission denied, it belongs to the group " + name;
}

/// Calls `matches` with the path of each entry of a directory until it returns true. A directory that can't
/// be read has no entries.
template <typename Predicate>
bool AnyEntry(const fs::path& directory, Predicate matches) {
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    if (matches(entry->path())) return true;
  }
  return false;
}

/// Whether a directory of /proc is that of a process other than our own.
bool IsOtherProcess(const fs::path& directory) {
  const std::string name = directory.filename();
  return name.find_first_not_of("0123456789") == std::string::npos && name != std::to_string(getpid());
}

/// Whether a process has an open file whose path is accepted by `matches`.
template <typename Predicate>
bool HasOpen(const fs::path& process, Predicate matches) {
  return AnyEntry(process / "fd", [&](const fs::path& descriptor) {
    std::error_code error;
    return matches(fs::read_symlink(descriptor, error));
  });
}

std::string NameOf(const fs::path& process) {
  std::string name;
  std::getline(std::ifstream(process / "comm"), name);
  return name;
}

/// "NAME (process N)".
std::string Describe(const fs::path& process) {
  return NameOf(process) + " (process " + process.filename().string() + ")";
}

/// The process that has locked a file by flock. The kernel lists locks in lines such as
/// "3: FLOCK  ADVISORY  WRITE 4711 00:06:93 0 EOF": the process, then the file's device in hexadecimal and
/// its inode. A line of a process that only waits for a lock has "->" before its type, and isn't found here.
std::optional<pid_t> FindLocker(const fs::path& file, const fs::path& root) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) return std::nullopt;
  char place[64];
  std::snprintf(place, sizeof place, "%02x:%02x:%llu", major(status.st_dev), minor(status.st_dev),
                static_cast<unsigned long long>(status.st_ino));
  std::ifstream locks(root / "proc/locks");
  for (std::string line; std::getline(locks, line);) {
    std::istringstream words(line);
    std::string number, type, mode, access, locked;
    pid_t process = 0;
    if (words >> number >> type >> mode >> access >> process >> locked && type == "FLOCK" && locked == place)
      return process;
  }
  return std::nullopt;
}

}  // namespace

SerialFile::SerialFile(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return;
  errno = ENOTTY;
  if (!S_ISCHR(status.st_mode)) return;
  fd_ = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
}

SerialFile::~SerialFile() {
  if (exclusive_) ioctl(fd_, TIOCNXCL);
  if (fd_ >= 0) close(fd_);
}

bool SerialFile::Lock() {
  int locked = 0;
  do {
    locked = flock(fd_, LOCK_EX | LOCK_NB);
  } while (locked != 0 && errno == EINTR);
  if (locked != 0) return false;
  // The superuser can open a tty that somebody else has made exclusive, so ask.
  int exclusive = 0;
  if (ioctl(fd_, TIOCGEXCL, &exclusive) == 0 && exclusive == 0) return true;
  if (exclusive != 0) errno = EBUSY;
  return false;
}

bool SerialFile::MakeExclusive() {
  if (IsPseudoTerminal(fd_)) return true;
  exclusive_ = ioctl(fd_, TIOCEXCL) == 0;
  return exclusive_;
}

std::string SerialFailureText(int error, const std::string& path, const fs::path& root) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return "no such file";
    case ENXIO:
    case ENODEV:
    case EIO:
      return "the device has gone";
    case EACCES:
    case EPERM:
      return DeniedText(path);
    case EBUSY:
    case EWOULDBLOCK:
      return "held by another program" + DescribeHolder(path, root);
    case ENOTTY:
      return "not a serial device";
    default:
      return std::generic_category().message(error);
  }
}

std::string FindOpener(const fs::path& file, const fs::path& root) {
  std::string opener;
  AnyEntry(root / "proc", [&](const fs::path& process) {
    if (!IsOtherProcess(process) || !HasOpen(process, [&](const fs::path& path) { return path == file; }))
      return false;
    // The program that has made a pseudo-terminal often keeps the device's end open too.
    const auto is_other_end = [](const fs::path& path) { return path.filename() == "ptmx"; };
    if (file.parent_path().filename() == "pts" && HasOpen(process, is_other_end)) return false;
    opener = Describe(process);
    return true;
  });
  return opener;
}

std::string DescribeHolder(const fs::path& file, const fs::path& root) {
  const auto locker = FindLocker(file, root);
  if (locker == getpid()) return "";
  if (locker) {
    const fs::path process = root / "proc" / std::to_string(*locker);
    // The process that took the lock may have ended and left it to a child.
    if (!NameOf(process).empty()) return ", " + Describe(process);
  }
  const std::string opener = FindOpener(file, root);
  if (!opener.empty()) return ", " + opener;
  std::string daemon;
  AnyEntry(root / "proc", [&](const fs::path& process) {
    const std::string name = NameOf(process);
    if (name == "ModemManager" || name == "brltty") daemon = ", perhaps " + name + ", which runs";
    return !daemon.empty();
  });
  return daemon;
}

}  // namespace halden
