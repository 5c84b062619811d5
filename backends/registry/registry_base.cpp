#include "backends/registry/registry_base.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace halden {
namespace {

constexpr std::uint32_t kDeleteKey = 0x10000;
constexpr std::size_t kLongestName = 16383;  // of a value
/// Handles are multiples of four and below the root handles, like those of Windows.
constexpr HKEY kHandleStep = 4;
constexpr HKEY kHandleMask = 0x7FFFFFFC;

/// A name ends at its first NUL, as it would in a call of the real registry.
std::string Name(const std::string& name) {
  return name.substr(0, name.find('\0'));
}

std::int32_t OpenNode(const RegistryNode* node, std::uint32_t access) {
  if (!node) return ERROR_FILE_NOT_FOUND;
  return access & ~node->rights ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

std::int32_t CreateNode(RegistryNode& root, const RegistryPath& path, std::uint32_t access) {
  RegistryNode* node = &root;
  for (const std::string& name : path) {
    if (!node->subkeys.Find(name) && !(node->rights & KEY_CREATE_SUB_KEY)) return ERROR_ACCESS_DENIED;
    node = &node->Subkey(name);
  }
  return OpenNode(node, access);
}

std::int32_t DeleteNode(RegistryTree& tree, HKEY root, const RegistryPath& path) {
  const RegistryNode* node = tree.Find(root, path);
  if (!node) return ERROR_FILE_NOT_FOUND;
  const bool refused = path.empty() || !node->subkeys.empty() || !(node->rights & kDeleteKey);
  if (refused) return ERROR_ACCESS_DENIED;
  tree.Find(root, RegistryPath(path.begin(), path.end() - 1))->subkeys.Remove(node);
  return ERROR_SUCCESS;
}

bool SamePath(const RegistryPath& a, const RegistryPath& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const std::string& x, const std::string& y) { return FoldCase(x) == FoldCase(y); });
}

/// Whether `name` and a NUL fit into a buffer of *length characters.
bool NameFits(const std::string& name, const char* buffer, const std::uint32_t* length) {
  return buffer && length && name.size() < *length;
}

void DeliverName(const std::string& name, char* buffer, std::uint32_t* length) {
  std::memcpy(buffer, name.c_str(), name.size() + 1);
  *length = static_cast<std::uint32_t>(name.size());
}

}  // namespace

std::int32_t RegistryBase::FindPlace(HKEY key, Place* place) const {
  if (IsRootKey(key)) {
    *place = {key, {}};
    return ERROR_SUCCESS;
  }
  const auto found = open_keys_.find(key);
  if (found == open_keys_.end()) return ERROR_INVALID_HANDLE;
  *place = found->second;
  return place->deleted ? ERROR_KEY_DELETED : ERROR_SUCCESS;
}

std::int32_t RegistryBase::FindPlace(HKEY parent, const std::string& path, Place* place) const {
  if (const std::int32_t result = FindPlace(parent, place)) return result;
  const std::optional<RegistryPath> below = SplitPath(ansi_.ToUtf8(Name(path)));
  if (!below) return ERROR_BAD_PATHNAME;
  place->path.insert(place->path.end(), below->begin(), below->end());
  return place->path.size() > kDeepestPath ? ERROR_BAD_PATHNAME : ERROR_SUCCESS;
}

HKEY RegistryBase::AddHandle(const Place& place) {
  do {
    last_handle_ = (last_handle_ + kHandleStep) & kHandleMask;
  } while (last_handle_ == 0 || open_keys_.count(last_handle_));
  open_keys_[last_handle_] = place;
  return last_handle_;
}

void RegistryBase::MarkDeleted(const Place& place) {
  for (auto& [handle, open] : open_keys_)
    if (open.root == place.root && SamePath(open.path, place.path)) open.deleted = true;
}

std::int32_t RegistryBase::WithKey(HKEY key, std::uint32_t access, bool changes,
                                   const std::function<std::int32_t(RegistryNode&)>& operation) try {
  Place place;
  if (const std::int32_t result = FindPlace(key, &place)) return result;
  if (access & ~place.access) return ERROR_ACCESS_DENIED;
  const Operation on_tree = [&](RegistryTree& tree) -> std::int32_t {
    RegistryNode* node = tree.Find(place.root, place.path);
    return node ? operation(*node) : ERROR_KEY_DELETED;
  };
  return changes ? Change(on_tree) : Read(on_tree);
} catch (const std::bad_alloc&) {
  return ERROR_NOT_ENOUGH_MEMORY;
}

/// Copies a value's data, its type and its size out; see RegQueryValueExA for the null pointers.
std::int32_t RegistryBase::Deliver(const RegistryValue& value, std::uint32_t* type, void* data,
                                   std::uint32_t* size) const {
  const std::string bytes = IsTextType(value.type) ? ansi_.FromUtf8(value.data) : value.data;
  if (data && !size) return ERROR_INVALID_PARAMETER;
  const std::uint32_t room = size ? *size : 0;
  if (size) *size = static_cast<std::uint32_t>(bytes.size());
  if (data && room < bytes.size()) return ERROR_MORE_DATA;
  if (data) std::memcpy(data, bytes.data(), bytes.size());
  if (type) *type = value.type;
  return ERROR_SUCCESS;
}

std::int32_t RegistryBase::RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                                         HKEY* key) try {
  Place place;
  if (const std::int32_t result = FindPlace(parent, path, &place)) return result;
  const std::int32_t result =
      Read([&](RegistryTree& tree) { return OpenNode(tree.Find(place.root, place.path), access); });
  if (result) return result;
  place.access = access;
  *key = AddHandle(place);
  return ERROR_SUCCESS;
} catch (const std::bad_alloc&) {
  return ERROR_NOT_ENOUGH_MEMORY;
}

std::int32_t RegistryBase::RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                                           HKEY* key) try {
  Place place;
  if (const std::int32_t result = FindPlace(parent, path, &place)) return result;
  const std::int32_t result =
      Change([&](RegistryTree& tree) { return CreateNode(tree.Root(place.root), place.path, access); });
  if (result) return result;
  place.access = access;
  *key = AddHandle(place);
  return ERROR_SUCCESS;
} catch (const std::bad_alloc&) {
  return ERROR_NOT_ENOUGH_MEMORY;
}

std::int32_t RegistryBase::RegCloseKey(HKEY key) {
  if (IsRootKey(key)) return ERROR_SUCCESS;
  return open_keys_.erase(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

std::int32_t RegistryBase::RegQueryValueExA(HKEY key, const std::string& name, std::uint32_t* type,
                                            void* data, std::uint32_t* size) {
  return WithKey(key, KEY_QUERY_VALUE, false, [&](RegistryNode& node) -> std::int32_t {
    const RegistryValue* value = node.values.Find(ansi_.ToUtf8(Name(name)));
    return value ? Deliver(*value, type, data, size) : ERROR_FILE_NOT_FOUND;
  });
}

std::int32_t RegistryBase::RegSetValueExA(HKEY key, const std::string& name, std::uint32_t type,
                                          const void* data, std::uint32_t size) {
  if ((!data && size) || std::min(name.find('\0'), name.size()) > kLongestName)
    return ERROR_INVALID_PARAMETER;
  return WithKey(key, KEY_SET_VALUE, true, [&](RegistryNode& node) {
    const std::string bytes(static_cast<const char*>(data), size);
    RegistryValue& value = node.Value(ansi_.ToUtf8(Name(name)));
    value.type = type;
    value.data = IsTextType(type) ? ansi_.ToUtf8(bytes) : bytes;
    return ERROR_SUCCESS;
  });
}

std::int32_t RegistryBase::RegDeleteKeyA(HKEY parent, const std::string& path) try {
  Place place;
  if (const std::int32_t result = FindPlace(parent, path, &place)) return result;
  const std::int32_t result =
      Change([&](RegistryTree& tree) { return DeleteNode(tree, place.root, place.path); });
  if (!result) MarkDeleted(place);
  return result;
} catch (const std::bad_alloc&) {
  return ERROR_NOT_ENOUGH_MEMORY;
}

std::int32_t RegistryBase::RegDeleteValueA(HKEY key, const std::string& name) {
  return WithKey(key, KEY_SET_VALUE, true, [&](RegistryNode& node) {
    const RegistryValue* value = node.values.Find(ansi_.ToUtf8(Name(name)));
    if (!value) return ERROR_FILE_NOT_FOUND;
    node.values.Remove(value);
    return ERROR_SUCCESS;
  });
}

std::int32_t RegistryBase::RegQueryInfoKeyA(HKEY key, RegKeyInfo* info) {
  return WithKey(key, KEY_QUERY_VALUE, false, [&](RegistryNode& node) {
    const auto longest = [this](const auto& items) {
      std::size_t length = 0;
      for (const auto& item : items) length = std::max(length, ansi_.FromUtf8(item.name).size());
      return static_cast<std::uint32_t>(length);
    };
    *info = {static_cast<std::uint32_t>(node.subkeys.size()), longest(node.subkeys),
             static_cast<std::uint32_t>(node.values.size()), longest(node.values)};
    return ERROR_SUCCESS;
  });
}

std::int32_t RegistryBase::RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length) {
  return WithKey(key, KEY_ENUMERATE_SUB_KEYS, false, [&](RegistryNode& node) {
    if (index >= node.subkeys.size()) return ERROR_NO_MORE_ITEMS;
    const std::string subkey = ansi_.FromUtf8(node.subkeys[index].name);
    if (!NameFits(subkey, name, length)) return ERROR_MORE_DATA;
    DeliverName(subkey, name, length);
    return ERROR_SUCCESS;
  });
}

std::int32_t RegistryBase::RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                                         std::uint32_t* type, void* data, std::uint32_t* size) {
  return WithKey(key, KEY_QUERY_VALUE, false, [&](RegistryNode& node) {
    if (index >= node.values.size()) return ERROR_NO_MORE_ITEMS;
    const RegistryValue& value = node.values[index];
    const std::string value_name = ansi_.FromUtf8(value.name);
    if (!NameFits(value_name, name, length)) return ERROR_MORE_DATA;
    if (const std::int32_t result = Deliver(value, type, data, size)) return result;
    DeliverName(value_name, name, length);
    return ERROR_SUCCESS;
  });
}

bool MemoryRegistry::SetRights(HKEY root, const std::string& path, std::uint32_t access) {
  const std::optional<RegistryPath> names = SplitPath(ansi().ToUtf8(path));
  RegistryNode* node = names ? tree_.Find(root, *names) : nullptr;
  if (node) node->rights = access;
  return node != nullptr;
}

/// Works on a copy, so that an operation that fails halfway leaves the tree unchanged.
std::int32_t MemoryRegistry::Change(const Operation& operation) {
  RegistryTree changed = tree_;
  const std::int32_t result = operation(changed);
  if (!result) tree_ = std::move(changed);
  return result;
}

}  // namespace halden
