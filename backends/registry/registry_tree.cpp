#include "backends/registry/registry_tree.h"

#include <algorithm>

#include "backends/text/characters.h"

namespace halden {
namespace {

constexpr std::size_t kLongestKeyName = 255;

/// Upper case of ASCII, Latin-1 and Cyrillic letters, and of the few letters that code pages 1251 and 1252
/// have outside those blocks.
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

}  // namespace

std::string FoldCase(std::string_view name) {
  std::string folded;
  while (!name.empty()) AppendUtf8(UpperCase(TakeCharacter(&name)), &folded);
  return folded;
}

RegistryNode& RegistryNode::Subkey(std::string_view subkey) {
  if (RegistryNode* found = subkeys.Find(subkey)) return *found;
  return subkeys.Insert({std::string(subkey), rights, {}, {}});
}

RegistryNode& RegistryNode::UnsortedSubkey(std::string_view subkey) {
  if (RegistryNode* found = subkeys.Find(subkey)) return *found;
  return subkeys.Append({std::string(subkey), rights, {}, {}});
}

void RegistryNode::SortSubkeys() {
  subkeys.Sort([](RegistryNode& subkey) { subkey.SortSubkeys(); });
}

RegistryValue& RegistryNode::Value(std::string_view value) {
  if (RegistryValue* found = values.Find(value)) return *found;
  return values.Append({std::string(value), REG_NONE, {}});
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
    if (!(node = node->subkeys.Find(name))) return nullptr;
  return node;
}

}  // namespace halden
