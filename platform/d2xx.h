#pragma once

#include <cstdint>

namespace halden {

using FT_STATUS = std::uint32_t;
/// A handle of the device library, 32 bits on every system. A backend whose library has wider handles
/// translates. -1 is no handle.
using FT_HANDLE = std::int32_t;

inline constexpr FT_STATUS FT_OK = 0;
inline constexpr std::uint32_t FT_LIST_NUMBER_ONLY = 0x80000000;
inline constexpr std::uint32_t FT_PURGE_RX = 1;
inline constexpr std::uint32_t FT_PURGE_TX = 2;

/// One row of the library's device list. Texts end at the first NUL, or fill their field.
struct FT_DEVICE_LIST_INFO_NODE {
  std::uint32_t Flags = 0;
  std::uint32_t Type = 0;  ///< chip type code
  std::uint32_t ID = 0;    ///< vendor identifier in the high half, product identifier in the low half
  std::uint32_t LocId = 0;
  char SerialNumber[16] = {};
  char Description[64] = {};
  FT_HANDLE ftHandle = 0;
};
static_assert(sizeof(FT_DEVICE_LIST_INFO_NODE) == 100);

/// The device library. Every call answers FT_OK or a failure status, never throws and, but for FT_Open
/// and an FT_Read of more than has come, never blocks; after a failure the out-arguments mean nothing, and
/// may have been left as they were. All calls come on the driver's one thread. A call with a handle that
/// isn't open fails and does no harm.
class D2xx {
 public:
  virtual ~D2xx() = default;

  /// Takes a new snapshot of the devices that are plugged in and writes their number.
  virtual FT_STATUS FT_CreateDeviceInfoList(std::int32_t* count) = 0;
  /// Fills at most *count nodes from the last snapshot, in the library's order, and writes how many it has.
  virtual FT_STATUS FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* nodes, std::int32_t* count) = 0;
  /// With FT_LIST_NUMBER_ONLY: writes the number of devices plugged in now to *number. `unused` is null.
  virtual FT_STATUS FT_ListDevices(std::int32_t* number, void* unused, std::uint32_t flags) = 0;

  /// Opens the device at this place of the list, for this caller alone. Fails if it is gone or held.
  virtual FT_STATUS FT_Open(std::int32_t index, FT_HANDLE* handle) = 0;
  /// Takes -1, and any handle that isn't open, quietly.
  virtual FT_STATUS FT_Close(FT_HANDLE handle) = 0;

  virtual FT_STATUS FT_SetBaudRate(FT_HANDLE handle, std::uint32_t bits_per_second) = 0;
  /// Word length 7 or 8; stop bits 0 one, 1 one and a half, 2 two; parity 0 none, 1 odd, 2 even, 3 mark,
  /// 4 space.
  virtual FT_STATUS FT_SetDataCharacteristics(FT_HANDLE handle, std::uint8_t word_length,
                                              std::uint8_t stop_bits, std::uint8_t parity) = 0;

  /// Reads `count` bytes to `buffer`; at once if `count` is not above what the queue holds. `buffer` has room
  /// for `count` bytes.
  virtual FT_STATUS FT_Read(FT_HANDLE handle, void* buffer, std::uint32_t count, std::uint32_t* read) = 0;
  virtual FT_STATUS FT_Write(FT_HANDLE handle, const void* buffer, std::uint32_t count,
                             std::uint32_t* written) = 0;
  virtual FT_STATUS FT_ResetDevice(FT_HANDLE handle) = 0;
  virtual FT_STATUS FT_ResetPort(FT_HANDLE handle) = 0;
  /// Writes the COM number of the device, -1 if it has none.
  virtual FT_STATUS FT_GetComPortNumber(FT_HANDLE handle, std::int32_t* number) = 0;
  virtual FT_STATUS FT_SetDtr(FT_HANDLE handle) = 0;
  virtual FT_STATUS FT_ClrDtr(FT_HANDLE handle) = 0;
  virtual FT_STATUS FT_SetRts(FT_HANDLE handle) = 0;
  virtual FT_STATUS FT_ClrRts(FT_HANDLE handle) = 0;
  virtual FT_STATUS FT_SetLatencyTimer(FT_HANDLE handle, std::uint8_t milliseconds) = 0;
  /// Writes the number of bytes that FT_Read would give at once.
  virtual FT_STATUS FT_GetQueueStatus(FT_HANDLE handle, std::uint32_t* rx_bytes) = 0;
  virtual FT_STATUS FT_GetStatus(FT_HANDLE handle, std::uint32_t* rx_bytes, std::uint32_t* tx_bytes,
                                 std::uint32_t* event_word) = 0;
  /// Empties the queues named by `mask`: FT_PURGE_RX, FT_PURGE_TX or both.
  virtual FT_STATUS FT_Purge(FT_HANDLE handle, std::uint32_t mask) = 0;
};

}  // namespace halden
