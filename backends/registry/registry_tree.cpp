#include "backends/registry/registry_tree.h"

#include <algorithm>

#include "backends/text/characters.h"

namespace halden {
namespace {

constexpr std::size_t kLongestKeyName = 255;

char32_t UpperCase(char32_t c) {
  const auto in = [c](char32_t first, char32_t last) { return c >= first && c <= last; };
  if (in(U'a', U'z') || (in(0xE0, 0xFE) && c != 0xF7) || in(0x430, 0x44F)) return c - 0x20;
  if (in(0x450, 0x45F)) return c - 0x50;
  if (c == 0xFF) return 0x178;
  return c == 0x153 || c == 0x161 || c == 0x17E || c == 0x491 ? c - 1 : c;
}

bool IsKeyName(std::string_view name) {
  std::size_t length = 0;
  while (!name.empty()) {
    if (TakeCharacter(&name) < 0x20) return false;
    ++length;
  }
  return length >= 1 && length <= kLongestKeyName;
}

template <typename Item>
Item* FindByName(std::vector<Item>& items, std::string_view name) {
  for (Item& item : items)  // nearly always as it was made
    if (item.name == name) return &item;
  const std::string folded = FoldCase(name);
  for (Item& item : items)
    if (FoldCase(item.name) == folded) return &item;
  return nullptr;
}

}  // namespace

std::string FoldCase(std::string_view name) {
  std::string folded;
  while (!name.empty()) AppendUtf8(UpperCase(TakeCharacter(&name)), &folded);
  return folded;
}

RegistryNode* RegistryNode::FindSubkey(std::string_view subkey) {
  return FindByName(subkeys, subkey);
}

RegistryValue* RegistryNode::FindValue(std::string_view value) {
  return FindByName(values, value);
}

RegistryNode& RegistryNode::Subkey(std::string_view subkey) {
  if (RegistryNode* found = FindSubkey(subkey)) return *found;
  const auto behind = std::upper_bound(
      subkeys.begin(), subkeys.end(), FoldCase(subkey),
      [](const std::string& folded, const RegistryNode& other) { return folded < FoldCase(other.name); });
  return *subkeys.insert(behind, {std::string(subkey), rights, {}, {}});
}

RegistryValue& RegistryNode::Value(std::string_view value) {
  if (RegistryValue* found = FindValue(value)) return *found;
  return values.emplace_back(RegistryValue{std::string(value), REG_NONE, {}});
}

void RegistryNode::RemoveSubkey(const RegistryNode* subkey) {
  subkeys.erase(subkeys.begin() + (subkey - subkeys.data()));
}

void RegistryNode::RemoveValue(const RegistryValue* value) {
  values.erase(values.begin() + (value - values.data()));
}

std::optional<RegistryPath> SplitPath(std::string_view path) {
  RegistryPath names;
  while (!path.empty()) {
    const std::string_view name = path.substr(0, path.find('\\'));
    if (!IsKeyName(name) || names.size() == kDeepestPath) return std::nullopt;
    names.emplace_back(name);
    path.remove_prefix(std::min(name.size() + 1, path.size()));
  }
  return names;
}

RegistryNode* RegistryTree::Find(HKEY root, const RegistryPath& path) {
  RegistryNode* node = &Root(root);
  for (const std::string& name : path)
    if (!(node = node->FindSubkey(name))) return nullptr;
  return node;
}

}  // namespace halden
