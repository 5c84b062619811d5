#pragma once

#include <cstdint>

// What FTD2XX.DLL exports of the calls in platform/d2xx.h, in the width of the process: there a handle is as
// wide as a pointer. HALDEN_FTD2XX is the linkage, an import unless the library itself is being built.

#ifndef HALDEN_FTD2XX
#define HALDEN_FTD2XX __declspec(dllimport)
#endif

namespace halden::ftd2xx {

using Status = std::uint32_t;
using Handle = void*;

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

}  // namespace halden::ftd2xx
