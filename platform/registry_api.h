#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace halden {

/// A handle of a key, 32 bits on every system. A backend whose system has wider handles translates.
using HKEY = std::uint32_t;

inline constexpr HKEY HKEY_CLASSES_ROOT = 0x80000000;
inline constexpr HKEY HKEY_CURRENT_USER = 0x80000001;
inline constexpr HKEY HKEY_LOCAL_MACHINE = 0x80000002;
inline constexpr HKEY HKEY_USERS = 0x80000003;
inline constexpr HKEY HKEY_PERFORMANCE_DATA = 0x80000004;
inline constexpr HKEY HKEY_CURRENT_CONFIG = 0x80000005;
inline constexpr HKEY HKEY_DYN_DATA = 0x80000006;

/// The names of the roots, from HKEY_CLASSES_ROOT on.
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

/// Whether the data of a value is text.
constexpr bool IsTextType(std::uint32_t type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

inline constexpr std::uint32_t KEY_QUERY_VALUE = 0x00001;
inline constexpr std::uint32_t KEY_SET_VALUE = 0x00002;
inline constexpr std::uint32_t KEY_CREATE_SUB_KEY = 0x00004;
inline constexpr std::uint32_t KEY_ENUMERATE_SUB_KEYS = 0x00008;
inline constexpr std::uint32_t READ_CONTROL = 0x20000;
inline constexpr std::uint32_t KEY_WRITE = READ_CONTROL | KEY_SET_VALUE | KEY_CREATE_SUB_KEY;

/// Win32 results.
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

/// What RegQueryInfoKeyA tells of a key. Lengths are in characters, without a terminating NUL.
struct RegKeyInfo {
  std::uint32_t subkeys = 0;
  std::uint32_t longest_subkey = 0;
  std::uint32_t values = 0;
  std::uint32_t longest_value_name = 0;
};

/// The registry: trees of keys under fixed roots, values with a type, names that match without regard to case
/// and keep the case in which they were made. Names and string data are bytes of the system's ANSI code page.
/// Every call answers a Win32 result, 0 for success, and never throws; on failure the out-arguments are
/// unchanged unless said otherwise. Paths are separated by "\" and start without one; one that is malformed
/// or too deep, or has a name of more than 255 characters, is ERROR_BAD_PATHNAME. Roots are always open.
class RegistryApi {
 public:
  virtual ~RegistryApi() = default;

  /// Opens an existing key below `parent`; an empty path opens `parent` itself anew. ERROR_FILE_NOT_FOUND if
  /// it is missing, ERROR_ACCESS_DENIED if `access` is more than the caller has.
  virtual std::int32_t RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                                     HKEY* key) = 0;
  /// Opens a key and makes it, with all its missing parents, where it is not there.
  virtual std::int32_t RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                                       HKEY* key) = 0;
  virtual std::int32_t RegCloseKey(HKEY key) = 0;

  /// Reads a value; an empty name is the key's default value. `type` and `data` may be null, `size` only with
  /// `data`. *size is the room at `data` in bytes on entry, the size of the value on return, also on
  /// ERROR_MORE_DATA and when `data` is null. Needs KEY_QUERY_VALUE.
  virtual std::int32_t RegQueryValueExA(HKEY key, const std::string& name, std::uint32_t* type, void* data,
                                        std::uint32_t* size) = 0;
  /// Stores `size` bytes as they are, whatever the type, but that the system may give text the NUL that it
  /// lacks, under a name of at most 16383 characters. Needs KEY_SET_VALUE.
  virtual std::int32_t RegSetValueExA(HKEY key, const std::string& name, std::uint32_t type, const void* data,
                                      std::uint32_t size) = 0;
  /// Deletes a key that has no subkeys; with subkeys ERROR_ACCESS_DENIED. Calls on handles that are open on
  /// it answer ERROR_KEY_DELETED from then on; they must still be closed.
  virtual std::int32_t RegDeleteKeyA(HKEY parent, const std::string& path) = 0;
  /// Needs KEY_SET_VALUE.
  virtual std::int32_t RegDeleteValueA(HKEY key, const std::string& name) = 0;

  /// Needs KEY_QUERY_VALUE.
  virtual std::int32_t RegQueryInfoKeyA(HKEY key, RegKeyInfo* info) = 0;
  /// The subkey at `index` in the system's order, ERROR_NO_MORE_ITEMS behind the last. *length is the room at
  /// `name` in characters on entry, its NUL included, and the length without it on return. Needs
  /// KEY_ENUMERATE_SUB_KEYS.
  virtual std::int32_t RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length) = 0;
  /// The value at `index`, in the order in which the values were made; arguments as above and as in
  /// RegQueryValueExA; `size` may be null if `data` is. Needs KEY_QUERY_VALUE.
  virtual std::int32_t RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                                     std::uint32_t* type, void* data, std::uint32_t* size) = 0;
};

}  // namespace halden
