#include <algorithm>
#include <array>

#include "backends/text/characters.h"
#include "driver/inspect.h"
#include "host/commands.h"
#include "host/json.h"
#include "host/printable_text.h"

namespace halden::host {
namespace {

using Row = std::array<std::string, 6>;

Row RowOf(std::size_t place, const ListedDevice& device, const std::string& failure) {
  std::string line = device.line;
  if (device.line_is_fallback) line += " (assumed, those of the port are not known)";
  if (device.com_name.empty()) line = failure.empty() ? "could not be opened" : failure;
  Row row = {std::to_string(place), device.com_name.empty() ? "-" : device.com_name,
             device.chip,           device.serial,
             device.description,    line};
  for (std::string& cell : row) cell = Printable(cell);
  return row;
}

std::size_t Width(const std::string& utf8) {
  return static_cast<std::size_t>(DisplayWidth(DecodeUtf8(utf8)));
}

/// The rows as lines of aligned columns.
std::string Table(const std::vector<Row>& rows) {
  std::array<std::size_t, 6> widths{};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Width(row[i]));
  }
  std::string text;
  for (const Row& row : rows) {
    for (std::size_t i = 0; i + 1 < row.size(); ++i) {
      text += row[i] + std::string(widths[i] - Width(row[i]) + 2, ' ');
    }
    text += row.back() + "\n";
  }
  return text;
}

}  // namespace

int RunDevices(SystemPlatform& system, const Arguments& arguments, Progress& progress) {
  const auto devices = ListDevices(system.platform());
  auto failures = system.OpenFailures();
  failures.resize(devices.size());
  if (arguments.json) return Print(DevicesJson(devices, failures), progress);
  if (devices.empty()) return Print("no devices\n", progress);
  std::vector<Row> rows = {{"Place", "Port", "Chip", "Serial", "Description", "Line settings"}};
  for (std::size_t i = 0; i < devices.size(); ++i) rows.push_back(RowOf(i, devices[i], failures[i]));
  return Print(Table(rows), progress);
}

int RunSettings(SystemPlatform& system, const Arguments& arguments, Progress& progress) {
  std::string error;
  std::string exported;
  std::vector<StoredSetting> settings;
  if (arguments.export_text) {
    exported = ExportSettings(system.platform(), &error);
  } else {
    settings = DescribeSettings(system.platform(), &error);
  }
  if (!error.empty()) {
    // Prefer the notices: they name the file and the reason, which the driver's own error doesn't.
    const auto notices = system.TakeNotices();
    for (const std::string& notice : notices) progress.Fail(notice);
    if (notices.empty()) progress.Fail(error);
    return kRefused;
  }
  if (arguments.export_text) return Print(exported, progress);
  if (arguments.json) return Print(SettingsJson(settings), progress);
  std::string rows;
  for (const auto& [name, text, number] : settings)
    rows += Printable((name.empty() ? "(label)" : name) + ": " + text) + "\n";
  return Print(rows.empty() ? "nothing is stored yet\n" : rows, progress);
}

}  // namespace halden::host
