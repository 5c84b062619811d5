#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "backends/linux/serial/line_settings.h"
#include "backends/linux/serial/serial_device.h"

namespace halden {

/// An FTDI port as the kernel lists it. Texts are UTF-8, and empty where the device has none.
struct KernelPort {
  std::string tty;     ///< such as "ttyUSB0"; empty if the kernel's FTDI driver doesn't serve the port
  std::string driver;  ///< the driver in charge: "ftdi_sio", "usbfs" for a program, empty for none
  std::string usb;     ///< the device's name on the bus, such as "1-2"
  std::uint32_t interface = 0;  ///< which port of a chip with several, from 0
  std::uint32_t type = 3;       ///< chip type code of the device library
  std::uint32_t id = 0;         ///< USB vendor << 16 | product
  /// Several ports of one chip share its serial number, so a letter is appended for each: "QUADA", "QUADB".
  std::string serial;
  std::string description;
  std::filesystem::path latency_timer;  ///< the kernel's file that holds the latency in milliseconds
  std::filesystem::path usb_file;       ///< what a program that claims the device opens

  /// Whether it is the same device in the same place. `usb_file` doesn't count: its name is a new one each
  /// time the device is plugged in.
  bool operator==(const KernelPort& other) const {
    const auto key = [](const KernelPort& port) {
      return std::tie(port.tty, port.driver, port.usb, port.interface, port.type, port.id, port.serial,
                      port.description);
    };
    return key(*this) == key(other);
  }
};

/// The FTDI ports that are plugged in now, in the order of their tty numbers, with the ports of one chip
/// together and in the order of their interfaces. After them come those that the kernel's FTDI driver doesn't
/// serve. `root` is the folder that holds the system's /sys and /dev.
std::vector<KernelPort> ListKernelPorts(const std::filesystem::path& root = "/");

/// An FTDI device that the kernel lists. The line settings that its port is configured for are stored by its
/// serial number. A device without a serial number keeps them only as long as the object lives.
class KernelDevice : public SerialDevice {
 public:
  /// `root` is the folder that holds the system's /sys, /dev and /proc. With `settings.baud`, the port is
  /// configured for this rate, 8 data bits, no parity and one stop bit, and that is stored if possible.
  /// `stored_settings` must outlive the device.
  KernelDevice(KernelPort port, const std::filesystem::path& root, const PortSettings& settings,
               const NumberRules& rules, StoredLineSettings& stored_settings);

  bool Present() const override;
  FT_STATUS Open() override;
  FT_STATUS Probe() override;
  std::string OpenFailure() const override;
  bool GetDefaultLineSettings(Dcb* settings) override;
  bool SetDefaultLineSettings(const Dcb& settings) override;

 private:
  std::optional<KernelPort> FindListed() const;
  std::string WhyNotServed() const;

  const KernelPort kernel_port_;
  const std::filesystem::path root_;
  const std::string full_serial_;  // ANSI, the name in stored_settings_; the device list shows less of it
  StoredLineSettings& stored_settings_;
  std::string not_served_;  // why the last Open failed before it reached the tty; else empty
};

/// Makes a device for each port that the kernel lists.
class KernelDevices {
 public:
  /// The arguments are those of each KernelDevice. `rules` and `stored_settings` must outlive the object.
  KernelDevices(std::filesystem::path root, const PortSettings& settings, const NumberRules& rules,
                StoredLineSettings& stored_settings)
      : root_(std::move(root)), settings_(settings), rules_(rules), stored_settings_(stored_settings) {}

  /// Returns a device for each port that has been plugged in since the last call. A device that is plugged
  /// back into its old socket isn't new: its object still exists and becomes present again.
  std::vector<std::unique_ptr<Device>> FindNew();
  /// If FindNew hasn't found any device yet, returns, once, a line that says so and names the system's other
  /// serial ports, since the user may have meant one of them. Otherwise empty.
  std::vector<std::string> TakeNotices();

 private:
  const std::filesystem::path root_;
  const PortSettings settings_;
  const NumberRules& rules_;
  StoredLineSettings& stored_settings_;
  std::vector<KernelPort> known_;
  bool noticed_ = false;  // TakeNotices has returned its line
};

}  // namespace halden
