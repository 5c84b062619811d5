#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "backends/devices/paced_device.h"

namespace halden {

/// By which a program tells simulated devices from real ones.
inline constexpr char kSimulatedDescription[] = "Simulated device";

enum class SimSignal { kSine, kRamp, kNoise, kConstant };

/// What a simulated device is and says. The defaults fit together: the line carries the rate.
struct SimDeviceSettings {
  int columns = 4;
  char separator = '\t';
  char decimal = '.';
  std::string label;         ///< in front of each number, as it stands
  std::string unit;          ///< behind each number, as it stands
  std::string end = "\r\n";  ///< of each line
  /// Prose that never analyses. As any line that a CR ends would be analysed, its lines end in LF.
  bool words = false;
  SimSignal signal = SimSignal::kSine;
  std::uint64_t seed = 1;
  double rate = 100;                       ///< lines a second, as far as the line carries them
  std::uint32_t baud = 115200;             ///< that the port is configured for
  std::optional<std::uint32_t> speaks_at;  ///< the rate it really talks at; nothing: `baud`
  double silent = 0;                       ///< seconds from its making; infinity: for good
  /// Like a board that restarts when DTR rises: the seconds for which it is silent after each rise. Closing
  /// the port doesn't drop DTR, so opening it again causes no restart. Nothing: it doesn't restart.
  std::optional<double> resets;
  bool busy = false;                ///< held by another program: it can't be opened
  std::optional<std::int32_t> com;  ///< as in DeviceIdentity
  std::string serial;
  double unplug_after = std::numeric_limits<double>::infinity();  ///< seconds from its last opening
};

/// A simulated device that sends lines of numbers with two decimals, multiples of 0.05 within 1000 either
/// way. It talks all the time, so it is opened in the midst of a line. At a line rate that is more than 2 %
/// off, noise without a CR is heard instead.
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
  double speaks_from_;  // when line 0 is due, in milliseconds; infinity: never
  std::string line_;
  std::uint64_t noise_bytes_ = 0;
};

}  // namespace halden
