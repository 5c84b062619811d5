#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/d2xx.h"
#include "stream/receive_buffer.h"

namespace halden {

/// The only code that calls the device library. Holds a snapshot of the device list and at most one open
/// device. Failures are reported through return values; only std::bad_alloc is ever thrown. Calls that need
/// an open device do nothing while there is none.
class cFTDI final : public ByteSource {
 public:
  /// Takes the first snapshot of the device list. Both arguments must outlive the object.
  cFTDI(D2xx& library, Clock& clock);
  /// Closes the device.
  ~cFTDI() override;
  cFTDI(const cFTDI&) = delete;
  cFTDI& operator=(const cFTDI&) = delete;

  // About the device at ListIndex in the snapshot, counted from 0. Outside the list: an empty text, 0, and
  // "<none>" for the type name. Texts are in the ANSI code page.
  std::string ListSerialNumber(std::int32_t ListIndex) const;
  std::string ListDescription(std::int32_t ListIndex) const;
  /// Asks the library how many devices are plugged in now; 0 on failure. The snapshot stays as it is.
  std::int32_t DeviceCount();
  /// The open device's texts, as listed when it was opened; empty when closed.
  std::string DeviceSerialNumber() const;
  std::string DeviceDescription() const;

  /// Takes a new snapshot and returns how many devices it has, at most 32767. On failure the list is empty.
  std::int32_t RefreshList();
  std::int32_t ListCount() const { return DeviceTotal; }
  std::uint32_t ListID(std::int32_t ListIndex) const;
  std::uint32_t ListType(std::int32_t ListIndex) const;
  std::string ListTypeName(std::int32_t ListIndex) const;

  /// Closes the open device, if any, then opens the listed one. False, with nothing open, if the index is
  /// outside the list or the library can't open the device.
  bool Open(std::int32_t index);
  void Close();
  bool IsOpen() const { return Handle != -1; }

  /// Sets the line rate in bits per second, then the format: data bits, and the codes of parity and stop bits
  /// from platform/d2xx.h. True if the library accepted both.
  bool SetLine(std::int32_t baud, std::uint8_t word_length, std::uint8_t parity, std::uint8_t stop_bits);
  void SetBaudRate(std::int32_t baud);
  /// Moves up to `count` bytes to or from `buffer`, which must be that long. Returns the number moved: 0 when
  /// closed, -1 on failure. Never ask Read for more than RxQueueCount has just reported: it would block.
  std::int32_t Read(void* buffer, std::int32_t count) override;
  std::int32_t Write(const void* buffer, std::int32_t count);
  void ResetDevice();
  void ResetPort();
  /// Drops what waits in the queues of both directions.
  void Purge();

  std::uint32_t DeviceID() const;      ///< 0 when closed
  std::uint32_t DeviceType() const;    ///< 0 when closed
  std::string DeviceTypeName() const;  ///< empty when closed
  std::int32_t ComPortNumber();        ///< N of "COMN"; 0 when closed or on failure, -1 if it has none
  void SetDTR(bool on);
  void SetRTS(bool on);
  /// How long the chip collects bytes before it sends them, 0 to 255 ms. False, without a call to the
  /// library, for any other value.
  bool SetLatency(std::int32_t milliseconds);

  std::int32_t RxQueueCount() override;  ///< bytes waiting; 0 when closed, -1 on failure
  std::int32_t TxQueueCount();           ///< bytes not yet sent; 0 when closed and on failure
  /// Waits until at least `count` bytes can be read, serving the message queue meanwhile. False once more
  /// than `timeout` milliseconds have passed. Without an open device nothing arrives, so it waits in full.
  bool WaitForRx(std::int16_t count, std::int32_t timeout);
  /// Waits until at most `count` bytes remain to be sent, sleeping instead of serving the message queue.
  /// False once more than `timeout` milliseconds have passed.
  bool WaitForTxDrain(std::int16_t count, std::int32_t timeout);

 private:
  void ClearList();
  static std::string BytesToString(std::string_view bytes);
  static std::string ChipTypeName(std::uint32_t type);
  const FT_DEVICE_LIST_INFO_NODE* Listed(std::int32_t ListIndex) const;
  bool TimedOut(std::uint32_t start, std::int32_t timeout);

  D2xx& library_;
  Clock& clock_;
  std::int32_t DeviceTotal = 0;  // nodes in DeviceList
  std::vector<FT_DEVICE_LIST_INFO_NODE> DeviceList;
  std::int32_t ListedCount = 0;  // as DeviceCount last heard
  FT_HANDLE Handle = -1;         // -1: closed
  std::int32_t CurrentIndex = -1;
  FT_DEVICE_LIST_INFO_NODE OpenDevice;  // a copy, because the list may be refreshed while the device is open
};

}  // namespace halden
