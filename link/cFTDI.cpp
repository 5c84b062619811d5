#include "link/cFTDI.h"

#include <limits>

namespace halden {

namespace {

/// A count that the library reported, as the signed number that the driver works with. Returns `on_failure`
/// if the call failed, and also for a count above INT32_MAX: no queue is that long, so the answer is wrong.
std::int32_t CountOr(std::int32_t on_failure, FT_STATUS status, std::uint32_t count) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::int32_t>::max();
  return status == FT_OK && count <= kMost ? static_cast<std::int32_t>(count) : on_failure;
}

}  // namespace

cFTDI::cFTDI(D2xx& library, Clock& clock) : library_(library), clock_(clock) {
  RefreshList();
}

cFTDI::~cFTDI() {
  ClearList();
  Close();
}

std::string cFTDI::ListSerialNumber(std::int32_t ListIndex) const {
  const auto* node = Listed(ListIndex);
  return node ? BytesToString({node->SerialNumber, sizeof node->SerialNumber}) : "";
}

std::string cFTDI::ListDescription(std::int32_t ListIndex) const {
  const auto* node = Listed(ListIndex);
  return node ? BytesToString({node->Description, sizeof node->Description}) : "";
}

std::int32_t cFTDI::DeviceCount() {
  ListedCount = 0;
  if (library_.FT_ListDevices(&ListedCount, nullptr, FT_LIST_NUMBER_ONLY) != FT_OK) return 0;
  return ListedCount;
}

std::string cFTDI::DeviceSerialNumber() const {
  return IsOpen() ? BytesToString({OpenDevice.SerialNumber, sizeof OpenDevice.SerialNumber}) : "";
}

std::string cFTDI::DeviceDescription() const {
  return IsOpen() ? BytesToString({OpenDevice.Description, sizeof OpenDevice.Description}) : "";
}

std::int32_t cFTDI::RefreshList() {
  ClearList();
  std::int32_t count = 0;
  if (library_.FT_CreateDeviceInfoList(&count) != FT_OK || count < 1) return 0;
  // Rows of the port table are numbered with 16 bits.
  constexpr std::int32_t kMost = std::numeric_limits<std::int16_t>::max();
  if (count > kMost) count = kMost;
  DeviceList.resize(count);
  std::int32_t filled = count;
  if (library_.FT_GetDeviceInfoList(DeviceList.data(), &filled) != FT_OK) {
    ClearList();
    return 0;
  }
  // If a device was unplugged between the two calls, the last nodes were never filled.
  if (filled < count) DeviceList.resize(filled < 0 ? 0 : filled);
  DeviceTotal = static_cast<std::int32_t>(DeviceList.size());
  return DeviceTotal;
}

std::uint32_t cFTDI::ListID(std::int32_t ListIndex) const {
  const auto* node = Listed(ListIndex);
  return node ? node->ID : 0;
}

std::uint32_t cFTDI::ListType(std::int32_t ListIndex) const {
  const auto* node = Listed(ListIndex);
  return node ? node->Type : 0;
}

std::string cFTDI::ListTypeName(std::int32_t ListIndex) const {
  const auto* node = Listed(ListIndex);
  return node ? ChipTypeName(node->Type) : "<none>";
}

bool cFTDI::Open(std::int32_t index) {
  Close();
  const auto* node = Listed(index);
  if (!node) return false;
  // A failed call may have written to the handle. A success may have left it at -1; that counts as a failure.
  if (library_.FT_Open(index, &Handle) != FT_OK) Handle = -1;
  if (!IsOpen()) {
    Close();
    return false;
  }
  OpenDevice = *node;
  CurrentIndex = index;
  return true;
}

/// Calls the library even with nothing open: it ignores a handle of -1.
void cFTDI::Close() {
  library_.FT_Close(Handle);
  Handle = -1;
  CurrentIndex = -1;
}

/// The library takes stop bits before parity, the other way round than this function.
bool cFTDI::SetLine(std::int32_t baud, std::uint8_t word_length, std::uint8_t parity,
                    std::uint8_t stop_bits) {
  return IsOpen() && library_.FT_SetBaudRate(Handle, baud) == FT_OK &&
         library_.FT_SetDataCharacteristics(Handle, word_length, stop_bits, parity) == FT_OK;
}

void cFTDI::SetBaudRate(std::int32_t baud) {
  if (IsOpen()) library_.FT_SetBaudRate(Handle, baud);
}

std::int32_t cFTDI::Read(void* buffer, std::int32_t count) {
  if (!IsOpen()) return 0;
  std::uint32_t read = 0;
  const FT_STATUS status = library_.FT_Read(Handle, buffer, count, &read);
  return CountOr(-1, status, read);
}

std::int32_t cFTDI::Write(const void* buffer, std::int32_t count) {
  if (!IsOpen()) return 0;
  std::uint32_t written = 0;
  const FT_STATUS status = library_.FT_Write(Handle, buffer, count, &written);
  return CountOr(-1, status, written);
}

void cFTDI::ResetDevice() {
  if (IsOpen()) library_.FT_ResetDevice(Handle);
}

void cFTDI::ResetPort() {
  if (IsOpen()) library_.FT_ResetPort(Handle);
}

void cFTDI::Purge() {
  if (IsOpen()) library_.FT_Purge(Handle, FT_PURGE_RX | FT_PURGE_TX);
}

std::uint32_t cFTDI::DeviceID() const {
  return IsOpen() ? OpenDevice.ID : 0;
}

std::uint32_t cFTDI::DeviceType() const {
  return IsOpen() ? OpenDevice.Type : 0;
}

std::string cFTDI::DeviceTypeName() const {
  return IsOpen() ? ChipTypeName(OpenDevice.Type) : "";
}

std::int32_t cFTDI::ComPortNumber() {
  std::int32_t number = 0;
  if (!IsOpen() || library_.FT_GetComPortNumber(Handle, &number) != FT_OK) return 0;
  return number;
}

void cFTDI::SetDTR(bool on) {
  if (!IsOpen()) return;
  if (on)
    library_.FT_SetDtr(Handle);
  else
    library_.FT_ClrDtr(Handle);
}

void cFTDI::SetRTS(bool on) {
  if (!IsOpen()) return;
  if (on)
    library_.FT_SetRts(Handle);
  else
    library_.FT_ClrRts(Handle);
}

bool cFTDI::SetLatency(std::int32_t milliseconds) {
  constexpr std::int32_t kLongest = std::numeric_limits<std::uint8_t>::max();
  if (!IsOpen() || milliseconds < 0 || milliseconds > kLongest) return false;
  return library_.FT_SetLatencyTimer(Handle, static_cast<std::uint8_t>(milliseconds)) == FT_OK;
}

std::int32_t cFTDI::RxQueueCount() {
  if (!IsOpen()) return 0;
  std::uint32_t count = 0;
  const FT_STATUS status = library_.FT_GetQueueStatus(Handle, &count);
  return CountOr(-1, status, count);
}

std::int32_t cFTDI::TxQueueCount() {
  if (!IsOpen()) return 0;
  std::uint32_t rx = 0;
  std::uint32_t tx = 0;
  std::uint32_t events = 0;
  const FT_STATUS status = library_.FT_GetStatus(Handle, &rx, &tx, &events);
  // 0 also on failure, so that WaitForTxDrain doesn't wait for a device that has gone.
  return CountOr(0, status, tx);
}

bool cFTDI::WaitForRx(std::int16_t count, std::int32_t timeout) {
  const std::uint32_t start = clock_.GetTickCount();
  while (RxQueueCount() < count) {
    clock_.ServeMessages();
    if (TimedOut(start, timeout)) return false;
  }
  return true;
}

bool cFTDI::WaitForTxDrain(std::int16_t count, std::int32_t timeout) {
  const std::uint32_t start = clock_.GetTickCount();
  while (TxQueueCount() > count) {
    clock_.Sleep(1);
    if (TimedOut(start, timeout)) return false;
  }
  return true;
}

void cFTDI::ClearList() {
  DeviceTotal = 0;
  DeviceList.clear();
}

/// Fields of the device list have a fixed size and end at the first NUL, or without one if the text fills
/// them.
std::string cFTDI::BytesToString(std::string_view bytes) {
  return std::string(bytes.substr(0, bytes.find('\0')));
}

std::string cFTDI::ChipTypeName(std::uint32_t type) {
  // Indexed by the library's type code. Code 3 means that the library doesn't know the chip.
  static constexpr const char* kNames[] = {
      "FT232BM", "FT232AM", "FT100AX",     nullptr,     "FT2232C",     "FT232R",    "FT2232H",
      "FT4232H", "FT232H",  "FT_X_SERIES", "FT4222H_0", "FT4222H_1-2", "FT4222H_3", "FT4222_PROG"};
  const char* name = type < std::size(kNames) ? kNames[type] : nullptr;
  return name ? name : "Unknown";
}

const FT_DEVICE_LIST_INFO_NODE* cFTDI::Listed(std::int32_t ListIndex) const {
  return ListIndex >= 0 && ListIndex < DeviceTotal ? &DeviceList[ListIndex] : nullptr;
}

/// Compares the difference of the two tick counts, which stays right when the 32-bit count wraps in between.
bool cFTDI::TimedOut(std::uint32_t start, std::int32_t timeout) {
  return static_cast<std::int32_t>(clock_.GetTickCount() - start) > timeout;
}

}  // namespace halden
