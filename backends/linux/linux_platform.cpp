#include <cstdlib>
#include <utility>

#include "backends/devices/emulated_d2xx.h"
#include "backends/linux/linux_clock.h"
#include "backends/linux/locale_number_rules.h"
#include "backends/linux/registry/file_registry.h"
#include "backends/linux/serial/device_sources.h"
#include "backends/linux/terminal/port_properties.h"
#include "backends/linux/terminal/posix_terminal.h"
#include "backends/linux/terminal/terminal_toolkit.h"
#include "backends/system_platform.h"
#include "backends/text/common_texts.h"
#include "backends/toolkit/answering_toolkit.h"

namespace halden {
namespace {

TextLanguage LanguageOf(const LocaleEnvironment& environment) {
  return MessageLanguage(environment) == kRussianLanguage ? TextLanguage::kRussian : TextLanguage::kEnglish;
}

std::string RegistryFileOf(const SystemPlatformOptions& options) {
  return options.registry_file.empty() ? DefaultRegistryFile(std::getenv) : options.registry_file;
}

/// What devices are made of, before there is a library of them.
struct DeviceGround {
  DeviceGround(const LocaleEnvironment& environment, const SystemPlatformOptions& options)
      : number_rules(LocaleNumberRules(environment)),
        sources(clock, number_rules, StoredLineSettingsFile(RegistryFileOf(options)), options.system_root) {}

  LinuxClock clock;
  FixedNumberRules number_rules;
  DeviceSources sources;
};

class LinuxPlatform : public SystemPlatform {
 public:
  LinuxPlatform(std::unique_ptr<DeviceGround> ground, DeviceSources::Devices devices,
                const LocaleEnvironment& environment, const SystemPlatformOptions& options)
      : ground_(std::move(ground)),
        library_(std::move(devices), [this] { return ground_->sources.MakeNew(); }),
        registry_(RegistryFileOf(options), ground_->number_rules),
        texts_(LanguageOf(environment), MessageLanguage(environment)),
        screen_(terminal_, ground_->clock, LanguageOf(environment)),
        answering_(screen_, ground_->clock, ground_->number_rules, options.answer),
        platform_{library_, library_,           registry_, ground_->clock, ground_->number_rules,
                  texts_,   ToolkitFor(options)} {
    library_.SetLineSettingsDialog(
        [this, language = LanguageOf(environment)](const std::string& port, Dcb* line) {
          return EditPortProperties(screen_, language, port, line);
        });
  }

  Platform& platform() override { return platform_; }
  std::vector<std::string> OpenFailures() const override { return library_.OpenFailures(); }

 private:
  Toolkit& ToolkitFor(const SystemPlatformOptions& options) {
    if (options.answer || options.cancel) return answering_;
    return screen_;
  }

  std::unique_ptr<DeviceGround> ground_;
  EmulatedD2xx library_;
  FileRegistry registry_;
  CommonTexts texts_;
  PosixTerminal terminal_;
  TerminalToolkit screen_;
  AnsweringToolkit answering_;
  Platform platform_;
};

}  // namespace

std::unique_ptr<SystemPlatform> OpenSystemPlatform(const SystemPlatformOptions& options, std::string* error) {
  const LocaleEnvironment environment = LocaleEnvironment::OfProcess();
  auto ground = std::make_unique<DeviceGround>(environment, options);
  DeviceSources::Devices devices;
  if (!ground->sources.Make(options.devices, &devices, error)) return nullptr;
  return std::make_unique<LinuxPlatform>(std::move(ground), std::move(devices), environment, options);
}

}  // namespace halden
