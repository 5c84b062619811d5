#pragma once

#include <functional>
#include <map>

#include "backends/registry/registry_tree.h"
#include "backends/text/code_page.h"

namespace halden {

/// Implements the registry's calls on a RegistryTree: handles, rights, result codes, and conversion between
/// the ANSI code page and UTF-8. Derived classes say where the tree is kept.
class RegistryBase : public RegistryApi {
 public:
  std::int32_t RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access, HKEY* key) override;
  std::int32_t RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                               HKEY* key) override;
  std::int32_t RegCloseKey(HKEY key) override;
  std::int32_t RegQueryValueExA(HKEY key, const std::string& name, std::uint32_t* type, void* data,
                                std::uint32_t* size) override;
  std::int32_t RegSetValueExA(HKEY key, const std::string& name, std::uint32_t type, const void* data,
                              std::uint32_t size) override;
  std::int32_t RegDeleteKeyA(HKEY parent, const std::string& path) override;
  std::int32_t RegDeleteValueA(HKEY key, const std::string& name) override;
  std::int32_t RegQueryInfoKeyA(HKEY key, RegKeyInfo* info) override;
  std::int32_t RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length) override;
  std::int32_t RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                             std::uint32_t* type, void* data, std::uint32_t* size) override;

  /// Number of handles that have been opened and not closed.
  std::size_t OpenHandles() const { return open_keys_.size(); }

 protected:
  using Operation = std::function<std::int32_t(RegistryTree&)>;

  explicit RegistryBase(const NumberRules& rules) : ansi_(rules) {}

  /// Runs `operation` on the current tree. Returns its result, or why the tree couldn't be loaded.
  virtual std::int32_t Read(const Operation& operation) = 0;
  /// Like Read, for an operation that may change the tree. The change is kept only if `operation` returns
  /// ERROR_SUCCESS. It may be run again, each time on a tree without the changes of the previous run.
  virtual std::int32_t Change(const Operation& operation) = 0;

  const AnsiText& ansi() const { return ansi_; }

 private:
  /// What a handle refers to. The path is looked up at each call, because the tree may have changed since.
  struct Place {
    HKEY root = 0;
    RegistryPath path;
    std::uint32_t access = ~0u;
    bool deleted = false;
  };

  std::int32_t FindPlace(HKEY key, Place* place) const;
  std::int32_t FindPlace(HKEY parent, const std::string& path, Place* place) const;
  HKEY AddHandle(const Place& place);
  void MarkDeleted(const Place& place);
  /// Runs `operation` on the key of a handle, if the handle was opened with `access`. `changes`: the
  /// operation may change the tree.
  std::int32_t WithKey(HKEY key, std::uint32_t access, bool changes,
                       const std::function<std::int32_t(RegistryNode&)>& operation);
  std::int32_t Deliver(const RegistryValue& value, std::uint32_t* type, void* data,
                       std::uint32_t* size) const;

  AnsiText ansi_;
  std::map<HKEY, Place> open_keys_;
  HKEY last_handle_ = 0;
};

/// A registry in memory, which lasts as long as the object.
class MemoryRegistry : public RegistryBase {
 public:
  /// Names and texts are in the code page of `rules`.
  explicit MemoryRegistry(const NumberRules& rules) : RegistryBase(rules) {}

  /// Limits the rights with which the key can be opened to `access`; keys created below it later inherit the
  /// limit. Creating a key needs KEY_CREATE_SUB_KEY on its parent. False if there is no such key.
  bool SetRights(HKEY root, const std::string& path, std::uint32_t access);

 protected:
  std::int32_t Read(const Operation& operation) override { return operation(tree_); }
  std::int32_t Change(const Operation& operation) override;

 private:
  RegistryTree tree_;
};

}  // namespace halden
