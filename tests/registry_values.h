#pragma once

#include <string>

#include "platform/registry_api.h"

namespace halden {

/// Sets a value of HKEY_CURRENT_USER\`path`, which is made if it is missing.
inline std::int32_t SetRaw(RegistryApi& registry, const std::string& path, const std::string& name,
                           std::uint32_t type, const std::string& data) {
  HKEY key = 0;
  std::int32_t result = registry.RegCreateKeyExA(HKEY_CURRENT_USER, path, KEY_SET_VALUE, &key);
  if (result) return result;
  result = registry.RegSetValueExA(key, name, type, data.data(), static_cast<std::uint32_t>(data.size()));
  registry.RegCloseKey(key);
  return result;
}

/// "type:bytes" of a value of HKEY_CURRENT_USER\`path`, or "error" and the result.
inline std::string GetRaw(RegistryApi& registry, const std::string& path, const std::string& name) {
  HKEY key = 0;
  std::uint32_t type = 0, size = 1000;
  std::string data(size, '\0');
  std::int32_t result = registry.RegOpenKeyExA(HKEY_CURRENT_USER, path, KEY_QUERY_VALUE, &key);
  if (!result) result = registry.RegQueryValueExA(key, name, &type, data.data(), &size);
  if (key) registry.RegCloseKey(key);
  return result ? "error " + std::to_string(result) : std::to_string(type) + ":" + data.substr(0, size);
}

}  // namespace halden
