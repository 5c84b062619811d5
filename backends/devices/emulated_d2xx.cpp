#include "backends/devices/emulated_d2xx.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace halden {

namespace {

constexpr std::int32_t kFirstSpareCom = 256;

FT_DEVICE_LIST_INFO_NODE ToNode(const DeviceIdentity& identity) {
  FT_DEVICE_LIST_INFO_NODE node;
  node.Type = identity.type;
  node.ID = identity.id;
  identity.serial.copy(node.SerialNumber, sizeof node.SerialNumber);
  identity.description.copy(node.Description, sizeof node.Description);
  return node;
}

/// Copies a COMMCONFIG with these line settings to `config`, which has room for *size bytes. *size becomes
/// the size needed. False, and nothing copied, if the room is too small.
bool Export(const Dcb& line, void* config, std::uint32_t* size) {
  CommConfig full;
  full.dcb = line;
  const bool fits = *size >= sizeof full;
  if (fits) std::memcpy(config, &full, sizeof full);
  *size = sizeof full;
  return fits;
}

}  // namespace

EmulatedD2xx::EmulatedD2xx(std::vector<std::unique_ptr<Device>> devices, FindNew find_new, bool only_list)
    : find_new_(std::move(find_new)), only_list_(only_list) {
  Add(std::move(devices));
}

void EmulatedD2xx::Add(std::vector<std::unique_ptr<Device>> devices) {
  for (auto& device : devices) slots_.push_back({std::move(device)});
  AssignComNumbers();
}

/// Two passes: numbers that devices ask for come first, so that no spare number takes one of them.
void EmulatedD2xx::AssignComNumbers() {
  for (Slot& slot : slots_) {
    const std::int32_t wish = slot.device->Identity().com.value_or(-1);
    if (wish > 0 && !ComTaken(wish)) slot.com = wish;
  }
  std::int32_t spare = kFirstSpareCom;
  for (Slot& slot : slots_) {
    if (slot.com != -1 || slot.device->Identity().com == -1) continue;
    while (ComTaken(spare)) ++spare;
    slot.com = spare;
  }
}

bool EmulatedD2xx::ComTaken(std::int32_t com) const {
  return std::any_of(slots_.begin(), slots_.end(), [com](const Slot& slot) { return slot.com == com; });
}

std::vector<std::string> EmulatedD2xx::OpenFailures() const {
  std::vector<std::string> failures;
  for (const std::size_t place : snapshot_) failures.push_back(slots_[place].device->OpenFailure());
  return failures;
}

bool EmulatedD2xx::HasEnded(std::int32_t place) const {
  const auto index = static_cast<std::size_t>(place);
  return index < snapshot_.size() && slots_[snapshot_[index]].device->Ended();
}

std::optional<std::uint64_t> EmulatedD2xx::Overruns() const {
  std::optional<std::uint64_t> sum;
  for (const Slot& slot : slots_)
    if (const auto overruns = slot.device->Overruns()) sum = sum.value_or(0) + *overruns;
  return sum;
}

std::vector<std::string> EmulatedD2xx::TakeNotices() {
  std::vector<std::string> notices;
  for (Slot& slot : slots_)
    for (std::string& notice : slot.device->TakeNotices()) notices.push_back(std::move(notice));
  return notices;
}

template <typename Predicate>
EmulatedD2xx::Slot* EmulatedD2xx::Find(Predicate matches) {
  const auto found = std::find_if(slots_.begin(), slots_.end(), matches);
  return found == slots_.end() ? nullptr : &*found;
}

EmulatedD2xx::Slot* EmulatedD2xx::FindOpen(FT_HANDLE handle) {
  return handle == -1 ? nullptr : Find([&](const Slot& slot) { return slot.handle == handle; });
}

template <typename Call>
FT_STATUS EmulatedD2xx::OnDevice(FT_HANDLE handle, Call call) try {
  Slot* slot = FindOpen(handle);
  return slot && !only_list_ ? call(*slot->device) : kDeviceFailed;
} catch (const std::bad_alloc&) {
  return kDeviceFailed;
}

std::int32_t EmulatedD2xx::NewHandle() {
  if (next_handle_ == std::numeric_limits<std::int32_t>::max()) next_handle_ = 1;
  return next_handle_++;
}

FT_STATUS EmulatedD2xx::FT_CreateDeviceInfoList(std::int32_t* count) try {
  if (find_new_) Add(find_new_());
  snapshot_.clear();
  for (std::size_t place = 0; place < slots_.size(); ++place) {
    if (slots_[place].device->Present()) snapshot_.push_back(place);
  }
  *count = static_cast<std::int32_t>(snapshot_.size());
  return FT_OK;
} catch (const std::bad_alloc&) {
  return kDeviceFailed;
}

FT_STATUS EmulatedD2xx::FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* nodes, std::int32_t* count) {
  if (*count < 0) return kDeviceFailed;
  *count = std::min(*count, static_cast<std::int32_t>(snapshot_.size()));
  for (std::int32_t i = 0; i < *count; ++i) nodes[i] = ToNode(slots_[snapshot_[i]].device->Identity());
  return FT_OK;
}

FT_STATUS EmulatedD2xx::FT_ListDevices(std::int32_t* number, void*, std::uint32_t flags) try {
  if (flags != FT_LIST_NUMBER_ONLY) return kDeviceFailed;
  if (find_new_) Add(find_new_());
  *number = static_cast<std::int32_t>(
      std::count_if(slots_.begin(), slots_.end(), [](const Slot& slot) { return slot.device->Present(); }));
  return FT_OK;
} catch (const std::bad_alloc&) {
  return kDeviceFailed;
}

FT_STATUS EmulatedD2xx::FT_Open(std::int32_t index, FT_HANDLE* handle) try {
  if (index < 0 || static_cast<std::size_t>(index) >= snapshot_.size()) return kDeviceFailed;
  Slot& slot = slots_[snapshot_[index]];
  if (slot.handle != -1) return kDeviceFailed;
  const FT_STATUS status = only_list_ ? slot.device->Probe() : slot.device->Open();
  if (status != FT_OK) return status;
  slot.handle = NewHandle();
  *handle = slot.handle;
  return FT_OK;
} catch (const std::bad_alloc&) {
  return kDeviceFailed;
}

FT_STATUS EmulatedD2xx::FT_Close(FT_HANDLE handle) {
  if (Slot* slot = FindOpen(handle)) {
    if (!only_list_) slot->device->Close();
    slot->handle = -1;
  }
  return FT_OK;
}

FT_STATUS EmulatedD2xx::FT_SetBaudRate(FT_HANDLE handle, std::uint32_t bits_per_second) {
  return OnDevice(handle, [&](Device& device) { return device.SetBaudRate(bits_per_second); });
}

FT_STATUS EmulatedD2xx::FT_SetDataCharacteristics(FT_HANDLE handle, std::uint8_t word_length,
                                                  std::uint8_t stop_bits, std::uint8_t parity) {
  return OnDevice(
      handle, [&](Device& device) { return device.SetDataCharacteristics(word_length, stop_bits, parity); });
}

FT_STATUS EmulatedD2xx::FT_Read(FT_HANDLE handle, void* buffer, std::uint32_t count, std::uint32_t* read) {
  return OnDevice(handle, [&](Device& device) { return device.Read(buffer, count, read); });
}

FT_STATUS EmulatedD2xx::FT_Write(FT_HANDLE handle, const void* buffer, std::uint32_t count,
                                 std::uint32_t* written) {
  return OnDevice(handle, [&](Device& device) { return device.Write(buffer, count, written); });
}

FT_STATUS EmulatedD2xx::FT_ResetDevice(FT_HANDLE handle) {
  return OnDevice(handle, [&](Device& device) { return device.Reset(); });
}

FT_STATUS EmulatedD2xx::FT_ResetPort(FT_HANDLE handle) {
  return FT_ResetDevice(handle);
}

FT_STATUS EmulatedD2xx::FT_GetComPortNumber(FT_HANDLE handle, std::int32_t* number) {
  Slot* slot = FindOpen(handle);
  if (slot == nullptr) return kDeviceFailed;
  *number = slot->com;
  return FT_OK;
}

FT_STATUS EmulatedD2xx::FT_SetDtr(FT_HANDLE handle) {
  return OnDevice(handle, [&](Device& device) { return device.SetDtr(true); });
}

FT_STATUS EmulatedD2xx::FT_ClrDtr(FT_HANDLE handle) {
  return OnDevice(handle, [&](Device& device) { return device.SetDtr(false); });
}

FT_STATUS EmulatedD2xx::FT_SetRts(FT_HANDLE handle) {
  return OnDevice(handle, [&](Device& device) { return device.SetRts(true); });
}

FT_STATUS EmulatedD2xx::FT_ClrRts(FT_HANDLE handle) {
  return OnDevice(handle, [&](Device& device) { return device.SetRts(false); });
}

FT_STATUS EmulatedD2xx::FT_SetLatencyTimer(FT_HANDLE handle, std::uint8_t milliseconds) {
  return OnDevice(handle, [&](Device& device) { return device.SetLatencyTimer(milliseconds); });
}

FT_STATUS EmulatedD2xx::FT_GetQueueStatus(FT_HANDLE handle, std::uint32_t* rx_bytes) {
  return OnDevice(handle, [&](Device& device) { return device.GetQueueStatus(rx_bytes); });
}

FT_STATUS EmulatedD2xx::FT_GetStatus(FT_HANDLE handle, std::uint32_t* rx_bytes, std::uint32_t* tx_bytes,
                                     std::uint32_t* event_word) {
  return OnDevice(handle, [&](Device& device) {
    *event_word = 0;
    const FT_STATUS status = device.GetQueueStatus(rx_bytes);
    return status == FT_OK ? device.GetTxQueueStatus(tx_bytes) : status;
  });
}

FT_STATUS EmulatedD2xx::FT_Purge(FT_HANDLE handle, std::uint32_t mask) {
  return OnDevice(handle, [&](Device& device) { return device.Purge(mask); });
}

EmulatedD2xx::Slot* EmulatedD2xx::FindPort(const std::string& name) {
  return Find([&](const Slot& slot) {
    return slot.com != -1 && name == "COM" + std::to_string(slot.com) && slot.device->Present();
  });
}

EmulatedD2xx::Slot* EmulatedD2xx::FindOpenPort(CommHandle port) {
  return port == -1 ? nullptr : Find([&](const Slot& slot) { return slot.port_handle == port; });
}

bool EmulatedD2xx::GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) try {
  Slot* slot = FindPort(name);
  Dcb line;
  return slot && slot->device->GetDefaultLineSettings(&line) && Export(line, config, size);
} catch (const std::bad_alloc&) {
  return false;
}

bool EmulatedD2xx::SetDefaultCommConfigA(const std::string& name, const void* config,
                                         std::uint32_t size) try {
  Slot* slot = FindPort(name);
  CommConfig full;
  if (slot == nullptr || size < sizeof full) return false;
  std::memcpy(&full, config, sizeof full);
  return slot->device->SetDefaultLineSettings(full.dcb);
} catch (const std::bad_alloc&) {
  return false;
}

bool EmulatedD2xx::CommConfigDialogA(const std::string& name, std::uintptr_t, CommConfig* config) try {
  if (FindPort(name) == nullptr || !line_settings_dialog_) return false;
  Dcb line = config->dcb;
  if (!line_settings_dialog_(name, &line)) return false;
  config->dcb = line;
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

CommHandle EmulatedD2xx::CreateFileA(const std::string& path) try {
  static const std::string kNamespace = "\\\\.\\";
  if (!path.starts_with(kNamespace)) return -1;
  Slot* slot = FindPort(path.substr(kNamespace.size()));
  if (slot == nullptr || slot->port_handle != -1) return -1;
  slot->port_handle = NewHandle();
  return slot->port_handle;
} catch (const std::bad_alloc&) {
  return -1;
}

bool EmulatedD2xx::GetCommConfig(CommHandle port, void* config, std::uint32_t* size) try {
  Slot* slot = FindOpenPort(port);
  Dcb line;
  return slot && slot->device->GetPortLineSettings(&line) && Export(line, config, size);
} catch (const std::bad_alloc&) {
  return false;
}

void EmulatedD2xx::CloseHandle(CommHandle port) {
  if (Slot* slot = FindOpenPort(port)) slot->port_handle = -1;
}

}  // namespace halden
