#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/d2xx.h"
#include "stream/receive_buffer.h"

namespace halden {

/// The one place that calls the device library: a snapshot of the device list, taken when the object is made,
/// and at most one open device. Failures are return values; nothing is thrown but std::bad_alloc.
class cFTDI final : public ByteSource {
 public:
  /// Takes the snapshot of the device list.
  cFTDI(D2xx& library, Clock& clock);
  ~cFTDI() override;
  cFTDI(const cFTDI&) = delete;
  cFTDI& operator=(const cFTDI&) = delete;

  /// Of the listed devices; empty, 0 or "<none>" for an index outside the list.
  std::string ListSerialNumber(std::int32_t ListIndex) const;
  std::string ListDescription(std::int32_t ListIndex) const;
  /// Devices plugged in now, asked afresh; 0 on failure.
  std::int32_t DeviceCount();
  /// Of the open device, as listed; empty when closed.
  std::string DeviceSerialNumber() const;
  std::string DeviceDescription() const;

  /// Takes a new snapshot and gives its devices, at most 32767. 0 on failure, with the list empty.
  std::int32_t RefreshList();
  std::int32_t ListCount() const { return DeviceTotal; }
  std::uint32_t ListID(std::int32_t ListIndex) const;
  std::uint32_t ListType(std::int32_t ListIndex) const;
  std::string ListTypeName(std::int32_t ListIndex) const;

  /// Opens a listed device and closes the one that was open, also if this fails.
  bool Open(std::int32_t index);
  void Close();
  bool IsOpen() const { return Handle != -1; }

  /// Line settings, codes as in platform/d2xx.h. True if the library took rate and format.
  bool SetLine(std::int32_t baud, std::uint8_t word_length, std::uint8_t parity, std::uint8_t stop_bits);
  void SetBaudRate(std::int32_t baud);
  /// Bytes moved; 0 when closed, -1 on failure. `buffer` has at least `count` bytes. Read must not be asked
  /// for more than RxQueueCount has just reported: it would block.
  std::int32_t Read(void* buffer, std::int32_t count) override;
  std::int32_t Write(const void* buffer, std::int32_t count);
  void ResetDevice();
  void ResetPort();
  void Purge();

  std::uint32_t DeviceID() const;      ///< 0 when closed
  std::uint32_t DeviceType() const;    ///< 0 when closed
  std::string DeviceTypeName() const;  ///< empty when closed
  std::int32_t ComPortNumber();        ///< 0 when closed or on failure; -1: the device has none
  void SetDTR(bool on);
  void SetRTS(bool on);
  /// 0 to 255; false, without a call, for others.
  bool SetLatency(std::int32_t milliseconds);

  std::int32_t RxQueueCount() override;  ///< bytes waiting; 0 when closed, -1 on failure
  std::int32_t TxQueueCount();           ///< bytes not yet sent; 0 when closed and on failure
  /// Waits until `count` bytes can be read, and serves the message queue meanwhile. False once more than
  /// `timeout` milliseconds have passed.
  bool WaitForRx(std::int16_t count, std::int32_t timeout);
  /// Waits until at most `count` bytes are not yet sent, without serving the message queue. False as above.
  bool WaitForTxDrain(std::int16_t count, std::int32_t timeout);

 private:
  void ClearList();
  static std::string BytesToString(std::string_view bytes);
  static std::string ChipTypeName(std::uint32_t type);
  const FT_DEVICE_LIST_INFO_NODE* Listed(std::int32_t ListIndex) const;
  bool TimedOut(std::uint32_t start, std::int32_t timeout);

  D2xx& library_;
  Clock& clock_;
  std::int32_t DeviceTotal = 0;
  std::vector<FT_DEVICE_LIST_INFO_NODE> DeviceList;
  std::int32_t ListedCount = 0;
  FT_HANDLE Handle = -1;
  std::int32_t CurrentIndex = -1;
  FT_DEVICE_LIST_INFO_NODE OpenDevice;
};

}  // namespace halden
