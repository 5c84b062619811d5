#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/d2xx.h"

namespace halden::sdk {

/// Statistics of what a device has sent since it was last opened.
struct Heard {
  static constexpr std::size_t kSampleSize = 60;

  bool opened = false;            ///< FT_Open has succeeded
  std::uint32_t baud = 0;         ///< the last rate set, bits per second; 0: none was set
  std::uint32_t queued = 0;       ///< bytes in the library's queue, as last reported
  std::uint64_t bytes = 0;        ///< bytes received
  std::uint64_t returns = 0;      ///< CRs among them
  std::uint64_t feeds = 0;        ///< LFs among them
  std::uint64_t unprintable = 0;  ///< bytes that are neither printable ASCII nor CR, LF or tab
  std::uint64_t text = 0;         ///< bytes that are neither CR nor LF
  std::string sample = {};        ///< the first bytes, at most kSampleSize

  void Add(std::string_view received);
};

/// Why the driver could not recognise a device. If several causes apply, it is the first of them in this
/// order.
enum class Silence {
  kNotOpened,     ///< it could not be opened
  kNothing,       ///< no byte came
  kUnprintable,   ///< mostly not text: the baud rate is probably wrong
  kFeedsOnly,     ///< lines end in LF without CR, but the driver needs CR
  kNoLineEnd,     ///< text without CR or LF
  kFewLines,      ///< fewer than three CRs: slow, or very long lines
  kEmptyLines,    ///< line ends only
  kRecognisable,  ///< the bytes show no reason
};

Silence WhyNotRecognised(const Heard& heard);

/// A device library that passes every call on to another one and keeps statistics of what the devices send.
///
/// Devices are identified by their index in the last snapshot. Like the library it is used on the driver's
/// one thread.
class ListeningTap final : public D2xx {
 public:
  /// Called with the bytes that the driver has just read, which are valid during the call. Must not throw.
  using Listener = std::function<void(std::string_view received)>;

  /// `library` must outlive the tap.
  explicit ListeningTap(D2xx& library) : library_(library) {}

  /// The statistics of the device at this index since its last FT_Open; all zero if it was never opened.
  const Heard& At(std::int32_t index) const;
  /// The statistics of the device that was opened last; null if none was.
  const Heard* Latest() const { return latest_ < 0 ? nullptr : &At(latest_); }
  /// The index of the device that was opened last; -1 if none was.
  std::int32_t LatestIndex() const { return latest_; }
  /// Texts of the device at this index of the last snapshot, ANSI; empty if the index is out of range.
  std::string SerialNumber(std::int32_t index) const;
  std::string Description(std::int32_t index) const;
  /// Whether reading from the open device has failed, which usually means that it was unplugged. Reset by the
  /// next successful FT_Open.
  bool Lost() const { return lost_; }
  /// Replaces the listener; an empty function removes it.
  void SetListener(Listener listener) { listener_ = std::move(listener); }

  FT_STATUS FT_CreateDeviceInfoList(std::int32_t* count) override;
  FT_STATUS FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* nodes, std::int32_t* count) override;
  FT_STATUS FT_ListDevices(std::int32_t* number, void* unused, std::uint32_t flags) override;
  FT_STATUS FT_Open(std::int32_t index, FT_HANDLE* handle) override;
  FT_STATUS FT_Close(FT_HANDLE handle) override;
  FT_STATUS FT_SetBaudRate(FT_HANDLE handle, std::uint32_t bits_per_second) override;
  FT_STATUS FT_SetDataCharacteristics(FT_HANDLE handle, std::uint8_t word_length, std::uint8_t stop_bits,
                                      std::uint8_t parity) override;
  FT_STATUS FT_Read(FT_HANDLE handle, void* buffer, std::uint32_t count, std::uint32_t* read) override;
  FT_STATUS FT_Write(FT_HANDLE handle, const void* buffer, std::uint32_t count,
                     std::uint32_t* written) override;
  FT_STATUS FT_ResetDevice(FT_HANDLE handle) override;
  FT_STATUS FT_ResetPort(FT_HANDLE handle) override;
  FT_STATUS FT_GetComPortNumber(FT_HANDLE handle, std::int32_t* number) override;
  FT_STATUS FT_SetDtr(FT_HANDLE handle) override;
  FT_STATUS FT_ClrDtr(FT_HANDLE handle) override;
  FT_STATUS FT_SetRts(FT_HANDLE handle) override;
  FT_STATUS FT_ClrRts(FT_HANDLE handle) override;
  FT_STATUS FT_SetLatencyTimer(FT_HANDLE handle, std::uint8_t milliseconds) override;
  FT_STATUS FT_GetQueueStatus(FT_HANDLE handle, std::uint32_t* rx_bytes) override;
  FT_STATUS FT_GetStatus(FT_HANDLE handle, std::uint32_t* rx_bytes, std::uint32_t* tx_bytes,
                         std::uint32_t* event_word) override;
  FT_STATUS FT_Purge(FT_HANDLE handle, std::uint32_t mask) override;

 private:
  D2xx& library_;
  Listener listener_;
  std::vector<FT_DEVICE_LIST_INFO_NODE> nodes_;  // of the last snapshot
  std::map<std::int32_t, Heard> heard_;          // by index in the snapshot
  std::int32_t latest_ = -1;                     // index of the device that was opened last
  FT_HANDLE open_ = -1;                          // its handle; -1 once it is closed
  bool lost_ = false;
};

}  // namespace halden::sdk
