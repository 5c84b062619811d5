#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/d2xx.h"

namespace halden {

/// A device library in front of another one: it keeps the names of the calls made, and fails those that a
/// test names.
class WatchedD2xx : public D2xx {
 public:
  explicit WatchedD2xx(D2xx& behind) : behind_(behind) {}

  std::vector<std::string> calls;
  /// Asked before each call, by its name without the prefix; true fails it.
  std::function<bool(const std::string& call)> fails = [](const std::string&) { return false; };

  FT_STATUS FT_CreateDeviceInfoList(std::int32_t* count) override {
    return Pass("CreateDeviceInfoList", [&] { return behind_.FT_CreateDeviceInfoList(count); });
  }
  FT_STATUS FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* nodes, std::int32_t* count) override {
    return Pass("GetDeviceInfoList", [&] { return behind_.FT_GetDeviceInfoList(nodes, count); });
  }
  FT_STATUS FT_ListDevices(std::int32_t* number, void* unused, std::uint32_t flags) override {
    return Pass("ListDevices", [&] { return behind_.FT_ListDevices(number, unused, flags); });
  }
  FT_STATUS FT_Open(std::int32_t index, FT_HANDLE* handle) override {
    return Pass("Open", [&] { return behind_.FT_Open(index, handle); });
  }
  FT_STATUS FT_Close(FT_HANDLE handle) override {
    return Pass(handle == -1 ? "Close none" : "Close", [&] { return behind_.FT_Close(handle); });
  }
  FT_STATUS FT_SetBaudRate(FT_HANDLE handle, std::uint32_t bits_per_second) override {
    return Pass("SetBaudRate", [&] { return behind_.FT_SetBaudRate(handle, bits_per_second); });
  }
  FT_STATUS FT_SetDataCharacteristics(FT_HANDLE handle, std::uint8_t word_length, std::uint8_t stop_bits,
                                      std::uint8_t parity) override {
    return Pass("SetDataCharacteristics",
                [&] { return behind_.FT_SetDataCharacteristics(handle, word_length, stop_bits, parity); });
  }
  FT_STATUS FT_Read(FT_HANDLE handle, void* buffer, std::uint32_t count, std::uint32_t* read) override {
    return Pass("Read", [&] { return behind_.FT_Read(handle, buffer, count, read); });
  }
  FT_STATUS FT_Write(FT_HANDLE handle, const void* buffer, std::uint32_t count,
                     std::uint32_t* written) override {
    return Pass("Write", [&] { return behind_.FT_Write(handle, buffer, count, written); });
  }
  FT_STATUS FT_ResetDevice(FT_HANDLE handle) override {
    return Pass("ResetDevice", [&] { return behind_.FT_ResetDevice(handle); });
  }
  FT_STATUS FT_ResetPort(FT_HANDLE handle) override {
    return Pass("ResetPort", [&] { return behind_.FT_ResetPort(handle); });
  }
  FT_STATUS FT_GetComPortNumber(FT_HANDLE handle, std::int32_t* number) override {
    return Pass("GetComPortNumber", [&] { return behind_.FT_GetComPortNumber(handle, number); });
  }
  FT_STATUS FT_SetDtr(FT_HANDLE handle) override {
    return Pass("SetDtr", [&] { return behind_.FT_SetDtr(handle); });
  }
  FT_STATUS FT_ClrDtr(FT_HANDLE handle) override {
    return Pass("ClrDtr", [&] { return behind_.FT_ClrDtr(handle); });
  }
  FT_STATUS FT_SetRts(FT_HANDLE handle) override {
    return Pass("SetRts", [&] { return behind_.FT_SetRts(handle); });
  }
  FT_STATUS FT_ClrRts(FT_HANDLE handle) override {
    return Pass("ClrRts", [&] { return behind_.FT_ClrRts(handle); });
  }
  FT_STATUS FT_SetLatencyTimer(FT_HANDLE handle, std::uint8_t milliseconds) override {
    return Pass("SetLatencyTimer", [&] { return behind_.FT_SetLatencyTimer(handle, milliseconds); });
  }
  FT_STATUS FT_GetQueueStatus(FT_HANDLE handle, std::uint32_t* rx_bytes) override {
    return Pass("GetQueueStatus", [&] { return behind_.FT_GetQueueStatus(handle, rx_bytes); });
  }
  FT_STATUS FT_GetStatus(FT_HANDLE handle, std::uint32_t* rx_bytes, std::uint32_t* tx_bytes,
                         std::uint32_t* event_word) override {
    return Pass("GetStatus", [&] { return behind_.FT_GetStatus(handle, rx_bytes, tx_bytes, event_word); });
  }
  FT_STATUS FT_Purge(FT_HANDLE handle, std::uint32_t mask) override {
    return Pass("Purge", [&] { return behind_.FT_Purge(handle, mask); });
  }

 private:
  template <class Call>
  FT_STATUS Pass(const std::string& name, Call call) {
    constexpr FT_STATUS kOtherError = 18;
    if (name != "GetQueueStatus") calls.push_back(name);  // asked without end
    return fails(name) ? kOtherError : call();
  }

  D2xx& behind_;
};

}  // namespace halden
