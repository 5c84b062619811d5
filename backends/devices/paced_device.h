#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "backends/devices/byte_queue.h"
#include "backends/devices/device.h"
#include "platform/clock.h"

namespace halden {

/// A device that sends line after line, paced by a clock. It has no thread: each call first generates what
/// the device would have sent since the previous call. That allocates nothing in steady state.
///
/// Time inside is in milliseconds since the device was made, as a double.
class PacedDevice : public Device {
 public:
  /// Puts bytes into the receive queue as if the device had just sent them; does nothing while it is closed.
  void Feed(std::string_view bytes);
  /// Unplugs the device and plugs it in again. If it was open its calls then fail until it is opened again.
  void Unplug() { plugged_ = false; }
  void Plug();
  /// From now on, appends one text to `log` for each call that changes the device: "open", "close",
  /// "baud 9600", "data 8 0 0" (word length, stop bits, parity), "latency 5", "dtr 1", "rts 1", "purge 3",
  /// "reset", "write BYTES". `log` must outlive the device.
  void LogCallsTo(std::vector<std::string>* log) { log_ = log; }

  const DeviceIdentity& Identity() const override { return identity_; }
  bool Present() const override { return plugged_ && Milliseconds() < unplug_at_; }
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
  bool Ended() const override { return ended_ && queue_.Size() == 0; }
  std::string OpenFailure() const override { return open_failure_; }

 protected:
  static constexpr double kUnbounded = std::numeric_limits<double>::infinity();
  static constexpr double kBitsPerByte = 10;  // one start bit, eight data bits, one stop bit

  /// How fast the device sends; the slower of the two limits applies. At most one may be kUnbounded.
  struct Pace {
    double lines_per_second;
    double bytes_per_second;
  };

  /// `clock` must outlive the device. `baud` is the port's default rate, bits per second.
  PacedDevice(Clock& clock, DeviceIdentity identity, std::uint32_t baud, Pace pace);

  /// Returns line number `line` including its line end. The bytes stay valid until the next call. Empty: the
  /// device will send nothing more.
  virtual std::string_view NextLine(std::uint64_t line) = 0;
  /// Called when the device is opened; must call StartLines. Returns why the device can't be opened, or "".
  virtual std::string OnOpen() = 0;
  /// Called when SetDtr(true) finds DTR low. Bytes that were due until now are already in the queue.
  virtual void OnDtrRise() {}
  /// Puts bytes that the device has sent into the queue. Override it to garble them.
  virtual void Receive(std::string_view sent, ByteQueue& queue) { queue.Push(sent); }
  /// How many more bytes the device may send now. The rest stay due and are sent at a later call.
  virtual std::size_t Room(const ByteQueue&) const { return ByteQueue::kCapacity; }

  /// Whole milliseconds since the device was made. Doesn't wrap.
  double Milliseconds() const;
  /// Restarts the sequence of lines: line n is due at `origin` plus n periods (never, if `origin` is
  /// infinite), and the next line to be sent is `line`. Lines due before the device was opened are lost.
  void StartLines(double origin, std::uint64_t line);
  /// Stops sending, and returns the unsent rest of the current line.
  std::string_view TakeUnsent();
  void UnplugAt(double milliseconds) { unplug_at_ = milliseconds; }
  std::uint32_t PortBaud() const { return port_line_.BaudRate; }

 private:
  bool IsReachable() const { return open_ && Present(); }
  void Advance();
  bool BeginLine(double now);
  FT_STATUS Accept(const std::string& call);

  Clock& clock_;
  const DeviceIdentity identity_;
  const Pace pace_;
  Dcb default_line_settings_;
  Dcb port_line_;
  std::string open_failure_;
  std::vector<std::string>* log_ = nullptr;

  mutable std::uint32_t last_tick_;
  mutable std::uint64_t elapsed_ms_ = 0;
  bool plugged_ = true;
  bool open_ = false;
  double unplug_at_ = std::numeric_limits<double>::infinity();
  bool dtr_ = false;  // closing leaves it unchanged, as on a port with HUPCL cleared; unplugging clears it

  ByteQueue queue_;
  std::string_view sending_;     // the current line
  std::size_t sent_ = 0;         // bytes of it that are in the queue already
  double line_start_ = 0;        // when its first byte was sent, relative to origin_
  double line_end_ = 0;          // when its last byte arrives, relative to origin_
  double origin_ = 0;            // when line 0 is due
  std::uint64_t next_line_ = 0;  // number of the line after the current one
  bool ended_ = false;           // NextLine returned an empty line
};

}  // namespace halden
