#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace halden {

/// One file that several processes read and replace as a whole. Results are Win32 results.
class GuardedFile {
 public:
  /// Keeps other processes (and other objects) from replacing the file until it is destroyed or the process
  /// ends, however it ends. The lock lies on an empty file beside it, which stays there and means nothing.
  class Lock {
   public:
    Lock() = default;
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock();

   private:
    friend class GuardedFile;
    int descriptor_ = -1;
  };

  /// Touches nothing. A symbolic link is followed once, here.
  explicit GuardedFile(const std::string& path);

  /// The whole content, of one moment; empty if the file doesn't exist. What is no regular file is refused.
  std::int32_t Read(std::string* content) const;
  /// Makes missing directories and waits for the lock up to 5 seconds.
  std::int32_t Acquire(Lock* lock) const;
  /// Puts `content` in the place of the file in one step, once it is safely on the disk; on failure the file
  /// is as before. Needs the lock. A file without permission to write is not replaced.
  std::int32_t Replace(std::string_view content) const;
  /// Gives the file the first free of the names that end in ".bad", ".bad2", ".bad3" and so on. Needs the
  /// lock.
  std::int32_t SetAside() const;

 private:
  std::string path_;
};

}  // namespace halden
