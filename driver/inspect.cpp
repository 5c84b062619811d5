#include "driver/inspect.h"

#include "link/cFTDI.h"
#include "link/port_table.h"
#include "model/Halden_Text.h"
#include "platform/hex_text.h"
#include "settings/driver_settings.h"

namespace halden {
namespace {

/// Fills in what the operating system knows about COM`number`, the port of an open device.
void DescribePort(Platform& platform, std::int32_t number, ListedDevice& device) {
  tPortInfo row;
  NamePort(row, number);
  device.line_is_fallback = !GetPortConfig(platform.comm_config, row);
  device.com_name = row.Name;
  device.line = row.ConfigText;
}

std::string SettingsKey() {
  return DriverSettings::KeyOf(Halden_Text::DriverName());
}

/// One line on the registry's last failure. Empty after a success, and if the key doesn't exist yet or the
/// enumeration has just reached its end.
std::string ErrorOf(cRegistry& registry) {
  const std::int32_t code = registry.ErrorCode();
  if (code == ERROR_SUCCESS || code == ERROR_FILE_NOT_FOUND || code == ERROR_NO_MORE_ITEMS) return "";
  const std::string text = registry.ErrorText();
  return "the registry can't be read: " + (text.empty() ? "error " + std::to_string(code) : text);
}

/// {0, 10, 255} -> "00 0a ff"
std::string Hexadecimal(const ByteArray& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    text += HexText(byte, 2);
  }
  return text;
}

/// A stored value as text, still in the ANSI code page. The registry knows the rate only as a number, so it
/// is recognised by its name and read as a float:
///   RateFixed    dword 41200000h     -> "10", 10.0f   (not "1092616192")
///   ChannelFixed dword 4             -> "4", 4
///   bytes        {0, 10, 255}        -> "00 0a ff"
/// Everything else is tried as a text. What can't be read as one either has an empty text.
StoredSetting Describe(Platform& platform, cRegistry& registry, const NamedValue& stored) {
  const auto& [name, value] = stored;
  float rate = 0;
  if (name == DriverSettings::kRate && registry.ReadSingle(HKEY_CURRENT_USER, SettingsKey(), name, rate))
    return {name, platform.number_rules.NumberToText(rate, 7), rate};
  if (const auto* number = std::get_if<std::int32_t>(&value)) return {name, std::to_string(*number), *number};
  if (const auto* bytes = std::get_if<ByteArray>(&value)) return {name, Hexadecimal(*bytes)};
  StoredSetting setting{name, ""};
  registry.ReadString(HKEY_CURRENT_USER, SettingsKey(), name, setting.text);
  return setting;
}

}  // namespace

std::vector<ListedDevice> ListDevices(Platform& platform) {
  cFTDI library(platform.d2xx, platform.clock);
  // The destructor of `library` closes the device if an exception leaves the loop.
  std::vector<ListedDevice> devices(static_cast<std::size_t>(library.ListCount()));
  for (std::int32_t index = 0; index < library.ListCount(); ++index) {
    ListedDevice& device = devices[static_cast<std::size_t>(index)];
    device.chip = library.ListTypeName(index);
    device.serial = platform.number_rules.AnsiToUtf8(library.ListSerialNumber(index));
    device.description = platform.number_rules.AnsiToUtf8(library.ListDescription(index));
    if (!library.Open(index)) continue;
    DescribePort(platform, library.ComPortNumber(), device);
    library.Close();
  }
  return devices;
}

std::vector<StoredSetting> DescribeSettings(Platform& platform, std::string* error) {
  cRegistry registry(platform.registry, platform.texts);
  const std::vector<NamedValue> values = registry.ReadAllValues(HKEY_CURRENT_USER, SettingsKey());
  *error = ErrorOf(registry);
  std::vector<StoredSetting> settings;
  for (const NamedValue& value : values) {
    StoredSetting& setting = settings.emplace_back(Describe(platform, registry, value));
    for (std::string* text : {&setting.name, &setting.text}) *text = platform.number_rules.AnsiToUtf8(*text);
  }
  return settings;
}

std::string ExportSettings(Platform& platform, std::string* error) {
  cRegistry registry(platform.registry, platform.texts);
  const std::string text = registry.ExportKey(HKEY_CURRENT_USER, SettingsKey(), true);
  *error = ErrorOf(registry);
  return platform.number_rules.AnsiToUtf8(text);
}

}  // namespace halden
