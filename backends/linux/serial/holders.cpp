#include "backends/linux/serial/holders.h"

#include <fstream>
#include <system_error>
#include <unistd.h>

namespace halden {
namespace {

namespace fs = std::filesystem;

/// Calls `look` with each entry of a directory that can be read until it answers true.
template <typename Look>
bool AnyEntry(const fs::path& directory, Look look) {
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    if (look(entry->path())) return true;
  }
  return false;
}

bool IsProcess(const fs::path& directory) {
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

std::string HolderText(const fs::path& file, const fs::path& root) {
  std::string holder;
  std::string daemon;
  AnyEntry(root / "proc", [&](const fs::path& process) {
    if (!IsProcess(process)) return false;
    const std::string name = NameOf(process);
    if (name == "ModemManager" || name == "brltty") daemon = ", perhaps " + name + ", which runs";
    if (HasOpen(process, file)) holder = ", " + name + " (process " + process.filename().string() + ")";
    return !holder.empty();
  });
  return holder.empty() ? daemon : holder;
}

}  // namespace halden
