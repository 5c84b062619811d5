#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "backends/registry/registry_base.h"

namespace halden {

/// The result of a call on a file.
struct FileResult {
  std::int32_t code = ERROR_SUCCESS;  ///< a Win32 result
  std::string reason = {};  ///< for a failure: what went wrong, naming the file, for a person to read

  bool failed() const { return code != ERROR_SUCCESS; }
};

/// Identifies a file's content: after a write, or after the file is replaced, the version is different.
struct FileVersion {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  std::int64_t changed_ns = 0;  ///< the time of its last change, which no program can set

  bool operator==(const FileVersion&) const = default;
};

/// One file that several processes read, and that each of them replaces as a whole.
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

  /// Doesn't touch the file. If `path` is a symbolic link it is resolved here, once, so that Replace replaces
  /// the file that it points to and not the link.
  explicit AtomicFile(const std::string& path);

  const std::string& path() const { return path_; }

  /// Reads the whole file into `content` and sets `version`. If the file still has the `version` passed in,
  /// nothing is read and `content` becomes nullopt. If the file or its directory doesn't exist, `content`
  /// becomes an empty string. On failure both become nullopt. ERROR_ACCESS_DENIED: not a regular file, or a
  /// part of the path is not a directory. Needs no lock: a reader sees one version or the next, never a mix.
  FileResult Read(std::optional<FileVersion>* version, std::optional<std::string>* content) const;
  /// Creates missing directories, then tries to take the lock until `at_most` has passed, and at least once.
  /// ERROR_SHARING_VIOLATION if another process still holds it then. PATH.lock has to be a regular file; a
  /// link, a pipe or a device there gives ERROR_ACCESS_DENIED and is left alone.
  FileResult Acquire(std::chrono::milliseconds at_most, Lock* lock) const;
  /// Replaces the file in one step, after the new content has reached the disk. On failure the file is
  /// unchanged. Needs the lock. A file without write permission isn't replaced, though the directory's
  /// permissions would allow it.
  FileResult Replace(std::string_view content) const;
  /// Renames the file to the first free one of PATH.bad, PATH.bad2, PATH.bad3 and so on, and returns that
  /// name in `name`. Needs the lock.
  FileResult SetAside(std::string* name) const;

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
/// - ERROR_BADDB: a call that only reads found a file that isn't in that layout. A call that may change the
///   registry renames such a file instead (see AtomicFile::SetAside) and works on an empty registry.
/// - ERROR_ACCESS_DENIED, ERROR_DISK_FULL, ERROR_WRITE_FAULT, ERROR_CANTREAD: the file can't be written or
///   read, and the registry is unchanged.
/// - ERROR_SHARING_VIOLATION: another process held the lock for too long.
class FileRegistry : public RegistryBase {
 public:
  /// The longest that a save waits in all for another process to release the lock.
  static constexpr std::chrono::milliseconds kLongestWait{5000};

  /// Doesn't touch the file; the first change creates it and its directories. Callers pass names and texts in
  /// the code page of `rules`; the file is in UTF-8. `rules` must outlive the registry.
  FileRegistry(const std::string& path, const NumberRules& rules,
               std::chrono::milliseconds longest_wait = kLongestWait)
      : RegistryBase(rules), file_(path), longest_wait_(longest_wait) {}

  /// Warnings for the user, one line each, naming the file: it could not be read, a change could not be
  /// stored, or a damaged file was set aside under another name. The driver ignores such failures and goes on
  /// without its settings, so nothing else reports them. Each line is returned once; the same failure is
  /// reported again only after a change has been stored in between.
  std::vector<std::string> TakeNotices();

 protected:
  std::int32_t Read(const Operation& operation) override;
  std::int32_t Change(const Operation& operation) override;

 private:
  using Time = std::chrono::steady_clock::time_point;

  FileResult Refresh();
  std::int32_t Store(const Operation& operation);
  FileResult Acquire(AtomicFile::Lock* lock);
  FileResult SetAside();
  std::int32_t Report(const char* what, const FileResult& result);

  AtomicFile file_;
  // The file as it was last seen. `tree_` is always what `text_` parses to, and empty if that is `damaged_`.
  // A file whose version hasn't changed isn't read again, and one whose text hasn't changed isn't parsed
  // again.
  std::optional<FileVersion> version_;
  std::string text_;
  RegistryTree tree_;
  bool damaged_ = false;

  // A save is a series of calls, and each of them takes the lock. They share what is left of the longest
  // wait, until renew_wait_at_.
  const std::chrono::milliseconds longest_wait_;
  std::chrono::milliseconds wait_left_{0};
  Time renew_wait_at_{};

  std::vector<std::string> notices_;
  std::vector<std::string> known_failures_;  // in notices_ or returned, and not to be repeated
};

/// The user's registry file: "halden-text/registry.reg" below $XDG_CONFIG_HOME if that is an absolute path,
/// else below $HOME/.config. `environment` returns a variable's value or null, like std::getenv.
std::string DefaultRegistryFile(const std::function<const char*(const char*)>& environment);

}  // namespace halden
