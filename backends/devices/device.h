#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/comm_config.h"
#include "platform/d2xx.h"

namespace halden {

/// A device's answer where a call fails. Nobody tells one failure status from another.
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
  /// The line settings that the port has now, whether or not it is open; false if it can't be asked.
  virtual bool GetPortLineSettings(Dcb* line) = 0;

  /// Whether the open device has sent its last byte and all were read, as a replayed file does at its end.
  virtual bool Ended() const { return false; }

  /// One line that says why the last Open failed; empty if it succeeded or was never tried.
  virtual std::string OpenFailure() const = 0;
};

}  // namespace halden
