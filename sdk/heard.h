#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/d2xx.h"

namespace halden::sdk {

/// What a device has sent since it was opened last.
struct Heard {
  static constexpr std::size_t kSampleSize = 60;

  bool opened = false;            ///< FT_Open has succeeded
  std::uint32_t baud = 0;         ///< bits per second, as set last; 0: never set
  std::uint32_t queued = 0;       ///< bytes in the library's queue, as last reported
  std::uint64_t bytes = 0;        ///< received
  std::uint64_t returns = 0;      ///< CRs among them
  std::uint64_t feeds = 0;        ///< LFs among them
  std::uint64_t unprintable = 0;  ///< neither ASCII text nor CR, LF or tab
  std::uint64_t text = 0;         ///< neither CR nor LF
  std::string sample = {};        ///< the first bytes, kSampleSize at most

  void Add(std::string_view received);
};

/// Why the driver could not recognise a device by what it sent. The causes exclude each other; the first that
/// applies counts.
enum class Silence {
  kNotOpened,     ///< it could not be opened
  kNothing,       ///< no byte came
  kUnprintable,   ///< mostly not text: probably another baud rate
  kFeedsOnly,     ///< lines end in LF alone, and the driver wants CR
  kNoLineEnd,     ///< text without CR or LF
  kFewLines,      ///< fewer than three CRs: slow, or very long lines
  kEmptyLines,    ///< line ends with nothing between them
  kRecognisable,  ///< nothing in the bytes speaks against it
};

Silence WhyNotRecognised(const Heard& heard);

/// Passes every call on to the device library and takes note of what the devices send.
///
/// Devices are known by their place in the list of the last snapshot. Like the library it is used on the
/// driver's one thread.
class ListeningTap final : public D2xx {
 public:
  /// Called with bytes that the driver has just read. They are valid during the call. Must not throw.
  using Listener = std::function<void(std::string_view received)>;

  /// `library` must outlive the tap.
  explicit ListeningTap(D2xx& library) : library_(library) {}

  /// What the device at this place of the list has sent since its last FT_Open; all zero if it was never
  /// opened.
  const Heard& At(std::int32_t index) const;
  /// What the device has sent that was opened last; null if none was.
  const Heard* Latest() const { return latest_ < 0 ? nullptr : &At(latest_); }
  /// Place of the device that was opened last; -1 if none was.
  std::int32_t LatestIndex() const { return latest_; }
  /// Texts of the device at this place of the last snapshot; empty for a place that it doesn't have. ANSI.
  std::string SerialNumber(std::int32_t index) const;
  std::string Description(std::int32_t index) const;
  /// A failed call on the device that is open now: it was probably unplugged. False again after the next
  /// FT_Open.
  bool Lost() const { return lost_; }
  /// At most one listener; none if empty.
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
  std::map<std::int32_t, Heard> heard_;          // by place in the list
  std::int32_t latest_ = -1;                     // place of the device that was opened last
  FT_HANDLE open_ = -1;
  bool lost_ = false;
};

}  // namespace halden::sdk
