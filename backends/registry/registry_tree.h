#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/registry_api.h"

namespace halden {

/// Returns `name` (UTF-8) in upper case. Names are equal, and keys are ordered, by their folded form. Only
/// the letters of code pages 1251 and 1252 are folded.
std::string FoldCase(std::string_view name);

/// A vector of items with a unique `name`, compared regardless of case. Lookup takes logarithmic time by name
/// and constant time by index.
///
/// Pointers to items are valid until an item is added or removed.
template <typename Item>
class NamedItems {
 public:
  std::size_t size() const { return items_.size(); }
  bool empty() const { return items_.empty(); }
  const Item& operator[](std::size_t place) const { return items_[place]; }
  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }
  bool operator==(const NamedItems& other) const { return items_ == other.items_; }

  /// Null if there is no item with this name.
  Item* Find(std::string_view name) {
    const auto found = places_.find(FoldCase(name));
    return found == places_.end() ? nullptr : &items_[found->second];
  }
  /// Adds an item at the end. Its name must be new.
  Item& Append(Item item) {
    places_.emplace(FoldCase(item.name), items_.size());
    return items_.emplace_back(std::move(item));
  }
  /// Adds an item at its place in the order of names; the items must be sorted. Its name must be new. Linear
  /// in the number of items.
  Item& Insert(Item item) {
    const auto next = places_.upper_bound(FoldCase(item.name));
    const std::size_t place = next == places_.end() ? items_.size() : next->second;
    for (auto& [name, other] : places_) other += other >= place;
    places_.emplace(FoldCase(item.name), place);
    return *items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(place), std::move(item));
  }
  /// Linear in the number of items.
  void Remove(const Item* item) {
    const auto place = static_cast<std::size_t>(item - items_.data());
    places_.erase(FoldCase(item->name));
    for (auto& [name, other] : places_) other -= other > place;
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(place));
  }
  /// Sorts the items by name and calls `visit` with each of them.
  template <typename Visit>
  void Sort(Visit visit) {
    std::vector<Item> sorted;
    sorted.reserve(items_.size());
    for (auto& [name, place] : places_) {
      Item& item = sorted.emplace_back(std::move(items_[place]));
      place = sorted.size() - 1;
      visit(item);
    }
    items_ = std::move(sorted);
  }

 private:
  std::vector<Item> items_;
  std::map<std::string, std::size_t> places_;  // index in items_ by folded name
};

struct RegistryValue {
  std::string name;  ///< UTF-8; empty for the default value
  std::uint32_t type = REG_NONE;
  std::string data;  ///< the bytes; in UTF-8 if IsTextType(type)

  bool operator==(const RegistryValue&) const = default;
};

/// A key with its values and everything below it.
struct RegistryNode {
  std::string name;                  ///< UTF-8
  std::uint32_t rights = ~0u;        ///< the rights with which the key can be opened
  NamedItems<RegistryNode> subkeys;  ///< in the order of their folded names
  NamedItems<RegistryValue> values;  ///< in the order of creation

  bool operator==(const RegistryNode&) const = default;

  /// Finds a key or value by name, or creates it. A new key gets this key's rights.
  RegistryNode& Subkey(std::string_view subkey);
  RegistryValue& Value(std::string_view value);
  /// Like Subkey, but appends a new key at the end, so that a large tree is built in linear time. Call
  /// SortSubkeys on the topmost key afterwards.
  RegistryNode& UnsortedSubkey(std::string_view subkey);
  /// Restores the order of the subkeys, on all levels below this key.
  void SortSubkeys();
};

/// Names of keys from below a root down, UTF-8.
using RegistryPath = std::vector<std::string>;

/// The greatest number of names in a path.
inline constexpr std::size_t kDeepestPath = 512;

/// Splits `path` at its backslashes; a backslash at the end is ignored. nullopt if a name is empty, longer
/// than 255 characters or contains a control character, or if there are more than kDeepestPath names.
std::optional<RegistryPath> SplitPath(std::string_view path);

/// The keys below all roots.
class RegistryTree {
 public:
  bool operator==(const RegistryTree&) const = default;

  RegistryNode& Root(HKEY root) { return roots_[root - HKEY_CLASSES_ROOT]; }
  const RegistryNode& Root(HKEY root) const { return roots_[root - HKEY_CLASSES_ROOT]; }
  /// Null if there is no such key. `root` must be one of the root handles.
  RegistryNode* Find(HKEY root, const RegistryPath& path);

 private:
  std::array<RegistryNode, std::size(kRootKeyNames)> roots_;
};

}  // namespace halden
