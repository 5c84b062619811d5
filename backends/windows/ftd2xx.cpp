#include "backends/windows/ftd2xx.h"

#include <algorithm>
#include <new>
#include <vector>

namespace halden {
namespace {

constexpr FT_STATUS kInsufficientResources = 5;  // one of the library's own failures

const ftd2xx::Handle kNoHandle = reinterpret_cast<ftd2xx::Handle>(std::intptr_t{-1});

/// Converts a row to the driver's layout. The handle is left out, because it isn't one of ours.
FT_DEVICE_LIST_INFO_NODE Narrow(const ftd2xx::Node& wide) {
  FT_DEVICE_LIST_INFO_NODE node;
  node.Flags = wide.Flags;
  node.Type = wide.Type;
  node.ID = wide.ID;
  node.LocId = wide.LocId;
  std::copy(std::begin(wide.SerialNumber), std::end(wide.SerialNumber), node.SerialNumber);
  std::copy(std::begin(wide.Description), std::end(wide.Description), node.Description);
  return node;
}

}  // namespace

void* ImportedD2xx::Native(FT_HANDLE handle) const {
  const auto found = open_.find(handle);
  return found == open_.end() ? kNoHandle : found->second;
}

FT_STATUS ImportedD2xx::FT_CreateDeviceInfoList(std::int32_t* count) {
  return ftd2xx::FT_CreateDeviceInfoList(reinterpret_cast<std::uint32_t*>(count));
}

/// The library's rows are larger than ours in 64 bits (the handle), so it fills rows in its own layout first.
FT_STATUS ImportedD2xx::FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* nodes, std::int32_t* count) {
  try {
    std::vector<ftd2xx::Node> wide(static_cast<std::size_t>(std::max(*count, 0)));
    auto filled = static_cast<std::uint32_t>(wide.size());
    if (const FT_STATUS status = ftd2xx::FT_GetDeviceInfoList(wide.data(), &filled)) return status;
    // Don't trust the library's count beyond the room that it was given.
    wide.resize(std::min<std::size_t>(filled, wide.size()));
    std::transform(wide.begin(), wide.end(), nodes, Narrow);
    *count = static_cast<std::int32_t>(wide.size());
    return FT_OK;
  } catch (const std::bad_alloc&) {
    return kInsufficientResources;
  }
}

FT_STATUS ImportedD2xx::FT_ListDevices(std::int32_t* number, void* unused, std::uint32_t flags) {
  return ftd2xx::FT_ListDevices(number, unused, flags);
}

FT_STATUS ImportedD2xx::FT_Open(std::int32_t index, FT_HANDLE* handle) {
  ftd2xx::Handle native = kNoHandle;
  if (const FT_STATUS status = ftd2xx::FT_Open(index, &native)) return status;
  try {
    open_[++last_handle_] = native;
  } catch (const std::bad_alloc&) {  // close it now: without an entry in open_ it never could be
    ftd2xx::FT_Close(native);
    return kInsufficientResources;
  }
  *handle = last_handle_;
  return FT_OK;
}

FT_STATUS ImportedD2xx::FT_Close(FT_HANDLE handle) {
  const FT_STATUS status = ftd2xx::FT_Close(Native(handle));
  open_.erase(handle);
  return status;
}

FT_STATUS ImportedD2xx::FT_SetBaudRate(FT_HANDLE handle, std::uint32_t bits_per_second) {
  return ftd2xx::FT_SetBaudRate(Native(handle), bits_per_second);
}

FT_STATUS ImportedD2xx::FT_SetDataCharacteristics(FT_HANDLE handle, std::uint8_t word_length,
                                                  std::uint8_t stop_bits, std::uint8_t parity) {
  return ftd2xx::FT_SetDataCharacteristics(Native(handle), word_length, stop_bits, parity);
}

FT_STATUS ImportedD2xx::FT_Read(FT_HANDLE handle, void* buffer, std::uint32_t count, std::uint32_t* read) {
  return ftd2xx::FT_Read(Native(handle), buffer, count, read);
}

FT_STATUS ImportedD2xx::FT_Write(FT_HANDLE handle, const void* buffer, std::uint32_t count,
                                 std::uint32_t* written) {
  return ftd2xx::FT_Write(Native(handle), const_cast<void*>(buffer), count, written);
}

FT_STATUS ImportedD2xx::FT_ResetDevice(FT_HANDLE handle) {
  return ftd2xx::FT_ResetDevice(Native(handle));
}

FT_STATUS ImportedD2xx::FT_ResetPort(FT_HANDLE handle) {
  return ftd2xx::FT_ResetPort(Native(handle));
}

FT_STATUS ImportedD2xx::FT_GetComPortNumber(FT_HANDLE handle, std::int32_t* number) {
  return ftd2xx::FT_GetComPortNumber(Native(handle), number);
}

FT_STATUS ImportedD2xx::FT_SetDtr(FT_HANDLE handle) {
  return ftd2xx::FT_SetDtr(Native(handle));
}

FT_STATUS ImportedD2xx::FT_ClrDtr(FT_HANDLE handle) {
  return ftd2xx::FT_ClrDtr(Native(handle));
}

FT_STATUS ImportedD2xx::FT_SetRts(FT_HANDLE handle) {
  return ftd2xx::FT_SetRts(Native(handle));
}

FT_STATUS ImportedD2xx::FT_ClrRts(FT_HANDLE handle) {
  return ftd2xx::FT_ClrRts(Native(handle));
}

FT_STATUS ImportedD2xx::FT_SetLatencyTimer(FT_HANDLE handle, std::uint8_t milliseconds) {
  return ftd2xx::FT_SetLatencyTimer(Native(handle), milliseconds);
}

FT_STATUS ImportedD2xx::FT_GetQueueStatus(FT_HANDLE handle, std::uint32_t* rx_bytes) {
  return ftd2xx::FT_GetQueueStatus(Native(handle), rx_bytes);
}

FT_STATUS ImportedD2xx::FT_GetStatus(FT_HANDLE handle, std::uint32_t* rx_bytes, std::uint32_t* tx_bytes,
                                     std::uint32_t* event_word) {
  return ftd2xx::FT_GetStatus(Native(handle), rx_bytes, tx_bytes, event_word);
}

FT_STATUS ImportedD2xx::FT_Purge(FT_HANDLE handle, std::uint32_t mask) {
  return ftd2xx::FT_Purge(Native(handle), mask);
}

}  // namespace halden
