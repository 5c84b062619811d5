#include "backends/sim/sim_platform.h"

#include <stdexcept>

#include "backends/devices/device_options.h"

namespace halden {

SimPlatform::SimPlatform(const std::vector<std::string>& devices, const SimOptions& options)
    : options_(options),
      clock_(options.start_tick),
      devices_(devices.size()),
      library_(MakeDevices(devices)),
      registry_(options_.number_rules),
      texts_(options_.language, options_.system_language),
      toolkit_(clock_),
      platform_{library_, library_, registry_, clock_, options_.number_rules, texts_, toolkit_} {}

std::vector<std::unique_ptr<Device>> SimPlatform::MakeDevices(const std::vector<std::string>& options) {
  std::vector<std::unique_ptr<Device>> made;
  for (const std::string& text : options) {
    std::string error;
    const std::optional<DeviceOption> option = ParseDeviceOption(text, &error);
    const int number = static_cast<int>(made.size()) + 1;
    std::unique_ptr<Device> device = option ? MakeDevice(*option, number, clock_, &error) : nullptr;
    if (device == nullptr) throw std::invalid_argument(error);
    SimulatedDevice& simulated = devices_[made.size()];
    simulated.device = &dynamic_cast<PacedDevice&>(*device);
    simulated.device->LogCallsTo(&simulated.calls);
    made.push_back(std::move(device));
  }
  return made;
}

}  // namespace halden
