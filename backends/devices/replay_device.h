#pragma once

#include <cstdint>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "backends/devices/paced_device.h"

namespace halden {

/// The description by which programs recognise a replayed file in the device list.
inline constexpr char kReplayedDescription[] = "Replayed file";

/// How fast a captured file is replayed. With `rate` alone, each line arrives complete at its time. With
/// `baud` too, its bytes also arrive no faster than a port at that rate. Without `rate`, the port's rate
/// alone sets the pace.
struct ReplayDeviceSettings {
  std::string path;
  std::optional<double> rate = {};         ///< lines per second; a line ends in CR LF, CR or LF
  std::optional<std::uint32_t> baud = {};  ///< the port's default rate; nullopt: 115200
  LineEnd line_end = LineEnd::kCr;         ///< kLf: every LF of the file is sent as a CR
  bool loop = false;                       ///< starts again at the end of the file; otherwise falls silent
};

/// A device that sends the bytes of a file, from the start each time it is opened. At most 1 MiB of the file
/// is in memory at a time.
///
/// Detection opens a device, purges its queue and then reads the first lines. How many bytes have arrived by
/// then depends on the speed of the machine. To make every replay of a file give the same recording, a purge
/// before the first Read rewinds the file, and only kHeldBack bytes arrive before that Read. The bytes held
/// back until then arrive immediately after it.
class ReplayDevice : public PacedDevice {
 public:
  static constexpr std::size_t kHeldBack = 1024;  ///< as many bytes as detection waits for

  /// `serial` has at most 16 characters. Null if the file can't be read or is not seekable (a pipe).
  static std::unique_ptr<ReplayDevice> Open(Clock& clock, const ReplayDeviceSettings& settings,
                                            const std::string& serial);

  /// Until the device is opened again, delivers the rest of the file as fast as it is read, up to 32 KiB at a
  /// time. The clock and `loop` are ignored.
  void Hurry();

  FT_STATUS Read(void* buffer, std::uint32_t count, std::uint32_t* read) override;
  FT_STATUS Purge(std::uint32_t mask) override;
  FT_STATUS GetQueueStatus(std::uint32_t* rx_bytes) override;
  bool Ended() const override;

 protected:
  std::string_view NextLine(std::uint64_t line) override;
  std::string OnOpen() override;
  std::size_t Room(const ByteQueue& queue) const override;

 private:
  static constexpr std::size_t kPiece = 32768;

  ReplayDevice(Clock& clock, const ReplayDeviceSettings& settings, const std::string& serial,
               std::ifstream file);
  void Rewind();
  bool Refill();
  std::string_view TakeLine();
  std::size_t NextPiece();

  std::ifstream file_;
  const LineEnd line_end_;
  const bool loop_;
  bool hurries_ = false;
  bool was_read_ = false;  // Read was called since the device was opened
  // The bytes of the file that were loaded but not yet sent are block_[begin_, end_).
  std::vector<char> block_ = std::vector<char>(1 << 20);
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

}  // namespace halden
