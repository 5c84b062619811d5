#include "backends/linux/serial/stored_line_settings.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace halden {
namespace {

constexpr char kKey[] = "Ports";
constexpr std::string_view kParities = "NOEMS";
constexpr std::string_view kStopBits[] = {"1", "1.5", "2"};

std::string TextOf(const Dcb& line) {
  return std::to_string(line.BaudRate) + "," + kParities[line.Parity] + "," + std::to_string(line.ByteSize) +
         "," + std::string(kStopBits[line.StopBits]);
}

bool IsLine(const Dcb& line) {
  return line.BaudRate > 0 && line.Parity < kParities.size() && line.StopBits < std::size(kStopBits) &&
         line.ByteSize >= 4 && line.ByteSize <= 8;
}

/// A text like "230400,N,8,1".
std::optional<Dcb> LineOf(std::string_view text) {
  Dcb line;
  const char* const end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, line.BaudRate);
  text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
  if (failure != std::errc() || text.size() < 6 || text[0] != ',' || text[2] != ',' || text[4] != ',')
    return std::nullopt;
  const auto stop = std::find(std::begin(kStopBits), std::end(kStopBits), text.substr(5));
  line.Parity = static_cast<std::uint8_t>(std::min(kParities.find(text[1]), kParities.size()));
  line.ByteSize = static_cast<std::uint8_t>(text[3] - '0');
  line.StopBits = static_cast<std::uint8_t>(stop - std::begin(kStopBits));
  if (!IsLine(line)) return std::nullopt;
  return line;
}

}  // namespace

std::optional<Dcb> StoredLineSettings::Find(const std::string& serial) {
  HKEY key = 0;
  if (registry_.RegOpenKeyExA(HKEY_CURRENT_USER, kKey, KEY_QUERY_VALUE, &key)) return std::nullopt;
  char text[64];
  std::uint32_t size = sizeof text;
  std::uint32_t type = 0;
  const std::int32_t result = registry_.RegQueryValueExA(key, serial, &type, text, &size);
  registry_.RegCloseKey(key);
  if (result || type != REG_SZ) return std::nullopt;
  return LineOf(std::string_view(text, std::find(text, text + size, '\0')));
}

bool StoredLineSettings::Keep(const std::string& serial, const Dcb& line) {
  HKEY key = 0;
  if (!IsLine(line) || registry_.RegCreateKeyExA(HKEY_CURRENT_USER, kKey, KEY_WRITE, &key)) return false;
  const std::string text = TextOf(line);
  const auto size = static_cast<std::uint32_t>(text.size());
  const std::int32_t result = registry_.RegSetValueExA(key, serial, REG_SZ, text.data(), size);
  registry_.RegCloseKey(key);
  return result == ERROR_SUCCESS;
}

std::string StoredLineSettingsFile(const std::string& registry_file) {
  const std::filesystem::path file = registry_file;
  const std::string name = file.stem().string() + "-ports" + file.extension().string();
  return file.parent_path() / name;
}

}  // namespace halden
