#include "settings/cRegistry.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace halden {
namespace {

static_assert(std::endian::native == std::endian::little, "values are stored as they lie in memory");

constexpr std::uint32_t kBlockSize = 8;      // bytes of a stored double or currency
constexpr std::uint32_t kMessageSize = 256;  // room for a message of the system, in bytes
constexpr std::uint32_t kLineBreak = 2;      // the CR LF at the end of every message of the system

/// Reads a value of 8 bytes by copying them. Leaves `value` alone if the stored block has another size.
template <typename Value>
bool ReadBlock(cRegistry& registry, HKEY root, const std::string& key, const std::string& name,
               Value& value) {
  static_assert(sizeof value == kBlockSize);
  ByteArray bytes;
  if (!registry.ReadBinary(root, key, name, bytes) || bytes.size() != kBlockSize) return false;
  std::memcpy(&value, bytes.data(), kBlockSize);
  return true;
}

template <typename Value>
bool WriteBlock(cRegistry& registry, HKEY root, const std::string& key, const std::string& name,
                Value value) {
  ByteArray bytes(sizeof value);
  std::memcpy(bytes.data(), &value, sizeof value);
  return registry.WriteBinary(root, key, name, bytes);
}

}  // namespace

void cRegistry::RootKey(HKEY root) {
  if (root == root_key_ || !KeyExists(root, "")) return;
  root_key_ = root;
  // A path below the old root means nothing here.
  KeyPath("");
}

void cRegistry::KeyPath(const std::string& path) {
  if (path == key_path_) return;
  if (KeyExists(root_key_, path) || CreateKey(root_key_, path, "")) key_path_ = path;
}

/// Keeps the result of a call for ErrorCode. Returns whether the call succeeded.
bool cRegistry::Record(std::int32_t result) {
  error_code_ = result;
  return result == ERROR_SUCCESS;
}

/// Records the result of a call that opens a key. A success that left the handle at 0 counts as a failure:
/// later calls would otherwise work on a handle that no key has.
bool cRegistry::RecordOpened(std::int32_t result, HKEY handle) {
  return Record(result == ERROR_SUCCESS && handle == 0 ? ERROR_INVALID_HANDLE : result);
}

/// Opens the key into key_handle_. The caller must Close it again, but only after a success.
bool cRegistry::Open(HKEY root, const std::string& key, std::uint32_t access) {
  key_handle_ = 0;
  const std::int32_t result = api_.RegOpenKeyExA(root, key, access, &key_handle_);
  return RecordOpened(result, key_handle_);
}

void cRegistry::Close() {
  api_.RegCloseKey(key_handle_);
}

bool cRegistry::KeyExists(HKEY root, const std::string& key) {
  if (!Open(root, key, kReadAccess)) return false;
  Close();
  return true;
}

bool cRegistry::CreateKey(HKEY root, const std::string& key, const std::string& text) {
  key_handle_ = 0;
  const std::int32_t result = api_.RegCreateKeyExA(root, key, KEY_CREATE_SUB_KEY, &key_handle_);
  if (!RecordOpened(result, key_handle_)) return false;
  Close();
  // The key exists even if its label can't be written, so this result doesn't count.
  if (!text.empty()) WriteString(root, key, "", text);
  return true;
}

bool cRegistry::DeleteKey(HKEY root, const std::string& key) {
  if (!Open(root, key, KEY_WRITE)) return false;
  const bool deleted = Record(api_.RegDeleteKeyA(root, key));
  Close();
  return deleted;
}

bool cRegistry::DeleteValue(HKEY root, const std::string& key, const std::string& name) {
  if (!Open(root, key, KEY_WRITE)) return false;
  const bool deleted = Record(api_.RegDeleteValueA(key_handle_, name));
  Close();
  return deleted;
}

bool cRegistry::WriteString(HKEY root, const std::string& key, const std::string& name,
                            const std::string& value) {
  if (!Open(root, key, KEY_SET_VALUE)) return false;
  // The size doesn't include a terminating NUL; ReadString adds one.
  const auto size = static_cast<std::uint32_t>(value.size());
  const bool written = Record(api_.RegSetValueExA(key_handle_, name, REG_SZ, value.data(), size));
  Close();
  return written;
}

bool cRegistry::ReadString(HKEY root, const std::string& key, const std::string& name, std::string& value) {
  if (!Open(root, key, KEY_QUERY_VALUE)) return false;
  // The first call only asks for the size.
  data_size_ = 0;
  bool found = Record(api_.RegQueryValueExA(key_handle_, name, nullptr, nullptr, &data_size_));
  if (found && data_size_ > kMostData) found = Record(ERROR_MORE_DATA);
  if (found && data_size_ == 0) value.clear();
  if (found && data_size_ > 0) {
    // One byte more, because a stored text need not end with a NUL. If the second call fails, the buffer is
    // still zeroed and the text comes out empty.
    std::string buffer(std::size_t{data_size_} + 1, '\0');
    api_.RegQueryValueExA(key_handle_, name, nullptr, buffer.data(), &data_size_);
    value = StripNull(buffer);
  }
  Close();
  return found;
}

bool cRegistry::WriteLong(HKEY root, const std::string& key, const std::string& name, std::int32_t value) {
  if (!Open(root, key, KEY_WRITE)) return false;
  data_size_ = sizeof value;
  const bool written = Record(api_.RegSetValueExA(key_handle_, name, REG_DWORD, &value, data_size_));
  Close();
  return written;
}

bool cRegistry::ReadLong(HKEY root, const std::string& key, const std::string& name, std::int32_t& value) {
  if (!Open(root, key, KEY_QUERY_VALUE)) return false;
  // The type isn't asked for: any value of up to 4 bytes is taken as a number.
  data_size_ = sizeof value;
  const bool read = Record(api_.RegQueryValueExA(key_handle_, name, nullptr, &value, &data_size_));
  Close();
  return read;
}

bool cRegistry::ReadByte(HKEY root, const std::string& key, const std::string& name, std::uint8_t& value) {
  std::int32_t number = 0;
  if (!ReadLong(root, key, name, number)) return false;
  value = static_cast<std::uint8_t>(number);
  return true;
}

bool cRegistry::WriteByte(HKEY root, const std::string& key, const std::string& name, std::uint8_t value) {
  return WriteLong(root, key, name, value);
}

bool cRegistry::ReadInteger(HKEY root, const std::string& key, const std::string& name, std::int16_t& value) {
  std::int32_t number = 0;
  if (!ReadLong(root, key, name, number)) return false;
  value = static_cast<std::int16_t>(number);
  return true;
}

bool cRegistry::WriteInteger(HKEY root, const std::string& key, const std::string& name, std::int16_t value) {
  // By way of 16 bits without a sign, so that the upper half stays 0.
  return WriteLong(root, key, name, static_cast<std::uint16_t>(value));
}

bool cRegistry::ReadBoolean(HKEY root, const std::string& key, const std::string& name, bool& value) {
  std::int32_t number = 0;
  if (!ReadLong(root, key, name, number)) return false;
  value = number != 0;
  return true;
}

bool cRegistry::WriteBoolean(HKEY root, const std::string& key, const std::string& name, bool value) {
  return WriteLong(root, key, name, value ? 1 : 0);
}

bool cRegistry::ReadSingle(HKEY root, const std::string& key, const std::string& name, float& value) {
  std::int32_t bits = 0;
  if (!ReadLong(root, key, name, bits)) return false;
  value = std::bit_cast<float>(bits);
  return true;
}

bool cRegistry::WriteSingle(HKEY root, const std::string& key, const std::string& name, float value) {
  return WriteLong(root, key, name, std::bit_cast<std::int32_t>(value));
}

bool cRegistry::ReadDouble(HKEY root, const std::string& key, const std::string& name, double& value) {
  return ReadBlock(*this, root, key, name, value);
}

bool cRegistry::WriteDouble(HKEY root, const std::string& key, const std::string& name, double value) {
  return WriteBlock(*this, root, key, name, value);
}

bool cRegistry::ReadCurrency(HKEY root, const std::string& key, const std::string& name,
                             std::int64_t& value) {
  return ReadBlock(*this, root, key, name, value);
}

bool cRegistry::WriteCurrency(HKEY root, const std::string& key, const std::string& name,
                              std::int64_t value) {
  return WriteBlock(*this, root, key, name, value);
}

bool cRegistry::WriteBinary(HKEY root, const std::string& key, const std::string& name,
                            const ByteArray& bytes) {
  if (bytes.empty() || !Open(root, key, KEY_SET_VALUE)) return false;
  const auto size = static_cast<std::uint32_t>(bytes.size());
  const bool written = Record(api_.RegSetValueExA(key_handle_, name, REG_BINARY, bytes.data(), size));
  Close();
  return written;
}

bool cRegistry::ReadBinary(HKEY root, const std::string& key, const std::string& name, ByteArray& bytes) {
  if (!Open(root, key, KEY_QUERY_VALUE)) return false;
  data_size_ = 0;
  bool read = Record(api_.RegQueryValueExA(key_handle_, name, nullptr, nullptr, &data_size_));
  read = read && data_size_ > 0;
  if (read) {
    data_size_ = std::min(data_size_, kMostData);
    ByteArray data(data_size_);
    read = Record(api_.RegQueryValueExA(key_handle_, name, nullptr, data.data(), &data_size_));
    if (read) bytes = std::move(data);
  }
  Close();
  return read;
}

std::string cRegistry::ErrorText() {
  // Drops the full stop. A text of up to 4 characters is returned as it is.
  std::string text = SystemErrorText(error_code_, false);
  if (text.size() > 4) text.pop_back();
  return text;
}

std::string cRegistry::StripNull(const std::string& value) {
  return value.substr(0, value.find('\0'));
}

std::string cRegistry::SystemErrorText(std::int32_t code, bool flag) {
  char buffer[kMessageSize] = {};
  const std::uint32_t length =
      texts_.FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                            static_cast<std::uint32_t>(code), 0, buffer, kMessageSize, nullptr);
  // A length beyond the buffer is a wrong answer of the system.
  if (length <= kLineBreak || length > kMessageSize) return {};
  const std::string text(buffer, length - kLineBreak);
  return flag ? text.substr(0, text.find('.')) : text;
}

}  // namespace halden
