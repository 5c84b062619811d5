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

/// By which a program tells replayed files from real devices.
inline constexpr char kReplayedDescription[] = "Replayed file";

/// How a captured file is spoken again. With `rate` alone each line comes whole when its time has come; with
/// `baud` as well no byte comes faster than the line carries it; without `rate`, `baud` alone sets the pace.
struct ReplayDeviceSettings {
  std::string path;
  std::optional<double> rate = {};         ///< lines a second; a line ends with CR LF, CR or LF
  std::optional<std::uint32_t> baud = {};  ///< that the port is configured for; nothing: 115200
  bool loop = false;                       ///< starts again at its end, else it falls silent there
};

/// A device that sends the bytes of a file, from the first one on at each opening. It holds 1 MiB of the file
/// at a time.
///
/// A program that looks for a device opens it, purges its queue, and then listens to the first lines. How
/// many bytes come in that time would depend on how fast the machine is. Here it doesn't, so that a file
/// always gives the same recording: a purge before the first Read starts the file anew, and until that Read
/// no more than kHeldBack bytes come. What was held back follows at once.
class ReplayDevice : public PacedDevice {
 public:
  static constexpr std::size_t kHeldBack = 1024;  ///< as many as the driver would like to hear of a device

  /// `serial` is at most 16 characters long. Null if the file can't be read, or not from its start again.
  static std::unique_ptr<ReplayDevice> Open(Clock& clock, const ReplayDeviceSettings& settings,
                                            const std::string& serial);

  /// From now on, until it is opened again, the rest of the file comes as fast as it is read, without regard
  /// to the clock and to `loop`: up to 32 KiB wait at any time.
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
  const bool loop_;
  bool hurries_ = false;
  bool was_read_ = false;  // since it was opened
  std::vector<char> block_ = std::vector<char>(1 << 20);
  std::size_t begin_ = 0;  // of what is left of the block
  std::size_t end_ = 0;
};

}  // namespace halden
