#include "platform/linux/tty_device.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <filesystem>
#include <grp.h>
#include <limits>
#include <string_view>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <utility>

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

/// One more than the number at the end of `name`; nothing without one, or where it is no COM number.
std::optional<std::int32_t> ComNumberOf(const std::string& name) {
  const std::size_t digits = name.find_last_not_of("0123456789") + 1;
  std::uint32_t number = 0;
  if (!ParseNumber(std::string_view(name).substr(digits), &number)) return std::nullopt;
  if (number >= std::numeric_limits<std::int16_t>::max()) return std::nullopt;
  return static_cast<std::int32_t>(number) + 1;
}

std::string Tail(const std::string& text, std::size_t size) {
  return text.size() <= size ? text : text.substr(text.size() - size);
}

DeviceIdentity IdentityOf(const std::string& resolved) {
  constexpr std::uint32_t kUnknownChip = 3;
  constexpr std::string_view kFolder = "/dev/";
  const std::string name = resolved.starts_with(kFolder) ? resolved.substr(kFolder.size()) : resolved;
  return {kUnknownChip, 0, Tail(name, 16), Tail(resolved, 64), ComNumberOf(name)};
}

std::string DeniedText(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return "permission denied";
  const group* owner = getgrgid(status.st_gid);
  const std::string name = owner != nullptr ? owner->gr_name : std::to_string(status.st_gid);
  return "permission denied, it belongs to the group " + name;
}

std::string FailureText(int error, const std::string& path) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return "no such file";
    case EACCES:
    case EPERM:
      return DeniedText(path);
    case EBUSY:
    case EWOULDBLOCK:
      return "held by another program";
    case ENOTTY:
      return "not a serial device";
    default:
      return std::generic_category().message(error);
  }
}

FT_STATUS StatusOf(bool done) {
  return done ? FT_OK : kDeviceFailed;
}

}  // namespace

class TtyDevice::File {
 public:
  /// Opens nothing that isn't a tty; then fd() is -1 and `errno` says why.
  explicit File(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return;
    errno = ENOTTY;
    if (!S_ISCHR(status.st_mode)) return;
    fd_ = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd_ >= 0 && !isatty(fd_)) {
      Close();
      errno = ENOTTY;
    }
  }
  ~File() { Close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  int fd() const { return fd_; }

  /// Keeps other programs away: those that ask by the lock, and those that would just open it. False, with
  /// `errno`, if another holds it.
  bool Hold() {
    if (flock(fd_, LOCK_EX | LOCK_NB) != 0) return false;
    int held = 0;
    if (ioctl(fd_, TIOCGEXCL, &held) == 0 && held != 0) {
      errno = EBUSY;
      return false;
    }
    return ioctl(fd_, TIOCEXCL) == 0;
  }
  void Release() { ioctl(fd_, TIOCNXCL); }

 private:
  void Close() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }

  int fd_ = -1;
};

TtyDevice::TtyDevice(std::string path, std::optional<std::uint32_t> baud)
    : path_(std::move(path)), identity_(IdentityOf(Resolve(path_))) {
  if (!baud) return;
  default_line_.emplace();
  default_line_->BaudRate = *baud;
  default_line_->ByteSize = 8;
}

TtyDevice::~TtyDevice() {
  Close();
}

FT_STATUS TtyDevice::Open() {
  open_failure_ = file_ ? "already open" : TryOpen();
  if (!open_failure_.empty()) open_failure_ = path_ + ": " + open_failure_;
  return StatusOf(open_failure_.empty());
}

std::string TtyDevice::TryOpen() {
  const std::string resolved = Resolve(path_);
  auto file = std::make_unique<File>(resolved);
  if (file->fd() < 0 || !file->Hold()) return FailureText(errno, resolved);
  auto line = std::make_unique<TtyLine>(file->fd());
  if (!line->MakeRaw()) {
    const int error = errno;
    file->Release();
    return FailureText(error, resolved);
  }
  file_ = std::move(file);
  line_ = std::move(line);
  received_.Clear();
  lost_ = false;
  return "";
}

void TtyDevice::Close() {
  if (!file_) return;
  // Closing would wait for bytes that nobody takes.
  ioctl(file_->fd(), TCFLSH, TCOFLUSH);
  line_->PutBack();
  file_->Release();
  line_.reset();
  file_.reset();
}

FT_STATUS TtyDevice::SetBaudRate(std::uint32_t bits_per_second) {
  return StatusOf(line_->SetBaudRate(bits_per_second));
}

FT_STATUS TtyDevice::SetDataCharacteristics(std::uint8_t word_length, std::uint8_t stop_bits,
                                            std::uint8_t parity) {
  return StatusOf(line_->SetFormat(word_length, stop_bits, parity));
}

void TtyDevice::Receive() {
  char bytes[4096];
  while (!lost_) {
    const std::size_t room = std::min(sizeof bytes, ByteQueue::kCapacity - received_.Size());
    if (room == 0) return;  // the rest waits in the kernel
    const ssize_t count = read(file_->fd(), bytes, room);
    if (count > 0) {
      received_.Push({bytes, static_cast<std::size_t>(count)});
    } else if (count < 0 && errno == EAGAIN) {
      return;
    } else if (count == 0 || errno != EINTR) {
      lost_ = true;
    }
  }
}

FT_STATUS TtyDevice::Read(void* buffer, std::uint32_t count, std::uint32_t* read) {
  if (received_.Size() < count) Receive();
  if (lost_ && received_.Size() == 0) return kDeviceFailed;
  *read = static_cast<std::uint32_t>(received_.Pop(static_cast<char*>(buffer), count));
  return FT_OK;
}

FT_STATUS TtyDevice::Write(const void* buffer, std::uint32_t count, std::uint32_t* written) {
  ssize_t done = 0;
  do {
    done = write(file_->fd(), buffer, count);
  } while (done < 0 && errno == EINTR);
  if (done < 0 && errno != EAGAIN) return kDeviceFailed;
  *written = done < 0 ? 0 : static_cast<std::uint32_t>(done);
  return FT_OK;
}

FT_STATUS TtyDevice::Reset() {
  return Purge(FT_PURGE_RX | FT_PURGE_TX);
}

FT_STATUS TtyDevice::SetDtr(bool on) {
  return SetModemLine(TIOCM_DTR, on);
}

FT_STATUS TtyDevice::SetRts(bool on) {
  return SetModemLine(TIOCM_RTS, on);
}

FT_STATUS TtyDevice::SetModemLine(int line, bool on) {
  if (ioctl(file_->fd(), on ? TIOCMBIS : TIOCMBIC, &line) == 0) return FT_OK;
  // A device without modem lines works without them.
  return StatusOf(errno == ENOTTY || errno == EINVAL);
}

FT_STATUS TtyDevice::SetLatencyTimer(std::uint8_t) {
  return StatusOf(!lost_);
}

FT_STATUS TtyDevice::GetQueueStatus(std::uint32_t* rx_bytes) {
  Receive();
  if (lost_ && received_.Size() == 0) return kDeviceFailed;
  *rx_bytes = static_cast<std::uint32_t>(received_.Size());
  return FT_OK;
}

FT_STATUS TtyDevice::GetTxQueueStatus(std::uint32_t* tx_bytes) {
  int count = 0;
  if (ioctl(file_->fd(), TIOCOUTQ, &count) != 0) return kDeviceFailed;
  *tx_bytes = static_cast<std::uint32_t>(count);
  return FT_OK;
}

FT_STATUS TtyDevice::Purge(std::uint32_t mask) {
  const bool rx = mask & FT_PURGE_RX;
  const bool tx = mask & FT_PURGE_TX;
  if (rx) received_.Clear();
  if (!rx && !tx) return FT_OK;
  return StatusOf(ioctl(file_->fd(), TCFLSH, rx ? (tx ? TCIOFLUSH : TCIFLUSH) : TCOFLUSH) == 0);
}

bool TtyDevice::GetDefaultLine(Dcb* line) {
  if (!default_line_) return GetPortLine(line);
  *line = *default_line_;
  return true;
}

bool TtyDevice::SetDefaultLine(const Dcb& line) {
  default_line_ = line;
  return true;
}

bool TtyDevice::GetPortLine(Dcb* line) {
  if (line_) return line_->Found(line);
  const File file(Resolve(path_));
  return file.fd() >= 0 && TtyLine(file.fd()).Found(line);
}

}  // namespace halden
