#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace halden {

/// An empty directory that goes with the object; in memory, where a flush costs nothing.
class ScratchDirectory {
 public:
  ~ScratchDirectory() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  const std::string path_ = mkdtemp(std::string("/dev/shm/halden-test-XXXXXX").data());
};

inline std::string FileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void SetFileText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

}  // namespace halden
