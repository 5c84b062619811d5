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

/// A serial device or pseudo-terminal of the system.
struct SerialDeviceSettings {
  std::string path;
  std::optional<std::uint32_t> baud;  ///< that the port is configured for; nothing: what it is set to
};

/// Every device of the right make that the kernel lists.
struct KernelDeviceSettings {
  std::optional<std::uint32_t> baud;  ///< that their ports are configured for from now on
};

/// The devices of the vendor's library.
struct VendorDevices {};

using DeviceOption = std::variant<SimDeviceSettings, ReplayDeviceSettings, SerialDeviceSettings,
                                  KernelDeviceSettings, VendorDevices>;

/// Takes one --device option apart: "sim[:key=value,...]", "replay:FILE[,rate=N][,baud=N][,loop]",
/// "tty:PATH[,baud=N]", "linux[,baud=N]" or "d2xx". A path may hold anything but a comma; where a key stands
/// twice, the last one counts. Nothing on failure; then `error` is one line that names what is wrong and what
/// is allowed.
std::optional<DeviceOption> ParseDeviceOption(const std::string& option, std::string* error);

/// What ParseDeviceOption takes, for people: each kind of device with its keys and their values, in lines
/// that end in newlines.
std::string DescribeDeviceOptions();

/// Makes a simulated or a replayed device, the `number`th of all devices (from 1), which is in its serial
/// number where the option names none. Nothing on failure, and for every other kind; then `error` is one line
/// that says why. `clock` must outlive the device.
std::unique_ptr<Device> MakeDevice(const DeviceOption& option, int number, Clock& clock, std::string* error);

}  // namespace halden
