#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "backends/devices/device.h"
#include "backends/linux/serial/kernel_device.h"
#include "backends/linux/serial/stored_line_settings.h"
#include "platform/clock.h"
#include "platform/number_rules.h"

namespace halden {

/// Where devices come from: the options that name them, and the kernel's list.
class DeviceSources {
 public:
  using Devices = std::vector<std::unique_ptr<Device>>;

  /// `ports_file` is that of StoredLineSettings, `root` where the system's /sys, /dev and /proc lie. Both
  /// references must outlive the object, and it the devices.
  DeviceSources(Clock& clock, const NumberRules& rules, const std::string& ports_file,
                std::filesystem::path root)
      : clock_(clock), rules_(rules), root_(std::move(root)), lines_(ports_file, rules) {}

  /// The devices of all options, in their order; of one "sim" where there are none. False if an option is
  /// wrong; then `error` is one line that names it and says what is allowed.
  bool Make(const std::vector<std::string>& options, Devices* devices, std::string* error);
  /// Those that the kernel has come to list since, if an option asked for its devices.
  Devices MakeNew() { return kernel_ ? kernel_->New() : Devices(); }

 private:
  bool MakeOf(const std::string& option, Devices* devices, std::string* error);

  Clock& clock_;
  const NumberRules& rules_;
  const std::filesystem::path root_;
  StoredLineSettings lines_;
  std::optional<KernelDevices> kernel_;
};

}  // namespace halden
