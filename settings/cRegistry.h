#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "platform/registry_api.h"
#include "platform/text_resources.h"

namespace halden {

using ByteArray = std::vector<std::uint8_t>;
/// A registry value of any type: text, bytes or a number.
using AnyValue = std::variant<std::string, ByteArray, std::int32_t>;
/// A value of a key with its name, which is empty for the default value.
struct NamedValue {
  std::string name;
  AnyValue value;
};

/// Typed access to the registry. Every call opens a key, does one thing and closes the key again. Failures
/// are reported only through the return value; ErrorCode then says what the system answered. Only
/// std::bad_alloc is ever thrown. A failed read leaves its value argument unchanged. Names, paths and texts
/// are in the ANSI code page. An empty value name means the key's default value. Stored types aren't checked:
/// a value that has a fitting size is read as the type asked for.
class cRegistry {
 public:
  /// Starts on HKEY_CURRENT_USER and "Software", without a call to the registry. Both arguments must outlive
  /// the object.
  cRegistry(RegistryApi& api, TextResources& texts) : api_(api), texts_(texts) {}

  HKEY RootKey() const { return root_key_; }
  /// Changes to another root, and to its empty path. Does nothing if the root can't be opened.
  void RootKey(HKEY root);
  const std::string& KeyPath() const { return key_path_; }
  /// Changes to another path below the root, and makes its key if it is missing. Does nothing if that fails.
  void KeyPath(const std::string& path);

  // Calls on the current key. The plain getters return "", 0 or false for a value that can't be read, and the
  // plain setters ignore failures. Get... returns whether the read succeeded, and otherwise puts the default
  // into `value`. Set... returns whether the value was written.
  std::string StringValue(const std::string& name);
  void StringValue(const std::string& name, const std::string& value);
  /// An empty default leaves `value` unchanged.
  bool GetString(const std::string& name, std::string& value, const std::string& default_value);
  bool SetString(const std::string& name, const std::string& value);
  std::int32_t LongValue(const std::string& name);
  void LongValue(const std::string& name, std::int32_t value);
  bool GetLong(const std::string& name, std::int32_t& value, std::int32_t default_value);
  bool SetLong(const std::string& name, std::int32_t value);
  std::uint8_t ByteValue(const std::string& name);
  void ByteValue(const std::string& name, std::uint8_t value);
  bool GetByte(const std::string& name, std::uint8_t& value, std::uint8_t default_value);
  bool SetByte(const std::string& name, std::uint8_t value);
  std::int16_t IntegerValue(const std::string& name);
  void IntegerValue(const std::string& name, std::int16_t value);
  bool GetInteger(const std::string& name, std::int16_t& value, std::int16_t default_value);
  bool SetInteger(const std::string& name, std::int16_t value);
  bool BooleanValue(const std::string& name);
  void BooleanValue(const std::string& name, bool value);
  bool GetBoolean(const std::string& name, bool& value, bool default_value);
  bool SetBoolean(const std::string& name, bool value);
  float SingleValue(const std::string& name);
  void SingleValue(const std::string& name, float value);
  bool GetSingle(const std::string& name, float& value, float default_value);
  bool SetSingle(const std::string& name, float value);
  double DoubleValue(const std::string& name);
  void DoubleValue(const std::string& name, double value);
  bool GetDouble(const std::string& name, double& value, double default_value);
  bool SetDouble(const std::string& name, double value);
  /// Currency is the amount times 10000.
  std::int64_t CurrencyValue(const std::string& name);
  void CurrencyValue(const std::string& name, std::int64_t value);
  bool GetCurrency(const std::string& name, std::int64_t& value, std::int64_t default_value);
  bool SetCurrency(const std::string& name, std::int64_t value);
  /// A single byte 0 for a value that can't be read.
  ByteArray BinaryValue(const std::string& name);
  void BinaryValue(const std::string& name, const ByteArray& value);
  bool GetBinary(const std::string& name, ByteArray& value);
  bool SetBinary(const std::string& name, const ByteArray& value);

  // Calls on any key. Writing a value never makes its key.
  bool KeyExists(HKEY root, const std::string& key);
  /// Makes the key and its missing parents; succeeds if the key exists. A `text` that isn't empty becomes the
  /// key's default value.
  bool CreateKey(HKEY root, const std::string& key, const std::string& text);
  /// Fails if the key has subkeys.
  bool DeleteKey(HKEY root, const std::string& key);
  bool DeleteValue(HKEY root, const std::string& key, const std::string& name);
  bool WriteString(HKEY root, const std::string& key, const std::string& name, const std::string& value);
  /// Reads up to the first NUL. Fails if the value is larger than 16 MiB.
  bool ReadString(HKEY root, const std::string& key, const std::string& name, std::string& value);
  bool WriteLong(HKEY root, const std::string& key, const std::string& name, std::int32_t value);
  /// Fails if the value is longer than 4 bytes. A shorter one replaces only the low bytes of `value`.
  bool ReadLong(HKEY root, const std::string& key, const std::string& name, std::int32_t& value);
  bool ReadByte(HKEY root, const std::string& key, const std::string& name, std::uint8_t& value);
  bool WriteByte(HKEY root, const std::string& key, const std::string& name, std::uint8_t value);
  bool ReadInteger(HKEY root, const std::string& key, const std::string& name, std::int16_t& value);
  /// Stored without its sign: -1 as 65535.
  bool WriteInteger(HKEY root, const std::string& key, const std::string& name, std::int16_t value);
  bool ReadBoolean(HKEY root, const std::string& key, const std::string& name, bool& value);
  bool WriteBoolean(HKEY root, const std::string& key, const std::string& name, bool value);
  /// A single is stored as the number that has the same 32 bits: 1.0 as 3F800000h.
  bool ReadSingle(HKEY root, const std::string& key, const std::string& name, float& value);
  bool WriteSingle(HKEY root, const std::string& key, const std::string& name, float value);
  /// Doubles and currencies are stored as blocks of 8 bytes. Reading a block of another size fails.
  bool ReadDouble(HKEY root, const std::string& key, const std::string& name, double& value);
  bool WriteDouble(HKEY root, const std::string& key, const std::string& name, double value);
  bool ReadCurrency(HKEY root, const std::string& key, const std::string& name, std::int64_t& value);
  bool WriteCurrency(HKEY root, const std::string& key, const std::string& name, std::int64_t value);
  /// Fails for an empty array, without a call to the registry.
  bool WriteBinary(HKEY root, const std::string& key, const std::string& name, const ByteArray& bytes);
  /// Fails for a value of size 0 too. Reads at most 16 MiB.
  bool ReadBinary(HKEY root, const std::string& key, const std::string& name, ByteArray& bytes);

  /// Reads a text, a number or bytes into `value`, and returns the value's registry type; 0 if no value has
  /// exactly this name (upper and lower case differ here). A text comes without its last byte, the NUL.
  /// `value` is unchanged for other types, for text or bytes of size 0, and if the data can't be read.
  std::int32_t ReadAnyValue(HKEY root, const std::string& key, const std::string& name, AnyValue& value);
  /// All values of a key that can be read, in the order of the enumeration, each as ReadAnyValue gives it.
  /// Takes time linear in their number, where ReadAnyValue for each name would take the square. Empty if the
  /// key can't be opened.
  std::vector<NamedValue> ReadAllValues(HKEY root, const std::string& key);
  /// Returns the number of subkeys. names[0] becomes `key` and names[1] to names[count] their names; a name
  /// that can't be read is "". `key` may be an element of `names`. 0 if the key can't be opened.
  std::int32_t ListSubKeys(HKEY root, const std::string& key, std::vector<std::string>& names);
  /// The same for the key's values. The default value's name is "" too.
  std::int32_t ListValues(HKEY root, const std::string& key, std::vector<std::string>& names);
  /// Returns the key, and with `recursive` all keys below it, as text in the layout of the registry editor's
  /// export, without its header. Texts of every type are written in quotes. Empty if the key can't be opened;
  /// keys and values that can't be read are left out.
  std::string ExportKey(HKEY root, const std::string& key, bool recursive);
  /// Returns "HKEY_CURRENT_USER" and the like; empty if the handle isn't a root.
  static std::string RootName(HKEY root);

  /// Win32 result of the last recorded call; 0: success.
  std::int32_t ErrorCode() const { return error_code_; }
  /// The system's sentence for ErrorCode, without its full stop; empty if the system has none.
  std::string ErrorText();

 private:
  class KeyView;
  /// Upper limit for the data of one value, so that a wrong size from the system can't exhaust the memory.
  static constexpr std::uint32_t kMostData = 1 << 24;
  static constexpr std::uint32_t kReadAccess = READ_CONTROL | KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS;

  bool Record(std::int32_t result);
  bool RecordOpened(std::int32_t result, HKEY handle);
  bool Open(HKEY root, const std::string& key, std::uint32_t access);
  void Close();
  std::string ExportSubKeys(HKEY root, const std::string& key, bool recursive);
  static std::string StripNull(const std::string& value);
  /// With `flag`: only the part before the first full stop.
  std::string SystemErrorText(std::int32_t code, bool flag);

  RegistryApi& api_;
  TextResources& texts_;
  HKEY root_key_ = HKEY_CURRENT_USER;
  std::string key_path_ = "Software";
  std::int32_t error_code_ = ERROR_SUCCESS;
  HKEY key_handle_ = 0;          // the key that the running call has open
  std::uint32_t data_size_ = 0;  // in and out: size of the running call's data
};

}  // namespace halden
