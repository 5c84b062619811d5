#pragma once

#include <cstdint>

namespace halden {

using FT_STATUS = std::uint32_t;
/// Handle of an open device, 32 bits on every system; a backend whose library has wider handles maps them.
/// -1: none.
using FT_HANDLE = std::int32_t;

inline constexpr FT_STATUS FT_OK = 0;
inline constexpr std::uint32_t FT_LIST_NUMBER_ONLY = 0x80000000;
inline constexpr std::uint32_t FT_PURGE_RX = 1;
inline constexpr std::uint32_t FT_PURGE_TX = 2;

/// One entry of the library's device list. Texts end at the first NUL or fill their field.
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

/// The device library. Every call returns FT_OK or a failure status; callers only compare with FT_OK. After a
/// failure the out-arguments are undefined. No call throws, and only two may block: FT_Open, and FT_Read of
/// more bytes than are queued. All calls come from the driver's one thread. A call on a handle that isn't
/// open fails and has no other effect.
class D2xx {
 public:
  virtual ~D2xx() = default;

  /// Takes a new snapshot of the devices that are plugged in and writes how many there are.
  virtual FT_STATUS FT_CreateDeviceInfoList(std::int32_t* count) = 0;
  /// Copies at most *count nodes of the last snapshot, in the library's order, and sets *count to the number
  /// copied.
  virtual FT_STATUS FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* nodes, std::int32_t* count) = 0;
  /// With FT_LIST_NUMBER_ONLY: writes the number of devices plugged in now to *number. `unused` is null.
  virtual FT_STATUS FT_ListDevices(std::int32_t* number, void* unused, std::uint32_t flags) = 0;

  /// Opens the device at `index` of the last snapshot exclusively. Fails if it is gone or in use.
  virtual FT_STATUS FT_Open(std::int32_t index, FT_HANDLE* handle) = 0;
  /// Harmless with -1 or any other handle that isn't open: callers close without checking.
  virtual FT_STATUS FT_Close(FT_HANDLE handle) = 0;

  virtual FT_STATUS FT_SetBaudRate(FT_HANDLE handle, std::uint32_t bits_per_second) = 0;
  /// Word length: 7 or 8. Stop bits: 0 one, 1 one and a half, 2 two. Parity: 0 none, 1 odd, 2 even, 3 mark,
  /// 4 space. Note the order, stop bits before parity.
  virtual FT_STATUS FT_SetDataCharacteristics(FT_HANDLE handle, std::uint8_t word_length,
                                              std::uint8_t stop_bits, std::uint8_t parity) = 0;

  /// Reads `count` bytes into `buffer`, which has room for them. Returns immediately if that many are queued.
  virtual FT_STATUS FT_Read(FT_HANDLE handle, void* buffer, std::uint32_t count, std::uint32_t* read) = 0;
  virtual FT_STATUS FT_Write(FT_HANDLE handle, const void* buffer, std::uint32_t count,
                             std::uint32_t* written) = 0;
  virtual FT_STATUS FT_ResetDevice(FT_HANDLE handle) = 0;
  virtual FT_STATUS FT_ResetPort(FT_HANDLE handle) = 0;
  /// Writes the device's COM number, or -1 if it has none.
  virtual FT_STATUS FT_GetComPortNumber(FT_HANDLE handle, std::int32_t* number) = 0;
  virtual FT_STATUS FT_SetDtr(FT_HANDLE handle) = 0;
  virtual FT_STATUS FT_ClrDtr(FT_HANDLE handle) = 0;
  virtual FT_STATUS FT_SetRts(FT_HANDLE handle) = 0;
  virtual FT_STATUS FT_ClrRts(FT_HANDLE handle) = 0;
  virtual FT_STATUS FT_SetLatencyTimer(FT_HANDLE handle, std::uint8_t milliseconds) = 0;
  /// Writes the number of received bytes in the queue. Polled in a tight loop, so it must be cheap.
  virtual FT_STATUS FT_GetQueueStatus(FT_HANDLE handle, std::uint32_t* rx_bytes) = 0;
  virtual FT_STATUS FT_GetStatus(FT_HANDLE handle, std::uint32_t* rx_bytes, std::uint32_t* tx_bytes,
                                 std::uint32_t* event_word) = 0;
  /// Empties the queues in `mask`: FT_PURGE_RX, FT_PURGE_TX or both.
  virtual FT_STATUS FT_Purge(FT_HANDLE handle, std::uint32_t mask) = 0;
};

}  // namespace halden
