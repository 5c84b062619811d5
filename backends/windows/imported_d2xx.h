#pragma once

#include <map>

#include "platform/d2xx.h"

namespace halden {

/// The vendor's device library, FTD2XX.DLL, which the system binds when it loads the module. Without it the
/// module doesn't load.
class ImportedD2xx final : public D2xx {
 public:
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
  /// What the library calls the handle; its own "none" for one that isn't open.
  void* Native(FT_HANDLE handle) const;

  std::map<FT_HANDLE, void*> open_;  // the library's handles are as wide as the process
  FT_HANDLE last_handle_ = 0;
};

}  // namespace halden
