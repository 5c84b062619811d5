#include "backends/linux/serial/serial_device.h"

#include <cerrno>
#include <charconv>
#include <fstream>
#include <limits>
#include <linux/serial.h>
#include <string_view>
#include <sys/ioctl.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "backends/text/code_page.h"

namespace halden {
namespace {

/// The file that links lead to; `path` itself where they lead nowhere.
std::string Resolve(const std::string& path) {
  std::error_code error;
  const std::filesystem::path resolved = std::filesystem::canonical(path, error);
  return error ? path : resolved.string();
}

bool ParseNumber(std::string_view text, std::uint32_t* number) {
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, *number);
  return parsed.ec == std::errc() && parsed.ptr == end;
}

std::string Tail(const std::string& text, std::size_t size) {
  return text.size() <= size ? text : text.substr(text.size() - size);
}

FT_STATUS StatusOf(bool done) {
  return done ? FT_OK : kDeviceFailed;
}

}  // namespace

std::optional<std::int32_t> ComNumberOf(const std::string& name) {
  const std::size_t digits = name.find_last_not_of("0123456789") + 1;
  std::uint32_t number = 0;
  if (!ParseNumber(std::string_view(name).substr(digits), &number)) return std::nullopt;
  if (number >= std::numeric_limits<std::int16_t>::max()) return std::nullopt;
  return static_cast<std::int32_t>(number) + 1;
}

SerialPort SerialPort::At(const std::string& path, const NumberRules& rules) {
  constexpr std::uint32_t kUnknownChip = 3;
  constexpr std::string_view kFolder = "/dev/";
  const std::string resolved = Resolve(path);
  const std::string name = resolved.starts_with(kFolder) ? resolved.substr(kFolder.size()) : resolved;
  const AnsiText ansi(rules);
  return {
      path,
      {kUnknownChip, 0, Tail(ansi.FromUtf8(name), 16), Tail(ansi.FromUtf8(resolved), 64), ComNumberOf(name)},
      "/sys/class/tty/" + name + "/device/latency_timer"};
}

SerialDevice::SerialDevice(SerialPort port, std::optional<std::uint32_t> baud) : port_(std::move(port)) {
  if (!baud) return;
  default_line_settings_.emplace();
  default_line_settings_->BaudRate = *baud;
  default_line_settings_->ByteSize = 8;
}

SerialDevice::~SerialDevice() {
  SerialDevice::Close();
}

FT_STATUS SerialDevice::Open() {
  open_failure_ = file_ ? "already open" : TryOpen();
  if (!open_failure_.empty()) open_failure_ = port_.path + ": " + open_failure_;
  return StatusOf(open_failure_.empty());
}

std::string SerialDevice::TryOpen() {
  const std::string resolved = Resolve(port_.path);
  auto file = std::make_unique<SerialFile>(resolved);
  if (file->fd() < 0 || !file->Free()) return SerialFailureText(errno, resolved, port_.root);
  // As soon as can be: until then what the device sends is echoed to it, if nobody has had the port before.
  auto line = std::make_unique<LineSettings>(file->fd());
  if (!line->MakeRaw() || !file->Hold()) return SerialFailureText(errno, resolved, port_.root);
  try {
    reader_ = std::make_unique<SerialReader>(file->fd());
  } catch (const std::system_error& error) {
    line->PutBack();
    return error.code().message();
  } catch (...) {
    line->PutBack();
    throw;
  }
  file_ = std::move(file);
  line_ = std::move(line);
  return "";
}

void SerialDevice::Close() {
  if (!file_) return;
  reader_.reset();
  // Closing would wait for bytes that nobody takes.
  ioctl(file_->fd(), TCFLSH, TCOFLUSH);
  line_->PutBack();
  line_.reset();
  file_.reset();
}

FT_STATUS SerialDevice::SetBaudRate(std::uint32_t bits_per_second) {
  return StatusOf(line_->SetBaudRate(bits_per_second));
}

FT_STATUS SerialDevice::SetDataCharacteristics(std::uint8_t word_length, std::uint8_t stop_bits,
                                               std::uint8_t parity) {
  return StatusOf(line_->SetFormat(word_length, stop_bits, parity));
}

FT_STATUS SerialDevice::Read(void* buffer, std::uint32_t count, std::uint32_t* read) {
  const auto taken = reader_->Take(static_cast<char*>(buffer), count);
  if (taken) *read = static_cast<std::uint32_t>(*taken);
  return StatusOf(taken.has_value());
}

FT_STATUS SerialDevice::Write(const void* buffer, std::uint32_t count, std::uint32_t* written) {
  ssize_t done = 0;
  do {
    done = write(file_->fd(), buffer, count);
  } while (done < 0 && errno == EINTR);
  if (done < 0 && errno != EAGAIN) return kDeviceFailed;
  *written = done < 0 ? 0 : static_cast<std::uint32_t>(done);
  return FT_OK;
}

FT_STATUS SerialDevice::Reset() {
  return Purge(FT_PURGE_RX | FT_PURGE_TX);
}

FT_STATUS SerialDevice::SetDtr(bool on) {
  return SetModemLine(TIOCM_DTR, on);
}

FT_STATUS SerialDevice::SetRts(bool on) {
  return SetModemLine(TIOCM_RTS, on);
}

FT_STATUS SerialDevice::SetModemLine(int line, bool on) {
  if (ioctl(file_->fd(), on ? TIOCMBIS : TIOCMBIC, &line) == 0) return FT_OK;
  // A device without modem lines works without them.
  return StatusOf(errno == ENOTTY || errno == EINVAL);
}

FT_STATUS SerialDevice::SetLatencyTimer(std::uint8_t milliseconds) {
  std::fstream file(port_.latency_timer);
  if (file && file << int{milliseconds} << std::flush) return FT_OK;
  return StatusOf(SetLowLatency());
}

/// What a user may do where the timer's file belongs to the superuser: the shortest latency there is.
bool SerialDevice::SetLowLatency() {
  serial_struct serial{};
  // A device without a latency works without it.
  if (ioctl(file_->fd(), TIOCGSERIAL, &serial) != 0) return errno == ENOTTY || errno == EINVAL;
  serial.flags |= ASYNC_LOW_LATENCY;
  return ioctl(file_->fd(), TIOCSSERIAL, &serial) == 0;
}

FT_STATUS SerialDevice::GetQueueStatus(std::uint32_t* rx_bytes) {
  const auto size = reader_->Size();
  if (size) *rx_bytes = static_cast<std::uint32_t>(*size);
  return StatusOf(size.has_value());
}

FT_STATUS SerialDevice::GetTxQueueStatus(std::uint32_t* tx_bytes) {
  int count = 0;
  if (ioctl(file_->fd(), TIOCOUTQ, &count) != 0) return kDeviceFailed;
  *tx_bytes = static_cast<std::uint32_t>(count);
  return FT_OK;
}

FT_STATUS SerialDevice::Purge(std::uint32_t mask) {
  const bool received = !(mask & FT_PURGE_RX) || reader_->Purge();
  const bool sent = !(mask & FT_PURGE_TX) || ioctl(file_->fd(), TCFLSH, TCOFLUSH) == 0;
  return StatusOf(received && sent);
}

bool SerialDevice::GetDefaultLineSettings(Dcb* line) {
  if (!default_line_settings_) return GetPortLineSettings(line);
  *line = *default_line_settings_;
  return true;
}

bool SerialDevice::SetDefaultLineSettings(const Dcb& line) {
  default_line_settings_ = line;
  return true;
}

bool SerialDevice::GetPortLineSettings(Dcb* line) {
  if (line_) return line_->Found(line);
  const SerialFile file(Resolve(port_.path));
  return file.fd() >= 0 && LineSettings(file.fd()).Found(line);
}

}  // namespace halden
