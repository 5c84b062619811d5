// A stand-in for the vendor's device library, with the simulated devices that HALDEN_SIM lists: the values of
// --device options, separated by blanks. A bad one ends the process.

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "backends/devices/device_options.h"
#include "backends/devices/emulated_d2xx.h"
#include "backends/windows/windows_platform.h"

namespace halden::ftd2xx {
namespace {

EmulatedD2xx& Library() {
  static Win32Clock clock;
  static EmulatedD2xx library([] {
    std::vector<std::unique_ptr<Device>> devices;
    std::istringstream words(std::getenv("HALDEN_SIM"));
    for (std::string word, error; words >> word;)
      devices.push_back(MakeDevice(ParseDeviceOption(word, &error).value(),
                                   static_cast<int>(devices.size()) + 1, clock, &error));
    return devices;
  }());
  return library;
}

/// Handles fill the upper half of a pointer, so that a test notices if the caller cuts one to its lower half.
constexpr int kShift = sizeof(Handle) * 4;

FT_HANDLE Narrow(Handle handle) {
  return static_cast<FT_HANDLE>(reinterpret_cast<std::intptr_t>(handle) >> kShift);
}

}  // namespace

Status __stdcall FT_CreateDeviceInfoList(std::uint32_t* count) {
  return Library().FT_CreateDeviceInfoList(reinterpret_cast<std::int32_t*>(count));
}

Status __stdcall FT_GetDeviceInfoList(Node* nodes, std::uint32_t* count) {
  std::vector<FT_DEVICE_LIST_INFO_NODE> narrow(*count);
  const Status status = Library().FT_GetDeviceInfoList(narrow.data(), reinterpret_cast<std::int32_t*>(count));
  for (std::uint32_t i = 0; i < *count; ++i)
    std::memcpy(static_cast<void*>(&nodes[i]), &narrow[i], offsetof(Node, ftHandle));
  return status;
}

Status __stdcall FT_ListDevices(void* number, void* unused, std::uint32_t flags) {
  return Library().FT_ListDevices(static_cast<std::int32_t*>(number), unused, flags);
}

Status __stdcall FT_Open(std::int32_t index, Handle* handle) {
  FT_HANDLE narrow = -1;
  const Status status = Library().FT_Open(index, &narrow);
  *handle = reinterpret_cast<Handle>(std::intptr_t{narrow} << kShift);
  return status;
}

/// A call for an open device, passed on with only its handle converted.
#define FORWARD(name, parameters, ...)                                \
  Status __stdcall name parameters {                                  \
    return Library().name(Narrow(handle) __VA_OPT__(, ) __VA_ARGS__); \
  }

using Byte = std::uint8_t;
using Word = std::uint32_t;
FORWARD(FT_Close, (Handle handle))
FORWARD(FT_SetBaudRate, (Handle handle, Word rate), rate)
FORWARD(FT_SetDataCharacteristics, (Handle handle, Byte length, Byte stop, Byte parity), length, stop, parity)
FORWARD(FT_Read, (Handle handle, void* buffer, Word count, Word* read), buffer, count, read)
FORWARD(FT_Write, (Handle handle, void* bytes, Word count, Word* written), bytes, count, written)
FORWARD(FT_ResetDevice, (Handle handle))
FORWARD(FT_ResetPort, (Handle handle))
FORWARD(FT_GetComPortNumber, (Handle handle, std::int32_t* number), number)
FORWARD(FT_SetDtr, (Handle handle))
FORWARD(FT_ClrDtr, (Handle handle))
FORWARD(FT_SetRts, (Handle handle))
FORWARD(FT_ClrRts, (Handle handle))
FORWARD(FT_SetLatencyTimer, (Handle handle, Byte milliseconds), milliseconds)
FORWARD(FT_GetQueueStatus, (Handle handle, Word* rx_bytes), rx_bytes)
FORWARD(FT_GetStatus, (Handle handle, Word* rx_bytes, Word* tx_bytes, Word* events), rx_bytes, tx_bytes,
        events)
FORWARD(FT_Purge, (Handle handle, Word mask), mask)

}  // namespace halden::ftd2xx
