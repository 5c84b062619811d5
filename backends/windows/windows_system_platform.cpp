#include <variant>

#include "backends/devices/device_options.h"
#include "backends/devices/emulated_d2xx.h"
#include "backends/registry/registry_base.h"
#include "backends/system_platform.h"
#include "backends/text/common_texts.h"
#include "backends/windows/windows_platform.h"

// After ours, whose names are macros there.
#include <windows.h>

// The platform of programs that don't use the component but the C library.

namespace halden {
namespace {

using Devices = std::vector<std::unique_ptr<Device>>;

/// The module that this code is a part of, which stays loaded as long as the code runs.
HMODULE OwnModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCWSTR>(&OwnModule), &module);
  return module;
}

TextLanguage UserLanguage() {
  return PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_RUSSIAN ? TextLanguage::kRussian
                                                                   : TextLanguage::kEnglish;
}

/// What the platforms with the vendor's devices and with simulated ones share.
class UserPlatform : public SystemPlatform {
 public:
  explicit UserPlatform(const SystemPlatformOptions& options)
      : answering_(screen_, clock_, number_rules_, options.answer, options.cancel),
        stores_nothing_(!options.registry_file.empty()) {}

  void HoldDialogBack(bool hold) override { answering_.HoldDialogBack(hold); }

 protected:
  RegistryApi& registry() {
    if (stores_nothing_) return memory_;
    return registry_;
  }

  Win32Clock clock_;
  Win32NumberRules number_rules_;
  CommonTexts texts_{UserLanguage(), GetSystemDefaultLangID()};
  Win32Toolkit screen_{OwnModule()};
  AnsweringToolkit answering_;

 private:
  const bool stores_nothing_;
  Win32Registry registry_;
  MemoryRegistry memory_{number_rules_};
};

/// The chips that the vendor's library lists.
class VendorPlatform final : public UserPlatform {
 public:
  using UserPlatform::UserPlatform;

  Platform& platform() override { return platform_; }
  std::vector<std::string> OpenFailures() const override { return {}; }
  bool HasEnded(std::int32_t) const override { return false; }

 private:
  ImportedD2xx d2xx_;
  Win32CommConfig comm_config_;
  Platform platform_{d2xx_, comm_config_, registry(), clock_, number_rules_, texts_, answering_};
};

/// Simulated and replayed devices.
class EmulatedPlatform final : public UserPlatform {
 public:
  using UserPlatform::UserPlatform;

  /// Makes the devices; false if an option is wrong.
  bool Make(const std::vector<DeviceOption>& options, std::string* error) {
    Devices devices;
    for (const DeviceOption& option : options) {
      auto device = MakeDevice(option, static_cast<int>(devices.size()) + 1, clock_, error);
      if (!device) return false;
      devices.push_back(std::move(device));
    }
    library_.emplace(std::move(devices));
    platform_.emplace(Platform{*library_, *library_, registry(), clock_, number_rules_, texts_, answering_});
    return true;
  }

  Platform& platform() override { return *platform_; }
  std::vector<std::string> OpenFailures() const override { return library_->OpenFailures(); }
  bool HasEnded(std::int32_t place) const override { return library_->HasEnded(place); }

 private:
  std::optional<EmulatedD2xx> library_;
  std::optional<Platform> platform_;
};

}  // namespace

std::unique_ptr<SystemPlatform> OpenSystemPlatform(const SystemPlatformOptions& options, std::string* error) {
  if (!options.registry_file.empty() && options.registry_file != "NUL" && options.registry_file != "nul") {
    *error = "settings are stored in the system's registry, and with the registry file NUL nowhere; " +
             options.registry_file + " can't be used";
    return nullptr;
  }
  std::vector<DeviceOption> devices;
  std::size_t vendors = 0;
  for (const std::string& text : options.devices) {
    const auto option = ParseDeviceOption(text, error);
    if (!option) return nullptr;
    if (std::holds_alternative<SerialDeviceSettings>(*option) ||
        std::holds_alternative<KernelDeviceSettings>(*option)) {
      *error = "--device " + text + ": only on Linux; allowed here are d2xx, sim and replay";
      return nullptr;
    }
    vendors += std::holds_alternative<VendorDevices>(*option);
    devices.push_back(*option);
  }
  if (vendors > 0 && vendors < devices.size()) {
    *error = "--device d2xx: can't be combined with simulated or replayed devices";
    return nullptr;
  }
  if (vendors > 0) return std::make_unique<VendorPlatform>(options);
  if (devices.empty()) devices.push_back(SimDeviceSettings());
  auto platform = std::make_unique<EmulatedPlatform>(options);
  if (!platform->Make(devices, error)) return nullptr;
  return platform;
}

std::unique_ptr<NumberRules> UserNumberRules() {
  return std::make_unique<Win32NumberRules>();
}

}  // namespace halden
