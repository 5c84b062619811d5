#include "backends/registry/memory_registry.h"

namespace halden {

bool MemoryRegistry::SetRights(HKEY root, const std::string& path, std::uint32_t access) {
  const std::optional<RegistryPath> names = SplitPath(ansi().ToUtf8(path));
  RegistryNode* node = names ? tree_.Find(root, *names) : nullptr;
  if (node) node->rights = access;
  return node != nullptr;
}

std::int32_t MemoryRegistry::Change(const Operation& operation) {
  RegistryTree changed = tree_;
  const std::int32_t result = operation(changed);
  if (!result) tree_ = std::move(changed);
  return result;
}

}  // namespace halden
