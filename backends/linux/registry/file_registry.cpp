#include "backends/linux/registry/file_registry.h"

#include "backends/registry/registry_text.h"

namespace halden {

std::int32_t FileRegistry::Read(const Operation& operation) {
  const std::int32_t result = Refresh();
  return result ? result : operation(tree_);
}

std::int32_t FileRegistry::Change(const Operation& operation) {
  std::int32_t result = Refresh();
  if (result == ERROR_BADDB) return SetAsideUnreadable();
  if (result) return result;
  RegistryTree changed = tree_;
  result = operation(changed);
  return result || changed == tree_ ? result : Store(operation);
}

std::int32_t FileRegistry::Refresh() {
  std::string text;
  if (const std::int32_t result = file_.Read(&text)) return result;
  if (text == text_) return ERROR_SUCCESS;
  std::optional<RegistryTree> tree = ParseRegistryText(text);
  if (!tree) return ERROR_BADDB;
  text_ = std::move(text);
  tree_ = std::move(*tree);
  return ERROR_SUCCESS;
}

/// Another process may have written since the file was looked at, so under the lock it is read again.
std::int32_t FileRegistry::Store(const Operation& operation) {
  GuardedFile::Lock lock;
  std::int32_t result = file_.Acquire(&lock);
  if (!result) result = Refresh();
  if (result) return result;
  RegistryTree changed = tree_;
  result = operation(changed);
  if (result || changed == tree_) return result;
  std::string text = FormatRegistryText(changed);
  result = file_.Replace(text);
  if (result) return result;
  text_ = std::move(text);
  tree_ = std::move(changed);
  return ERROR_SUCCESS;
}

std::int32_t FileRegistry::SetAsideUnreadable() {
  GuardedFile::Lock lock;
  std::int32_t result = file_.Acquire(&lock);
  if (!result) result = Refresh();
  if (result != ERROR_BADDB) return result ? result : ERROR_BADDB;
  result = file_.SetAside();
  return result ? result : ERROR_BADDB;
}

std::string DefaultRegistryFile(const std::function<const char*(const char*)>& environment) {
  const std::string name = "halden-text/registry.reg";
  const char* config = environment("XDG_CONFIG_HOME");
  if (config && config[0] == '/') return std::string(config) + "/" + name;
  const char* home = environment("HOME");
  return std::string(home ? home : "") + "/.config/" + name;
}

}  // namespace halden
