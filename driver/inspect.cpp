#include "driver/inspect.h"

#include <utility>

#include "link/cFTDI.h"
#include "link/port_table.h"
#include "model/Halden_Text.h"
#include "platform/hex_text.h"
#include "settings/driver_settings.h"

namespace halden {
namespace {

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

/// That there is no key yet is no error.
std::string ErrorOf(cRegistry& registry) {
  const std::int32_t code = registry.ErrorCode();
  if (code == ERROR_SUCCESS || code == ERROR_FILE_NOT_FOUND || code == ERROR_NO_MORE_ITEMS) return "";
  const std::string text = registry.ErrorText();
  return "the registry can't be read: " + (text.empty() ? "error " + std::to_string(code) : text);
}

std::string Hexadecimal(const ByteArray& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    text += HexText(byte, 2);
  }
  return text;
}

/// Texts are still in the ANSI code page. The rate is kept as a number that has its bits, everything else as
/// what it is.
StoredSetting Describe(Platform& platform, cRegistry& registry, const std::string& name) {
  float rate = 0;
  if (name == DriverSettings::kRate && registry.ReadSingle(HKEY_CURRENT_USER, SettingsKey(), name, rate))
    return {name, platform.number_rules.NumberToText(rate, 7), rate};
  AnyValue value;
  registry.ReadAnyValue(HKEY_CURRENT_USER, SettingsKey(), name, value);
  if (const auto* number = std::get_if<std::int32_t>(&value)) return {name, std::to_string(*number), *number};
  if (const auto* bytes = std::get_if<ByteArray>(&value)) return {name, Hexadecimal(*bytes)};
  StoredSetting setting{name, ""};
  registry.ReadString(HKEY_CURRENT_USER, SettingsKey(), name, setting.text);
  return setting;
}

}  // namespace

std::vector<ListedDevice> ListDevices(Platform& platform) {
  cFTDI library(platform.d2xx, platform.clock);
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
  std::vector<std::string> names;
  registry.ListValues(HKEY_CURRENT_USER, SettingsKey(), names);
  *error = ErrorOf(registry);
  std::vector<StoredSetting> settings;
  bool labelled = false;
  for (std::size_t i = 1; i < names.size(); ++i) {
    // The label has no name, and a name that can't be read is empty too.
    if (names[i].empty() && std::exchange(labelled, true)) continue;
    StoredSetting& setting = settings.emplace_back(Describe(platform, registry, names[i]));
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
