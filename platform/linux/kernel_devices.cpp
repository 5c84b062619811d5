#include "platform/linux/kernel_devices.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace halden {

std::vector<std::string> ListFtdiTtys(const std::filesystem::path& sysfs) {
  std::vector<std::string> names;
  std::error_code error;
  std::filesystem::directory_iterator port(sysfs / "bus/usb-serial/devices", error);
  for (; !error && port != std::filesystem::directory_iterator(); port.increment(error)) {
    std::error_code unbound;  // a port that has just gone has no driver any more
    const auto driver = std::filesystem::read_symlink(port->path() / "driver", unbound);
    if (driver.filename() == "ftdi_sio") names.push_back(port->path().filename());
  }
  // All names have the same letters in front of their number.
  std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
    return std::pair(a.size(), a) < std::pair(b.size(), b);
  });
  return names;
}

}  // namespace halden
