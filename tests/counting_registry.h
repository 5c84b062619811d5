#pragma once

#include "platform/registry_api.h"

namespace halden {

/// Passes calls on and counts them; one of them fails. A failing RegCloseKey closes all the same.
class CountingRegistry : public RegistryApi {
 public:
  static constexpr std::int32_t kFailure = 31;

  explicit CountingRegistry(RegistryApi& api) : api_(api) {}

  /// Counts from 0 again and lets the call with that number, from 1, fail; 0: none.
  void Restart(int failing) { calls_ = 0, failing_ = failing; }
  int calls() const { return calls_; }

  std::int32_t RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access, HKEY* key) override {
    return Fails() ? kFailure : api_.RegOpenKeyExA(parent, path, access, key);
  }
  std::int32_t RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                               HKEY* key) override {
    return Fails() ? kFailure : api_.RegCreateKeyExA(parent, path, access, key);
  }
  std::int32_t RegCloseKey(HKEY key) override {
    const std::int32_t result = api_.RegCloseKey(key);
    return Fails() ? kFailure : result;
  }
  std::int32_t RegQueryValueExA(HKEY key, const std::string& name, std::uint32_t* type, void* data,
                                std::uint32_t* size) override {
    return Fails() ? kFailure : api_.RegQueryValueExA(key, name, type, data, size);
  }
  std::int32_t RegSetValueExA(HKEY key, const std::string& name, std::uint32_t type, const void* data,
                              std::uint32_t size) override {
    return Fails() ? kFailure : api_.RegSetValueExA(key, name, type, data, size);
  }
  std::int32_t RegDeleteKeyA(HKEY parent, const std::string& path) override {
    return Fails() ? kFailure : api_.RegDeleteKeyA(parent, path);
  }
  std::int32_t RegDeleteValueA(HKEY key, const std::string& name) override {
    return Fails() ? kFailure : api_.RegDeleteValueA(key, name);
  }
  std::int32_t RegQueryInfoKeyA(HKEY key, RegKeyInfo* info) override {
    return Fails() ? kFailure : api_.RegQueryInfoKeyA(key, info);
  }
  std::int32_t RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length) override {
    return Fails() ? kFailure : api_.RegEnumKeyExA(key, index, name, length);
  }
  std::int32_t RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                             std::uint32_t* type, void* data, std::uint32_t* size) override {
    return Fails() ? kFailure : api_.RegEnumValueA(key, index, name, length, type, data, size);
  }

 private:
  bool Fails() { return ++calls_ == failing_; }

  RegistryApi& api_;
  int calls_ = 0;
  int failing_ = 0;
};

}  // namespace halden
