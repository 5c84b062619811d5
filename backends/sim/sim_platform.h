#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "backends/devices/emulated_d2xx.h"
#include "backends/devices/paced_device.h"
#include "backends/registry/registry_base.h"
#include "backends/sim/virtual_clock.h"
#include "backends/text/common_texts.h"
#include "backends/text/fixed_number_rules.h"
#include "backends/toolkit/scripted_toolkit.h"
#include "platform/platform.h"

namespace halden {

/// The properties of a simulated system, apart from its devices.
struct SimOptions {
  FixedNumberRules number_rules = FixedNumberRules::Point();
  TextLanguage language = TextLanguage::kEnglish;
  std::uint16_t system_language = 0x0409;
  std::uint32_t start_tick = 0;  ///< near 2^32, the tick count wraps soon
};

/// A whole system in memory on a virtual clock, with simulated and replayed devices. Its user follows the
/// toolkit's script, and its registry is lost with the object. Objects share nothing, so tests can run side
/// by side.
class SimPlatform {
 public:
  /// `devices` are --device options of the kinds "sim" and "replay", in listing order. Throws
  /// std::invalid_argument for any other or a malformed one.
  explicit SimPlatform(const std::vector<std::string>& devices, const SimOptions& options = {});
  SimPlatform(const SimPlatform&) = delete;
  SimPlatform& operator=(const SimPlatform&) = delete;

  Platform& platform() { return platform_; }
  VirtualClock& clock() { return clock_; }
  EmulatedD2xx& library() { return library_; }
  MemoryRegistry& registry() { return registry_; }
  ScriptedToolkit& toolkit() { return toolkit_; }
  /// Assign other rules at any time, to simulate a change of the system's settings.
  FixedNumberRules& number_rules() { return options_.number_rules; }
  /// The device of the option at `index`; valid as long as this object.
  PacedDevice& device(std::size_t index) { return *devices_.at(index).device; }
  /// The calls of that device, in the form of PacedDevice::LogCallsTo.
  const std::vector<std::string>& calls(std::size_t index) const { return devices_.at(index).calls; }

 private:
  struct SimulatedDevice {
    PacedDevice* device = nullptr;  // owned by library_
    std::vector<std::string> calls;
  };

  std::vector<std::unique_ptr<Device>> MakeDevices(const std::vector<std::string>& options);

  SimOptions options_;
  VirtualClock clock_;
  std::vector<SimulatedDevice> devices_;
  EmulatedD2xx library_;
  MemoryRegistry registry_;
  CommonTexts texts_;
  ScriptedToolkit toolkit_;
  Platform platform_;
};

}  // namespace halden
