#include "backends/linux/serial/serial_file.h"

#include <cerrno>
#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "backends/linux/serial/holders.h"

namespace halden {
namespace {

std::string DeniedText(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return "permission denied";
  const group* owner = getgrgid(status.st_gid);
  const std::string name = owner != nullptr ? owner->gr_name : std::to_string(status.st_gid);
  return "permission denied, it belongs to the group " + name;
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
  if (held_) ioctl(fd_, TIOCNXCL);
  if (fd_ >= 0) close(fd_);
}

bool SerialFile::Free() {
  if (flock(fd_, LOCK_EX | LOCK_NB) != 0) return false;
  int held = 0;
  if (ioctl(fd_, TIOCGEXCL, &held) == 0 && held == 0) return true;
  if (held != 0) errno = EBUSY;
  return false;
}

bool SerialFile::Hold() {
  held_ = ioctl(fd_, TIOCEXCL) == 0;
  return held_;
}

std::string SerialFailureText(int error, const std::string& path, const std::filesystem::path& root) {
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
      return "held by another program" + HolderText(path, root);
    case ENOTTY:
      return "not a serial device";
    default:
      return std::generic_category().message(error);
  }
}

}  // namespace halden
