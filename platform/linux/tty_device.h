#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/devices/byte_queue.h"
#include "platform/devices/device.h"
#include "platform/linux/tty_line.h"

namespace halden {

/// A serial device or pseudo-terminal of Linux.
///
/// It is always listed, so that opening it can say what is wrong. Each call takes what the kernel has
/// received into a queue of its own: the kernel drops its bytes when a device goes. What a call has counted
/// can be read until the queue is empty; from then on calls on a device that has gone fail at once.
class TtyDevice : public Device {
 public:
  /// `path` may be a link: it is followed anew at each opening, but the COM number (one more than the number
  /// at the end of the name that it leads to) is settled here. `baud` is the stored default, with 8 data
  /// bits, no parity and one stop bit; without it the default is what the port is set to.
  explicit TtyDevice(std::string path, std::optional<std::uint32_t> baud = std::nullopt);
  ~TtyDevice() override;

  const DeviceIdentity& Identity() const override { return identity_; }
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

  bool GetDefaultLine(Dcb* line) override;
  bool SetDefaultLine(const Dcb& line) override;
  bool GetPortLine(Dcb* line) override;

  std::string OpenFailure() const override { return open_failure_; }

 private:
  /// A file that is closed with it.
  class File;

  /// Why it failed; empty if the port is open and held.
  std::string TryOpen();
  void Receive();
  FT_STATUS SetModemLine(int line, bool on);

  const std::string path_;
  DeviceIdentity identity_;
  std::optional<Dcb> default_line_;
  std::string open_failure_;

  std::unique_ptr<File> file_;     // while open
  std::unique_ptr<TtyLine> line_;  // while open
  ByteQueue received_;
  bool lost_ = false;
};

}  // namespace halden
