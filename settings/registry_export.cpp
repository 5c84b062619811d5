#include <algorithm>
#include <optional>

#include "platform/hex_text.h"
#include "settings/cRegistry.h"
#include "stream/number_parsing.h"

namespace halden {
namespace {

/// What the enumeration of a key's values reports about one of them. The data is read separately.
struct ValueEntry {
  std::string name;
  std::uint32_t type = REG_NONE;
  std::uint32_t size = 0;  // of the data, in bytes
};

// Limits for what the system reports about a key. A larger number is a wrong answer, and must not cost memory
// or time. The name length is the registry's own limit, in bytes.
constexpr std::uint32_t kMostEntries = 1 << 20;
constexpr std::uint32_t kLongestName = 16383;

bool IsNumber(std::uint32_t type) {
  return type == REG_DWORD || type == REG_DWORD_BIG_ENDIAN;
}

/// A text in quotes with its backslashes doubled. Quotes within it stay as they are.
std::string ExportText(const std::string& text) {
  std::string doubled;
  for (const char c : text) doubled += c == '\\' ? "\\\\" : std::string(1, c);
  return "\"" + std::string(Trim(doubled)) + "\"\r\n";
}

/// {0, 10, 255} -> "hex:00,0a,ff"
std::string ExportBytes(const ByteArray& data) {
  std::string text = "hex:";
  for (std::size_t i = 0; i < data.size(); ++i) text += (i ? "," : "") + HexText(data[i], 2);
  return text + "\r\n";
}

/// The first 4 bytes, the low one first. Missing bytes are 0. Big-endian numbers are read this way too.
std::uint32_t Number(const ByteArray& data) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < std::min<std::size_t>(data.size(), 4); ++i)
    number |= std::uint32_t{data[i]} << 8 * i;
  return number;
}

/// Puts the data of a value into `value`, which stays as it is for other types, and for text or bytes of size
/// 0.
void TakeData(std::uint32_t type, const ByteArray& data, AnyValue& value) {
  if (IsNumber(type)) {
    value = static_cast<std::int32_t>(Number(data));
  } else if (!data.empty()) {
    if (IsTextType(type)) value = std::string(data.begin(), data.end() - 1);
    if (type == REG_BINARY) value = data;
  }
}

/// The data part of an entry with its line end. Types that have no textual form give nothing, not even the
/// line end, so the next entry continues the line.
std::string ExportData(std::uint32_t type, const ByteArray& data) {
  if (IsTextType(type)) return ExportText(std::string(data.begin(), std::find(data.begin(), data.end(), 0)));
  if (type == REG_BINARY) return ExportBytes(data);
  if (IsNumber(type)) return "dword:" + HexText(Number(data), 8) + "\r\n";
  return {};
}

}  // namespace

/// Opens a key and enumerates its subkeys and values; the destructor closes the key. An empty path means the
/// root itself, which is always open and is never closed. Every call of the system is recorded in the
/// registry's ErrorCode, also because Has uses it to notice the end.
///
/// Usage, for values and likewise for subkeys:
///   KeyView view(registry, root, key);
///   for (std::uint32_t i = 0; view.Has(i, view.info().values); ++i)
///     if (const auto entry = view.Value(i)) ...
class cRegistry::KeyView {
 public:
  KeyView(cRegistry& registry, HKEY root, const std::string& key) : registry_(registry) {
    if (key.empty()) {
      handle_ = root;
      open_ = registry_.Record(ERROR_SUCCESS);
    } else {
      const std::int32_t result = registry_.api_.RegOpenKeyExA(root, key, kReadAccess, &handle_);
      open_ = close_ = registry_.RecordOpened(result, handle_);
    }
    // If this fails, info_ stays 0 and the enumeration is empty.
    if (!open_ || !registry_.Record(registry_.api_.RegQueryInfoKeyA(handle_, &info_))) return;
    for (std::uint32_t* entries : {&info_.subkeys, &info_.values})
      *entries = std::min(*entries, kMostEntries);
    for (std::uint32_t* length : {&info_.longest_subkey, &info_.longest_value_name})
      *length = std::min(*length, kLongestName);
  }
  KeyView(const KeyView&) = delete;
  KeyView& operator=(const KeyView&) = delete;
  ~KeyView() {
    if (close_) registry_.api_.RegCloseKey(handle_);
  }

  bool open() const { return open_; }
  /// Number of entries and longest names; all 0 if the system can't report them.
  const RegKeyInfo& info() const { return info_; }

  /// Whether there may be an entry at `index` of `count`. Entries can vanish during the enumeration; the call
  /// before has then failed with ERROR_NO_MORE_ITEMS.
  bool Has(std::uint32_t index, std::uint32_t count) const {
    return index < count && registry_.ErrorCode() != ERROR_NO_MORE_ITEMS;
  }

  /// Name of the subkey at `index`, from 0. Empty if the call fails, e.g. for a name longer than reported.
  std::optional<std::string> Subkey(std::uint32_t index) {
    std::uint32_t length = info_.longest_subkey + 1;
    std::string name(length, '\0');
    if (!registry_.Record(registry_.api_.RegEnumKeyExA(handle_, index, name.data(), &length)))
      return std::nullopt;
    return name.substr(0, length);
  }

  /// The value at `index`, from 0, without its data. Empty if the call fails.
  std::optional<ValueEntry> Value(std::uint32_t index) {
    ValueEntry entry;
    std::uint32_t length = info_.longest_value_name + 1;
    entry.name.resize(length);
    if (!registry_.Record(registry_.api_.RegEnumValueA(handle_, index, entry.name.data(), &length,
                                                       &entry.type, nullptr, &entry.size)))
      return std::nullopt;
    entry.name.resize(std::min<std::size_t>(length, entry.name.size()));
    return entry;
  }

  /// The data of `entry`, which Value returned for this index. Empty bytes, without a call, for size 0 and
  /// for types that have no textual form. No result if the call fails.
  std::optional<ByteArray> Data(std::uint32_t index, const ValueEntry& entry) {
    const bool known = IsTextType(entry.type) || entry.type == REG_BINARY || IsNumber(entry.type);
    std::uint32_t size = known ? std::min(entry.size, kMostData) : 0;
    ByteArray data(size);
    if (size == 0) return data;
    // The system returns the name again with the data, so it needs room.
    std::uint32_t length = info_.longest_value_name + 1;
    std::string name(length, '\0');
    if (!registry_.Record(
            registry_.api_.RegEnumValueA(handle_, index, name.data(), &length, nullptr, data.data(), &size)))
      return std::nullopt;
    data.resize(std::min<std::size_t>(size, data.size()));
    return data;
  }

 private:
  cRegistry& registry_;
  HKEY handle_ = 0;
  bool open_ = false;   // handle_ can be used
  bool close_ = false;  // handle_ is ours to close: it isn't a root
  RegKeyInfo info_;
};

std::int32_t cRegistry::ReadAnyValue(HKEY root, const std::string& key, const std::string& name,
                                     AnyValue& value) {
  KeyView view(*this, root, key);
  for (std::uint32_t i = 0; view.Has(i, view.info().values); ++i) {
    const std::optional<ValueEntry> entry = view.Value(i);
    if (!entry || entry->name != name) continue;
    if (const std::optional<ByteArray> data = view.Data(i, *entry)) TakeData(entry->type, *data, value);
    return static_cast<std::int32_t>(entry->type);
  }
  return 0;
}

std::vector<NamedValue> cRegistry::ReadAllValues(HKEY root, const std::string& key) {
  KeyView view(*this, root, key);
  std::vector<NamedValue> values;
  for (std::uint32_t i = 0; view.Has(i, view.info().values); ++i) {
    const std::optional<ValueEntry> entry = view.Value(i);
    if (!entry) continue;
    NamedValue& read = values.emplace_back(NamedValue{entry->name, {}});
    if (const std::optional<ByteArray> data = view.Data(i, *entry)) TakeData(entry->type, *data, read.value);
  }
  return values;
}

std::int32_t cRegistry::ListSubKeys(HKEY root, const std::string& key, std::vector<std::string>& names) {
  KeyView view(*this, root, key);
  // Collected apart from `names`, because `key` may be one of its elements.
  std::vector<std::string> listed(1, key);
  for (std::uint32_t i = 0; view.Has(i, view.info().subkeys); ++i)
    listed.push_back(view.Subkey(i).value_or(""));
  // The result counts the entries reported, so the list has as many names even if the enumeration ended
  // early.
  listed.resize(1 + std::size_t{view.info().subkeys});
  names = std::move(listed);
  return static_cast<std::int32_t>(view.info().subkeys);
}

/// As ListSubKeys does it: the reported number of names, in the order of the enumeration.
std::int32_t cRegistry::ListValues(HKEY root, const std::string& key, std::vector<std::string>& names) {
  KeyView view(*this, root, key);
  std::vector<std::string> listed(1, key);
  for (std::uint32_t i = 0; view.Has(i, view.info().values); ++i)
    listed.push_back(view.Value(i).value_or(ValueEntry{}).name);
  listed.resize(1 + std::size_t{view.info().values});
  names = std::move(listed);
  return static_cast<std::int32_t>(view.info().values);
}

std::string cRegistry::ExportKey(HKEY root, const std::string& key, bool recursive) {
  std::string text;
  // The block closes this key before its subkeys are opened, so that a deep tree needs only one handle.
  {
    KeyView view(*this, root, key);
    if (!view.open()) return {};
    text = "\r\n[" + RootName(root) + (key.empty() ? "" : "\\" + key) + "]\r\n";
    for (std::uint32_t i = 0; view.Has(i, view.info().values); ++i) {
      const std::optional<ValueEntry> entry = view.Value(i);
      const std::optional<ByteArray> data = entry ? view.Data(i, *entry) : std::nullopt;
      if (!data) continue;
      text += entry->name.empty() ? "@=" : "\"" + entry->name + "\"=";
      text += ExportData(entry->type, *data);
    }
  }
  return recursive ? text + ExportSubKeys(root, key, recursive) : text;
}

std::string cRegistry::ExportSubKeys(HKEY root, const std::string& key, bool recursive) {
  std::vector<std::string> names;
  ListSubKeys(root, key, names);
  const std::string prefix = names[0].empty() ? "" : names[0] + "\\";
  std::string text;
  for (std::size_t i = 1; i < names.size(); ++i) {
    // A name that couldn't be read would export this key again, without end.
    if (!names[i].empty()) text += ExportKey(root, prefix + names[i], recursive);
  }
  return text;
}

std::string cRegistry::RootName(HKEY root) {
  return IsRootKey(root) ? std::string(kRootKeyNames[root - HKEY_CLASSES_ROOT]) : std::string();
}

}  // namespace halden
