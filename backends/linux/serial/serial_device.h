#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "backends/devices/device.h"
#include "backends/linux/serial/line_settings.h"
#include "backends/linux/serial/serial_file.h"
#include "backends/linux/serial/serial_reader.h"
#include "platform/number_rules.h"

namespace halden {

/// Where a tty is found, and what the device list tells of it.
struct SerialPort {
  std::string path;  ///< may be a link, which is followed anew at each opening
  DeviceIdentity identity;
  std::filesystem::path latency_timer;  ///< the kernel's file of milliseconds; need not be there
  std::filesystem::path root = "/";     ///< where the system's /proc lies

  /// The tty behind `path`. Its COM number is that of the name that links lead to. Keeps no reference.
  static SerialPort At(const std::string& path, const NumberRules& rules);
};

/// One more than the number at the end of a tty's name; nothing without one, or where it is no COM number.
std::optional<std::int32_t> ComNumberOf(const std::string& name);

/// A serial device or pseudo-terminal of Linux.
///
/// It is always listed, so that opening it can say what is wrong. While it is open, what it sends is taken
/// from the kernel as it comes (see SerialReader), so once it has gone the rest can still be read; from then
/// on calls fail at once.
class SerialDevice : public Device {
 public:
  /// `baud` is the stored default, with 8 data bits, no parity and one stop bit; without it the default is
  /// what the port is set to.
  explicit SerialDevice(SerialPort port, std::optional<std::uint32_t> baud = std::nullopt);
  ~SerialDevice() override;

  const DeviceIdentity& Identity() const override { return port_.identity; }
  bool Present() const override { return true; }

  FT_STATUS Open() override;
  void Close() override;
  FT_STATUS SetBaudRate(std::uint32_t bits_per_second) override;
  FT_STATUS SetDataCharacteristics(std::uint8_t word_length, std::uint8_t stop_bits,
                                   std::uint8_t parity) override;
  FT_STATUS Read(void* buffer, std::uint32_t count, std::uint32_t* read) override;
  FT_STATUS Write(const void* buffer, std::uint32_t count, std::uint32_t* written) override;
  FT_STATUS Reset() override;
  FT_STATUS SetDtr(bool on) override;
  FT_STATUS SetRts(bool on) override;
  FT_STATUS SetLatencyTimer(std::uint8_t milliseconds) override;
  FT_STATUS GetQueueStatus(std::uint32_t* rx_bytes) override;
  FT_STATUS GetTxQueueStatus(std::uint32_t* tx_bytes) override;
  FT_STATUS Purge(std::uint32_t mask) override;

  bool GetDefaultLineSettings(Dcb* line) override;
  bool SetDefaultLineSettings(const Dcb& line) override;
  bool GetPortLineSettings(Dcb* line) override;

  std::string OpenFailure() const override { return open_failure_; }

 protected:
  /// Whether a default has been given or set here.
  bool HasDefaultLineSettings() const { return default_line_settings_.has_value(); }

 private:
  /// Why it failed; empty if the port is open and held.
  std::string TryOpen();
  bool SetLowLatency();
  FT_STATUS SetModemLine(int line, bool on);

  const SerialPort port_;
  std::optional<Dcb> default_line_settings_;
  std::string open_failure_;

  // While open; the later ones use the file.
  std::unique_ptr<SerialFile> file_;
  std::unique_ptr<LineSettings> line_;
  std::unique_ptr<SerialReader> reader_;
};

}  // namespace halden
