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

/// A device that speaks by itself: one line after another, paced by a clock. It has no thread: what it has
/// said since the last call is made up at the next one, without allocating once it runs.
class PacedDevice : public Device {
 public:
  /// Puts bytes into the receive queue of the open device, as if it had just sent them.
  void Feed(std::string_view bytes);
  /// Pulls the plug and puts it in again. A device that was open then answers no more until it is opened
  /// anew.
  void Unplug() { plugged_ = false; }
  void Plug();
  /// From now on, appends one text for each call that does something to the device: "open", "close",
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
  static constexpr double kBitsPerByte = 10;  // a start bit, eight data bits, a stop bit

  /// How fast the device speaks. At most one of the two may be unbounded.
  struct Pace {
    double lines_per_second;
    double bytes_per_second;
  };

  /// `clock` must outlive the device. `baud` is the line rate that its port is configured for.
  PacedDevice(Clock& clock, DeviceIdentity identity, std::uint32_t baud, Pace pace);

  /// The bytes of a line with its end, valid until the next call; nothing where the device has no more to
  /// say.
  virtual std::string_view NextLine(std::uint64_t line) = 0;
  /// The device is being opened, and StartLines is to say what comes next. The answer is why it can't be
  /// opened; empty if it can.
  virtual std::string OnOpen() = 0;
  /// DTR rises: it was low, and SetDtr(true) was called. What was due before has been received.
  virtual void OnDtrRise() {}
  /// What the port makes of bytes that the device has sent.
  virtual void Receive(std::string_view sent, ByteQueue& queue) { queue.Push(sent); }
  /// How many bytes more the device may send now. The others wait until the next call.
  virtual std::size_t Room(const ByteQueue&) const { return ByteQueue::kCapacity; }

  /// Whole milliseconds since the device was made.
  double Milliseconds() const;
  /// Line 0 is due at the time `origin`, infinity for never, and the next line is `line`. What was due before
  /// the opening is lost, as nobody listened.
  void StartLines(double origin, std::uint64_t line);
  /// What the device has not sent yet of the line that is on its way, which is then forgotten.
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
  double unplug_at_ = std::numeric_limits<double>::infinity();  // milliseconds
  bool dtr_ = false;  // closing leaves it as it is, as on a port with HUPCL cleared; unplugging clears it

  ByteQueue queue_;
  std::string_view sending_;  // the line that is on its way
  std::size_t sent_ = 0;      // of its bytes
  double line_start_ = 0;     // milliseconds behind origin_
  double line_end_ = 0;
  double origin_ = 0;  // milliseconds
  std::uint64_t next_line_ = 0;
  bool ended_ = false;  // NextLine had no more to say
};

}  // namespace halden
