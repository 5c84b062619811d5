#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "backends/devices/device.h"
#include "backends/devices/replay_device.h"
#include "backends/devices/sim_device.h"
#include "platform/clock.h"

namespace halden {

/// The keys that every kind of serial port takes.
struct PortSettings {
  std::optional<std::uint32_t> baud = {};  ///< the port's default rate; nullopt: the rate it is set to
  LineEnd line_end = LineEnd::kCr;
};

/// A serial device or pseudo-terminal of the system.
struct SerialDeviceSettings : PortSettings {
  std::string path;
};

/// Every FTDI device that the kernel lists. The rate is stored, so later runs use it too.
struct KernelDeviceSettings : PortSettings {};

/// The devices of the vendor's library, on Windows.
struct VendorDevices {};

using DeviceOption = std::variant<SimDeviceSettings, ReplayDeviceSettings, SerialDeviceSettings,
                                  KernelDeviceSettings, VendorDevices>;

/// Parses one --device option: "sim[:key=value,...]", "replay:FILE[,rate=N][,baud=N][,eol=...][,loop]",
/// "tty:PATH[,baud=N][,eol=cr|lf|crlf]", "linux[,baud=N][,eol=cr|lf|crlf]" or "d2xx". An absolute path is
/// short for "tty:" and that path. A path can't contain a comma. If a key is given twice the last one counts.
/// nullopt on failure; then `error` is one line that says what is wrong and what is allowed.
std::optional<DeviceOption> ParseDeviceOption(const std::string& option, std::string* error);

/// Help text for ParseDeviceOption: each kind of device with its keys and their values. Several lines, each
/// ending in a newline.
std::string DescribeDeviceOptions();

/// Makes a simulated or replayed device. `number` counts all devices from 1; it becomes part of the serial
/// number ("SIM1") unless the option gives one. Null on failure and for every other kind of device; then
/// `error` is one line that says why. `clock` must outlive the device.
std::unique_ptr<Device> MakeDevice(const DeviceOption& option, int number, Clock& clock, std::string* error);

}  // namespace halden
