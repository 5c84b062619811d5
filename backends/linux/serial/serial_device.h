#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "backends/devices/device.h"
#include "backends/linux/process/port_restorer.h"
#include "backends/linux/serial/line_settings.h"
#include "backends/linux/serial/serial_file.h"
#include "backends/linux/serial/serial_reader.h"
#include "platform/number_rules.h"

namespace halden {

/// Where a tty is, and what the device list says about it.
struct SerialPort {
  std::string path;  ///< may be a link, which is resolved each time the port is opened
  DeviceIdentity identity;
  std::filesystem::path latency_timer;  ///< the kernel's file of milliseconds; need not exist
  std::filesystem::path root = "/";     ///< the folder that holds the system's /proc

  /// The tty at `path`. If that is a link, the COM number comes from the name that it leads to: a link
  /// /dev/scale to /dev/ttyUSB4 is COM5. `rules` is used only within the call.
  static SerialPort At(const std::string& path, const NumberRules& rules);
};

/// The number at the end of a tty's name plus one: "ttyUSB0" -> 1. Nothing if there is no number, or if the
/// result would exceed 32767.
std::optional<std::int32_t> ComNumberOf(const std::string& name);

/// A serial port or pseudo-terminal of Linux.
///
/// It is always listed as present, so that opening it can report what is wrong. While it is open a
/// SerialReader collects what arrives. After the device is unplugged, the bytes collected before can still be
/// read; then calls start to fail.
///
/// A port that is closed is opened only by Open, since that may reset the device. See PortRestorer for what
/// happens to its settings.
class SerialDevice : public Device {
 public:
  /// `settings.baud` makes the stored default this rate with 8 data bits, no parity and one stop bit. Without
  /// it, the default is what the port itself is set to.
  explicit SerialDevice(SerialPort port, const PortSettings& settings = {});
  ~SerialDevice() override;

  const DeviceIdentity& Identity() const override { return port_.identity; }
  bool Present() const override { return true; }

  FT_STATUS Open() override;
  void Close() override;
  FT_STATUS Probe() override;
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

  bool GetDefaultLineSettings(Dcb* settings) override;
  bool SetDefaultLineSettings(const Dcb& settings) override;
  bool GetPortLineSettings(Dcb* settings) override;

  std::string OpenFailure() const override { return open_failure_; }
  std::optional<std::uint64_t> Overruns() const override;
  /// Once for each opening, says if another program has the port open now without a lock: the two take each
  /// other's bytes. May take many milliseconds.
  std::vector<std::string> TakeNotices() override;

 protected:
  /// Whether a default was given to the constructor or has been set since.
  bool HasDefaultLineSettings() const { return default_line_settings_.has_value(); }

 private:
  std::string TryOpen();
  std::string TryProbe();
  FT_STATUS Report(const std::string& failure);
  std::optional<std::uint64_t> OverrunCounter() const;
  bool SetLowLatency();
  FT_STATUS SetModemLine(int line, bool on);

  const SerialPort port_;
  const LineEnd line_end_;
  std::optional<Dcb> default_line_settings_;
  std::optional<Dcb> found_line_settings_;  // the port's own when it was last opened, before any change
  std::string open_failure_;
  std::string opened_path_;            // path of an opening that TakeNotices hasn't checked yet; empty: none
  std::string opener_;                 // the other program that TakeNotices last reported
  std::uint64_t overruns_before_ = 0;  // OverrunCounter when the port was opened
  PortRestorer restorer_;

  // Set while the port is open. The last two use the file's descriptor, so they go first.
  std::unique_ptr<SerialFile> file_;
  std::unique_ptr<LineSettings> line_settings_;
  std::unique_ptr<SerialReader> reader_;
};

}  // namespace halden
