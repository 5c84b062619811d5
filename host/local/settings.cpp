#include <cmath>

#include "driver/inspect.h"
#include "host/commands.h"
#include "host/decimal_text.h"
#include "host/json.h"

namespace halden::host {

int RunSettings(SystemPlatform& machine, const Arguments& arguments, Progress& progress) {
  std::string error;
  const std::string exported = arguments.export_text ? ExportSettings(machine.platform(), &error) : "";
  const auto settings = DescribeSettings(machine.platform(), &error);
  if (!error.empty()) {
    progress.Fail(error);
    return kRefused;
  }
  if (arguments.export_text) return Print(exported, progress);
  JsonObject object;
  std::string rows;
  for (const auto& [name, text, number] : settings) {
    const auto* const whole = std::get_if<std::int32_t>(&number);
    const auto* const rate = std::get_if<float>(&number);
    if (whole)
      object.Raw(name, std::to_string(*whole));
    else if (rate && std::isfinite(*rate))
      object.Raw(name, Shortest(*rate));
    else
      object.Text(name, text);
    rows += (name.empty() ? "(label)" : name) + ": " + text + "\n";
  }
  if (arguments.json) return Print(object.Close() + "\n", progress);
  return Print(rows.empty() ? "nothing is stored yet\n" : rows, progress);
}

}  // namespace halden::host
