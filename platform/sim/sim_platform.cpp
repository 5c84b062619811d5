#include "platform/sim/sim_platform.h"

#include <stdexcept>

#include "platform/devices/device_options.h"

namespace halden {

namespace {

/// A registry that is empty and can't be written.
class NoRegistry final : public RegistryApi {
 public:
  std::int32_t RegOpenKeyExA(HKEY, const std::string&, std::uint32_t, HKEY*) override {
    return ERROR_FILE_NOT_FOUND;
  }
  std::int32_t RegCreateKeyExA(HKEY, const std::string&, std::uint32_t, HKEY*) override {
    return ERROR_ACCESS_DENIED;
  }
  std::int32_t RegCloseKey(HKEY) override { return ERROR_SUCCESS; }
  std::int32_t RegQueryValueExA(HKEY, const std::string&, std::uint32_t*, void*, std::uint32_t*) override {
    return ERROR_FILE_NOT_FOUND;
  }
  std::int32_t RegSetValueExA(HKEY, const std::string&, std::uint32_t, const void*, std::uint32_t) override {
    return ERROR_ACCESS_DENIED;
  }
  std::int32_t RegDeleteKeyA(HKEY, const std::string&) override { return ERROR_FILE_NOT_FOUND; }
  std::int32_t RegDeleteValueA(HKEY, const std::string&) override { return ERROR_FILE_NOT_FOUND; }
  std::int32_t RegQueryInfoKeyA(HKEY, RegKeyInfo* info) override {
    *info = {};
    return ERROR_SUCCESS;
  }
  std::int32_t RegEnumKeyExA(HKEY, std::uint32_t, char*, std::uint32_t*) override {
    return ERROR_NO_MORE_ITEMS;
  }
  std::int32_t RegEnumValueA(HKEY, std::uint32_t, char*, std::uint32_t*, std::uint32_t*, void*,
                             std::uint32_t*) override {
    return ERROR_NO_MORE_ITEMS;
  }
};

/// A system without a screen.
class NoToolkit final : public Toolkit {
 public:
  bool CanShow() const override { return false; }
  std::unique_ptr<Window> NewWindow(WindowSpec) override { return nullptr; }
  void ShowMessage(const std::string&, const std::string&, MessageIcon) override {}
  void SetPointer(Pointer) override {}
};

}  // namespace

SimPlatform::SimPlatform(const std::vector<std::string>& devices, SimMachine machine)
    : machine_(machine),
      clock_(machine.start_tick),
      devices_(devices.size()),
      library_(MakeDevices(devices)),
      registry_(std::make_unique<NoRegistry>()),
      texts_(machine.language, machine.system_language),
      toolkit_(std::make_unique<NoToolkit>()),
      platform_{library_, library_, *registry_, clock_, machine_.number_rules, texts_, *toolkit_} {}

SimPlatform::~SimPlatform() = default;

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
