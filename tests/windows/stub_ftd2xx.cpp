// A stand-in for the vendor's device library over simulated devices. HALDEN_SIM holds their --device options,
// separated by blanks; where it is not set there is one "sim". A bad option leaves a library without devices.

#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <vector>

#include "platform/devices/device_library.h"
#include "platform/devices/device_options.h"
#include "platform/windows/win32_clock.h"

#define HALDEN_FTD2XX
#include "platform/windows/ftd2xx.h"

namespace halden::ftd2xx {
namespace {

constexpr Status kInvalidHandle = 1;

std::vector<std::unique_ptr<Device>> MakeDevices(Clock& clock) {
  const char* const options = std::getenv("HALDEN_SIM");
  std::istringstream words(options ? options : "sim");
  std::vector<std::unique_ptr<Device>> devices;
  for (std::string word, error; words >> word;) {
    const auto option = ParseDeviceOption(word, &error);
    auto device = option ? MakeDevice(*option, static_cast<int>(devices.size()) + 1, clock, &error) : nullptr;
    if (!device) return {};
    devices.push_back(std::move(device));
  }
  return devices;
}

DeviceLibrary& Library() {
  static Win32Clock clock;
  static DeviceLibrary library(MakeDevices(clock));
  return library;
}

/// In a 64-bit process a handle doesn't fit into 32 bits, so that one that was cut short is noticed.
constexpr std::uintptr_t kBeyond = sizeof(Handle) > 4 ? std::uintptr_t{1} << (sizeof(Handle) * 8 - 24) : 0;

Handle Widen(FT_HANDLE handle) {
  return reinterpret_cast<Handle>(static_cast<std::uintptr_t>(handle) + kBeyond);
}

FT_HANDLE Narrow(Handle handle) {
  const std::uintptr_t number = reinterpret_cast<std::uintptr_t>(handle) - kBeyond;
  return number < 0x7FFFFFFF ? static_cast<FT_HANDLE>(number) : -1;
}

template <class... T>
Status Call(FT_STATUS (DeviceLibrary::*member)(FT_HANDLE, T...), Handle handle, T... arguments) {
  const FT_HANDLE narrow = Narrow(handle);
  return narrow < 0 ? kInvalidHandle : (Library().*member)(narrow, arguments...);
}

}  // namespace

extern "C" {

Status __stdcall FT_CreateDeviceInfoList(std::uint32_t* count) {
  return Library().FT_CreateDeviceInfoList(reinterpret_cast<std::int32_t*>(count));
}

Status __stdcall FT_GetDeviceInfoList(Node* nodes, std::uint32_t* count) {
  auto filled = static_cast<std::int32_t>(*count);
  std::vector<FT_DEVICE_LIST_INFO_NODE> narrow(*count);
  if (const Status status = Library().FT_GetDeviceInfoList(narrow.data(), &filled)) return status;
  *count = static_cast<std::uint32_t>(filled);
  for (std::uint32_t i = 0; i < *count; ++i) {
    nodes[i] = {narrow[i].Flags, narrow[i].Type, narrow[i].ID, narrow[i].LocId, {}, {}, nullptr};
    std::copy_n(narrow[i].SerialNumber, sizeof nodes[i].SerialNumber, nodes[i].SerialNumber);
    std::copy_n(narrow[i].Description, sizeof nodes[i].Description, nodes[i].Description);
  }
  return FT_OK;
}

Status __stdcall FT_ListDevices(void* number, void* unused, std::uint32_t flags) {
  return Library().FT_ListDevices(static_cast<std::int32_t*>(number), unused, flags);
}

Status __stdcall FT_Open(std::int32_t index, Handle* handle) {
  FT_HANDLE narrow = -1;
  const Status status = Library().FT_Open(index, &narrow);
  if (status == FT_OK) *handle = Widen(narrow);
  return status;
}

/// A call of an open device, which goes to it as it is.
#define FORWARD(name, parameters, ...)              \
  Status __stdcall name parameters {                \
    return Call(&DeviceLibrary::name, __VA_ARGS__); \
  }

using Byte = std::uint8_t;
using Word = std::uint32_t;
FORWARD(FT_Close, (Handle handle), handle)
FORWARD(FT_SetBaudRate, (Handle handle, Word rate), handle, rate)
FORWARD(FT_SetDataCharacteristics, (Handle handle, Byte length, Byte stop, Byte parity), handle, length, stop,
        parity)
FORWARD(FT_Read, (Handle handle, void* buffer, Word count, Word* read), handle, buffer, count, read)
FORWARD(FT_Write, (Handle handle, void* bytes, Word count, Word* written), handle,
        static_cast<const void*>(bytes), count, written)
FORWARD(FT_ResetDevice, (Handle handle), handle)
FORWARD(FT_ResetPort, (Handle handle), handle)
FORWARD(FT_GetComPortNumber, (Handle handle, std::int32_t* number), handle, number)
FORWARD(FT_SetDtr, (Handle handle), handle)
FORWARD(FT_ClrDtr, (Handle handle), handle)
FORWARD(FT_SetRts, (Handle handle), handle)
FORWARD(FT_ClrRts, (Handle handle), handle)
FORWARD(FT_SetLatencyTimer, (Handle handle, Byte milliseconds), handle, milliseconds)
FORWARD(FT_GetQueueStatus, (Handle handle, Word* rx_bytes), handle, rx_bytes)
FORWARD(FT_GetStatus, (Handle handle, Word* rx_bytes, Word* tx_bytes, Word* events), handle, rx_bytes,
        tx_bytes, events)
FORWARD(FT_Purge, (Handle handle, Word mask), handle, mask)

#undef FORWARD

}  // extern "C"

}  // namespace halden::ftd2xx
