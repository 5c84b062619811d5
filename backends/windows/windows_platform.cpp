#include "backends/windows/windows_platform.h"

#include <optional>
#include <utility>

#include "backends/windows/win32_text.h"
#include "backends/windows/win32_window.h"

namespace halden {
namespace {

constexpr UINT_PTR kTimer = 1;

/// A timer whose ticks are sent to a message-only window. The window exists only while the timer is on, so a
/// tick that is still in the queue when the timer is switched off has no window left to go to.
///
/// The window holds the module of this code. Only the thread that made a window can destroy it: if another
/// thread switches the timer off, the window ignores its ticks and closes when its own thread dispatches
/// messages or ends. The module then stays loaded until the process ends, because the window procedure can't
/// unload the code that it returns to.
class Win32Timer final : public PeriodicTimer {
 public:
  Win32Timer(std::uint32_t interval_ms, std::function<void()> tick)
      : interval_ms_(interval_ms), state_(std::make_shared<State>(State{std::move(tick)})) {}
  ~Win32Timer() override { Enable(false); }
  Win32Timer(const Win32Timer&) = delete;
  Win32Timer& operator=(const Win32Timer&) = delete;

  void Enable(bool on) override {
    if (on == Enabled()) return;
    if (on) {
      Start();
    } else {
      Stop();
    }
  }

 private:
  /// Shared by the timer, its window and a tick that is running. The tick may destroy the other two.
  struct State {
    std::function<void()> tick;
    HWND window = nullptr;  // null while the timer is off
    bool ticking = false;
  };

  bool Enabled() const { return state_->window != nullptr; }

  /// Leaves the timer off if the window or the timer can't be created.
  void Start() {
    auto owned = std::make_unique<std::shared_ptr<State>>(state_);
    // Use a window class of the system, so that we needn't register and unregister one.
    const HWND window =
        CreateWindowExW(0, L"Message", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    if (!window) return;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&Receive), &module_);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(owned.release()));
    SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Receive));
    state_->window = window;
    if (!SetTimer(window, kTimer, interval_ms_, nullptr)) Stop();
  }

  void Stop() {
    const HWND window = std::exchange(state_->window, nullptr);
    if (DestroyWindow(window)) {
      FreeLibrary(module_);  // never the last hold: the caller, who is in the module, has one too
    } else {
      PostMessageW(window, WM_CLOSE, 0, 0);
    }
  }

  static LRESULT CALLBACK Receive(HWND window, UINT message, WPARAM word, LPARAM data) {
    auto* const owned = reinterpret_cast<std::shared_ptr<State>*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == WM_NCDESTROY) delete owned;
    if (message != WM_TIMER) return DefWindowProcW(window, message, word, data);
    const auto state = *owned;
    if (state->window != window) return 0;
    if (std::exchange(state->ticking, true)) return 0;  // the tick itself dispatches messages
    state->tick();
    state->ticking = false;
    return 0;
  }

  std::uint32_t interval_ms_;
  std::shared_ptr<State> state_;
  HMODULE module_ = nullptr;  // held while the timer is on
};

static_assert(sizeof(CommConfig) == sizeof(COMMCONFIG));
static_assert(sizeof(Dcb) == sizeof(DCB));

/// Sign-extended, so that -1 is INVALID_HANDLE_VALUE in both widths.
HANDLE Native(CommHandle port) {
  return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(port));
}

}  // namespace

std::uint32_t Win32Clock::GetTickCount() {
  return ::GetTickCount();
}

void Win32Clock::Sleep(std::uint32_t milliseconds) {
  ::Sleep(milliseconds);
}

void Win32Clock::ServeMessages() {
  // A timer whose tick takes longer than its interval is always due again, so the pass needs a time limit.
  constexpr DWORD kLongest = 50;  // milliseconds
  const DWORD start = ::GetTickCount();
  MSG message;
  std::optional<int> quit;  // while WM_QUIT is in the queue no timer ticks
  bool served = false;
  while (::GetTickCount() - start < kLongest && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) {
      quit = static_cast<int>(message.wParam);
      continue;
    }
    served = true;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  if (!served) MsgWaitForMultipleObjects(0, nullptr, FALSE, 1, QS_ALLINPUT);
  if (quit) PostQuitMessage(*quit);  // for the host's own loop to find
}

void Win32Clock::WaitForMessages(std::uint32_t at_most_ms) {
  MsgWaitForMultipleObjectsEx(0, nullptr, at_most_ms, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
}

std::unique_ptr<PeriodicTimer> Win32Clock::NewTimer(std::uint32_t interval_ms, std::function<void()> tick) {
  return std::make_unique<Win32Timer>(interval_ms, std::move(tick));
}

bool Win32CommConfig::GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) {
  DWORD room = *size;
  const bool filled =
      ::GetDefaultCommConfigW(AnsiToWide(name).c_str(), static_cast<COMMCONFIG*>(config), &room);
  *size = room;
  return filled;
}

bool Win32CommConfig::SetDefaultCommConfigA(const std::string& name, const void* config, std::uint32_t size) {
  auto* const block = static_cast<COMMCONFIG*>(const_cast<void*>(config));
  return ::SetDefaultCommConfigW(AnsiToWide(name).c_str(), block, size);
}

bool Win32CommConfig::CommConfigDialogA(const std::string& name, std::uintptr_t owner, CommConfig* config) {
  return ::CommConfigDialogW(AnsiToWide(name).c_str(), reinterpret_cast<HWND>(owner),
                             reinterpret_cast<COMMCONFIG*>(config));
}

CommHandle Win32CommConfig::CreateFileA(const std::string& path) {
  constexpr DWORD kNotShared = 0;  // required for a port
  const HANDLE port = ::CreateFileW(AnsiToWide(path).c_str(), GENERIC_READ | GENERIC_WRITE, kNotShared,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
  return static_cast<CommHandle>(reinterpret_cast<std::intptr_t>(port));
}

bool Win32CommConfig::GetCommConfig(CommHandle port, void* config, std::uint32_t* size) {
  DWORD room = *size;
  const bool filled = ::GetCommConfig(Native(port), static_cast<COMMCONFIG*>(config), &room);
  *size = room;
  return filled;
}

void Win32CommConfig::CloseHandle(CommHandle port) {
  ::CloseHandle(Native(port));
}

bool Win32Toolkit::CanShow() const {
  return CanShowWindows();
}

std::unique_ptr<Window> Win32Toolkit::NewWindow(WindowLayout layout) {
  auto window = std::make_unique<Win32Window>(std::move(layout), static_cast<HINSTANCE>(module_), pointer_);
  if (!window->Complete()) return nullptr;
  return window;
}

void Win32Toolkit::ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) {
  if (!CanShow()) return;
  MessageBoxW(GetActiveWindow(), WideText(text).c_str(), WideText(title).c_str(),
              MB_OK | MB_TASKMODAL | static_cast<UINT>(icon));
}

void Win32Toolkit::SetPointer(Pointer pointer) {
  pointer_ = pointer;
  ShowPointer(pointer);
}

}  // namespace halden
