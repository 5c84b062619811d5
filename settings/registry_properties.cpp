#include "settings/cRegistry.h"

namespace halden {

namespace {

// The members below differ only in the type of the value. Each calls the member that takes a root and a key.

template <typename Value>
using Reader = bool (cRegistry::*)(HKEY, const std::string&, const std::string&, Value&);

/// Reads a value of the current key. Returns `value` if that fails.
template <typename Value>
Value Current(cRegistry& registry, Reader<Value> read, const std::string& name, Value value = Value()) {
  (registry.*read)(registry.RootKey(), registry.KeyPath(), name, value);
  return value;
}

/// Reads a value of the current key. Puts the default into `value` and returns false if that fails.
template <typename Value>
bool CurrentOr(cRegistry& registry, Reader<Value> read, const std::string& name, Value& value,
               Value default_value) {
  if ((registry.*read)(registry.RootKey(), registry.KeyPath(), name, value)) return true;
  value = default_value;
  return false;
}

}  // namespace

std::string cRegistry::StringValue(const std::string& name) {
  return Current(*this, &cRegistry::ReadString, name);
}
void cRegistry::StringValue(const std::string& name, const std::string& value) {
  SetString(name, value);
}
bool cRegistry::GetString(const std::string& name, std::string& value, const std::string& default_value) {
  if (ReadString(root_key_, key_path_, name, value)) return true;
  // Unlike the other types, a text has a default that means "leave it as it is".
  if (!default_value.empty()) value = default_value;
  return false;
}
bool cRegistry::SetString(const std::string& name, const std::string& value) {
  return WriteString(root_key_, key_path_, name, value);
}

std::int32_t cRegistry::LongValue(const std::string& name) {
  return Current(*this, &cRegistry::ReadLong, name);
}
void cRegistry::LongValue(const std::string& name, std::int32_t value) {
  SetLong(name, value);
}
bool cRegistry::GetLong(const std::string& name, std::int32_t& value, std::int32_t default_value) {
  return CurrentOr(*this, &cRegistry::ReadLong, name, value, default_value);
}
bool cRegistry::SetLong(const std::string& name, std::int32_t value) {
  return WriteLong(root_key_, key_path_, name, value);
}

std::uint8_t cRegistry::ByteValue(const std::string& name) {
  return Current(*this, &cRegistry::ReadByte, name);
}
void cRegistry::ByteValue(const std::string& name, std::uint8_t value) {
  SetByte(name, value);
}
bool cRegistry::GetByte(const std::string& name, std::uint8_t& value, std::uint8_t default_value) {
  return CurrentOr(*this, &cRegistry::ReadByte, name, value, default_value);
}
bool cRegistry::SetByte(const std::string& name, std::uint8_t value) {
  return WriteByte(root_key_, key_path_, name, value);
}

std::int16_t cRegistry::IntegerValue(const std::string& name) {
  return Current(*this, &cRegistry::ReadInteger, name);
}
void cRegistry::IntegerValue(const std::string& name, std::int16_t value) {
  SetInteger(name, value);
}
bool cRegistry::GetInteger(const std::string& name, std::int16_t& value, std::int16_t default_value) {
  return CurrentOr(*this, &cRegistry::ReadInteger, name, value, default_value);
}
bool cRegistry::SetInteger(const std::string& name, std::int16_t value) {
  return WriteInteger(root_key_, key_path_, name, value);
}

bool cRegistry::BooleanValue(const std::string& name) {
  return Current(*this, &cRegistry::ReadBoolean, name);
}
void cRegistry::BooleanValue(const std::string& name, bool value) {
  SetBoolean(name, value);
}
bool cRegistry::GetBoolean(const std::string& name, bool& value, bool default_value) {
  return CurrentOr(*this, &cRegistry::ReadBoolean, name, value, default_value);
}
bool cRegistry::SetBoolean(const std::string& name, bool value) {
  return WriteBoolean(root_key_, key_path_, name, value);
}

float cRegistry::SingleValue(const std::string& name) {
  return Current(*this, &cRegistry::ReadSingle, name);
}
void cRegistry::SingleValue(const std::string& name, float value) {
  SetSingle(name, value);
}
bool cRegistry::GetSingle(const std::string& name, float& value, float default_value) {
  return CurrentOr(*this, &cRegistry::ReadSingle, name, value, default_value);
}
bool cRegistry::SetSingle(const std::string& name, float value) {
  return WriteSingle(root_key_, key_path_, name, value);
}

double cRegistry::DoubleValue(const std::string& name) {
  return Current(*this, &cRegistry::ReadDouble, name);
}
void cRegistry::DoubleValue(const std::string& name, double value) {
  SetDouble(name, value);
}
bool cRegistry::GetDouble(const std::string& name, double& value, double default_value) {
  return CurrentOr(*this, &cRegistry::ReadDouble, name, value, default_value);
}
bool cRegistry::SetDouble(const std::string& name, double value) {
  return WriteDouble(root_key_, key_path_, name, value);
}

std::int64_t cRegistry::CurrencyValue(const std::string& name) {
  return Current(*this, &cRegistry::ReadCurrency, name);
}
void cRegistry::CurrencyValue(const std::string& name, std::int64_t value) {
  SetCurrency(name, value);
}
bool cRegistry::GetCurrency(const std::string& name, std::int64_t& value, std::int64_t default_value) {
  return CurrentOr(*this, &cRegistry::ReadCurrency, name, value, default_value);
}
bool cRegistry::SetCurrency(const std::string& name, std::int64_t value) {
  return WriteCurrency(root_key_, key_path_, name, value);
}

ByteArray cRegistry::BinaryValue(const std::string& name) {
  return Current(*this, &cRegistry::ReadBinary, name, ByteArray{0});
}
void cRegistry::BinaryValue(const std::string& name, const ByteArray& value) {
  SetBinary(name, value);
}
bool cRegistry::GetBinary(const std::string& name, ByteArray& value) {
  return ReadBinary(root_key_, key_path_, name, value);
}
bool cRegistry::SetBinary(const std::string& name, const ByteArray& value) {
  return WriteBinary(root_key_, key_path_, name, value);
}

}  // namespace halden
