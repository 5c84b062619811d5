#include "sdk/heard.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace halden::sdk {
namespace {

bool IsUnprintable(char c) {
  return (c < ' ' || c > '~') && c != '\r' && c != '\n' && c != '\t';
}

constexpr std::uint64_t kOnes = 0x0101010101010101;

/// Sets the highest bit of each byte of the word that isn't printable ASCII, and clears all other bits. The
/// bit comes from the byte itself from 0x80 on, from subtracting 0x20 below a space, and from adding 1 at
/// 0x7f. The subtraction may borrow from the next byte and mark a space in it, so callers check a marked byte
/// again.
std::uint64_t MarkUnprintable(std::uint64_t word) {
  return (word | (word - 0x20 * kOnes) | (word + kOnes)) & (0x80 * kOnes);
}

}  // namespace

/// All received bytes come through here, so they are looked at eight at a time.
void Heard::Add(std::string_view received) {
  std::uint64_t line_ends = 0;
  const auto add = [&](std::uint64_t word) {
    for (std::uint64_t marks = MarkUnprintable(word); marks != 0; marks &= marks - 1) {
      const char c = static_cast<char>(word >> (std::countr_zero(marks) - 7));
      returns += c == '\r';
      feeds += c == '\n';
      line_ends += c == '\r' || c == '\n';
      unprintable += IsUnprintable(c);
    }
  };
  std::uint64_t word;
  std::size_t at = 0;
  for (; received.size() - at >= sizeof word; at += sizeof word) {
    std::memcpy(&word, received.data() + at, sizeof word);
    add(word);
  }
  word = ' ' * kOnes;
  std::memcpy(&word, received.data() + at, received.size() - at);
  add(word);

  bytes += received.size();
  text += received.size() - line_ends;
  sample += received.substr(0, kSampleSize - std::min(kSampleSize, sample.size()));
}

Silence WhyNotRecognised(const Heard& heard) {
  // The driver needs two whole lines: a CR before the first and one at the end of each.
  constexpr std::uint64_t kReturnsNeeded = 3;
  if (!heard.opened) return Silence::kNotOpened;
  // The driver doesn't read until three bytes are queued.
  if (heard.bytes == 0) return heard.queued == 0 ? Silence::kNothing : Silence::kFewLines;
  // At a wrong baud rate, half of the bytes or more are outside ASCII. In lines of numbers with units in
  // another alphabet, or with a degree sign, it is well below a third.
  if (heard.unprintable * 3 > heard.bytes) return Silence::kUnprintable;
  if (heard.returns == 0) return heard.feeds > 0 ? Silence::kFeedsOnly : Silence::kNoLineEnd;
  if (heard.text == 0) return Silence::kEmptyLines;
  if (heard.returns < kReturnsNeeded) return Silence::kFewLines;
  return Silence::kRecognisable;
}

const Heard& ListeningTap::At(std::int32_t index) const {
  static const Heard kNeverOpened;
  const auto found = heard_.find(index);
  return found == heard_.end() ? kNeverOpened : found->second;
}

std::string ListeningTap::SerialNumber(std::int32_t index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= nodes_.size()) return {};
  const auto& text = nodes_[static_cast<std::size_t>(index)].SerialNumber;
  return {text, std::find(std::begin(text), std::end(text), '\0')};
}

std::string ListeningTap::Description(std::int32_t index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= nodes_.size()) return {};
  const auto& text = nodes_[static_cast<std::size_t>(index)].Description;
  return {text, std::find(std::begin(text), std::end(text), '\0')};
}

FT_STATUS ListeningTap::FT_CreateDeviceInfoList(std::int32_t* count) {
  return library_.FT_CreateDeviceInfoList(count);
}

FT_STATUS ListeningTap::FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* nodes, std::int32_t* count) {
  const std::int32_t room = *count;
  const FT_STATUS status = library_.FT_GetDeviceInfoList(nodes, count);
  try {
    nodes_.assign(nodes, nodes + (status == FT_OK ? std::clamp(*count, 0, std::max(room, 0)) : 0));
  } catch (...) {
    nodes_.clear();
  }
  return status;
}

FT_STATUS ListeningTap::FT_ListDevices(std::int32_t* number, void* unused, std::uint32_t flags) {
  return library_.FT_ListDevices(number, unused, flags);
}

FT_STATUS ListeningTap::FT_Open(std::int32_t index, FT_HANDLE* handle) {
  const FT_STATUS status = library_.FT_Open(index, handle);
  try {
    heard_[index] = Heard{.opened = status == FT_OK};
  } catch (...) {  // bad_alloc: the driver must not fail because there are no statistics
    return status;
  }
  if (status != FT_OK) return status;
  latest_ = index;
  open_ = *handle;
  lost_ = false;
  return status;
}

FT_STATUS ListeningTap::FT_Close(FT_HANDLE handle) {
  if (handle == open_) open_ = -1;
  return library_.FT_Close(handle);
}

FT_STATUS ListeningTap::FT_SetBaudRate(FT_HANDLE handle, std::uint32_t bits_per_second) {
  const FT_STATUS status = library_.FT_SetBaudRate(handle, bits_per_second);
  // Bytes received at the previous rate say nothing about this one.
  if (status == FT_OK && handle == open_ && open_ != -1) {
    heard_[latest_] = Heard{.opened = true, .baud = bits_per_second};
  }
  return status;
}

FT_STATUS ListeningTap::FT_SetDataCharacteristics(FT_HANDLE handle, std::uint8_t word_length,
                                                  std::uint8_t stop_bits, std::uint8_t parity) {
  return library_.FT_SetDataCharacteristics(handle, word_length, stop_bits, parity);
}

FT_STATUS ListeningTap::FT_Read(FT_HANDLE handle, void* buffer, std::uint32_t count, std::uint32_t* read) {
  const FT_STATUS status = library_.FT_Read(handle, buffer, count, read);
  if (handle != open_ || open_ == -1) return status;
  if (status != FT_OK) {
    lost_ = true;
    return status;
  }
  const std::string_view received(static_cast<const char*>(buffer), std::min(*read, count));
  heard_[latest_].Add(received);
  if (listener_) listener_(received);
  return status;
}

FT_STATUS ListeningTap::FT_Write(FT_HANDLE handle, const void* buffer, std::uint32_t count,
                                 std::uint32_t* written) {
  return library_.FT_Write(handle, buffer, count, written);
}

FT_STATUS ListeningTap::FT_ResetDevice(FT_HANDLE handle) {
  return library_.FT_ResetDevice(handle);
}

FT_STATUS ListeningTap::FT_ResetPort(FT_HANDLE handle) {
  return library_.FT_ResetPort(handle);
}

FT_STATUS ListeningTap::FT_GetComPortNumber(FT_HANDLE handle, std::int32_t* number) {
  return library_.FT_GetComPortNumber(handle, number);
}

FT_STATUS ListeningTap::FT_SetDtr(FT_HANDLE handle) {
  return library_.FT_SetDtr(handle);
}

FT_STATUS ListeningTap::FT_ClrDtr(FT_HANDLE handle) {
  return library_.FT_ClrDtr(handle);
}

FT_STATUS ListeningTap::FT_SetRts(FT_HANDLE handle) {
  return library_.FT_SetRts(handle);
}

FT_STATUS ListeningTap::FT_ClrRts(FT_HANDLE handle) {
  return library_.FT_ClrRts(handle);
}

FT_STATUS ListeningTap::FT_SetLatencyTimer(FT_HANDLE handle, std::uint8_t milliseconds) {
  return library_.FT_SetLatencyTimer(handle, milliseconds);
}

FT_STATUS ListeningTap::FT_GetQueueStatus(FT_HANDLE handle, std::uint32_t* rx_bytes) {
  const FT_STATUS status = library_.FT_GetQueueStatus(handle, rx_bytes);
  if (handle != open_ || open_ == -1) return status;
  if (status == FT_OK)
    heard_[latest_].queued = *rx_bytes;
  else
    lost_ = true;
  return status;
}

FT_STATUS ListeningTap::FT_GetStatus(FT_HANDLE handle, std::uint32_t* rx_bytes, std::uint32_t* tx_bytes,
                                     std::uint32_t* event_word) {
  return library_.FT_GetStatus(handle, rx_bytes, tx_bytes, event_word);
}

FT_STATUS ListeningTap::FT_Purge(FT_HANDLE handle, std::uint32_t mask) {
  return library_.FT_Purge(handle, mask);
}

}  // namespace halden::sdk
