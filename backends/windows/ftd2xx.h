#pragma once

#include <map>

#include "platform/d2xx.h"

// The vendor's device library, FTD2XX.DLL: declarations of the functions that platform/d2xx.h needs, and the
// backend that calls them. The library's handles are as wide as a pointer; the driver's have 32 bits.

/// The linkage of the calls. Empty where the library itself is built, as the tests do with a stand-in for it.
#ifndef HALDEN_FTD2XX
#define HALDEN_FTD2XX __declspec(dllimport)
#endif

namespace halden {

namespace ftd2xx {

using Status = std::uint32_t;
using Handle = void*;

/// A row of the library's device list, in the library's own layout.
struct Node {
  std::uint32_t Flags = 0;
  std::uint32_t Type = 0;
  std::uint32_t ID = 0;
  std::uint32_t LocId = 0;
  char SerialNumber[16] = {};
  char Description[64] = {};
  Handle ftHandle = nullptr;
};
static_assert(sizeof(Node) == 96 + sizeof(Handle));

extern "C" {

HALDEN_FTD2XX Status __stdcall FT_CreateDeviceInfoList(std::uint32_t* count);
HALDEN_FTD2XX Status __stdcall FT_GetDeviceInfoList(Node* nodes, std::uint32_t* count);
HALDEN_FTD2XX Status __stdcall FT_ListDevices(void* number, void* unused, std::uint32_t flags);
HALDEN_FTD2XX Status __stdcall FT_Open(std::int32_t index, Handle* handle);
HALDEN_FTD2XX Status __stdcall FT_Close(Handle handle);
HALDEN_FTD2XX Status __stdcall FT_SetBaudRate(Handle handle, std::uint32_t bits_per_second);
HALDEN_FTD2XX Status __stdcall FT_SetDataCharacteristics(Handle handle, std::uint8_t word_length,
                                                         std::uint8_t stop_bits, std::uint8_t parity);
HALDEN_FTD2XX Status __stdcall FT_Read(Handle handle, void* buffer, std::uint32_t count, std::uint32_t* read);
HALDEN_FTD2XX Status __stdcall FT_Write(Handle handle, void* buffer, std::uint32_t count,
                                        std::uint32_t* written);
HALDEN_FTD2XX Status __stdcall FT_ResetDevice(Handle handle);
HALDEN_FTD2XX Status __stdcall FT_ResetPort(Handle handle);
HALDEN_FTD2XX Status __stdcall FT_GetComPortNumber(Handle handle, std::int32_t* number);
HALDEN_FTD2XX Status __stdcall FT_SetDtr(Handle handle);
HALDEN_FTD2XX Status __stdcall FT_ClrDtr(Handle handle);
HALDEN_FTD2XX Status __stdcall FT_SetRts(Handle handle);
HALDEN_FTD2XX Status __stdcall FT_ClrRts(Handle handle);
HALDEN_FTD2XX Status __stdcall FT_SetLatencyTimer(Handle handle, std::uint8_t milliseconds);
HALDEN_FTD2XX Status __stdcall FT_GetQueueStatus(Handle handle, std::uint32_t* rx_bytes);
HALDEN_FTD2XX Status __stdcall FT_GetStatus(Handle handle, std::uint32_t* rx_bytes, std::uint32_t* tx_bytes,
                                            std::uint32_t* event_word);
HALDEN_FTD2XX Status __stdcall FT_Purge(Handle handle, std::uint32_t mask);

}  // extern "C"

}  // namespace ftd2xx

/// The vendor's device library, FTD2XX.DLL. The system binds it when it loads the module that this is linked
/// into, so without the library that module doesn't load.
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
  /// The library's handle for one of ours; an invalid handle if ours isn't open.
  void* Native(FT_HANDLE handle) const;

  /// The library's handle for each of our 32-bit handles. Our numbers are never reused.
  std::map<FT_HANDLE, void*> open_;
  FT_HANDLE last_handle_ = 0;
};

}  // namespace halden
