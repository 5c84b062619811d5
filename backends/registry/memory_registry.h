#pragma once

#include "backends/registry/registry_base.h"

namespace halden {

/// A registry that lasts as long as the object.
class MemoryRegistry : public RegistryBase {
 public:
  /// Names and texts are in the code page of `rules`.
  explicit MemoryRegistry(const NumberRules& rules) : RegistryBase(rules) {}

  /// From now on `access` is the most that may be asked for when the key is opened; keys made below it later
  /// get the same. Making a key needs KEY_CREATE_SUB_KEY of its parent. False if there is no such key.
  bool SetRights(HKEY root, const std::string& path, std::uint32_t access);

 protected:
  std::int32_t Read(const Operation& operation) override { return operation(tree_); }
  std::int32_t Change(const Operation& operation) override;

 private:
  RegistryTree tree_;
};

}  // namespace halden
