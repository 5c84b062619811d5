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

/// `name` in upper case. Two names are the same if these are, and keys are listed in their order. UTF-8. Only
/// the letters of the code pages 1251 and 1252 have a case.
std::string FoldCase(std::string_view name);

/// Items that each have a `name` of their own, which matches regardless of case. An item is found by its name
/// in logarithmic time, however many there are, and by its place in constant time.
///
/// Pointers to items last until another item is added or removed.
template <typename Item>
class NamedItems {
 public:
  std::size_t size() const { return items_.size(); }
  bool empty() const { return items_.empty(); }
  const Item& operator[](std::size_t place) const { return items_[place]; }
  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }
  bool operator==(const NamedItems& other) const { return items_ == other.items_; }

  /// Null if there is none of that name.
  Item* Find(std::string_view name) {
    const auto found = places_.find(FoldCase(name));
    return found == places_.end() ? nullptr : &items_[found->second];
  }
  /// Adds an item at the end. There must be none of that name.
  Item& Append(Item item) {
    places_.emplace(FoldCase(item.name), items_.size());
    return items_.emplace_back(std::move(item));
  }
  /// Adds an item before the first one whose name comes after its own. Takes time in proportion to the number
  /// of items.
  Item& Insert(Item item) {
    const auto next = places_.upper_bound(FoldCase(item.name));
    const std::size_t place = next == places_.end() ? items_.size() : next->second;
    for (auto& [name, other] : places_) other += other >= place;
    places_.emplace(FoldCase(item.name), place);
    return *items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(place), std::move(item));
  }
  /// Takes time in proportion to the number of items.
  void Remove(const Item* item) {
    const auto place = static_cast<std::size_t>(item - items_.data());
    places_.erase(FoldCase(item->name));
    for (auto& [name, other] : places_) other -= other > place;
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(place));
  }
  /// Puts the items into the order of their names, and calls `visit` with each.
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
  std::map<std::string, std::size_t> places_;  // of each item in items_, by its folded name
};

struct RegistryValue {
  std::string name;  ///< UTF-8; empty for the default value
  std::uint32_t type = REG_NONE;
  std::string data;  ///< the bytes; UTF-8 if the type is one of text

  bool operator==(const RegistryValue&) const = default;
};

/// A key with its values and everything below it.
struct RegistryNode {
  std::string name;                  ///< UTF-8
  std::uint32_t rights = ~0u;        ///< what may be asked for when the key is opened
  NamedItems<RegistryNode> subkeys;  ///< in the order of their folded names
  NamedItems<RegistryValue> values;  ///< in the order of creation

  bool operator==(const RegistryNode&) const = default;

  /// Finds a key or value by its name, or creates it. A new key has its parent's rights.
  RegistryNode& Subkey(std::string_view subkey);
  RegistryValue& Value(std::string_view value);
  /// The same as Subkey, except that a new key comes last. For building a large tree in linear time; call
  /// SortSubkeys on the topmost key afterwards.
  RegistryNode& UnsortedSubkey(std::string_view subkey);
  /// Restores the order of the subkeys, on all levels below this key.
  void SortSubkeys();
};

/// Names of keys from a root down, UTF-8.
using RegistryPath = std::vector<std::string>;

/// Keys lie at most this deep.
inline constexpr std::size_t kDeepestPath = 512;

/// Cuts `path` at its backslashes; one at its end is ignored. Nothing if a name is empty, longer than 255
/// characters or not printable, or if there are more than kDeepestPath.
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
