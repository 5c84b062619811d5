#include "driver/inspect.h"
#include "host/commands.h"
#include "host/json.h"
#include "host/session.h"
#include "host/terminal.h"

namespace halden::host {
namespace {

std::string Json(const std::vector<ListedDevice>& devices, const std::vector<std::string>& failures) {
  std::string list;
  for (std::size_t i = 0; i < devices.size(); ++i) {
    const ListedDevice& device = devices[i];
    JsonObject object;
    object.Raw("place", std::to_string(i))
        .Text("port", device.com_name)
        .Text("chip", device.chip)
        .Text("serial", device.serial)
        .Text("description", device.description)
        .Text("line", device.line)
        .Flag("line_is_fallback", device.line_is_fallback);
    if (i < failures.size()) object.Text("failure", failures[i]);
    list += (i ? ", " : "") + object.Close();
  }
  return JsonObject().Raw("devices", "[" + list + "]").Close() + "\n";
}

std::string Row(std::size_t place, const ListedDevice& device, const std::string& failure) {
  const bool open = !device.com_name.empty();
  std::string row = std::to_string(place) + "  " + (open ? device.com_name : "-") + "  " + device.chip +
                    "  " + device.serial + "  \"" + device.description + "\"  ";
  if (!open) return row + (failure.empty() ? "could not be opened" : failure) + "\n";
  return row + device.line + (device.line_is_fallback ? " (the port has no settings of its own)" : "") + "\n";
}

}  // namespace

int Print(const std::string& text, Progress& progress) {
  Output output("-");
  output.Write(text);
  output.Close();
  if (output.Failure().empty()) return kDone;
  progress.Fail(output.Failure());
  return kRefused;
}

int RunDevices(Machine& machine, const Arguments& arguments, Progress& progress) {
  const auto devices = ListDevices(machine.platform());
  const auto failures = machine.OpenFailures();
  if (arguments.json) return Print(Json(devices, failures), progress);
  if (devices.empty()) return Print("no devices\n", progress);
  std::string rows;
  for (std::size_t i = 0; i < devices.size(); ++i) {
    rows += Row(i, devices[i], i < failures.size() ? failures[i] : "");
  }
  return Print(rows, progress);
}

int RunMonitor(Machine& machine, const Arguments&, Progress& progress) {
  if (!InputIsTerminal() || !OutputIsTerminal()) {
    progress.Fail("monitor needs a terminal to show the window on");
    return kRefused;
  }
  Session session(machine);
  if (!session.Detect(progress)) return kRefused;
  session.Adc().ShowSetting();
  return kDone;
}

int RunSettings(Machine& machine, const Arguments& arguments, Progress& progress) {
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
  for (const auto& [name, text] : settings) {
    object.Text(name, text);
    rows += (name.empty() ? "(label)" : name) + ": " + text + "\n";
  }
  if (arguments.json) return Print(object.Close() + "\n", progress);
  return Print(rows.empty() ? "nothing is stored yet\n" : rows, progress);
}

}  // namespace halden::host
