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

/// Typed access to the registry. A member opens a key, does one thing and closes it again. None throws or
/// tells a failure but by its result; where the system failed, ErrorCode is its code. Value arguments of a
/// failed read are unchanged. Names, paths and texts are in the ANSI code page; an empty value name is the
/// key's default value. Types of stored values are not tested: what fits is taken as the type that is asked
/// for.
class cRegistry {
 public:
  /// Starts on HKEY_CURRENT_USER and "Software", untested. Both arguments must outlive the object.
  cRegistry(RegistryApi& api, TextResources& texts) : api_(api), texts_(texts) {}

  HKEY RootKey() const { return root_key_; }
  /// Takes another root if it opens, and its empty path with it.
  void RootKey(HKEY root);
  const std::string& KeyPath() const { return key_path_; }
  /// Takes another path, whose key is made if it is missing; one that can't be made is not taken.
  void KeyPath(const std::string& path);

  // On the current key. Getters give "", 0, false for what can't be read; setters drop the result. Get...
  // puts the default into `value` where the read fails, and tells whether it succeeded.
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
  /// A single 0 for what can't be read.
  ByteArray BinaryValue(const std::string& name);
  void BinaryValue(const std::string& name, const ByteArray& value);
  bool GetBinary(const std::string& name, ByteArray& value);
  bool SetBinary(const std::string& name, const ByteArray& value);

  // On any key. Writing a value never makes its key.
  bool KeyExists(HKEY root, const std::string& key);
  /// Makes the key with its parents; an existing one will do. A text becomes its default value.
  bool CreateKey(HKEY root, const std::string& key, const std::string& text);
  bool DeleteKey(HKEY root, const std::string& key);
  bool DeleteValue(HKEY root, const std::string& key, const std::string& name);
  bool WriteString(HKEY root, const std::string& key, const std::string& name, const std::string& value);
  /// Reads as far as the first NUL. Fails on a value above 16 MiB.
  bool ReadString(HKEY root, const std::string& key, const std::string& name, std::string& value);
  bool WriteLong(HKEY root, const std::string& key, const std::string& name, std::int32_t value);
  /// Fails on a value longer than 4 bytes; a shorter one fills the low bytes only.
  bool ReadLong(HKEY root, const std::string& key, const std::string& name, std::int32_t& value);
  bool ReadByte(HKEY root, const std::string& key, const std::string& name, std::uint8_t& value);
  bool WriteByte(HKEY root, const std::string& key, const std::string& name, std::uint8_t value);
  bool ReadInteger(HKEY root, const std::string& key, const std::string& name, std::int16_t& value);
  /// Stored without its sign: -1 as 65535.
  bool WriteInteger(HKEY root, const std::string& key, const std::string& name, std::int16_t value);
  bool ReadBoolean(HKEY root, const std::string& key, const std::string& name, bool& value);
  bool WriteBoolean(HKEY root, const std::string& key, const std::string& name, bool value);
  /// Singles are stored as a number that has their bits.
  bool ReadSingle(HKEY root, const std::string& key, const std::string& name, float& value);
  bool WriteSingle(HKEY root, const std::string& key, const std::string& name, float value);
  /// Doubles and currencies are blocks of 8 bytes; a block of another size is not read.
  bool ReadDouble(HKEY root, const std::string& key, const std::string& name, double& value);
  bool WriteDouble(HKEY root, const std::string& key, const std::string& name, double value);
  bool ReadCurrency(HKEY root, const std::string& key, const std::string& name, std::int64_t& value);
  bool WriteCurrency(HKEY root, const std::string& key, const std::string& name, std::int64_t value);
  /// False for an empty array, without a call to the registry.
  bool WriteBinary(HKEY root, const std::string& key, const std::string& name, const ByteArray& bytes);
  /// False also for a value of size 0.
  bool ReadBinary(HKEY root, const std::string& key, const std::string& name, ByteArray& bytes);

  /// The value's registry type; 0 if there is none of exactly that name, in that case. Text comes without its
  /// last byte, the NUL. `value` is unchanged for other types, for text or bytes of size 0 and where the
  /// data can't be read.
  std::int32_t ReadAnyValue(HKEY root, const std::string& key, const std::string& name, AnyValue& value);
  /// The number of subkeys. Their names stand behind names[0], which is `key`; one that can't be read is "".
  std::int32_t ListSubKeys(HKEY root, const std::string& key, std::vector<std::string>& names);
  /// The same for values.
  std::int32_t ListValues(HKEY root, const std::string& key, std::vector<std::string>& names);
  /// The key, and with `recursive` all keys below it, as text in the layout of the registry editor's export,
  /// without its header; texts are plain in quotes whatever their type. Empty if the key can't be opened.
  std::string ExportKey(HKEY root, const std::string& key, bool recursive);
  /// "HKEY_CURRENT_USER" and the like; empty for what is no root.
  static std::string RootName(HKEY root);

  /// Win32 result of the call that was recorded last.
  std::int32_t ErrorCode() const { return error_code_; }
  /// The system's sentence for ErrorCode without its full stop; empty where the system has none.
  std::string ErrorText();

 private:
  class KeyView;
  /// No value is read that the system says is larger, so that a wrong answer doesn't take the memory.
  static constexpr std::uint32_t kMostData = 1 << 24;
  static constexpr std::uint32_t kReadAccess = READ_CONTROL | KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS;

  bool Record(std::int32_t result);
  bool RecordOpened(std::int32_t result, HKEY handle);
  bool Open(HKEY root, const std::string& key, std::uint32_t access);
  void Close();
  std::string ExportSubKeys(HKEY root, const std::string& key, bool recursive);
  static std::string StripNull(const std::string& value);
  /// With `flag` only what stands before the first full stop.
  std::string SystemErrorText(std::int32_t code, bool flag);

  RegistryApi& api_;
  TextResources& texts_;
  HKEY root_key_ = HKEY_CURRENT_USER;
  std::string key_path_ = "Software";
  std::int32_t error_code_ = ERROR_SUCCESS;
  HKEY key_handle_ = 0;
  std::uint32_t data_size_ = 0;
};

}  // namespace halden
