#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

#include "platform/fixed_number_rules.h"
#include "platform/linux/file_registry.h"
#include "platform/sim/memory_registry.h"

namespace halden {

/// An empty directory that goes with the object; in memory, where a flush costs nothing.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    char name[] = "/dev/shm/halden-test-XXXXXX";
    path_ = mkdtemp(name);
  }
  ~ScratchDirectory() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline std::string FileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void SetFileText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

/// Sets a value of HKEY_CURRENT_USER\`path`, which is made if it is missing.
inline std::int32_t SetRaw(RegistryApi& registry, const std::string& path, const std::string& name,
                           std::uint32_t type, const std::string& data) {
  HKEY key = 0;
  std::int32_t result = registry.RegCreateKeyExA(HKEY_CURRENT_USER, path, KEY_SET_VALUE, &key);
  if (result) return result;
  result = registry.RegSetValueExA(key, name, type, data.data(), static_cast<std::uint32_t>(data.size()));
  registry.RegCloseKey(key);
  return result;
}

/// "type:bytes" of a value of HKEY_CURRENT_USER\`path`, or "error" and the result.
inline std::string GetRaw(RegistryApi& registry, const std::string& path, const std::string& name) {
  HKEY key = 0;
  std::uint32_t type = 0, size = 1000;
  std::string data(size, '\0');
  std::int32_t result = registry.RegOpenKeyExA(HKEY_CURRENT_USER, path, KEY_QUERY_VALUE, &key);
  if (result) return "error " + std::to_string(result);
  result = registry.RegQueryValueExA(key, name, &type, data.data(), &size);
  registry.RegCloseKey(key);
  return result ? "error " + std::to_string(result) : std::to_string(type) + ":" + data.substr(0, size);
}

}  // namespace halden
