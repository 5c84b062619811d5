#include "backends/devices/paced_device.h"

#include <algorithm>
#include <utility>

namespace halden {

PacedDevice::PacedDevice(Clock& clock, DeviceIdentity identity, std::uint32_t baud, Pace pace)
    : clock_(clock), identity_(std::move(identity)), pace_(pace), last_tick_(clock.GetTickCount()) {
  default_line_settings_.BaudRate = baud;
  default_line_settings_.ByteSize = 8;
  port_line_ = default_line_settings_;
}

/// Adds up differences, because the clock's count wraps at 2^32.
double PacedDevice::Milliseconds() const {
  const std::uint32_t tick = clock_.GetTickCount();
  elapsed_ms_ += tick - last_tick_;
  last_tick_ = tick;
  return static_cast<double>(elapsed_ms_);
}

void PacedDevice::StartLines(double origin, std::uint64_t line) {
  origin_ = origin;
  next_line_ = line;
  sending_ = {};
  sent_ = 0;
  line_end_ = 0;
  ended_ = false;
}

std::string_view PacedDevice::TakeUnsent() {
  Advance();
  const std::string_view unsent = sending_.substr(sent_);
  StartLines(std::numeric_limits<double>::infinity(), 0);
  return unsent;
}

/// Makes the next line the current one if it is due at `now` (relative to origin_). A line starts at its due
/// time or when the line before it has been sent, whichever is later.
bool PacedDevice::BeginLine(double now) {
  const double due = static_cast<double>(next_line_) * 1000 / pace_.lines_per_second;
  const double start = std::max(due, line_end_);
  if (start > now) return false;
  sending_ = NextLine(next_line_++);
  sent_ = 0;
  line_start_ = start;
  line_end_ = start + static_cast<double>(sending_.size()) * 1000 / pace_.bytes_per_second;
  ended_ = sending_.empty();
  return !ended_;
}

/// Moves every byte that is due by now into the queue.
void PacedDevice::Advance() {
  const double now = Milliseconds() - origin_;
  while (sent_ < sending_.size() || BeginLine(now)) {
    std::size_t due = now >= line_end_
                          ? sending_.size()
                          : static_cast<std::size_t>((now - line_start_) * pace_.bytes_per_second / 1000);
    due = std::min(due, sent_ + Room(queue_));
    if (due > sent_) Receive(sending_.substr(sent_, due - sent_), queue_);
    sent_ = std::max(sent_, due);
    if (sent_ < sending_.size()) return;
  }
}

void PacedDevice::Feed(std::string_view bytes) {
  if (!IsReachable()) return;
  Advance();
  queue_.Push(bytes);
}

void PacedDevice::Plug() {
  if (Present()) return;
  plugged_ = true;
  unplug_at_ = std::numeric_limits<double>::infinity();
  open_ = false;
  dtr_ = false;
}

/// Logs a call. Fails, without logging it, unless the device is open and plugged in.
FT_STATUS PacedDevice::Accept(const std::string& call) {
  if (!IsReachable()) return kDeviceFailed;
  if (log_ != nullptr) log_->push_back(call);
  return FT_OK;
}

FT_STATUS PacedDevice::Open() {
  const std::string fault = Present() ? OnOpen() : "not plugged in";
  open_failure_ = fault.empty() ? "" : identity_.serial + ": " + fault;
  if (!fault.empty()) return kDeviceFailed;
  // Bytes sent while the device was closed are lost: generate them, then drop them.
  if (origin_ < Milliseconds()) Advance();
  queue_.Clear();
  open_ = true;
  return Accept("open");
}

void PacedDevice::Close() {
  if (log_ != nullptr) log_->push_back("close");
  open_ = false;
}

FT_STATUS PacedDevice::SetBaudRate(std::uint32_t bits_per_second) {
  if (bits_per_second == 0 || bits_per_second > kHighestBaud) return kDeviceFailed;
  if (Accept("baud " + std::to_string(bits_per_second)) != FT_OK) return kDeviceFailed;
  Advance();
  port_line_.BaudRate = bits_per_second;
  return FT_OK;
}

FT_STATUS PacedDevice::SetDataCharacteristics(std::uint8_t word_length, std::uint8_t stop_bits,
                                              std::uint8_t parity) {
  if (word_length < 7 || word_length > 8 || stop_bits > 2 || parity > 4) return kDeviceFailed;
  const std::string call =
      "data " + std::to_string(word_length) + " " + std::to_string(stop_bits) + " " + std::to_string(parity);
  if (Accept(call) != FT_OK) return kDeviceFailed;
  port_line_.ByteSize = word_length;
  port_line_.StopBits = stop_bits;
  port_line_.Parity = parity;
  return FT_OK;
}

FT_STATUS PacedDevice::Read(void* buffer, std::uint32_t count, std::uint32_t* read) {
  if (!IsReachable()) return kDeviceFailed;
  Advance();
  *read = static_cast<std::uint32_t>(queue_.Pop(static_cast<char*>(buffer), count));
  return FT_OK;
}

FT_STATUS PacedDevice::Write(const void* buffer, std::uint32_t count, std::uint32_t* written) {
  *written = count;
  return Accept("write " + std::string(static_cast<const char*>(buffer), count));
}

FT_STATUS PacedDevice::Reset() {
  return Accept("reset");
}

FT_STATUS PacedDevice::SetDtr(bool on) {
  const FT_STATUS status = Accept(on ? "dtr 1" : "dtr 0");
  if (status != FT_OK) return status;
  const bool rises = on && !dtr_;
  dtr_ = on;
  if (rises) {
    Advance();
    OnDtrRise();
  }
  return FT_OK;
}

FT_STATUS PacedDevice::SetRts(bool on) {
  return Accept(on ? "rts 1" : "rts 0");
}

FT_STATUS PacedDevice::SetLatencyTimer(std::uint8_t milliseconds) {
  return Accept("latency " + std::to_string(milliseconds));
}

FT_STATUS PacedDevice::GetQueueStatus(std::uint32_t* rx_bytes) {
  if (!IsReachable()) return kDeviceFailed;
  Advance();
  *rx_bytes = static_cast<std::uint32_t>(queue_.Size());
  return FT_OK;
}

FT_STATUS PacedDevice::GetTxQueueStatus(std::uint32_t* tx_bytes) {
  *tx_bytes = 0;
  return IsReachable() ? FT_OK : kDeviceFailed;
}

FT_STATUS PacedDevice::Purge(std::uint32_t mask) {
  if (Accept("purge " + std::to_string(mask)) != FT_OK) return kDeviceFailed;
  Advance();
  if ((mask & FT_PURGE_RX) != 0) queue_.Clear();
  return FT_OK;
}

bool PacedDevice::GetDefaultLineSettings(Dcb* line) {
  *line = default_line_settings_;
  return Present();
}

bool PacedDevice::SetDefaultLineSettings(const Dcb& line) {
  if (!Present() || line.BaudRate == 0 || line.BaudRate > kHighestBaud) return false;
  default_line_settings_ = line;
  return true;
}

bool PacedDevice::GetPortLineSettings(Dcb* line) {
  *line = port_line_;
  return Present();
}

}  // namespace halden
