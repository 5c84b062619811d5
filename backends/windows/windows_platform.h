#pragma once

#include "backends/windows/ftd2xx.h"
#include "platform/platform.h"

// Everything that the driver needs of Windows, one class for each contract in platform/. Include this header
// before windows.h: the contracts declare names (REG_SZ, HKEY_CURRENT_USER) that windows.h defines as macros.

namespace halden {

/// The configuration of the system's COM ports. A Windows handle has at most 32 significant bits, even in a
/// 64-bit process, so it fits into a CommHandle.
class Win32CommConfig final : public CommConfigApi {
 public:
  bool GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) override;
  bool SetDefaultCommConfigA(const std::string& name, const void* config, std::uint32_t size) override;
  bool CommConfigDialogA(const std::string& name, std::uintptr_t owner, CommConfig* config) override;
  CommHandle CreateFileA(const std::string& path) override;
  bool GetCommConfig(CommHandle port, void* config, std::uint32_t* size) override;
  void CloseHandle(CommHandle port) override;
};

/// The system's registry. Its key handles fit into 32 bits too.
class Win32Registry : public RegistryApi {
 public:
  std::int32_t RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access, HKEY* key) override;
  std::int32_t RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                               HKEY* key) override;
  std::int32_t RegCloseKey(HKEY key) override;
  std::int32_t RegQueryValueExA(HKEY key, const std::string& name, std::uint32_t* type, void* data,
                                std::uint32_t* size) override;
  std::int32_t RegSetValueExA(HKEY key, const std::string& name, std::uint32_t type, const void* data,
                              std::uint32_t size) override;
  std::int32_t RegDeleteKeyA(HKEY parent, const std::string& path) override;
  std::int32_t RegDeleteValueA(HKEY key, const std::string& name) override;
  std::int32_t RegQueryInfoKeyA(HKEY key, RegKeyInfo* info) override;
  std::int32_t RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length) override;
  std::int32_t RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                             std::uint32_t* type, void* data, std::uint32_t* size) override;
};

/// Time and the message queue of the calling thread. A timer ticks whenever the thread that made it
/// dispatches messages, in the host's own loop too.
class Win32Clock final : public Clock {
 public:
  std::uint32_t GetTickCount() override;
  void Sleep(std::uint32_t milliseconds) override;
  /// Dispatches the waiting messages, for at most 50 ms. WM_QUIT is posted again for the host's loop.
  void ServeMessages() override;
  void WaitForMessages(std::uint32_t at_most_ms) override;
  /// If the system is out of resources, enabling the timer has no effect.
  std::unique_ptr<PeriodicTimer> NewTimer(std::uint32_t interval_ms, std::function<void()> tick) override;
};

/// The number format of the user's locale, and the ANSI code page of the process.
class Win32NumberRules final : public NumberRules {
 public:
  char DecimalSeparator() const override;
  char GroupSeparator() const override;
  std::string NumberToText(double value, int significant_digits) const override;
  std::string AnsiToUtf8(std::string_view ansi) const override;
  std::string Utf8ToAnsi(std::string_view utf8) const override;
};

/// The string tables and the version block of a module, in the language that the system's loader picks.
class ResourceTexts final : public TextResources {
 public:
  /// `module` is a module handle. The module must stay loaded for as long as this lives.
  explicit ResourceTexts(void* module) : module_(module) {}

  std::optional<std::string> LoadText(std::uint32_t id) override;
  std::uint16_t GetSystemDefaultLangID() override;
  std::uint32_t FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                               std::uint32_t language, char* buffer, std::uint32_t capacity,
                               const char* const* arguments) override;
  /// All zeros if the module has no version block. The revision is the fourth of the block's numbers.
  ComponentVersion Version() override;

 private:
  void* module_;
};

/// Dialogs made of system controls. A window belongs to the thread that created it.
class Win32Toolkit final : public Toolkit {
 public:
  /// `module` holds the windows' icons and must stay loaded for as long as this lives.
  explicit Win32Toolkit(void* module) : module_(module) {}

  bool CanShow() const override;
  std::unique_ptr<Window> NewWindow(WindowLayout layout) override;
  /// The message box belongs to the thread's active window, if it has one.
  void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) override;
  void SetPointer(Pointer pointer) override;

 private:
  void* module_;
  Pointer pointer_ = Pointer::kDefault;  // the windows refer to it
};

/// The Windows platform. Must be used on the thread that created it.
class WindowsPlatform {
 public:
  /// `module` holds the component's texts and icons. It must stay loaded for as long as this lives.
  explicit WindowsPlatform(void* module) : texts_(module), toolkit_(module) {}
  WindowsPlatform(const WindowsPlatform&) = delete;
  WindowsPlatform& operator=(const WindowsPlatform&) = delete;

  Platform& platform() { return platform_; }

 private:
  ImportedD2xx d2xx_;
  Win32CommConfig comm_config_;
  Win32Registry registry_;
  Win32Clock clock_;
  Win32NumberRules number_rules_;
  ResourceTexts texts_;
  Win32Toolkit toolkit_;
  Platform platform_{d2xx_, comm_config_, registry_, clock_, number_rules_, texts_, toolkit_};
};

}  // namespace halden
