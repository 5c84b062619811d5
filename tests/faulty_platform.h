#pragma once

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "backends/sim/sim_platform.h"
#include "driver/driver.h"
#include "platform/platform.h"
#include "tests/faults.h"

namespace halden {

/// An interface of the platform that forwards its calls to the real one, unless `faults` says otherwise.
template <class Interface>
class FaultyInterface : public Interface {
 public:
  FaultyInterface(Interface& real, Faults& faults) : real_(real), faults_(faults) {}

 protected:
  /// Calls of the device library are named without their prefix: "FT_Read" is "Read".
  static const char* NameOf(const char* call) { return std::strncmp(call, "FT_", 3) == 0 ? call + 3 : call; }

  Interface& real_;
  Faults& faults_;
};

#define HALDEN_FORWARD(result, call, parameters, ...)                                \
  result call parameters override {                                                  \
    const auto make = [&] { return this->real_.call(__VA_ARGS__); };                 \
    return this->faults_.Make(this->NameOf(#call), make __VA_OPT__(, ) __VA_ARGS__); \
  }

class FaultyD2xx : public FaultyInterface<D2xx> {
 public:
  using FaultyInterface::FaultyInterface;

  std::string received;  ///< all bytes that were read

  HALDEN_FORWARD(FT_STATUS, FT_CreateDeviceInfoList, (std::int32_t * count), count)
  HALDEN_FORWARD(FT_STATUS, FT_GetDeviceInfoList, (FT_DEVICE_LIST_INFO_NODE * nodes, std::int32_t* count),
                 nodes, count)
  HALDEN_FORWARD(FT_STATUS, FT_ListDevices, (std::int32_t * number, void* unused, std::uint32_t flags),
                 number, unused, flags)
  HALDEN_FORWARD(FT_STATUS, FT_SetBaudRate, (FT_HANDLE handle, std::uint32_t rate), handle, rate)
  HALDEN_FORWARD(FT_STATUS, FT_SetDataCharacteristics,
                 (FT_HANDLE handle, std::uint8_t bits, std::uint8_t stop, std::uint8_t parity), handle, bits,
                 stop, parity)
  HALDEN_FORWARD(FT_STATUS, FT_Write,
                 (FT_HANDLE handle, const void* buffer, std::uint32_t count, std::uint32_t* written), handle,
                 buffer, count, written)
  HALDEN_FORWARD(FT_STATUS, FT_ResetDevice, (FT_HANDLE handle), handle)
  HALDEN_FORWARD(FT_STATUS, FT_ResetPort, (FT_HANDLE handle), handle)
  HALDEN_FORWARD(FT_STATUS, FT_GetComPortNumber, (FT_HANDLE handle, std::int32_t* number), handle, number)
  HALDEN_FORWARD(FT_STATUS, FT_SetDtr, (FT_HANDLE handle), handle)
  HALDEN_FORWARD(FT_STATUS, FT_ClrDtr, (FT_HANDLE handle), handle)
  HALDEN_FORWARD(FT_STATUS, FT_SetRts, (FT_HANDLE handle), handle)
  HALDEN_FORWARD(FT_STATUS, FT_ClrRts, (FT_HANDLE handle), handle)
  HALDEN_FORWARD(FT_STATUS, FT_SetLatencyTimer, (FT_HANDLE handle, std::uint8_t milliseconds), handle,
                 milliseconds)
  HALDEN_FORWARD(FT_STATUS, FT_GetQueueStatus, (FT_HANDLE handle, std::uint32_t* rx), handle, rx)
  HALDEN_FORWARD(FT_STATUS, FT_GetStatus,
                 (FT_HANDLE handle, std::uint32_t* rx, std::uint32_t* tx, std::uint32_t* events), handle, rx,
                 tx, events)
  HALDEN_FORWARD(FT_STATUS, FT_Purge, (FT_HANDLE handle, std::uint32_t mask), handle, mask)

  FT_STATUS FT_Open(std::int32_t index, FT_HANDLE* handle) override {
    return faults_.Make(
        "Open",
        [&] {
          const FT_STATUS status = real_.FT_Open(index, handle);
          if (status == FT_OK) faults_.Opened(this, *handle, "Open");
          return status;
        },
        index);
  }
  /// Closes even when it reports a failure.
  FT_STATUS FT_Close(FT_HANDLE handle) override {
    if (handle != -1) faults_.Closed(this, handle, "Close");
    return faults_.Make(handle == -1 ? "Close none" : "Close",
                        [status = real_.FT_Close(handle)] { return status; });
  }
  FT_STATUS FT_Read(FT_HANDLE handle, void* buffer, std::uint32_t count, std::uint32_t* read) override {
    if (faults_.ReadsHalf()) count /= 2;
    return faults_.Make(
        "Read",
        [&] {
          const FT_STATUS status = real_.FT_Read(handle, buffer, count, read);
          if (status == FT_OK) received.append(static_cast<const char*>(buffer), *read);
          return status;
        },
        handle, count, read);
  }
};

class FaultyRegistry : public FaultyInterface<RegistryApi> {
 public:
  using FaultyInterface::FaultyInterface;

  HALDEN_FORWARD(std::int32_t, RegQueryValueExA,
                 (HKEY key, const std::string& name, std::uint32_t* type, void* data, std::uint32_t* size),
                 key, name, type, data, size)
  HALDEN_FORWARD(std::int32_t, RegSetValueExA,
                 (HKEY key, const std::string& name, std::uint32_t type, const void* data,
                  std::uint32_t size),
                 key, name, type, data, size)
  HALDEN_FORWARD(std::int32_t, RegDeleteKeyA, (HKEY parent, const std::string& path), parent, path)
  HALDEN_FORWARD(std::int32_t, RegDeleteValueA, (HKEY key, const std::string& name), key, name)
  HALDEN_FORWARD(std::int32_t, RegQueryInfoKeyA, (HKEY key, RegKeyInfo* info), key, info)
  HALDEN_FORWARD(std::int32_t, RegEnumKeyExA,
                 (HKEY key, std::uint32_t index, char* name, std::uint32_t* length), key, index, name, length)

  std::int32_t RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                             std::uint32_t* type, void* data, std::uint32_t* size) override {
    const auto make = [&] { return real_.RegEnumValueA(key, index, name, length, type, data, size); };
    return faults_.Make("RegEnumValueA", make, length, size);  // `type` isn't a count
  }
  std::int32_t RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access, HKEY* key) override {
    const auto open = [&] {
      return Opened(real_.RegOpenKeyExA(parent, path, access, key), *key, "RegOpenKeyExA " + path);
    };
    return faults_.Make("RegOpenKeyExA", open, path);
  }
  std::int32_t RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                               HKEY* key) override {
    const auto create = [&] {
      return Opened(real_.RegCreateKeyExA(parent, path, access, key), *key, "RegCreateKeyExA " + path);
    };
    return faults_.Make("RegCreateKeyExA", create, path);
  }
  /// Closes even when it reports a failure.
  std::int32_t RegCloseKey(HKEY key) override {
    const AllocationPause pause;
    faults_.Closed(this, key, "RegCloseKey");
    const std::int32_t result = real_.RegCloseKey(key);
    return faults_.Make("RegCloseKey", [&] { return result; });
  }

 private:
  std::int32_t Opened(std::int32_t result, const HKEY& key, const std::string& call) {
    if (result == ERROR_SUCCESS) faults_.Opened(this, key, call);
    return result;
  }
};

class FaultyCommConfig : public FaultyInterface<CommConfigApi> {
 public:
  using FaultyInterface::FaultyInterface;

  HALDEN_FORWARD(bool, SetDefaultCommConfigA,
                 (const std::string& name, const void* config, std::uint32_t size), name, config, size)
  HALDEN_FORWARD(bool, CommConfigDialogA, (const std::string& name, std::uintptr_t owner, CommConfig* config),
                 name, owner, config)

  bool GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) override {
    const auto get = [&, room = *size] {
      return Fill(real_.GetDefaultCommConfigA(name, config, size), config, room);
    };
    return faults_.Make("GetDefaultCommConfigA", get, name, config, size);
  }
  bool GetCommConfig(CommHandle port, void* config, std::uint32_t* size) override {
    const auto get = [&, room = *size] {
      return Fill(real_.GetCommConfig(port, config, size), config, room);
    };
    return faults_.Make("GetCommConfig", get, port, config, size);
  }
  CommHandle CreateFileA(const std::string& path) override {
    CommHandle handle = -1;
    faults_.Make("CreateFileA", [&] { return (handle = real_.CreateFileA(path)) != -1; });
    if (handle != -1) faults_.Opened(this, handle, "CreateFileA " + path);
    return handle;
  }
  void CloseHandle(CommHandle port) override {
    faults_.Closed(this, port, "CloseHandle");
    real_.CloseHandle(port);
  }

 private:
  /// A provider may write its own data after the structure, up to the size that the caller has given.
  static bool Fill(bool known, void* config, std::uint32_t room) {
    if (known) std::memset(static_cast<char*>(config) + sizeof(CommConfig), '~', room - sizeof(CommConfig));
    return known;
  }
};

class FaultyTexts : public FaultyInterface<TextResources> {
 public:
  using FaultyInterface::FaultyInterface;

  HALDEN_FORWARD(std::optional<std::string>, LoadText, (std::uint32_t id), id)
  HALDEN_FORWARD(std::uint16_t, GetSystemDefaultLangID, ())

  std::uint32_t FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                               std::uint32_t language, char* buffer, std::uint32_t capacity,
                               const char* const* arguments) override {
    std::uint32_t written = 0;
    const auto format = [&] {
      written = real_.FormatMessageA(flags, source, id, language, buffer, capacity, arguments);
      return written != 0;
    };
    faults_.Make("FormatMessageA", format, &written);
    return written;
  }
  ComponentVersion Version() override { return real_.Version(); }
};

/// Creating a window can fail. A window that can't be shown is a kLoss: the display is gone.
class FaultyToolkit : public FaultyInterface<Toolkit> {
 public:
  using FaultyInterface::FaultyInterface;

  bool CanShow() const override { return real_.CanShow(); }
  std::unique_ptr<Window> NewWindow(WindowLayout layout) override {
    const std::string name = layout.name;
    return faults_.Make(
        "NewWindow", [&] { return real_.NewWindow(std::move(layout)); }, name);
  }
  void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) override {
    real_.ShowMessage(text, title, icon);
  }
  void SetPointer(Pointer pointer) override { real_.SetPointer(pointer); }
};

/// A clock that traces the passes of the message queue and the switching of timers.
class TracedClock : public Clock {
 public:
  TracedClock(Clock& real, Faults& faults) : real_(real), faults_(faults) {}

  std::uint32_t GetTickCount() override { return real_.GetTickCount(); }
  void Sleep(std::uint32_t milliseconds) override { real_.Sleep(milliseconds); }
  void ServeMessages() override {
    faults_.Trace("pass");
    real_.ServeMessages();
  }
  void WaitForMessages(std::uint32_t at_most_ms) override { real_.WaitForMessages(at_most_ms); }
  std::unique_ptr<PeriodicTimer> NewTimer(std::uint32_t interval_ms, std::function<void()> tick) override {
    struct Timer : PeriodicTimer {
      void Enable(bool on) override {
        faults.Trace(on ? "timer on" : "timer off");
        real->Enable(on);
      }
      Faults& faults;
      std::unique_ptr<PeriodicTimer> real;
      Timer(Faults& of, std::unique_ptr<PeriodicTimer> timer) : faults(of), real(std::move(timer)) {}
    };
    return std::make_unique<Timer>(faults_, real_.NewTimer(interval_ms, std::move(tick)));
  }

 private:
  Clock& real_;
  Faults& faults_;
};

#undef HALDEN_FORWARD

/// A platform whose calls can be made to fail.
struct FaultyPlatform {
  explicit FaultyPlatform(Platform& of) : real(of) {}

  Platform& real;
  Faults faults;
  FaultyD2xx d2xx{real.d2xx, faults};
  FaultyCommConfig comm_config{real.comm_config, faults};
  FaultyRegistry registry{real.registry, faults};
  FaultyTexts texts{real.texts, faults};
  FaultyToolkit toolkit{real.toolkit, faults};
  TracedClock clock{real.clock, faults};
  Platform platform{d2xx, comm_config, registry, clock, real.number_rules, texts, toolkit};
};

/// A driver on a simulated platform whose calls can be made to fail. It has no object yet.
struct FaultyDriver {
  explicit FaultyDriver(const std::vector<std::string>& devices, SimOptions options = {})
      : sim(devices, options), faulty(sim.platform()), instance(faulty.platform) {}

  /// Answers the port dialog if it appears: the first port, two channels.
  void AnswerDialog() {
    sim.toolkit().Play({user::PickRow("lstPort", 0), user::PickRow("cboCh", 1), user::Press("cmdOK")});
  }

  /// Makes the first device send these bytes while it is probed. Opening serves the queue once before it
  /// purges the device, so the bytes are sent in the second pass.
  void FeedDuringProbe(const std::string& bytes) {
    const auto feed = [=, this] { sim.device(0).Feed(bytes); };
    sim.clock().Post([=, this] { sim.clock().Post(feed); });
  }

  void Plug(std::size_t index, bool in) { in ? sim.device(index).Plug() : sim.device(index).Unplug(); }

  SimPlatform sim;
  FaultyPlatform faulty;
  Faults& faults = faulty.faults;
  Driver instance;
  std::shared_ptr<IADC3> adc;
};

}  // namespace halden
