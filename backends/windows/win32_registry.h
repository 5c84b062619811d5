#pragma once

#include "platform/registry_api.h"

namespace halden {

/// The registry of Windows. A key's handle keeps its value in 32 bits in a process of any width.
class Win32Registry : public RegistryApi {
 public:
  std::int32_t RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access, HKEY* key) override;
  std::int32_t RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                               HKEY* key) override;
  std::int32_t RegCloseKey(HKEY key) override;
  std::int32_t RegQueryValueExA(HKEY key, const std::string& name, std::uint32_t* type, void* data,
                                std::uint32_t* size) override;
  std::int32_t RegSetValueExA(HKEY key, const std::string& name, std::uint32_t type, const void* data,
                              std::uint32_t size) override;
  std::int32_t RegDeleteKeyA(HKEY parent, const std::string& path) override;
  std::int32_t RegDeleteValueA(HKEY key, const std::string& name) override;
  std::int32_t RegQueryInfoKeyA(HKEY key, RegKeyInfo* info) override;
  std::int32_t RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length) override;
  std::int32_t RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                             std::uint32_t* type, void* data, std::uint32_t* size) override;
};

}  // namespace halden
