#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/comm_config.h"
#include "platform/d2xx.h"

namespace halden {

/// A device's answer where a call fails. Callers only compare the status with FT_OK.
inline constexpr FT_STATUS kDeviceFailed = 1;

/// The highest line rate that a chip has, bits per second.
inline constexpr std::uint32_t kHighestBaud = 12'000'000;

/// What the device list tells of a device.
struct DeviceIdentity {
  std::uint32_t type = 5;         ///< chip type code of the device library
  std::uint32_t id = 0x04036001;  ///< vendor and product
  std::string serial;             ///< at most 16 characters, ANSI
  std::string description;        ///< at most 64 characters, ANSI
  /// The COM number that the device would like. Nothing: any free one. -1: it has none at all.
  std::optional<std::int32_t> com;
};

/// One device behind the stand-in of the device library. Calls answer as their namesakes in D2xx do, without
/// the handle: everything from SetBaudRate to Purge comes only between a successful Open and Close.
class Device {
 public:
  virtual ~Device() = default;

  virtual const DeviceIdentity& Identity() const = 0;
  /// Whether the device is plugged in now: a fresh list holds only those that are.
  virtual bool Present() const = 0;

  virtual FT_STATUS Open() = 0;
  virtual void Close() = 0;
  /// Finds out whether Open would succeed, and leaves the device closed. Opens it only where that can't reset
  /// a device; so FT_OK doesn't promise that Open succeeds. Sets OpenFailure.
  virtual FT_STATUS Probe() {
    const FT_STATUS status = Open();
    if (status == FT_OK) Close();
    return status;
  }
  virtual FT_STATUS SetBaudRate(std::uint32_t bits_per_second) = 0;
  virtual FT_STATUS SetDataCharacteristics(std::uint8_t word_length, std::uint8_t stop_bits,
                                           std::uint8_t parity) = 0;
  virtual FT_STATUS Read(void* buffer, std::uint32_t count, std::uint32_t* read) = 0;
  virtual FT_STATUS Write(const void* buffer, std::uint32_t count, std::uint32_t* written) = 0;
  virtual FT_STATUS Reset() = 0;
  virtual FT_STATUS SetDtr(bool on) = 0;
  virtual FT_STATUS SetRts(bool on) = 0;
  virtual FT_STATUS SetLatencyTimer(std::uint8_t milliseconds) = 0;
  virtual FT_STATUS GetQueueStatus(std::uint32_t* rx_bytes) = 0;
  virtual FT_STATUS GetTxQueueStatus(std::uint32_t* tx_bytes) = 0;
  virtual FT_STATUS Purge(std::uint32_t mask) = 0;

  /// The line settings that are stored as the port's default; false if there are none.
  virtual bool GetDefaultLineSettings(Dcb* line) = 0;
  /// Stores the port's default, which the next GetDefaultLineSettings gives.
  virtual bool SetDefaultLineSettings(const Dcb& line) = 0;
  /// The line settings that the port has, whether or not it is open. Those of a closed port may be the ones
  /// that it had when it was last open. False if they aren't known.
  virtual bool GetPortLineSettings(Dcb* line) = 0;

  /// Whether the open device has sent its last byte and all were read, as a replayed file does at its end.
  virtual bool Ended() const { return false; }

  /// One line that says why the last Open failed; empty if it succeeded or was never tried.
  virtual std::string OpenFailure() const = 0;
  /// How often the chip or the system has reported, since the device was opened, that received bytes were
  /// lost because nobody had taken them in time. Nothing while the device is closed, or where it can't say.
  virtual std::optional<std::uint64_t> Overruns() const { return std::nullopt; }
  /// What a person should know about the device, one line each, UTF-8. Each is returned once.
  virtual std::vector<std::string> TakeNotices() { return {}; }
};

}  // namespace halden
