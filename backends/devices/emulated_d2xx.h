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

/// An emulation of the device library and the port configuration on top of Device objects, which are listed
/// in the order given.
///
/// Each device gets the COM number it asks for. Once all of those are assigned, a device without one, or
/// whose number was taken, gets the next free number from 256 up. A number never changes, so a device that is
/// unplugged and comes back has the same one. A call that runs out of memory fails; nothing is thrown.
class EmulatedD2xx : public D2xx, public CommConfigApi {
 public:
  /// A modal dialog in which the user changes the line settings of `port`, such as "COM5". False: cancelled.
  using LineSettingsDialog = std::function<bool(const std::string& port, Dcb* line)>;

  /// Returns devices that were plugged in since the last call and that have never been returned before.
  using FindNew = std::function<std::vector<std::unique_ptr<Device>>()>;

  /// `find_new` may be null. It is called whenever devices are listed or counted, and its devices are listed
  /// after all others. With `only_list`, FT_Open merely probes a device (Device::Probe), and calls that need
  /// an open device fail.
  explicit EmulatedD2xx(std::vector<std::unique_ptr<Device>> devices, FindNew find_new = nullptr,
                        bool only_list = false);

  /// Sets the dialog that CommConfigDialogA shows. Until then CommConfigDialogA returns false.
  void SetLineSettingsDialog(LineSettingsDialog dialog) { line_settings_dialog_ = std::move(dialog); }
  /// Device::OpenFailure of each device in the last snapshot.
  std::vector<std::string> OpenFailures() const;
  /// Device::Ended of the device at this index of the last snapshot; false if the index is out of range.
  bool HasEnded(std::int32_t place) const;
  /// The sum of Device::Overruns over the open devices that count them; nullopt if none does.
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
    FT_HANDLE handle = -1;        // from FT_Open; -1: closed
    CommHandle port_handle = -1;  // from CreateFileA; -1: closed
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
  std::vector<Slot> slots_;            // every device ever seen; never removed, so indexes stay valid
  std::vector<std::size_t> snapshot_;  // indexes into slots_ of the devices listed last
  std::int32_t next_handle_ = 1;
  LineSettingsDialog line_settings_dialog_;
};

}  // namespace halden
