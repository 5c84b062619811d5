#pragma once

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/platform.h"
#include "tests/faults.h"

namespace halden {

/// A seam whose calls go to the one behind it, unless they go wrong.
template <class Seam>
class FaultySeam : public Seam {
 public:
  FaultySeam(Seam& behind, Faults& faults) : behind_(behind), faults_(faults) {}

 protected:
  /// The calls of the device library go by their names without its prefix.
  static const char* NameOf(const char* call) { return std::strncmp(call, "FT_", 3) == 0 ? call + 3 : call; }

  Seam& behind_;
  Faults& faults_;
};

#define HALDEN_PASS(result, call, parameters, ...)                                   \
  result call parameters override {                                                  \
    const auto make = [&] { return this->behind_.call(__VA_ARGS__); };               \
    return this->faults_.Pass(this->NameOf(#call), make __VA_OPT__(, ) __VA_ARGS__); \
  }

class FaultyD2xx : public FaultySeam<D2xx> {
 public:
  using FaultySeam::FaultySeam;

  std::string received;  ///< all bytes that were read

  HALDEN_PASS(FT_STATUS, FT_CreateDeviceInfoList, (std::int32_t * count), count)
  HALDEN_PASS(FT_STATUS, FT_GetDeviceInfoList, (FT_DEVICE_LIST_INFO_NODE * nodes, std::int32_t* count), nodes,
              count)
  HALDEN_PASS(FT_STATUS, FT_ListDevices, (std::int32_t * number, void* unused, std::uint32_t flags), number,
              unused, flags)
  HALDEN_PASS(FT_STATUS, FT_SetBaudRate, (FT_HANDLE handle, std::uint32_t rate), handle, rate)
  HALDEN_PASS(FT_STATUS, FT_SetDataCharacteristics,
              (FT_HANDLE handle, std::uint8_t bits, std::uint8_t stop, std::uint8_t parity), handle, bits,
              stop, parity)
  HALDEN_PASS(FT_STATUS, FT_Write,
              (FT_HANDLE handle, const void* buffer, std::uint32_t count, std::uint32_t* written), handle,
              buffer, count, written)
  HALDEN_PASS(FT_STATUS, FT_ResetDevice, (FT_HANDLE handle), handle)
  HALDEN_PASS(FT_STATUS, FT_ResetPort, (FT_HANDLE handle), handle)
  HALDEN_PASS(FT_STATUS, FT_GetComPortNumber, (FT_HANDLE handle, std::int32_t* number), handle, number)
  HALDEN_PASS(FT_STATUS, FT_SetDtr, (FT_HANDLE handle), handle)
  HALDEN_PASS(FT_STATUS, FT_ClrDtr, (FT_HANDLE handle), handle)
  HALDEN_PASS(FT_STATUS, FT_SetRts, (FT_HANDLE handle), handle)
  HALDEN_PASS(FT_STATUS, FT_ClrRts, (FT_HANDLE handle), handle)
  HALDEN_PASS(FT_STATUS, FT_SetLatencyTimer, (FT_HANDLE handle, std::uint8_t milliseconds), handle,
              milliseconds)
  HALDEN_PASS(FT_STATUS, FT_GetQueueStatus, (FT_HANDLE handle, std::uint32_t* rx), handle, rx)
  HALDEN_PASS(FT_STATUS, FT_GetStatus,
              (FT_HANDLE handle, std::uint32_t* rx, std::uint32_t* tx, std::uint32_t* events), handle, rx, tx,
              events)
  HALDEN_PASS(FT_STATUS, FT_Purge, (FT_HANDLE handle, std::uint32_t mask), handle, mask)

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
  FT_STATUS FT_Read(FT_HANDLE handle, void* buffer, std::uint32_t count, std::uint32_t* read) override {
    if (faults_.kind() == Faults::kShort && faults_.Strikes("Read", true)) count /= 2;
    return faults_.Pass(
        "Read",
        [&] {
          const FT_STATUS status = behind_.FT_Read(handle, buffer, count, read);
          if (status == FT_OK) received.append(static_cast<const char*>(buffer), *read);
          return status;
        },
        read);
  }
};

class FaultyRegistry : public FaultySeam<RegistryApi> {
 public:
  using FaultySeam::FaultySeam;

  HALDEN_PASS(std::int32_t, RegQueryValueExA,
              (HKEY key, const std::string& name, std::uint32_t* type, void* data, std::uint32_t* size), key,
              name, type, data, size)
  HALDEN_PASS(std::int32_t, RegSetValueExA,
              (HKEY key, const std::string& name, std::uint32_t type, const void* data, std::uint32_t size),
              key, name, type, data, size)
  HALDEN_PASS(std::int32_t, RegDeleteKeyA, (HKEY parent, const std::string& path), parent, path)
  HALDEN_PASS(std::int32_t, RegDeleteValueA, (HKEY key, const std::string& name), key, name)
  HALDEN_PASS(std::int32_t, RegQueryInfoKeyA, (HKEY key, RegKeyInfo* info), key, info)
  HALDEN_PASS(std::int32_t, RegEnumKeyExA, (HKEY key, std::uint32_t index, char* name, std::uint32_t* length),
              key, index, name, length)

  std::int32_t RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                             std::uint32_t* type, void* data, std::uint32_t* size) override {
    const auto make = [&] { return behind_.RegEnumValueA(key, index, name, length, type, data, size); };
    return faults_.Pass("RegEnumValueA", make, length, size);  // a type is no count
  }
  std::int32_t RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access, HKEY* key) override {
    const auto open = [&] { return Opened(behind_.RegOpenKeyExA(parent, path, access, key), *key); };
    return faults_.Pass("RegOpenKeyExA", open);
  }
  std::int32_t RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                               HKEY* key) override {
    const auto create = [&] { return Opened(behind_.RegCreateKeyExA(parent, path, access, key), *key); };
    return faults_.Pass("RegCreateKeyExA", create);
  }
  /// One that fails closes all the same.
  std::int32_t RegCloseKey(HKEY key) override {
    const AllocationPause pause;
    faults_.Closed('r', key);
    const std::int32_t result = behind_.RegCloseKey(key);
    return faults_.Pass("RegCloseKey", [&] { return result; });
  }

 private:
  std::int32_t Opened(std::int32_t result, const HKEY& key) {
    if (result == ERROR_SUCCESS) faults_.Opened('r', key);
    return result;
  }
};

class FaultyCommConfig : public FaultySeam<CommConfigApi> {
 public:
  using FaultySeam::FaultySeam;

  HALDEN_PASS(bool, SetDefaultCommConfigA, (const std::string& name, const void* config, std::uint32_t size),
              name, config, size)
  HALDEN_PASS(bool, CommConfigDialogA, (const std::string& name, std::uintptr_t owner, CommConfig* config),
              name, owner, config)

  bool GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) override {
    const auto get = [&, room = *size] {
      return Fill(behind_.GetDefaultCommConfigA(name, config, size), config, room);
    };
    return faults_.Pass("GetDefaultCommConfigA", get, name, config, size);
  }
  bool GetCommConfig(CommHandle port, void* config, std::uint32_t* size) override {
    const auto get = [&, room = *size] {
      return Fill(behind_.GetCommConfig(port, config, size), config, room);
    };
    return faults_.Pass("GetCommConfig", get, port, config, size);
  }
  CommHandle CreateFileA(const std::string& path) override {
    CommHandle handle = -1;
    faults_.Pass("CreateFileA", [&] { return (handle = behind_.CreateFileA(path)) != -1; });
    if (handle != -1) faults_.Opened('c', handle);
    return handle;
  }
  void CloseHandle(CommHandle port) override {
    faults_.Closed('c', port);
    behind_.CloseHandle(port);
  }

 private:
  /// The provider has data of its own behind, as much as there is said to be room for.
  static bool Fill(bool known, void* config, std::uint32_t room) {
    if (known) std::memset(static_cast<char*>(config) + sizeof(CommConfig), '~', room - sizeof(CommConfig));
    return known;
  }
};

class FaultyTexts : public FaultySeam<TextResources> {
 public:
  using FaultySeam::FaultySeam;

  HALDEN_PASS(std::optional<std::string>, LoadText, (std::uint32_t id), id)
  HALDEN_PASS(std::uint16_t, GetSystemDefaultLangID, ())

  std::uint32_t FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                               std::uint32_t language, char* buffer, std::uint32_t capacity,
                               const char* const* arguments) override {
    std::uint32_t written = 0;
    const auto format = [&] {
      written = behind_.FormatMessageA(flags, source, id, language, buffer, capacity, arguments);
      return written != 0;
    };
    faults_.Pass("FormatMessageA", format, &written);
    return written;
  }
  ComponentVersion Version() override { return behind_.Version(); }
};

/// Its windows fail to be shown as the display behind is lost, which can happen at any call.
class FaultyToolkit : public FaultySeam<Toolkit> {
 public:
  using FaultySeam::FaultySeam;

  bool CanShow() const override { return behind_.CanShow(); }
  std::unique_ptr<Window> NewWindow(WindowLayout layout) override {
    return faults_.Pass("NewWindow", [&] { return behind_.NewWindow(std::move(layout)); });
  }
  void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) override {
    behind_.ShowMessage(text, title, icon);
  }
  void SetPointer(Pointer pointer) override { behind_.SetPointer(pointer); }
};

#undef HALDEN_PASS

/// A machine every one of whose calls can go wrong.
struct FaultyPlatform {
  explicit FaultyPlatform(Platform& real) : behind(real) {}

  Platform& behind;
  Faults faults;
  FaultyD2xx d2xx{behind.d2xx, faults};
  FaultyCommConfig comm_config{behind.comm_config, faults};
  FaultyRegistry registry{behind.registry, faults};
  FaultyTexts texts{behind.texts, faults};
  FaultyToolkit toolkit{behind.toolkit, faults};
  Platform platform{d2xx, comm_config, registry, behind.clock, behind.number_rules, texts, toolkit};
};

}  // namespace halden
