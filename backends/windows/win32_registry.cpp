#include <algorithm>
#include <new>
#include <string>

#include "backends/windows/win32_text.h"
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

/// Returns what `call` returns, which allocates.
template <class Call>
std::int32_t NoThrow(Call call) noexcept {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}

/// Copies `from` to the caller's buffer as RegQueryValueExA describes it.
std::int32_t Give(const std::string& from, void* data, std::uint32_t* size) {
  if (!size) return data ? ERROR_INVALID_PARAMETER : ERROR_SUCCESS;
  const bool fits = from.size() <= *size;
  *size = static_cast<std::uint32_t>(from.size());
  if (data && !fits) return ERROR_MORE_DATA;
  if (data) from.copy(static_cast<char*>(data), from.size());
  return ERROR_SUCCESS;
}

/// Copies a name and a closing NUL as RegEnumKeyExA describes it.
std::int32_t GiveName(const std::string& from, char* name, std::uint32_t* length) {
  if (from.size() >= *length) return ERROR_MORE_DATA;
  name[from.copy(name, from.size())] = '\0';
  *length = static_cast<std::uint32_t>(from.size());
  return ERROR_SUCCESS;
}

std::int32_t Query(::HKEY key, const wchar_t* name, std::uint32_t* type, void* data, std::uint32_t* size) {
  std::wstring stored;  // the bytes of any value, in whole units
  DWORD kind = 0, bytes = 0;
  LSTATUS result = ERROR_MORE_DATA;
  while (result == ERROR_MORE_DATA) {  // the value may grow between two calls
    // For performance data the system doesn't say how much it needs.
    stored.resize(std::max<std::size_t>((bytes + 1) / sizeof(wchar_t), 2 * stored.size()));
    bytes = static_cast<DWORD>(stored.size() * sizeof(wchar_t));
    // A buffer even for no bytes: without one, the system gives the size and no failure.
    result = ::RegQueryValueExW(key, name, nullptr, &kind, reinterpret_cast<BYTE*>(stored.data()), &bytes);
  }
  if (result != ERROR_SUCCESS) return result;
  if (type) *type = kind;
  if (IsTextType(kind)) return Give(WideToAnsi({stored.data(), bytes / sizeof(wchar_t)}), data, size);
  return Give({reinterpret_cast<const char*>(stored.data()), bytes}, data, size);
}

}  // namespace

// The wide functions, because the narrow ones convert in the code page of the process, which may be UTF-8.

std::int32_t Win32Registry::RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                                          HKEY* key) {
  return NoThrow([&] {
    ::HKEY opened = nullptr;
    const LSTATUS result = ::RegOpenKeyExW(Native(parent), AnsiToWide(path).c_str(), 0, access, &opened);
    if (result == ERROR_SUCCESS) *key = Narrow(opened);
    return result;
  });
}

std::int32_t Win32Registry::RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                                            HKEY* key) {
  return NoThrow([&] {
    ::HKEY opened = nullptr;
    const LSTATUS result = ::RegCreateKeyExW(Native(parent), AnsiToWide(path).c_str(), 0, nullptr,
                                             REG_OPTION_NON_VOLATILE, access, nullptr, &opened, nullptr);
    if (result == ERROR_SUCCESS) *key = Narrow(opened);
    return result;
  });
}

/// Doesn't close roots: the system would allow it and drop a handle that the whole process shares.
std::int32_t Win32Registry::RegCloseKey(HKEY key) {
  return IsRootKey(key) ? ERROR_SUCCESS : ::RegCloseKey(Native(key));
}

std::int32_t Win32Registry::RegQueryValueExA(HKEY key, const std::string& name, std::uint32_t* type,
                                             void* data, std::uint32_t* size) {
  return NoThrow([&] { return Query(Native(key), AnsiToWide(name).c_str(), type, data, size); });
}

std::int32_t Win32Registry::RegSetValueExA(HKEY key, const std::string& name, std::uint32_t type,
                                           const void* data, std::uint32_t size) {
  if (!data && size > 0) return ERROR_INVALID_PARAMETER;  // the system would read from null
  return NoThrow([&] {
    std::wstring text;
    if (IsTextType(type) && data) {
      text = AnsiToWide({static_cast<const char*>(data), size});
      data = text.data();
      size = static_cast<std::uint32_t>(text.size() * sizeof(wchar_t));
    }
    return ::RegSetValueExW(Native(key), AnsiToWide(name).c_str(), 0, type, static_cast<const BYTE*>(data),
                            size);
  });
}

std::int32_t Win32Registry::RegDeleteKeyA(HKEY parent, const std::string& path) {
  return NoThrow([&] { return ::RegDeleteKeyW(Native(parent), AnsiToWide(path).c_str()); });
}

std::int32_t Win32Registry::RegDeleteValueA(HKEY key, const std::string& name) {
  return NoThrow([&] { return ::RegDeleteValueW(Native(key), AnsiToWide(name).c_str()); });
}

std::int32_t Win32Registry::RegQueryInfoKeyA(HKEY key, RegKeyInfo* info) {
  RegKeyInfo found;
  const LSTATUS result = ::RegQueryInfoKeyW(Native(key), nullptr, nullptr, nullptr, Number(&found.subkeys),
                                            Number(&found.longest_subkey), nullptr, Number(&found.values),
                                            Number(&found.longest_value_name), nullptr, nullptr, nullptr);
  if (result == ERROR_SUCCESS) *info = found;
  return result;
}

std::int32_t Win32Registry::RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length) {
  return NoThrow([&] {
    wchar_t wide[256];  // the longest name of a key, with a NUL
    DWORD units = 256;
    const LSTATUS result =
        ::RegEnumKeyExW(Native(key), index, wide, &units, nullptr, nullptr, nullptr, nullptr);
    return result == ERROR_SUCCESS ? GiveName(WideToAnsi({wide, units}), name, length) : result;
  });
}

std::int32_t Win32Registry::RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                                          std::uint32_t* type, void* data, std::uint32_t* size) {
  return NoThrow([&] {
    constexpr DWORD kLongestName = 16383;
    std::wstring wide(kLongestName + 1, L'\0');
    DWORD units = kLongestName + 1;
    LSTATUS result =
        ::RegEnumValueW(Native(key), index, wide.data(), &units, nullptr, nullptr, nullptr, nullptr);
    if (result != ERROR_SUCCESS) return static_cast<std::int32_t>(result);
    wide.resize(units);
    result = GiveName(WideToAnsi(wide), name, length);
    if (result != ERROR_SUCCESS || (!type && !data && !size)) return static_cast<std::int32_t>(result);
    return Query(Native(key), wide.c_str(), type, data, size);
  });
}

}  // namespace halden
