#pragma once

#include <functional>
#include <string>

#include "backends/linux/registry/guarded_file.h"
#include "backends/registry/registry_base.h"

namespace halden {

/// A registry in one text file, in the layout of FormatRegistryText, for a person to read, compare, edit and
/// restore (comments are dropped when the file is written). Each call sees what the file holds at that
/// moment. Each call that changes something replaces the file as a whole, so that whoever reads it, and
/// whenever the process ends, there is the registry before or after that call; a call that changes nothing
/// writes nothing.
///
/// Besides the results of RegistryApi:
/// - ERROR_BADDB: the file is not in that layout. A call that would change the registry gives it another name
///   (see GuardedFile::SetAside) and answers the same; the next one finds an empty registry.
/// - ERROR_ACCESS_DENIED, ERROR_DISK_FULL, ERROR_WRITE_FAULT, ERROR_CANTREAD: for that reason the file can't
///   be written or read, and the registry is as before.
/// - ERROR_SHARING_VIOLATION: another process has kept the file to itself for seconds.
class FileRegistry : public RegistryBase {
 public:
  /// Touches nothing: file and directories are made by the first change. Names and texts are in the code page
  /// of `rules` towards the caller.
  FileRegistry(const std::string& path, const NumberRules& rules) : RegistryBase(rules), file_(path) {}

 protected:
  std::int32_t Read(const Operation& operation) override;
  std::int32_t Change(const Operation& operation) override;

 private:
  std::int32_t Refresh();
  std::int32_t Store(const Operation& operation);
  std::int32_t SetAsideUnreadable();

  GuardedFile file_;
  std::string text_;  ///< what `tree_` was read from or written as
  RegistryTree tree_;
};

/// The user's registry file: "halden-text/registry.reg" below $XDG_CONFIG_HOME if that is an absolute path,
/// else below $HOME/.config. `environment` gives a variable's value or null, like std::getenv.
std::string DefaultRegistryFile(const std::function<const char*(const char*)>& environment);

}  // namespace halden
