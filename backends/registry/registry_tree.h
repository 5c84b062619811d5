#pragma once

#include <array>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry_api.h"

namespace halden {

/// `name` in the one case that tells whether two names are the same, and which comes first. Both names and
/// result are UTF-8; the letters of the code pages 1251 and 1252 have a case.
std::string FoldCase(std::string_view name);

struct RegistryValue {
  std::string name;  ///< UTF-8; empty for the default value
  std::uint32_t type = REG_NONE;
  std::string data;  ///< the bytes; UTF-8 where the type is one of text

  bool operator==(const RegistryValue&) const = default;
};

/// A key with all that lies under it. Pointers into it last until a key or value beside what they point to is
/// added or taken away.
struct RegistryNode {
  std::string name;                   ///< UTF-8
  std::uint32_t rights = ~0u;         ///< what may be asked for when the key is opened
  std::vector<RegistryNode> subkeys;  ///< in the order of their folded names
  std::vector<RegistryValue> values;  ///< in the order in which they were made

  bool operator==(const RegistryNode&) const = default;

  /// Null if there is none of that name.
  RegistryNode* FindSubkey(std::string_view subkey);
  RegistryValue* FindValue(std::string_view value);
  /// Finds or makes. A new key has its parent's rights.
  RegistryNode& Subkey(std::string_view subkey);
  RegistryValue& Value(std::string_view value);
  void RemoveSubkey(const RegistryNode* subkey);
  void RemoveValue(const RegistryValue* value);
};

/// Names of keys from a root down, UTF-8.
using RegistryPath = std::vector<std::string>;

/// Keys lie at most this deep.
inline constexpr std::size_t kDeepestPath = 512;

/// Cuts `path` at its backslashes; one at its end is ignored. Nothing if a name is empty, longer than 255
/// characters or not printable, or if there are more than kDeepestPath.
std::optional<RegistryPath> SplitPath(std::string_view path);

/// All trees, one under each root.
class RegistryTree {
 public:
  bool operator==(const RegistryTree&) const = default;

  RegistryNode& Root(HKEY root) { return roots_[root - HKEY_CLASSES_ROOT]; }
  const RegistryNode& Root(HKEY root) const { return roots_[root - HKEY_CLASSES_ROOT]; }
  /// Null if there is no such key. `root` is one.
  RegistryNode* Find(HKEY root, const RegistryPath& path);

 private:
  std::array<RegistryNode, std::size(kRootKeyNames)> roots_;
};

}  // namespace halden
