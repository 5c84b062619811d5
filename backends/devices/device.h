#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/comm_config.h"
#include "platform/d2xx.h"

namespace halden {

/// The status of every failed call. Callers only compare a status with FT_OK.
inline constexpr FT_STATUS kDeviceFailed = 1;

/// The highest rate of any chip, bits per second.
inline constexpr std::uint32_t kHighestBaud = 12'000'000;

/// How a device ends its lines. The driver splits at CR and drops an LF that follows one, so the backend
/// turns a lone LF into a CR.
enum class LineEnd { kCr, kLf, kCrLf };

/// A device's entry in the device list.
struct DeviceIdentity {
  std::uint32_t type = 5;         ///< chip type code of the device library; 5 is an FT232R
  std::uint32_t id = 0x04036001;  ///< vendor identifier in the high half, product identifier in the low half
  std::string serial;             ///< at most 16 characters, ANSI
  std::string description;        ///< at most 64 characters, ANSI
  /// The COM number that the device asks for. nullopt: any free one. -1: the device has no COM number.
  std::optional<std::int32_t> com;
};

/// One device of the emulated device library. Each call has the contract of its namesake in D2xx, without the
/// handle. The calls from SetBaudRate to Purge are only made between a successful Open and Close.
class Device {
 public:
  virtual ~Device() = default;

  virtual const DeviceIdentity& Identity() const = 0;
  /// Whether the device is plugged in now. A new snapshot lists only devices that are.
  virtual bool Present() const = 0;

  virtual FT_STATUS Open() = 0;
  virtual void Close() = 0;
  /// Finds out whether Open would succeed, and leaves the device closed. Where opening might reset the device
  /// it checks less, so FT_OK doesn't promise that Open will succeed. Sets OpenFailure.
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

  /// Reads the line settings stored as the port's default; false if there are none.
  virtual bool GetDefaultLineSettings(Dcb* line) = 0;
  /// Stores the port's default, which GetDefaultLineSettings then returns. False: not stored.
  virtual bool SetDefaultLineSettings(const Dcb& line) = 0;
  /// Reads the port's current line settings, or, for a closed port, possibly those that it had when it was
  /// last open. False if they aren't known.
  virtual bool GetPortLineSettings(Dcb* line) = 0;

  /// Whether the open device will never send again and every byte of it has been read (a replayed file).
  virtual bool Ended() const { return false; }

  /// One line that says why the last Open failed; empty if it succeeded or was never tried.
  virtual std::string OpenFailure() const = 0;
  /// How often the chip or the system has reported an overrun since the device was opened. nullopt if the
  /// device is closed or doesn't count overruns.
  virtual std::optional<std::uint64_t> Overruns() const { return std::nullopt; }
  /// Warnings for the user about this device, one line each, UTF-8. Each is returned once.
  virtual std::vector<std::string> TakeNotices() { return {}; }
};

}  // namespace halden
