#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "backends/devices/paced_device.h"

namespace halden {

/// By which a program tells replayed files from real devices.
inline constexpr char kReplayedDescription[] = "Replayed file";

/// How a captured file is spoken again. With `rate` alone each line comes whole when its time has come; with
/// `baud` as well no byte comes faster than the line carries it; without `rate`, `baud` alone sets the pace.
struct ReplayDeviceSettings {
  std::string path;
  std::optional<double> rate;         ///< lines a second; a line ends with CR LF, CR or LF
  std::optional<std::uint32_t> baud;  ///< that the port is configured for; nothing: 115200
  bool loop = false;                  ///< starts again at its end, else it falls silent there
};

/// A device that says the bytes of a file, from the first one on at each opening.
class ReplayDevice : public PacedDevice {
 public:
  /// `serial` is at most 16 characters long.
  ReplayDevice(Clock& clock, const ReplayDeviceSettings& settings, const std::string& serial,
               std::string bytes);

 protected:
  std::string_view NextLine(std::uint64_t line) override;
  std::string OnOpen() override;

 private:
  const std::string bytes_;
  const bool loop_;
  std::size_t place_ = 0;
};

}  // namespace halden
