#include "platform/devices/device_library.h"

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

/// Hands a configuration out into `size` bytes of room.
bool Export(const Dcb& line, void* config, std::uint32_t* size) {
  CommConfig full;
  full.dcb = line;
  const bool fits = *size >= sizeof full;
  if (fits) std::memcpy(config, &full, sizeof full);
  *size = sizeof full;
  return fits;
}

}  // namespace

DeviceLibrary::DeviceLibrary(std::vector<std::unique_ptr<Device>> devices, FindNew find_new)
    : find_new_(std::move(find_new)) {
  Add(std::move(devices));
}

void DeviceLibrary::Add(std::vector<std::unique_ptr<Device>> devices) {
  for (auto& device : devices) slots_.push_back({std::move(device)});
  AssignComNumbers();
}

void DeviceLibrary::AssignComNumbers() {
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

bool DeviceLibrary::ComTaken(std::int32_t com) const {
  return std::any_of(slots_.begin(), slots_.end(), [com](const Slot& slot) { return slot.com == com; });
}

std::vector<std::string> DeviceLibrary::OpenFailures() const {
  std::vector<std::string> failures;
  for (const std::size_t place : snapshot_) failures.push_back(slots_[place].device->OpenFailure());
  return failures;
}

template <typename Predicate>
DeviceLibrary::Slot* DeviceLibrary::Find(Predicate matches) {
  const auto found = std::find_if(slots_.begin(), slots_.end(), matches);
  return found == slots_.end() ? nullptr : &*found;
}

DeviceLibrary::Slot* DeviceLibrary::FindOpen(FT_HANDLE handle) {
  return handle == -1 ? nullptr : Find([&](const Slot& slot) { return slot.handle == handle; });
}

template <typename Call>
FT_STATUS DeviceLibrary::OnDevice(FT_HANDLE handle, Call call) try {
  Slot* slot = FindOpen(handle);
  return slot ? call(*slot->device) : kDeviceFailed;
} catch (const std::bad_alloc&) {
  return kDeviceFailed;
}

std::int32_t DeviceLibrary::NewHandle() {
  if (next_handle_ == std::numeric_limits<std::int32_t>::max()) next_handle_ = 1;
  return next_handle_++;
}

FT_STATUS DeviceLibrary::FT_CreateDeviceInfoList(std::int32_t* count) try {
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

FT_STATUS DeviceLibrary::FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* nodes, std::int32_t* count) {
  if (*count < 0) return kDeviceFailed;
  *count = std::min(*count, static_cast<std::int32_t>(snapshot_.size()));
  for (std::int32_t i = 0; i < *count; ++i) nodes[i] = ToNode(slots_[snapshot_[i]].device->Identity());
  return FT_OK;
}

FT_STATUS DeviceLibrary::FT_ListDevices(std::int32_t* number, void*, std::uint32_t flags) try {
  if (flags != FT_LIST_NUMBER_ONLY) return kDeviceFailed;
  if (find_new_) Add(find_new_());
  *number = static_cast<std::int32_t>(
      std::count_if(slots_.begin(), slots_.end(), [](const Slot& slot) { return slot.device->Present(); }));
  return FT_OK;
} catch (const std::bad_alloc&) {
  return kDeviceFailed;
}

FT_STATUS DeviceLibrary::FT_Open(std::int32_t index, FT_HANDLE* handle) try {
  if (index < 0 || static_cast<std::size_t>(index) >= snapshot_.size()) return kDeviceFailed;
  Slot& slot = slots_[snapshot_[index]];
  if (slot.handle != -1) return kDeviceFailed;
  const FT_STATUS status = slot.device->Open();
  if (status != FT_OK) return status;
  slot.handle = NewHandle();
  *handle = slot.handle;
  return FT_OK;
} catch (const std::bad_alloc&) {
  return kDeviceFailed;
}

FT_STATUS DeviceLibrary::FT_Close(FT_HANDLE handle) {
  if (Slot* slot = FindOpen(handle)) {
    slot->device->Close();
    slot->handle = -1;
  }
  return FT_OK;
}

FT_STATUS DeviceLibrary::FT_SetBaudRate(FT_HANDLE handle, std::uint32_t bits_per_second) {
  return OnDevice(handle, [&](Device& device) { return device.SetBaudRate(bits_per_second); });
}

FT_STATUS DeviceLibrary::FT_SetDataCharacteristics(FT_HANDLE handle, std::uint8_t word_length,
                                                   std::uint8_t stop_bits, std::uint8_t parity) {
  return OnDevice(
      handle, [&](Device& device) { return device.SetDataCharacteristics(word_length, stop_bits, parity); });
}

FT_STATUS DeviceLibrary::FT_Read(FT_HANDLE handle, void* buffer, std::uint32_t count, std::uint32_t* read) {
  return OnDevice(handle, [&](Device& device) { return device.Read(buffer, count, read); });
}

FT_STATUS DeviceLibrary::FT_Write(FT_HANDLE handle, const void* buffer, std::uint32_t count,
                                  std::uint32_t* written) {
  return OnDevice(handle, [&](Device& device) { return device.Write(buffer, count, written); });
}

FT_STATUS DeviceLibrary::FT_ResetDevice(FT_HANDLE handle) {
  return OnDevice(handle, [&](Device& device) { return device.Reset(); });
}

FT_STATUS DeviceLibrary::FT_ResetPort(FT_HANDLE handle) {
  return FT_ResetDevice(handle);
}

FT_STATUS DeviceLibrary::FT_GetComPortNumber(FT_HANDLE handle, std::int32_t* number) {
  Slot* slot = FindOpen(handle);
  if (slot == nullptr) return kDeviceFailed;
  *number = slot->com;
  return FT_OK;
}

FT_STATUS DeviceLibrary::FT_SetDtr(FT_HANDLE handle) {
  return OnDevice(handle, [&](Device& device) { return device.SetDtr(true); });
}

FT_STATUS DeviceLibrary::FT_ClrDtr(FT_HANDLE handle) {
  return OnDevice(handle, [&](Device& device) { return device.SetDtr(false); });
}

FT_STATUS DeviceLibrary::FT_SetRts(FT_HANDLE handle) {
  return OnDevice(handle, [&](Device& device) { return device.SetRts(true); });
}

FT_STATUS DeviceLibrary::FT_ClrRts(FT_HANDLE handle) {
  return OnDevice(handle, [&](Device& device) { return device.SetRts(false); });
}

FT_STATUS DeviceLibrary::FT_SetLatencyTimer(FT_HANDLE handle, std::uint8_t milliseconds) {
  return OnDevice(handle, [&](Device& device) { return device.SetLatencyTimer(milliseconds); });
}

FT_STATUS DeviceLibrary::FT_GetQueueStatus(FT_HANDLE handle, std::uint32_t* rx_bytes) {
  return OnDevice(handle, [&](Device& device) { return device.GetQueueStatus(rx_bytes); });
}

FT_STATUS DeviceLibrary::FT_GetStatus(FT_HANDLE handle, std::uint32_t* rx_bytes, std::uint32_t* tx_bytes,
                                      std::uint32_t* event_word) {
  return OnDevice(handle, [&](Device& device) {
    *event_word = 0;
    const FT_STATUS status = device.GetQueueStatus(rx_bytes);
    return status == FT_OK ? device.GetTxQueueStatus(tx_bytes) : status;
  });
}

FT_STATUS DeviceLibrary::FT_Purge(FT_HANDLE handle, std::uint32_t mask) {
  return OnDevice(handle, [&](Device& device) { return device.Purge(mask); });
}

DeviceLibrary::Slot* DeviceLibrary::FindPort(const std::string& name) {
  return Find([&](const Slot& slot) {
    return slot.com != -1 && name == "COM" + std::to_string(slot.com) && slot.device->Present();
  });
}

DeviceLibrary::Slot* DeviceLibrary::FindOpenPort(CommHandle port) {
  return port == -1 ? nullptr : Find([&](const Slot& slot) { return slot.port_handle == port; });
}

bool DeviceLibrary::GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) try {
  Slot* slot = FindPort(name);
  Dcb line;
  return slot && slot->device->GetDefaultLine(&line) && Export(line, config, size);
} catch (const std::bad_alloc&) {
  return false;
}

bool DeviceLibrary::SetDefaultCommConfigA(const std::string& name, const void* config,
                                          std::uint32_t size) try {
  Slot* slot = FindPort(name);
  CommConfig full;
  if (slot == nullptr || size < sizeof full) return false;
  std::memcpy(&full, config, sizeof full);
  return slot->device->SetDefaultLine(full.dcb);
} catch (const std::bad_alloc&) {
  return false;
}

bool DeviceLibrary::CommConfigDialogA(const std::string& name, std::uintptr_t, CommConfig* config) try {
  if (FindPort(name) == nullptr || !line_dialog_) return false;
  Dcb line = config->dcb;
  if (!line_dialog_(name, &line)) return false;
  config->dcb = line;
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

CommHandle DeviceLibrary::CreateFileA(const std::string& path) try {
  static const std::string kNamespace = "\\\\.\\";
  if (!path.starts_with(kNamespace)) return -1;
  Slot* slot = FindPort(path.substr(kNamespace.size()));
  if (slot == nullptr || slot->port_handle != -1) return -1;
  slot->port_handle = NewHandle();
  return slot->port_handle;
} catch (const std::bad_alloc&) {
  return -1;
}

bool DeviceLibrary::GetCommConfig(CommHandle port, void* config, std::uint32_t* size) try {
  Slot* slot = FindOpenPort(port);
  Dcb line;
  return slot && slot->device->GetPortLine(&line) && Export(line, config, size);
} catch (const std::bad_alloc&) {
  return false;
}

void DeviceLibrary::CloseHandle(CommHandle port) {
  if (Slot* slot = FindOpenPort(port)) slot->port_handle = -1;
}

}  // namespace halden
