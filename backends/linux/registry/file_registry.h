#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "backends/registry/registry_base.h"

namespace halden {

/// One file that several processes read, and that each of them replaces as a whole. Calls return Win32
/// results.
class AtomicFile {
 public:
  /// While it is held, no other process (and no other object) replaces the file. Released on destruction, and
  /// by the kernel if the process dies. The lock is on an empty file next to the real one, PATH.lock, because
  /// the real one is a new file after each write. PATH.lock is never deleted.
  class Lock {
   public:
    Lock() = default;
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock();

   private:
    friend class AtomicFile;
    int fd_ = -1;
  };

  /// Touches nothing. If `path` is a symbolic link, it is resolved here, once, so that the file that it
  /// points to is replaced and not the link.
  explicit AtomicFile(const std::string& path);

  /// Reads the whole file. `content` is empty if the file doesn't exist. Anything but a regular file is
  /// refused with ERROR_ACCESS_DENIED. Needs no lock: whoever reads sees one version or the next, never a
  /// mix.
  std::int32_t Read(std::string* content) const;
  /// Creates missing directories, then waits for the lock for up to 5 seconds.
  std::int32_t Acquire(Lock* lock) const;
  /// Replaces the file in one step, after the new content has reached the disk. On failure the file is
  /// unchanged. Needs the lock. A file without write permission isn't replaced, though the directory's
  /// permissions would allow it.
  std::int32_t Replace(std::string_view content) const;
  /// Renames the file to the first free one of PATH.bad, PATH.bad2, PATH.bad3 and so on. Needs the lock.
  std::int32_t SetAside() const;

 private:
  std::string path_;
};

/// A registry in one text file, in the layout of FormatRegistryText, which a person can read, compare, edit
/// and restore. Comments in the file are lost at the next write.
///
/// Each call sees what the file holds at that moment. Each call that changes something replaces the whole
/// file, so a reader, and a crash at any moment, finds the registry as it was before that call or after it. A
/// call that changes nothing writes nothing.
///
/// Results beyond those of RegistryApi:
/// - ERROR_BADDB: the file isn't in that layout. A call that would have changed the registry renames the file
///   (see AtomicFile::SetAside) and returns this result as well; the next call finds an empty registry.
/// - ERROR_ACCESS_DENIED, ERROR_DISK_FULL, ERROR_WRITE_FAULT, ERROR_CANTREAD: the file can't be written or
///   read, and the registry is unchanged.
/// - ERROR_SHARING_VIOLATION: another process held the lock for 5 seconds.
class FileRegistry : public RegistryBase {
 public:
  /// Touches nothing: the first change creates the file and its directories. Names and texts are in the code
  /// page of `rules` on the caller's side, and UTF-8 in the file. `rules` must outlive the registry.
  FileRegistry(const std::string& path, const NumberRules& rules) : RegistryBase(rules), file_(path) {}

 protected:
  std::int32_t Read(const Operation& operation) override;
  std::int32_t Change(const Operation& operation) override;

 private:
  std::int32_t Refresh();
  std::int32_t Store(const Operation& operation);
  std::int32_t SetAsideUnreadable();

  AtomicFile file_;
  // `tree_` is always what `text_` parses to, so a file whose text hasn't changed isn't parsed again.
  std::string text_;
  RegistryTree tree_;
};

/// The user's registry file: "halden-text/registry.reg" below $XDG_CONFIG_HOME if that is an absolute path,
/// else below $HOME/.config. `environment` returns a variable's value or null, like std::getenv.
std::string DefaultRegistryFile(const std::function<const char*(const char*)>& environment);

}  // namespace halden
