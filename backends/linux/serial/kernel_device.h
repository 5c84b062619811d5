#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "backends/linux/serial/kernel_ports.h"
#include "backends/linux/serial/serial_device.h"
#include "backends/linux/serial/stored_line_settings.h"

namespace halden {

/// An FTDI device that the kernel lists. Its port's configuration is kept by its serial number; a device
/// without one keeps its own no longer than the object lives.
class KernelDevice : public SerialDevice {
 public:
  /// `root` is where the system's /sys, /dev and /proc lie. `baud` configures the port for this rate, with 8
  /// data bits, no parity and one stop bit; that is kept if it can be. `lines` must outlive the device.
  KernelDevice(KernelPort port, const std::filesystem::path& root, std::optional<std::uint32_t> baud,
               const NumberRules& rules, StoredLineSettings& lines);

  bool Present() const override;
  FT_STATUS Open() override;
  std::string OpenFailure() const override;
  bool GetDefaultLineSettings(Dcb* line) override;
  bool SetDefaultLineSettings(const Dcb& line) override;

 private:
  /// As it is listed now; nothing while it is unplugged.
  std::optional<KernelPort> PortNow() const;
  std::string WhyNotServed() const;

  const KernelPort kernel_port_;
  const std::filesystem::path root_;
  const std::string key_;  // in `lines_`; empty for none
  StoredLineSettings& lines_;
  std::string not_served_;
};

/// The devices that the kernel lists, as they come.
class KernelDevices {
 public:
  /// The arguments are those of each KernelDevice. Both references must outlive the object.
  KernelDevices(std::filesystem::path root, std::optional<std::uint32_t> baud, const NumberRules& rules,
                StoredLineSettings& lines)
      : root_(std::move(root)), baud_(baud), rules_(rules), lines_(lines) {}

  /// A device for each port that has been plugged in since the last call.
  std::vector<std::unique_ptr<Device>> New();

 private:
  const std::filesystem::path root_;
  const std::optional<std::uint32_t> baud_;
  const NumberRules& rules_;
  StoredLineSettings& lines_;
  std::vector<KernelPort> known_;
};

}  // namespace halden
