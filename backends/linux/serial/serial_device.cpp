#include "backends/linux/serial/serial_device.h"

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <fstream>
#include <limits>
#include <linux/serial.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "backends/text/code_page.h"

namespace halden {
namespace {

/// The file that a link leads to, or `path` itself if it can't be resolved; opening that gives the reason.
std::string Resolve(const std::string& path) {
  std::error_code error;
  const std::filesystem::path resolved = std::filesystem::canonical(path, error);
  return error ? path : resolved.string();
}

/// Whether a file is a tty. Character devices without an entry in /sys are assumed to be one.
bool IsTty(const struct stat& status) {
  const std::string place =
      "/sys/dev/char/" + std::to_string(major(status.st_rdev)) + ":" + std::to_string(minor(status.st_rdev));
  std::error_code error;
  if (!S_ISCHR(status.st_mode)) return false;
  const auto subsystem = std::filesystem::read_symlink(place + "/subsystem", error);
  return error || subsystem.filename() == "tty";
}

bool ParseNumber(std::string_view text, std::uint32_t* number) {
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, *number);
  return parsed.ec == std::errc() && parsed.ptr == end;
}

/// The end of a long path says more than its beginning.
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

/// The lengths are those of the device library's node.
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

SerialDevice::SerialDevice(SerialPort port, const PortSettings& settings)
    : port_(std::move(port)), line_end_(settings.line_end) {
  if (!settings.baud) return;
  default_line_settings_.emplace();
  default_line_settings_->BaudRate = *settings.baud;
  default_line_settings_->ByteSize = 8;
}

SerialDevice::~SerialDevice() {
  SerialDevice::Close();
}

FT_STATUS SerialDevice::Open() {
  return Report(file_ ? "already open" : TryOpen());
}

FT_STATUS SerialDevice::Probe() {
  return Report(file_ ? "already open" : TryProbe());
}

FT_STATUS SerialDevice::Report(const std::string& failure) {
  open_failure_ = failure.empty() ? "" : port_.path + ": " + failure;
  return StatusOf(failure.empty());
}

/// Opens and locks the port. Returns why that failed, or "".
std::string SerialDevice::TryOpen() {
  const std::string resolved = Resolve(port_.path);
  auto file = std::make_unique<SerialFile>(resolved);
  if (file->fd() < 0 || !file->Lock()) return SerialFailureText(errno, resolved, port_.root);
  // As early as possible: on a port that no program has set up yet, the kernel's default is to echo what the
  // device sends back to it.
  auto line_settings = std::make_unique<LineSettings>(file->fd());
  restorer_.Opened(file->fd(), resolved, line_settings->Original());
  file_ = std::move(file);
  line_settings_ = std::move(line_settings);
  std::string failure;
  try {
    if (line_settings_->MakeRaw(line_end_) && file_->MakeExclusive())
      reader_ = std::make_unique<SerialReader>(file_->fd());
    else
      failure = SerialFailureText(errno, resolved, port_.root);
  } catch (const std::system_error& error) {
    failure = error.code().message();
  } catch (...) {
    Close();
    throw;
  }
  if (!failure.empty()) {
    Close();
    return failure;
  }
  Dcb found;
  if (line_settings_->GetOriginal(&found)) found_line_settings_ = found;
  overruns_before_ = OverrunCounter().value_or(0);
  opened_path_ = resolved;
  return "";
}

/// Returns why Open would fail, or "" if no reason can be found without resetting the device. Opening a
/// closed port raises DTR, so only its permissions are checked. A pseudo-terminal, or a port that another
/// program has open, is opened and locked for a moment; its settings and bytes are left alone.
std::string SerialDevice::TryProbe() {
  const std::string resolved = Resolve(port_.path);
  struct stat status {};
  if (stat(resolved.c_str(), &status) != 0) return SerialFailureText(errno, resolved, port_.root);
  if (IsPseudoTerminal(status) || !FindOpener(resolved, port_.root).empty()) {
    SerialFile file(resolved);
    if (file.fd() < 0 || !file.Lock()) return SerialFailureText(errno, resolved, port_.root);
    opened_path_ = resolved;
    return "";
  }
  if (!IsTty(status)) return SerialFailureText(ENOTTY, resolved, port_.root);
  if (faccessat(AT_FDCWD, resolved.c_str(), R_OK | W_OK, AT_EACCESS) != 0)
    return SerialFailureText(errno, resolved, port_.root);
  return "";
}

/// Our lock doesn't keep out a program that opened the port without one. Searched here and not in Open,
/// because searching all processes may take many milliseconds.
std::vector<std::string> SerialDevice::TakeNotices() {
  if (opened_path_.empty()) return {};
  const std::string opener = FindOpener(std::exchange(opened_path_, ""), port_.root);
  if (opener == opener_) return {};
  opener_ = opener;
  if (opener.empty()) return {};
  return {port_.path + ": also open in " + opener + ", which may take bytes from it"};
}

std::optional<std::uint64_t> SerialDevice::Overruns() const {
  const auto counter = OverrunCounter();
  if (!counter) return std::nullopt;
  return *counter - overruns_before_;
}

/// Overruns of the chip's buffer and of the kernel's since the kernel found the port; nullopt if the port is
/// closed or its driver doesn't count them.
std::optional<std::uint64_t> SerialDevice::OverrunCounter() const {
  serial_icounter_struct counters{};
  if (!file_ || ioctl(file_->fd(), TIOCGICOUNT, &counters) != 0) return std::nullopt;
  return std::uint64_t{static_cast<unsigned>(counters.overrun)} + static_cast<unsigned>(counters.buf_overrun);
}

void SerialDevice::Close() {
  if (!file_) return;
  reader_.reset();
  // close() would wait for unsent bytes that the device doesn't accept.
  ioctl(file_->fd(), TCFLSH, TCOFLUSH);
  line_settings_->Restore();
  restorer_.Closing();
  line_settings_.reset();
  file_.reset();
}

FT_STATUS SerialDevice::SetBaudRate(std::uint32_t bits_per_second) {
  return StatusOf(line_settings_->SetBaudRate(bits_per_second));
}

FT_STATUS SerialDevice::SetDataCharacteristics(std::uint8_t word_length, std::uint8_t stop_bits,
                                               std::uint8_t parity) {
  return StatusOf(line_settings_->SetFormat(word_length, stop_bits, parity));
}

FT_STATUS SerialDevice::Read(void* buffer, std::uint32_t count, std::uint32_t* read) {
  const auto taken = reader_->Take(static_cast<char*>(buffer), count);
  if (taken) *read = static_cast<std::uint32_t>(*taken);
  return StatusOf(taken.has_value());
}

FT_STATUS SerialDevice::Write(const void* buffer, std::uint32_t count, std::uint32_t* written) {
  // Bytes that the kernel has no room for are not an error; the caller sees that fewer were written.
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
  // A pseudo-terminal has no modem lines, and needs none.
  return StatusOf(errno == ENOTTY || errno == EINVAL);
}

/// The latency is how long the chip collects bytes before it sends a packet that isn't full. Its file can
/// usually only be written by the superuser.
FT_STATUS SerialDevice::SetLatencyTimer(std::uint8_t milliseconds) {
  std::fstream file(port_.latency_timer);
  if (file && file << int{milliseconds} << std::flush) return FT_OK;
  return StatusOf(SetLowLatency());
}

/// Asks for the shortest latency (1 ms), which an ordinary user may do too.
bool SerialDevice::SetLowLatency() {
  serial_struct serial{};
  // A serial driver without this setting adds no latency of its own.
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

bool SerialDevice::GetDefaultLineSettings(Dcb* settings) {
  if (!default_line_settings_) return GetPortLineSettings(settings);
  *settings = *default_line_settings_;
  return true;
}

bool SerialDevice::SetDefaultLineSettings(const Dcb& settings) {
  default_line_settings_ = settings;
  return true;
}

bool SerialDevice::GetPortLineSettings(Dcb* settings) {
  if (found_line_settings_) {
    *settings = *found_line_settings_;
    return true;
  }
  // The settings of a port can't be read without opening it, which may reset the device, except in these two
  // cases.
  const std::string resolved = Resolve(port_.path);
  struct stat status {};
  if (stat(resolved.c_str(), &status) != 0) return false;
  if (!IsPseudoTerminal(status) && FindOpener(resolved, port_.root).empty()) return false;
  const SerialFile file(resolved);
  return file.fd() >= 0 && LineSettings(file.fd()).GetOriginal(settings);
}

}  // namespace halden
