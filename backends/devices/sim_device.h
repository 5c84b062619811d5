#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "backends/devices/paced_device.h"

namespace halden {

/// The description by which programs recognise a simulated device in the device list.
inline constexpr char kSimulatedDescription[] = "Simulated device";

enum class SimSignal { kSine, kRamp, kNoise, kConstant };

/// What a simulated device sends. With the defaults, `baud` is high enough for `rate`.
struct SimDeviceSettings {
  int columns = 4;
  char separator = '\t';
  char decimal = '.';
  std::string label;         ///< sent before each number
  std::string unit;          ///< sent after each number
  std::string end = "\r\n";  ///< sent after each line
  /// Send words instead of numbers, which the driver never recognises. The lines end in LF, since the driver
  /// would take any line that ends in CR for a column.
  bool words = false;
  SimSignal signal = SimSignal::kSine;
  std::uint64_t seed = 1;
  double rate = 100;                       ///< lines per second, or fewer if the port's rate is too low
  std::uint32_t baud = 115200;             ///< the port's default rate
  std::optional<std::uint32_t> speaks_at;  ///< the rate the device really sends at; nullopt: `baud`
  double silent = 0;                       ///< seconds before the first line; infinity: never sends
  /// Like a board that restarts when DTR rises: how many seconds it is silent after each rise. Closing the
  /// port doesn't drop DTR, so reopening it causes no restart. nullopt: doesn't restart.
  std::optional<double> resets;
  bool busy = false;                ///< can't be opened, as if another program had it open
  std::optional<std::int32_t> com;  ///< as in DeviceIdentity
  std::string serial;
  double unplug_after = std::numeric_limits<double>::infinity();  ///< seconds after each opening
};

/// A simulated device that sends lines of numbers with two decimals: multiples of 0.05 from -1000 to 1000. It
/// sends while it is closed too, so a program that opens it usually starts in the middle of a line. If the
/// port's rate is more than 2 % off, the port receives noise without a CR.
class SimDevice : public PacedDevice {
 public:
  SimDevice(Clock& clock, const SimDeviceSettings& settings);

 protected:
  std::string_view NextLine(std::uint64_t line) override;
  std::string OnOpen() override;
  void OnDtrRise() override;
  void Receive(std::string_view sent, ByteQueue& queue) override;

 private:
  void AppendNumber(int steps);

  const SimDeviceSettings settings_;
  const std::uint32_t speaks_at_;
  double speaks_from_;  // when line 0 is due, ms; infinity: never
  std::string line_;
  std::uint64_t noise_bytes_ = 0;
};

}  // namespace halden
