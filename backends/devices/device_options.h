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

/// How a device ends its lines. The driver knows CR, and drops an LF that follows it. An LF alone has to
/// become a CR on the way.
enum class LineEnd { kCr, kLf, kCrLf };

/// How a port is used.
struct PortSettings {
  std::optional<std::uint32_t> baud = {};  ///< that the port is configured for; nothing: what it is set to
  LineEnd line_end = LineEnd::kCr;
};

/// A serial device or pseudo-terminal of the system.
struct SerialDeviceSettings : PortSettings {
  std::string path;
};

/// Every device of the right make that the kernel lists. Their ports are used in this way from now on.
struct KernelDeviceSettings : PortSettings {};

/// The devices of the vendor's library.
struct VendorDevices {};

using DeviceOption = std::variant<SimDeviceSettings, ReplayDeviceSettings, SerialDeviceSettings,
                                  KernelDeviceSettings, VendorDevices>;

/// Takes one --device option apart: "sim[:key=value,...]", "replay:FILE[,rate=N][,baud=N][,loop]",
/// "tty:PATH[,baud=N][,eol=cr|lf|crlf]", "linux[,baud=N][,eol=cr|lf|crlf]" or "d2xx". An absolute path means
/// "tty:" and that path. A path may hold anything but a comma; of a key given twice the last one counts.
/// Nothing on failure; then `error` is one line that names what is wrong and what is allowed.
std::optional<DeviceOption> ParseDeviceOption(const std::string& option, std::string* error);

/// What ParseDeviceOption takes, for people: each kind of device with its keys and their values, in lines
/// that end in newlines.
std::string DescribeDeviceOptions();

/// Makes a simulated or a replayed device, the `number`th of all devices (from 1), which is in its serial
/// number where the option names none. Nothing on failure, and for every other kind; then `error` is one line
/// that says why. `clock` must outlive the device.
std::unique_ptr<Device> MakeDevice(const DeviceOption& option, int number, Clock& clock, std::string* error);

}  // namespace halden
