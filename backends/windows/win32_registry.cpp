#include "backends/windows/windows_platform.h"

// After ours, whose names are macros there.
#include <windows.h>

namespace halden {
namespace {

/// Sign-extended, as the system defines the roots: HKEY_CURRENT_USER is 0xFFFFFFFF80000001 in 64 bits.
::HKEY Native(HKEY key) {
  return reinterpret_cast<::HKEY>(static_cast<std::intptr_t>(static_cast<std::int32_t>(key)));
}

HKEY Narrow(::HKEY key) {
  return static_cast<HKEY>(reinterpret_cast<std::uintptr_t>(key));
}

/// Converts the pointer to the system's type, which has the same size (unsigned long).
DWORD* Number(std::uint32_t* number) {
  static_assert(sizeof(DWORD) == sizeof *number);
  return reinterpret_cast<DWORD*>(number);
}

}  // namespace

std::int32_t Win32Registry::RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                                          HKEY* key) {
  ::HKEY opened = nullptr;
  const LSTATUS result = ::RegOpenKeyExA(Native(parent), path.c_str(), 0, access, &opened);
  if (result == ERROR_SUCCESS) *key = Narrow(opened);
  return result;
}

std::int32_t Win32Registry::RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                                            HKEY* key) {
  ::HKEY opened = nullptr;
  const LSTATUS result = ::RegCreateKeyExA(Native(parent), path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                           access, nullptr, &opened, nullptr);
  if (result == ERROR_SUCCESS) *key = Narrow(opened);
  return result;
}

/// Doesn't close roots: the system would allow it and drop a handle that the whole process shares.
std::int32_t Win32Registry::RegCloseKey(HKEY key) {
  return IsRootKey(key) ? ERROR_SUCCESS : ::RegCloseKey(Native(key));
}

std::int32_t Win32Registry::RegQueryValueExA(HKEY key, const std::string& name, std::uint32_t* type,
                                             void* data, std::uint32_t* size) {
  return ::RegQueryValueExA(Native(key), name.c_str(), nullptr, Number(type), static_cast<BYTE*>(data),
                            Number(size));
}

std::int32_t Win32Registry::RegSetValueExA(HKEY key, const std::string& name, std::uint32_t type,
                                           const void* data, std::uint32_t size) {
  if (!data && size > 0) return ERROR_INVALID_PARAMETER;  // the system would read from null
  return ::RegSetValueExA(Native(key), name.c_str(), 0, type, static_cast<const BYTE*>(data), size);
}

std::int32_t Win32Registry::RegDeleteKeyA(HKEY parent, const std::string& path) {
  return ::RegDeleteKeyA(Native(parent), path.c_str());
}

std::int32_t Win32Registry::RegDeleteValueA(HKEY key, const std::string& name) {
  return ::RegDeleteValueA(Native(key), name.c_str());
}

std::int32_t Win32Registry::RegQueryInfoKeyA(HKEY key, RegKeyInfo* info) {
  RegKeyInfo found;
  const LSTATUS result = ::RegQueryInfoKeyA(Native(key), nullptr, nullptr, nullptr, Number(&found.subkeys),
                                            Number(&found.longest_subkey), nullptr, Number(&found.values),
                                            Number(&found.longest_value_name), nullptr, nullptr, nullptr);
  if (result == ERROR_SUCCESS) *info = found;
  return result;
}

std::int32_t Win32Registry::RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length) {
  return ::RegEnumKeyExA(Native(key), index, name, Number(length), nullptr, nullptr, nullptr, nullptr);
}

std::int32_t Win32Registry::RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                                          std::uint32_t* type, void* data, std::uint32_t* size) {
  return ::RegEnumValueA(Native(key), index, name, Number(length), nullptr, Number(type),
                         static_cast<BYTE*>(data), Number(size));
}

}  // namespace halden
