#include "backends/linux/serial/serial_file.h"

#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

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

bool HasOpen(const fs::path& process, const fs::path& file) {
  return AnyEntry(process / "fd", [&](const fs::path& descriptor) {
    std::error_code error;
    return fs::read_symlink(descriptor, error) == file;
  });
}

std::string NameOf(const fs::path& process) {
  std::string name;
  std::getline(std::ifstream(process / "comm"), name);
  return name;
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
  if (flock(fd_, LOCK_EX | LOCK_NB) != 0) return false;
  // The superuser can open a tty that somebody else has made exclusive, so ask.
  int exclusive = 0;
  if (ioctl(fd_, TIOCGEXCL, &exclusive) == 0 && exclusive == 0) return true;
  if (exclusive != 0) errno = EBUSY;
  return false;
}

bool SerialFile::MakeExclusive() {
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

std::string DescribeHolder(const fs::path& file, const fs::path& root) {
  std::string holder;
  std::string daemon;
  AnyEntry(root / "proc", [&](const fs::path& process) {
    if (!IsOtherProcess(process)) return false;
    const std::string name = NameOf(process);
    if (name == "ModemManager" || name == "brltty") daemon = ", perhaps " + name + ", which runs";
    if (HasOpen(process, file)) holder = ", " + name + " (process " + process.filename().string() + ")";
    return !holder.empty();
  });
  return holder.empty() ? daemon : holder;
}

}  // namespace halden
