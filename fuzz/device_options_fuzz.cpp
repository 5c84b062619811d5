// The input is a --device option. It must be parsed or refused with a reason. A port's option that
// is written again from what was parsed must mean the same.

#include <string>

#include "backends/devices/device_options.h"
#include "fuzz/choices.h"

namespace halden {
namespace {

std::string Write(const std::string& kind, const PortSettings& settings) {
  static const char* const kEnds[] = {"cr", "lf"};
  return kind + (settings.baud ? ",baud=" + std::to_string(*settings.baud) : "") +
         ",eol=" + kEnds[settings.line_end == LineEnd::kLf];
}

std::string Write(const DeviceOption& option) {
  if (const auto* serial = std::get_if<SerialDeviceSettings>(&option))
    return Write("tty:" + serial->path, *serial);
  if (const auto* kernel = std::get_if<KernelDeviceSettings>(&option)) return Write("linux", *kernel);
  return "";
}

void Run(const std::string& text) {
  std::string error;
  const auto option = ParseDeviceOption(text, &error);
  Demand(option.has_value() == error.empty(), "the result is either an option or an error");
  if (!option) return;
  if (const auto* sim = std::get_if<SimDeviceSettings>(&*option))
    Demand(sim->columns >= 1 && sim->rate > 0, "a simulated device has columns and a rate");
  const std::string written = Write(*option);
  if (written.empty()) return;
  const auto again = ParseDeviceOption(written, &error);
  Demand(again && Write(*again) == written, "an option that is written again means the same");
}

}  // namespace
}  // namespace halden

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  halden::Run({reinterpret_cast<const char*>(data), size});
  return 0;
}
