#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "backends/devices/device.h"
#include "platform/comm_config.h"
#include "platform/d2xx.h"

namespace halden {

/// The device library and the port configuration over devices of any kind, listed in the order given.
///
/// Each device has the COM number that it would like. One that is missing or taken becomes the next free one
/// from 256; wishes of all devices come first. Numbers don't change any more, so a device that comes back
/// has its own again. Without memory a call fails.
class EmulatedD2xx : public D2xx, public CommConfigApi {
 public:
  /// Lets the user change the line settings of a port, such as "COM5"; false if cancelled.
  using LineSettingsDialog = std::function<bool(const std::string& port, Dcb* line)>;

  /// Gives devices that have not been there before.
  using FindNew = std::function<std::vector<std::unique_ptr<Device>>()>;

  /// `find_new`, if any, is asked at each snapshot and count; what it finds is listed after all others. With
  /// `only_list`, FT_Open merely probes a device (Device::Probe), and calls that need an open device fail.
  explicit EmulatedD2xx(std::vector<std::unique_ptr<Device>> devices, FindNew find_new = nullptr,
                        bool only_list = false);

  /// What CommConfigDialogA shows. As long as none is set, there is nothing to show.
  void SetLineSettingsDialog(LineSettingsDialog dialog) { line_settings_dialog_ = std::move(dialog); }
  /// For each device of the last snapshot why its last FT_Open failed; empty if it didn't.
  std::vector<std::string> OpenFailures() const;
  /// Device::Ended of the device at this place of the last snapshot; false for a place that it doesn't have.
  bool HasEnded(std::int32_t place) const;
  /// The sum of Device::Overruns over the open devices that can say; nothing if there is none.
  std::optional<std::uint64_t> Overruns() const;
  /// The notices of all devices (Device::TakeNotices).
  std::vector<std::string> TakeNotices();

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

  bool GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) override;
  bool SetDefaultCommConfigA(const std::string& name, const void* config, std::uint32_t size) override;
  bool CommConfigDialogA(const std::string& name, std::uintptr_t owner, CommConfig* config) override;
  CommHandle CreateFileA(const std::string& path) override;
  bool GetCommConfig(CommHandle port, void* config, std::uint32_t* size) override;
  void CloseHandle(CommHandle port) override;

 private:
  struct Slot {
    std::unique_ptr<Device> device;
    std::int32_t com = -1;
    FT_HANDLE handle = -1;        // of FT_Open
    CommHandle port_handle = -1;  // of CreateFileA
  };

  void Add(std::vector<std::unique_ptr<Device>> devices);
  void AssignComNumbers();
  bool ComTaken(std::int32_t com) const;
  std::int32_t NewHandle();
  template <typename Predicate>
  Slot* Find(Predicate matches);
  template <typename Call>
  FT_STATUS OnDevice(FT_HANDLE handle, Call call);
  Slot* FindOpen(FT_HANDLE handle);
  Slot* FindPort(const std::string& name);
  Slot* FindOpenPort(CommHandle port);

  const FindNew find_new_;
  const bool only_list_;
  std::vector<Slot> slots_;
  std::vector<std::size_t> snapshot_;  // places in slots_
  std::int32_t next_handle_ = 1;
  LineSettingsDialog line_settings_dialog_;
};

}  // namespace halden
