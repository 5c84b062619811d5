#pragma once

#include <algorithm>
#include <string>
#include <utility>

#include "platform/platform.h"
#include "tests/faults.h"

namespace halden {

class FaultyD2xx : public D2xx {
 public:
  FaultyD2xx(D2xx& behind, Faults& faults) : behind_(behind), faults_(faults) {}

  std::string received;  ///< all bytes that were read

  FT_STATUS FT_CreateDeviceInfoList(std::int32_t* count) override {
    return faults_.Pass(
        "CreateDeviceInfoList", [&] { return behind_.FT_CreateDeviceInfoList(count); }, count);
  }
  FT_STATUS FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* nodes, std::int32_t* count) override {
    return faults_.Pass(
        "GetDeviceInfoList", [&] { return behind_.FT_GetDeviceInfoList(nodes, count); }, count);
  }
  FT_STATUS FT_ListDevices(std::int32_t* number, void* unused, std::uint32_t flags) override {
    return faults_.Pass(
        "ListDevices", [&] { return behind_.FT_ListDevices(number, unused, flags); }, number);
  }
  FT_STATUS FT_Open(std::int32_t index, FT_HANDLE* handle) override {
    return faults_.Pass("Open", [&] {
      const FT_STATUS status = behind_.FT_Open(index, handle);
      if (status == FT_OK) faults_.Opened('d', *handle);
      return status;
    });
  }
  /// One that fails closes all the same.
  FT_STATUS FT_Close(FT_HANDLE handle) override {
    if (handle != -1) faults_.Closed('d', handle);
    const FT_STATUS status = behind_.FT_Close(handle);
    return faults_.Pass(handle == -1 ? "Close none" : "Close", [&] { return status; });
  }
  FT_STATUS FT_SetBaudRate(FT_HANDLE handle, std::uint32_t bits_per_second) override {
    return faults_.Pass("SetBaudRate", [&] { return behind_.FT_SetBaudRate(handle, bits_per_second); });
  }
  FT_STATUS FT_SetDataCharacteristics(FT_HANDLE handle, std::uint8_t word_length, std::uint8_t stop_bits,
                                      std::uint8_t parity) override {
    return faults_.Pass("SetDataCharacteristics", [&] {
      return behind_.FT_SetDataCharacteristics(handle, word_length, stop_bits, parity);
    });
  }
  FT_STATUS FT_Read(FT_HANDLE handle, void* buffer, std::uint32_t count, std::uint32_t* read) override {
    if (faults_.kind() == Faults::kShort && faults_.Strikes("Read", true)) count /= 2;
    std::uint32_t got = 0;
    const FT_STATUS status = faults_.Pass(
        "Read",
        [&] {
          const FT_STATUS result = behind_.FT_Read(handle, buffer, count, &got);
          *read = got;
          return result;
        },
        read);
    received.append(static_cast<const char*>(buffer), status == FT_OK ? got : 0);
    return status;
  }
  FT_STATUS FT_Write(FT_HANDLE handle, const void* buffer, std::uint32_t count,
                     std::uint32_t* written) override {
    return faults_.Pass(
        "Write", [&] { return behind_.FT_Write(handle, buffer, count, written); }, written);
  }
  FT_STATUS FT_ResetDevice(FT_HANDLE handle) override {
    return faults_.Pass("ResetDevice", [&] { return behind_.FT_ResetDevice(handle); });
  }
  FT_STATUS FT_ResetPort(FT_HANDLE handle) override {
    return faults_.Pass("ResetPort", [&] { return behind_.FT_ResetPort(handle); });
  }
  FT_STATUS FT_GetComPortNumber(FT_HANDLE handle, std::int32_t* number) override {
    return faults_.Pass(
        "GetComPortNumber", [&] { return behind_.FT_GetComPortNumber(handle, number); }, number);
  }
  FT_STATUS FT_SetDtr(FT_HANDLE handle) override {
    return faults_.Pass("SetDtr", [&] { return behind_.FT_SetDtr(handle); });
  }
  FT_STATUS FT_ClrDtr(FT_HANDLE handle) override {
    return faults_.Pass("ClrDtr", [&] { return behind_.FT_ClrDtr(handle); });
  }
  FT_STATUS FT_SetRts(FT_HANDLE handle) override {
    return faults_.Pass("SetRts", [&] { return behind_.FT_SetRts(handle); });
  }
  FT_STATUS FT_ClrRts(FT_HANDLE handle) override {
    return faults_.Pass("ClrRts", [&] { return behind_.FT_ClrRts(handle); });
  }
  FT_STATUS FT_SetLatencyTimer(FT_HANDLE handle, std::uint8_t milliseconds) override {
    return faults_.Pass("SetLatencyTimer", [&] { return behind_.FT_SetLatencyTimer(handle, milliseconds); });
  }
  FT_STATUS FT_GetQueueStatus(FT_HANDLE handle, std::uint32_t* rx_bytes) override {
    return faults_.Pass(
        "GetQueueStatus", [&] { return behind_.FT_GetQueueStatus(handle, rx_bytes); }, rx_bytes);
  }
  FT_STATUS FT_GetStatus(FT_HANDLE handle, std::uint32_t* rx_bytes, std::uint32_t* tx_bytes,
                         std::uint32_t* event_word) override {
    return faults_.Pass(
        "GetStatus", [&] { return behind_.FT_GetStatus(handle, rx_bytes, tx_bytes, event_word); }, rx_bytes,
        tx_bytes);
  }
  FT_STATUS FT_Purge(FT_HANDLE handle, std::uint32_t mask) override {
    return faults_.Pass("Purge", [&] { return behind_.FT_Purge(handle, mask); });
  }

 private:
  D2xx& behind_;
  Faults& faults_;
};

class FaultyRegistry : public RegistryApi {
 public:
  FaultyRegistry(RegistryApi& behind, Faults& faults) : behind_(behind), faults_(faults) {}

  std::int32_t RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access, HKEY* key) override {
    return faults_.Pass("RegOpenKeyExA",
                        [&] { return Opened(behind_.RegOpenKeyExA(parent, path, access, key), key); });
  }
  std::int32_t RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                               HKEY* key) override {
    return faults_.Pass("RegCreateKeyExA",
                        [&] { return Opened(behind_.RegCreateKeyExA(parent, path, access, key), key); });
  }
  /// One that fails closes all the same.
  std::int32_t RegCloseKey(HKEY key) override {
    const AllocationPause pause;
    faults_.Closed('r', key);
    const std::int32_t result = behind_.RegCloseKey(key);
    return faults_.Pass("RegCloseKey", [&] { return result; });
  }
  std::int32_t RegQueryValueExA(HKEY key, const std::string& name, std::uint32_t* type, void* data,
                                std::uint32_t* size) override {
    return faults_.Pass(
        "RegQueryValueExA", [&] { return behind_.RegQueryValueExA(key, name, type, data, size); }, size);
  }
  std::int32_t RegSetValueExA(HKEY key, const std::string& name, std::uint32_t type, const void* data,
                              std::uint32_t size) override {
    return faults_.Pass("RegSetValueExA",
                        [&] { return behind_.RegSetValueExA(key, name, type, data, size); });
  }
  std::int32_t RegDeleteKeyA(HKEY parent, const std::string& path) override {
    return faults_.Pass("RegDeleteKeyA", [&] { return behind_.RegDeleteKeyA(parent, path); });
  }
  std::int32_t RegDeleteValueA(HKEY key, const std::string& name) override {
    return faults_.Pass("RegDeleteValueA", [&] { return behind_.RegDeleteValueA(key, name); });
  }
  std::int32_t RegQueryInfoKeyA(HKEY key, RegKeyInfo* info) override {
    return faults_.Pass(
        "RegQueryInfoKeyA", [&] { return behind_.RegQueryInfoKeyA(key, info); }, &info->subkeys,
        &info->longest_subkey, &info->values, &info->longest_value_name);
  }
  std::int32_t RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length) override {
    return faults_.Pass(
        "RegEnumKeyExA", [&] { return behind_.RegEnumKeyExA(key, index, name, length); }, length);
  }
  std::int32_t RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                             std::uint32_t* type, void* data, std::uint32_t* size) override {
    return faults_.Pass(
        "RegEnumValueA", [&] { return behind_.RegEnumValueA(key, index, name, length, type, data, size); },
        length, size);
  }

 private:
  std::int32_t Opened(std::int32_t result, const HKEY* key) {
    if (result == ERROR_SUCCESS) faults_.Opened('r', *key);
    return result;
  }

  RegistryApi& behind_;
  Faults& faults_;
};

class FaultyCommConfig : public CommConfigApi {
 public:
  FaultyCommConfig(CommConfigApi& behind, Faults& faults) : behind_(behind), faults_(faults) {}

  bool GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) override {
    return faults_.Pass(
        "GetDefaultCommConfigA", [&] { return behind_.GetDefaultCommConfigA(name, config, size); }, size);
  }
  bool SetDefaultCommConfigA(const std::string& name, const void* config, std::uint32_t size) override {
    return faults_.Pass("SetDefaultCommConfigA",
                        [&] { return behind_.SetDefaultCommConfigA(name, config, size); });
  }
  bool CommConfigDialogA(const std::string& name, std::uintptr_t owner, CommConfig* config) override {
    return faults_.Pass("CommConfigDialogA", [&] { return behind_.CommConfigDialogA(name, owner, config); });
  }
  CommHandle CreateFileA(const std::string& path) override {
    CommHandle handle = -1;
    faults_.Pass("CreateFileA", [&] { return (handle = behind_.CreateFileA(path)) != -1; });
    if (handle != -1) faults_.Opened('c', handle);
    return handle;
  }
  bool GetCommConfig(CommHandle port, void* config, std::uint32_t* size) override {
    return faults_.Pass(
        "GetCommConfig", [&] { return behind_.GetCommConfig(port, config, size); }, size);
  }
  void CloseHandle(CommHandle port) override {
    faults_.Closed('c', port);
    behind_.CloseHandle(port);
  }

 private:
  CommConfigApi& behind_;
  Faults& faults_;
};

class FaultyTexts : public TextResources {
 public:
  FaultyTexts(TextResources& behind, Faults& faults) : behind_(behind), faults_(faults) {}

  std::optional<std::string> LoadText(std::uint32_t id) override {
    std::optional<std::string> text;
    faults_.Pass("LoadText", [&] { return (text = behind_.LoadText(id)).has_value(); });
    return text;
  }
  std::uint16_t GetSystemDefaultLangID() override {
    std::uint16_t language = 0;
    faults_.Pass("GetSystemDefaultLangID",
                 [&] { return (language = behind_.GetSystemDefaultLangID()) != 0; });
    return language;
  }
  std::uint32_t FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                               std::uint32_t language, char* buffer, std::uint32_t capacity,
                               const char* const* arguments) override {
    std::uint32_t written = 0;
    faults_.Pass(
        "FormatMessageA",
        [&] {
          written = behind_.FormatMessageA(flags, source, id, language, buffer, capacity, arguments);
          return written != 0;
        },
        &written);
    return written;
  }
  ComponentVersion Version() override { return behind_.Version(); }

 private:
  TextResources& behind_;
  Faults& faults_;
};

/// The windows themselves never fail to be shown: that is up to the toolkit behind.
class FaultyToolkit : public Toolkit {
 public:
  FaultyToolkit(Toolkit& behind, Faults& faults) : behind_(behind), faults_(faults) {}

  bool CanShow() const override { return behind_.CanShow(); }
  std::unique_ptr<Window> NewWindow(WindowSpec spec) override {
    std::unique_ptr<Window> window;
    faults_.Pass("NewWindow", [&] { return (window = behind_.NewWindow(std::move(spec))) != nullptr; });
    return window;
  }
  void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) override {
    behind_.ShowMessage(text, title, icon);
  }
  void SetPointer(Pointer pointer) override { behind_.SetPointer(pointer); }

 private:
  Toolkit& behind_;
  Faults& faults_;
};

/// A machine every one of whose calls can go wrong.
class FaultyPlatform {
 public:
  explicit FaultyPlatform(Platform& behind)
      : d2xx(behind.d2xx, faults),
        comm_config_(behind.comm_config, faults),
        registry_(behind.registry, faults),
        texts_(behind.texts, faults),
        toolkit_(behind.toolkit, faults),
        platform{d2xx, comm_config_, registry_, behind.clock, behind.number_rules, texts_, toolkit_} {}

  Faults faults;
  FaultyD2xx d2xx;

 private:
  FaultyCommConfig comm_config_;
  FaultyRegistry registry_;
  FaultyTexts texts_;
  FaultyToolkit toolkit_;

 public:
  Platform platform;
};

}  // namespace halden
