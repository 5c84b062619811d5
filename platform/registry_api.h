#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace halden {

/// Handle of an open key, 32 bits on every system; a backend whose system has wider handles maps them.
using HKEY = std::uint32_t;

inline constexpr HKEY HKEY_CLASSES_ROOT = 0x80000000;
inline constexpr HKEY HKEY_CURRENT_USER = 0x80000001;
inline constexpr HKEY HKEY_LOCAL_MACHINE = 0x80000002;
inline constexpr HKEY HKEY_USERS = 0x80000003;
inline constexpr HKEY HKEY_PERFORMANCE_DATA = 0x80000004;
inline constexpr HKEY HKEY_CURRENT_CONFIG = 0x80000005;
inline constexpr HKEY HKEY_DYN_DATA = 0x80000006;

/// Names of the root keys, indexed by their distance from HKEY_CLASSES_ROOT.
inline constexpr std::string_view kRootKeyNames[] = {
    "HKEY_CLASSES_ROOT",     "HKEY_CURRENT_USER",   "HKEY_LOCAL_MACHINE", "HKEY_USERS",
    "HKEY_PERFORMANCE_DATA", "HKEY_CURRENT_CONFIG", "HKEY_DYN_DATA"};
constexpr bool IsRootKey(HKEY key) {
  return key >= HKEY_CLASSES_ROOT && key <= HKEY_DYN_DATA;
}

inline constexpr std::uint32_t REG_NONE = 0;
inline constexpr std::uint32_t REG_SZ = 1;
inline constexpr std::uint32_t REG_EXPAND_SZ = 2;
inline constexpr std::uint32_t REG_BINARY = 3;
inline constexpr std::uint32_t REG_DWORD = 4;
inline constexpr std::uint32_t REG_DWORD_BIG_ENDIAN = 5;
inline constexpr std::uint32_t REG_MULTI_SZ = 7;

/// Whether values of this type hold text.
constexpr bool IsTextType(std::uint32_t type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

inline constexpr std::uint32_t KEY_QUERY_VALUE = 0x00001;
inline constexpr std::uint32_t KEY_SET_VALUE = 0x00002;
inline constexpr std::uint32_t KEY_CREATE_SUB_KEY = 0x00004;
inline constexpr std::uint32_t KEY_ENUMERATE_SUB_KEYS = 0x00008;
inline constexpr std::uint32_t READ_CONTROL = 0x20000;
inline constexpr std::uint32_t KEY_WRITE = READ_CONTROL | KEY_SET_VALUE | KEY_CREATE_SUB_KEY;

/// Win32 result codes.
inline constexpr std::int32_t ERROR_SUCCESS = 0;
inline constexpr std::int32_t ERROR_FILE_NOT_FOUND = 2;
inline constexpr std::int32_t ERROR_ACCESS_DENIED = 5;
inline constexpr std::int32_t ERROR_INVALID_HANDLE = 6;
inline constexpr std::int32_t ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr std::int32_t ERROR_WRITE_FAULT = 29;
inline constexpr std::int32_t ERROR_SHARING_VIOLATION = 32;
inline constexpr std::int32_t ERROR_INVALID_PARAMETER = 87;
inline constexpr std::int32_t ERROR_DISK_FULL = 112;
inline constexpr std::int32_t ERROR_BAD_PATHNAME = 161;
inline constexpr std::int32_t ERROR_MORE_DATA = 234;
inline constexpr std::int32_t ERROR_NO_MORE_ITEMS = 259;
inline constexpr std::int32_t ERROR_BADDB = 1009;
inline constexpr std::int32_t ERROR_CANTREAD = 1012;
inline constexpr std::int32_t ERROR_KEY_DELETED = 1018;

/// The result of RegQueryInfoKeyA. Lengths are in characters, without a terminating NUL.
struct RegKeyInfo {
  std::uint32_t subkeys = 0;
  std::uint32_t longest_subkey = 0;
  std::uint32_t values = 0;
  std::uint32_t longest_value_name = 0;
};

/// The registry: typed values in trees of keys below fixed roots. Names keep the case that they were created
/// with and match regardless of case. Names and string data are bytes in the system's ANSI code page. Roots
/// are always open.
///
/// Every call returns a Win32 result, ERROR_SUCCESS or a failure, and never throws. On failure the
/// out-arguments are unchanged unless stated otherwise. A path is names joined by "\", with none in front. A
/// malformed path, one that is too deep or one with a name above 255 characters gives ERROR_BAD_PATHNAME.
class RegistryApi {
 public:
  virtual ~RegistryApi() = default;

  /// Opens an existing key below `parent`; an empty path gives a second handle of `parent`.
  /// ERROR_FILE_NOT_FOUND if the key is missing, ERROR_ACCESS_DENIED if the caller lacks any right in
  /// `access`.
  virtual std::int32_t RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                                     HKEY* key) = 0;
  /// Opens a key, creating it and its missing parents first.
  virtual std::int32_t RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                                       HKEY* key) = 0;
  virtual std::int32_t RegCloseKey(HKEY key) = 0;

  /// Reads a value; an empty name means the key's default value. `type` and `data` may be null, and `size`
  /// may be null if `data` is. *size is the room at `data` in bytes on entry and the size of the value on
  /// return, also with ERROR_MORE_DATA (too little room) and when `data` is null. Needs KEY_QUERY_VALUE.
  virtual std::int32_t RegQueryValueExA(HKEY key, const std::string& name, std::uint32_t* type, void* data,
                                        std::uint32_t* size) = 0;
  /// Stores `size` bytes unchanged, whatever the type; only, the system may append a NUL that text lacks.
  /// Names have at most 16383 characters. Needs KEY_SET_VALUE.
  virtual std::int32_t RegSetValueExA(HKEY key, const std::string& name, std::uint32_t type, const void* data,
                                      std::uint32_t size) = 0;
  /// Deletes a key. ERROR_ACCESS_DENIED if it has subkeys. Calls on handles still open on it then return
  /// ERROR_KEY_DELETED; the handles must still be closed.
  virtual std::int32_t RegDeleteKeyA(HKEY parent, const std::string& path) = 0;
  /// Needs KEY_SET_VALUE.
  virtual std::int32_t RegDeleteValueA(HKEY key, const std::string& name) = 0;

  /// Needs KEY_QUERY_VALUE.
  virtual std::int32_t RegQueryInfoKeyA(HKEY key, RegKeyInfo* info) = 0;
  /// Reads the name of the subkey at `index` in the system's order; ERROR_NO_MORE_ITEMS past the last.
  /// *length is the room at `name` in characters including a NUL on entry, and the length without the NUL on
  /// return. Needs KEY_ENUMERATE_SUB_KEYS.
  virtual std::int32_t RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length) = 0;
  /// Reads the value at `index`, in the order of creation. `name` and `length` as in RegEnumKeyExA, the
  /// others as in RegQueryValueExA. Needs KEY_QUERY_VALUE.
  virtual std::int32_t RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                                     std::uint32_t* type, void* data, std::uint32_t* size) = 0;
};

}  // namespace halden
