#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

namespace halden {

/// An FTDI port as the kernel lists it. Texts are UTF-8, and empty where the device has none.
struct KernelPort {
  std::string tty;     ///< such as "ttyUSB0"; empty where the kernel's FTDI driver doesn't serve the port
  std::string driver;  ///< that serves it: "ftdi_sio", "usbfs" where a program does, empty for none
  std::string usb;     ///< the device's name on the bus, such as "1-2"
  std::uint32_t interface = 0;  ///< of a chip with several ports, from 0
  std::uint32_t type = 3;       ///< chip type code of the device library
  std::uint32_t id = 0;         ///< vendor and product
  /// Ports of one chip share its serial number; a letter behind it tells them apart.
  std::string serial;
  std::string description;
  std::filesystem::path latency_timer;  ///< the kernel's file of milliseconds
  std::filesystem::path usb_file;       ///< what a program opens that takes the device for itself

  /// Whether it is the same device at the same place: a usb_file is another one at each plugging in.
  bool operator==(const KernelPort& other) const {
    const auto key = [](const KernelPort& port) {
      return std::tie(port.tty, port.driver, port.usb, port.interface, port.type, port.id, port.serial,
                      port.description);
    };
    return key(*this) == key(other);
  }
};

/// The FTDI ports that are plugged in now, by the number of their tty, ports of one chip together and by
/// interface; behind them those that the kernel's FTDI driver doesn't serve. `root` is where the system's
/// /sys lies.
std::vector<KernelPort> ListKernelPorts(const std::filesystem::path& root = "/");

}  // namespace halden
