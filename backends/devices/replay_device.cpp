#include "backends/devices/replay_device.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace halden {

namespace {

constexpr std::uint32_t kUsualBaud = 115200;

DeviceIdentity IdentityOf(const std::string& serial) {
  DeviceIdentity identity;
  identity.serial = serial;
  identity.description = kReplayedDescription;
  return identity;
}

}  // namespace

std::unique_ptr<ReplayDevice> ReplayDevice::Open(Clock& clock, const ReplayDeviceSettings& settings,
                                                 const std::string& serial) {
  std::ifstream file(settings.path, std::ios::binary);
  file.peek();
  if (file.bad() || !file.is_open()) return nullptr;
  file.clear();  // peek set eof on an empty file
  if (!file.seekg(0)) return nullptr;
  return std::unique_ptr<ReplayDevice>(new ReplayDevice(clock, settings, serial, std::move(file)));
}

ReplayDevice::ReplayDevice(Clock& clock, const ReplayDeviceSettings& settings, const std::string& serial,
                           std::ifstream file)
    : PacedDevice(
          clock, IdentityOf(serial), settings.baud.value_or(kUsualBaud),
          {settings.rate.value_or(kUnbounded),
           settings.rate && !settings.baud ? kUnbounded : settings.baud.value_or(kUsualBaud) / kBitsPerByte}),
      file_(std::move(file)),
      line_end_(settings.line_end),
      loop_(settings.loop) {}

std::string ReplayDevice::OnOpen() {
  hurries_ = false;
  was_read_ = false;
  Rewind();
  StartLines(Milliseconds(), 0);
  return "";
}

void ReplayDevice::Rewind() {
  begin_ = end_ = 0;
  file_.clear();
  file_.seekg(0);
}

/// Moves the unsent bytes to the front of the block and fills the rest from the file. False at the end of the
/// file.
bool ReplayDevice::Refill() {
  std::copy(block_.begin() + static_cast<std::ptrdiff_t>(begin_),
            block_.begin() + static_cast<std::ptrdiff_t>(end_), block_.begin());
  end_ -= begin_;
  begin_ = 0;
  file_.read(block_.data() + end_, static_cast<std::streamsize>(block_.size() - end_));
  const auto count = static_cast<std::size_t>(file_.gcount());
  if (line_end_ == LineEnd::kLf) std::replace(block_.data() + end_, block_.data() + end_ + count, '\n', '\r');
  end_ += count;
  return count > 0;
}

std::string_view ReplayDevice::NextLine(std::uint64_t) {
  // Rewinds at most once: a looped file that is empty must not spin here.
  for (bool again = loop_;; again = false) {
    const std::string_view line = TakeLine();
    if (!line.empty() || !again) return line;
    Rewind();
  }
}

/// Returns the bytes up to and including the next line end, or the rest of the file. A line longer than the
/// block is returned in pieces of a block. Empty at the end of the file.
std::string_view ReplayDevice::TakeLine() {
  std::size_t searched = 0;
  for (;;) {
    const std::string_view rest(block_.data() + begin_, end_ - begin_);
    std::size_t size = std::min(rest.find_first_of("\r\n", searched), rest.size());
    // The LF after a CR that is the last byte of the block may not have been loaded yet.
    const bool whole = size + 1 < rest.size() || (size < rest.size() && rest[size] == '\n');
    searched = size;
    if (!whole && rest.size() < block_.size() && Refill()) continue;
    if (size < rest.size()) size += rest.substr(size, 2) == "\r\n" ? 2 : 1;
    begin_ += size;
    return rest.substr(0, size);
  }
}

void ReplayDevice::Hurry() {
  // The unsent rest of the current line lies directly before begin_: step back over it.
  begin_ -= TakeUnsent().size();
  hurries_ = true;
}

/// The size of the next piece to deliver: whole lines where possible, because the driver then has no
/// unfinished line to move to the front of its buffer.
std::size_t ReplayDevice::NextPiece() {
  if (end_ - begin_ < kPiece) Refill();
  const std::size_t size = std::min(end_ - begin_, kPiece);
  const auto last_end = std::string_view(block_.data() + begin_, size).rfind('\r');
  if (last_end == std::string_view::npos || size < kPiece) return size;
  return last_end + (last_end + 1 < size && block_[begin_ + last_end + 1] == '\n' ? 2 : 1);
}

FT_STATUS ReplayDevice::GetQueueStatus(std::uint32_t* rx_bytes) {
  const FT_STATUS status = PacedDevice::GetQueueStatus(rx_bytes);
  if (status == FT_OK && hurries_ && *rx_bytes == 0) *rx_bytes = static_cast<std::uint32_t>(NextPiece());
  return status;
}

FT_STATUS ReplayDevice::Purge(std::uint32_t mask) {
  const FT_STATUS status = PacedDevice::Purge(mask);
  if (status == FT_OK && (mask & FT_PURGE_RX) != 0 && !was_read_) OnOpen();
  return status;
}

/// See the class comment: before the first Read only kHeldBack bytes arrive.
std::size_t ReplayDevice::Room(const ByteQueue& queue) const {
  return was_read_ ? ByteQueue::kCapacity : kHeldBack - std::min(kHeldBack, queue.Size());
}

FT_STATUS ReplayDevice::Read(void* buffer, std::uint32_t count, std::uint32_t* read) {
  const FT_STATUS status = PacedDevice::Read(buffer, count, read);
  was_read_ = true;
  if (status != FT_OK || !hurries_ || *read > 0) return status;
  *read = static_cast<std::uint32_t>(std::min<std::size_t>(count, end_ - begin_));
  std::copy_n(block_.data() + begin_, *read, static_cast<char*>(buffer));
  begin_ += *read;
  return FT_OK;
}

bool ReplayDevice::Ended() const {
  return hurries_ ? begin_ == end_ && file_.eof() : PacedDevice::Ended();
}

}  // namespace halden
