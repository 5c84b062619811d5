#include "backends/registry/registry_text.h"

#include <algorithm>
#include <charconv>

#include "backends/text/characters.h"
#include "platform/hex_text.h"

namespace halden {
namespace {

constexpr std::string_view kHeader = "REGEDIT4";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\r";
constexpr std::size_t kBytesInLine = 25;

bool IsControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

bool IsWellFormed(std::string_view utf8) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  while (!utf8.empty()) {
    const bool replacement = utf8.starts_with(kReplacement);
    if (TakeCharacter(&utf8) == 0xFFFD && !replacement) return false;
  }
  return true;
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (IsControl(c)) {
      quoted += "\\x" + HexText(static_cast<unsigned char>(c), 2);
      continue;
    }
    if (c == '\\' || c == '"') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

std::string HexBytes(std::string_view data) {
  std::string text;
  for (std::size_t i = 0; i < data.size(); ++i) {
    if (i) text += i % kBytesInLine ? "," : ",\\\n  ";
    text += HexText(static_cast<unsigned char>(data[i]), 2);
  }
  return text;
}

/// Whether `text` can be written in quotes. A user can edit hex data into a REG_SZ value that isn't UTF-8.
bool IsPlain(const std::string& text) {
  return std::none_of(text.begin(), text.end(), IsControl) && IsWellFormed(text);
}

std::string FormatData(const RegistryValue& value) {
  const std::string& data = value.data;
  if (value.type == REG_SZ && IsPlain(data)) return Quoted(data);
  if (value.type == REG_BINARY) return "hex:" + HexBytes(data);
  if (value.type != REG_DWORD || data.size() != 4) {
    char number[8];
    const char* end = std::to_chars(number, number + sizeof number, value.type, 16).ptr;
    return "hex(" + std::string(number, end - number) + "):" + HexBytes(data);
  }
  std::uint32_t number = 0;
  for (int i = 3; i >= 0; --i) number = number << 8 | static_cast<unsigned char>(data[i]);
  return "dword:" + HexText(number, 8);
}

void AppendSection(std::string& text, const std::string& path, const RegistryNode& node) {
  text += "\n[" + path + "]\n";
  for (const RegistryValue& value : node.values)
    text += (value.name.empty() ? "@" : Quoted(value.name)) + "=" + FormatData(value) + "\n";
  for (const RegistryNode& subkey : node.subkeys) AppendSection(text, path + "\\" + subkey.name, subkey);
}

/// Removes `prefix` from the front of `text`. False if `text` doesn't start with it.
bool Take(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Removes a hexadecimal number of 1 to `most` digits from the front of `text`. False if there is none.
bool TakeHex(std::string_view& text, std::size_t most, std::uint32_t* number) {
  const char* end = text.data() + std::min(most, text.size());
  const auto [behind, error] = std::from_chars(text.data(), end, *number, 16);
  if (error != std::errc()) return false;
  text.remove_prefix(behind - text.data());
  return true;
}

bool TakeQuoted(std::string_view& text, std::string* unquoted) {
  if (!Take(text, "\"")) return false;
  while (!text.empty()) {
    const char c = text.front();
    text.remove_prefix(1);
    if (c == '"') return true;
    std::uint32_t control = 0;
    if (c != '\\') {
      *unquoted += c;
    } else if (text.starts_with('\\') || text.starts_with('"')) {
      *unquoted += text.front();
      text.remove_prefix(1);
    } else if (Take(text, "x") && TakeHex(text, 2, &control) && IsControl(static_cast<char>(control))) {
      *unquoted += static_cast<char>(control);
    } else {
      return false;
    }
  }
  return false;
}

bool ParseHexBytes(std::string_view text, std::string* data) {
  text = Trimmed(text);
  if (text.empty()) return true;
  for (;;) {
    std::uint32_t byte = 0;
    if (!TakeHex(text, 2, &byte)) return false;
    *data += static_cast<char>(byte);
    text = Trimmed(text);
    if (text.empty()) return true;
    if (!Take(text, ",")) return false;
    text = Trimmed(text);
  }
}

bool ParseData(std::string_view text, RegistryValue* value) {
  if (text.starts_with('"')) {
    value->type = REG_SZ;
    return TakeQuoted(text, &value->data) && text.empty();
  }
  if (Take(text, "dword:")) {
    std::uint32_t number = 0;
    value->type = REG_DWORD;
    // A file cut off within the digits must not be read as a smaller number.
    if (text.size() != 8 || !TakeHex(text, 8, &number)) return false;
    for (int shift = 0; shift < 32; shift += 8) value->data += static_cast<char>(number >> shift);
    return text.empty();
  }
  value->type = REG_BINARY;
  const bool any_type = Take(text, "hex(") && TakeHex(text, 8, &value->type) && Take(text, "):");
  return (any_type || Take(text, "hex:")) && ParseHexBytes(text, &value->data);
}

class Parser {
 public:
  explicit Parser(std::string_view text) : rest_(text) {}

  std::optional<RegistryTree> Parse() {
    Take(rest_, kByteOrderMark);
    std::string line;
    bool header = false;
    while (NextLine(&line)) {
      if (!header && line != kHeader) return std::nullopt;
      if (header && !(line.front() == '[' ? ParseSection(line) : ParseValue(line))) return std::nullopt;
      header = true;
    }
    for (HKEY root = HKEY_CLASSES_ROOT; IsRootKey(root); ++root) tree_.Root(root).SortSubkeys();
    return std::move(tree_);
  }

 private:
  /// Reads the next line that isn't blank or a comment, joined with its continuation lines. False at the end.
  bool NextLine(std::string* line) {
    line->clear();
    while (!rest_.empty()) {
      std::string_view part = Trimmed(rest_.substr(0, rest_.find('\n')));
      rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size() - 1) + 1);
      if (line->empty() && part.starts_with(';')) continue;
      const bool continues = part.ends_with(",\\");
      if (continues) part.remove_suffix(1);
      *line += part;
      if (!continues && !line->empty()) return true;
    }
    return !line->empty();
  }

  bool ParseSection(std::string_view line) {
    if (!line.ends_with(']')) return false;
    line = line.substr(1, line.size() - 2);
    const std::string_view root_name = line.substr(0, line.find('\\'));
    const auto root = std::find(std::begin(kRootKeyNames), std::end(kRootKeyNames), root_name);
    line.remove_prefix(std::min(root_name.size() + 1, line.size()));
    const std::optional<RegistryPath> path = SplitPath(line);
    if (root == std::end(kRootKeyNames) || !path) return false;
    section_ = &tree_.Root(HKEY_CLASSES_ROOT + static_cast<HKEY>(root - std::begin(kRootKeyNames)));
    for (const std::string& name : *path) section_ = &section_->UnsortedSubkey(name);
    return true;
  }

  bool ParseValue(std::string_view line) {
    RegistryValue parsed;
    if (!section_ || !(Take(line, "@") || TakeQuoted(line, &parsed.name))) return false;
    line = Trimmed(line);
    if (!Take(line, "=") || !ParseData(Trimmed(line), &parsed)) return false;
    RegistryValue& value = section_->Value(parsed.name);
    value.type = parsed.type;
    value.data = std::move(parsed.data);
    return true;
  }

  std::string_view rest_;
  RegistryTree tree_;
  RegistryNode* section_ = nullptr;
};

}  // namespace

std::string FormatRegistryText(const RegistryTree& tree) {
  std::string text(kHeader);
  text += '\n';
  HKEY handle = HKEY_CLASSES_ROOT;
  for (const std::string_view name : kRootKeyNames) {
    const RegistryNode& root = tree.Root(handle++);
    if (!root.values.empty() || !root.subkeys.empty()) AppendSection(text, std::string(name), root);
  }
  return text;
}

std::optional<RegistryTree> ParseRegistryText(std::string_view text) {
  return IsWellFormed(text) ? Parser(text).Parse() : std::nullopt;
}

}  // namespace halden
