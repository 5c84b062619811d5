#include "backends/linux/serial/device_sources.h"

#include <utility>
#include <variant>

#include "backends/devices/device_options.h"
#include "backends/linux/serial/serial_device.h"

namespace halden {

bool DeviceSources::Make(const std::vector<std::string>& options, Devices* devices, std::string* error) {
  if (options.empty()) return MakeOf("sim", devices, error);
  for (const std::string& option : options) {
    if (!MakeOf(option, devices, error)) return false;
  }
  return true;
}

bool DeviceSources::MakeOf(const std::string& text, Devices* devices, std::string* error) {
  const auto option = ParseDeviceOption(text, error);
  if (!option) return false;
  if (const auto* tty = std::get_if<SerialDeviceSettings>(&*option)) {
    devices->push_back(std::make_unique<SerialDevice>(SerialPort::At(tty->path, rules_), tty->baud));
    return true;
  }
  if (const auto* kernel = std::get_if<KernelDeviceSettings>(&*option)) {
    if (!kernel_) kernel_.emplace(root_, kernel->baud, rules_, lines_);
    for (auto& device : kernel_->New()) devices->push_back(std::move(device));
    return true;
  }
  if (std::holds_alternative<VendorDevices>(*option)) {
    *error = "--device " + text + ": only on Windows; allowed here are sim, replay, tty and linux";
    return false;
  }
  auto device = MakeDevice(*option, static_cast<int>(devices->size()) + 1, clock_, error);
  if (!device) return false;
  devices->push_back(std::move(device));
  return true;
}

}  // namespace halden
