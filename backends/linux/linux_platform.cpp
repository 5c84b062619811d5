#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <utility>
#include <variant>

#include "backends/devices/device_options.h"
#include "backends/devices/emulated_d2xx.h"
#include "backends/linux/locale_number_rules.h"
#include "backends/linux/process/port_restorer.h"
#include "backends/linux/registry/file_registry.h"
#include "backends/linux/serial/kernel_device.h"
#include "backends/linux/serial/line_settings.h"
#include "backends/linux/serial/serial_device.h"
#include "backends/linux/terminal/port_properties.h"
#include "backends/linux/terminal/posix_terminal.h"
#include "backends/linux/terminal/terminal_toolkit.h"
#include "backends/system_platform.h"
#include "backends/text/common_texts.h"
#include "backends/text/fixed_number_rules.h"
#include "backends/toolkit/answering_toolkit.h"
#include "backends/toolkit/message_queue.h"

namespace halden {
namespace {

/// The monotonic clock, which doesn't jump when the system's date is set.
class LinuxClock : public Clock {
 public:
  LinuxClock() : queue_(*this) {}

  std::uint32_t GetTickCount() override {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint32_t>(std::uint64_t(now.tv_sec) * 1000 +
                                      std::uint64_t(now.tv_nsec) / 1000000);
  }

  /// Waits for an absolute time, so that a signal doesn't cut the pause short or stretch it.
  void Sleep(std::uint32_t milliseconds) override {
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    end = After(end, milliseconds);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
  }

  void ServeMessages() override {
    if (queue_.Serve()) return;
    constexpr timespec kRest{0, 1000000};  // 1 ms, the longest that Clock allows
    nanosleep(&kRest, nullptr);
  }

  void WaitForMessages(std::uint32_t at_most_ms) override {
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    const std::uint32_t wait = queue_.TimeToNext(at_most_ms);
    if (wait == 0) return;
    // Up to the beginning of that millisecond of the tick count, or the wait would end up to 1 ms late.
    end = After(end, wait);
    end.tv_nsec -= end.tv_nsec % 1000000;
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr);
  }

  std::unique_ptr<PeriodicTimer> NewTimer(std::uint32_t interval_ms, std::function<void()> tick) override {
    return queue_.NewTimer(interval_ms, std::move(tick));
  }

 private:
  static timespec After(timespec time, std::uint32_t milliseconds) {
    time.tv_sec += milliseconds / 1000;
    time.tv_nsec += long{milliseconds % 1000} * 1000000;
    if (time.tv_nsec >= 1000000000) {
      ++time.tv_sec;
      time.tv_nsec -= 1000000000;
    }
    return time;
  }

  MessageQueue queue_;
};

TextLanguage LanguageOf(const LocaleEnvironment& environment) {
  return MessageLanguage(environment) == kRussianLanguage ? TextLanguage::kRussian : TextLanguage::kEnglish;
}

std::string RegistryFileOf(const SystemPlatformOptions& options) {
  return options.registry_file.empty() ? DefaultRegistryFile(std::getenv) : options.registry_file;
}

using Devices = std::vector<std::unique_ptr<Device>>;

/// Makes the devices that the --device options name. It owns the clock, the number rules and the stored line
/// settings that they refer to, so it must outlive them.
class DeviceFactory {
 public:
  DeviceFactory(const LocaleEnvironment& environment, const SystemPlatformOptions& options)
      : number_rules_(LocaleNumberRules(environment)),
        stored_settings_(StoredLineSettingsFile(RegistryFileOf(options)), number_rules_),
        root_(options.system_root) {}

  Clock& clock() { return clock_; }
  NumberRules& number_rules() { return number_rules_; }

  /// Appends the devices of all options, in their order; without any option, one simulated device. False if
  /// an option is wrong; then `error` is one line that names it and says what is allowed.
  bool MakeAll(const std::vector<std::string>& options, Devices* devices, std::string* error) {
    if (options.empty()) return MakeOne("sim", devices, error);
    for (const std::string& option : options) {
      if (!MakeOne(option, devices, error)) return false;
    }
    return true;
  }

  /// The devices that have been plugged in since the last call, if an option asked for the kernel's devices.
  Devices FindNew() { return kernel_devices_ ? kernel_devices_->FindNew() : Devices(); }
  std::vector<std::string> TakeNotices() {
    std::vector<std::string> notices = stored_settings_.TakeNotices();
    if (!kernel_devices_) return notices;
    for (std::string& notice : kernel_devices_->TakeNotices()) notices.push_back(std::move(notice));
    return notices;
  }

 private:
  bool MakeOne(const std::string& text, Devices* devices, std::string* error);

  LinuxClock clock_;
  FixedNumberRules number_rules_;
  StoredLineSettings stored_settings_;
  const std::filesystem::path root_;
  std::optional<KernelDevices> kernel_devices_;
};

bool DeviceFactory::MakeOne(const std::string& text, Devices* devices, std::string* error) {
  const auto option = ParseDeviceOption(text, error);
  if (!option) return false;
  if (const auto* serial = std::get_if<SerialDeviceSettings>(&*option)) {
    devices->push_back(std::make_unique<SerialDevice>(SerialPort::At(serial->path, number_rules_), *serial));
    return true;
  }
  if (const auto* kernel = std::get_if<KernelDeviceSettings>(&*option)) {
    // A second "linux" option finds nothing new: each device is listed once.
    if (!kernel_devices_) kernel_devices_.emplace(root_, *kernel, number_rules_, stored_settings_);
    for (auto& device : kernel_devices_->FindNew()) devices->push_back(std::move(device));
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

class LinuxPlatform : public SystemPlatform {
 public:
  LinuxPlatform(std::unique_ptr<DeviceFactory> factory, Devices devices, const LocaleEnvironment& environment,
                const SystemPlatformOptions& options)
      : factory_(std::move(factory)),
        library_(
            std::move(devices), [this] { return factory_->FindNew(); }, options.only_list),
        registry_(RegistryFileOf(options), factory_->number_rules()),
        texts_(LanguageOf(environment), MessageLanguage(environment)),
        screen_(terminal_, factory_->clock(), LanguageOf(environment)),
        answering_(screen_, factory_->clock(), factory_->number_rules(), options.answer, options.cancel),
        platform_{library_, library_,  registry_, factory_->clock(), factory_->number_rules(),
                  texts_,   answering_} {
    library_.SetLineSettingsDialog(
        [this, language = LanguageOf(environment)](const std::string& port, Dcb* settings) {
          return EditPortProperties(screen_, language, port, settings);
        });
  }

  Platform& platform() override { return platform_; }
  std::vector<std::string> OpenFailures() const override { return library_.OpenFailures(); }
  bool HasEnded(std::int32_t place) const override { return library_.HasEnded(place); }
  void HoldDialogBack(bool hold) override { answering_.HoldDialogBack(hold); }
  std::optional<std::uint64_t> Overruns() const override { return library_.Overruns(); }
  void AbandonDevices() noexcept override {
    PortRestorer::RestoreAll();
    PosixTerminal::Abandon();
  }
  std::vector<std::string> TakeNotices() override {
    std::vector<std::string> notices = registry_.TakeNotices();
    for (std::string& notice : factory_->TakeNotices()) notices.push_back(std::move(notice));
    for (std::string& notice : library_.TakeNotices()) notices.push_back(std::move(notice));
    return notices;
  }

 private:
  // Each member may refer to those before it.
  std::unique_ptr<DeviceFactory> factory_;
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
  auto factory = std::make_unique<DeviceFactory>(environment, options);
  Devices devices;
  if (!factory->MakeAll(options.devices, &devices, error)) return nullptr;
  return std::make_unique<LinuxPlatform>(std::move(factory), std::move(devices), environment, options);
}

std::unique_ptr<NumberRules> UserNumberRules() {
  return std::make_unique<FixedNumberRules>(LocaleNumberRules(LocaleEnvironment::OfProcess()));
}

}  // namespace halden
