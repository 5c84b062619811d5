#pragma once

#include <filesystem>
#include <string>

namespace halden {

/// Which other program has a file open, to be put behind "held by another program": ", NAME (process N)". The
/// files of other users' programs can't be seen: then a daemon that runs and is known to take serial ports,
/// ", perhaps NAME, which runs". Else nothing. `root` is where the system's /proc lies.
std::string HolderText(const std::filesystem::path& file, const std::filesystem::path& root = "/");

}  // namespace halden
