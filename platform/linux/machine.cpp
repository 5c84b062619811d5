#include "platform/machine.h"

#include <cstdlib>
#include <utility>
#include <variant>

#include "platform/common_texts.h"
#include "platform/devices/device_library.h"
#include "platform/devices/device_options.h"
#include "platform/linux/file_registry.h"
#include "platform/linux/kernel_devices.h"
#include "platform/linux/linux_clock.h"
#include "platform/linux/locale_number_rules.h"
#include "platform/linux/port_properties.h"
#include "platform/linux/terminal_toolkit.h"
#include "platform/linux/tty_device.h"
#include "platform/linux/tty_terminal.h"
#include "platform/toolkit/answering_toolkit.h"

namespace halden {
namespace {

using Devices = std::vector<std::unique_ptr<Device>>;

bool AddDevices(const std::string& text, Clock& clock, Devices* devices, std::string* error) {
  const auto option = ParseDeviceOption(text, error);
  if (!option) return false;
  if (const auto* tty = std::get_if<TtySettings>(&*option)) {
    devices->push_back(std::make_unique<TtyDevice>(tty->path, tty->baud));
    return true;
  }
  if (std::holds_alternative<KernelDevices>(*option)) {
    for (const std::string& name : ListFtdiTtys())
      devices->push_back(std::make_unique<TtyDevice>("/dev/" + name));
    return true;
  }
  if (std::holds_alternative<VendorDevices>(*option)) {
    *error = "--device " + text + ": only on Windows; allowed here are sim, replay, tty and linux";
    return false;
  }
  auto device = MakeDevice(*option, static_cast<int>(devices->size()) + 1, clock, error);
  if (!device) return false;
  devices->push_back(std::move(device));
  return true;
}

bool MakeDevices(const std::vector<std::string>& options, Clock& clock, Devices* devices,
                 std::string* error) {
  if (options.empty()) return AddDevices("sim", clock, devices, error);
  for (const std::string& option : options) {
    if (!AddDevices(option, clock, devices, error)) return false;
  }
  return true;
}

TextLanguage LanguageOf(const LocaleEnvironment& environment) {
  return MessageLanguage(environment) == kRussianLanguage ? TextLanguage::kRussian : TextLanguage::kEnglish;
}

std::string RegistryFileOf(const MachineOptions& options) {
  return options.registry_file.empty() ? DefaultRegistryFile(std::getenv) : options.registry_file;
}

class LinuxMachine : public Machine {
 public:
  LinuxMachine(std::unique_ptr<LinuxClock> clock, Devices devices, const LocaleEnvironment& environment,
               const MachineOptions& options)
      : clock_(std::move(clock)),
        library_(std::move(devices)),
        number_rules_(LocaleNumberRules(environment)),
        registry_(RegistryFileOf(options), number_rules_),
        texts_(LanguageOf(environment), MessageLanguage(environment)),
        screen_(terminal_, *clock_, LanguageOf(environment)),
        answering_(screen_, *clock_, number_rules_, options.answer),
        platform_{library_, library_, registry_, *clock_, number_rules_, texts_, ToolkitFor(options)} {
    library_.SetLineDialog([this, language = LanguageOf(environment)](const std::string& port, Dcb* line) {
      return EditPortProperties(screen_, language, port, line);
    });
  }

  Platform& platform() override { return platform_; }
  std::vector<std::string> OpenFailures() const override { return library_.OpenFailures(); }

 private:
  Toolkit& ToolkitFor(const MachineOptions& options) {
    if (options.answer || options.cancel) return answering_;
    return screen_;
  }

  std::unique_ptr<LinuxClock> clock_;
  DeviceLibrary library_;
  FixedNumberRules number_rules_;
  FileRegistry registry_;
  CommonTexts texts_;
  TtyTerminal terminal_;
  TerminalToolkit screen_;
  AnsweringToolkit answering_;
  Platform platform_;
};

}  // namespace

std::unique_ptr<Machine> OpenMachine(const MachineOptions& options, std::string* error) {
  auto clock = std::make_unique<LinuxClock>();
  Devices devices;
  if (!MakeDevices(options.devices, *clock, &devices, error)) return nullptr;
  return std::make_unique<LinuxMachine>(std::move(clock), std::move(devices), LocaleEnvironment::OfProcess(),
                                        options);
}

}  // namespace halden
