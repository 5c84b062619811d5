#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace halden {

/// The names, such as "ttyUSB0", of the ttys that the kernel's FTDI driver serves now, by their number.
/// `sysfs` is where the kernel shows its devices.
std::vector<std::string> ListFtdiTtys(const std::filesystem::path& sysfs = "/sys");

}  // namespace halden
