#include "backends/windows/win32_clock.h"

#include <optional>
#include <utility>
#include <windows.h>

namespace halden {
namespace {

constexpr UINT_PTR kTimer = 1;

/// Ticks arrive at a message-only window of its own, so one that still stands in the queue when the timer has
/// been switched off finds nobody. There is a window only while the timer is on: the thread can end, or the
/// module be unloaded from another one, and nothing points to code that has gone.
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
      DestroyWindow(std::exchange(state_->window, nullptr));
    }
  }

 private:
  bool Enabled() const { return state_->window != nullptr; }

  struct State {
    std::function<void()> tick;
    HWND window = nullptr;
    bool ticking = false;
  };

  void Start() {
    const HWND window =
        CreateWindowExW(0, L"Message", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    if (!window) return;
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&state_));
    SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Receive));
    if (SetTimer(window, kTimer, interval_ms_, nullptr)) {
      state_->window = window;
    } else {
      DestroyWindow(window);
    }
  }

  static LRESULT CALLBACK Receive(HWND window, UINT message, WPARAM word, LPARAM data) {
    if (message != WM_TIMER) return DefWindowProcW(window, message, word, data);
    // A copy: the tick may destroy the timer.
    const auto state = *reinterpret_cast<std::shared_ptr<State>*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (std::exchange(state->ticking, true)) return 0;
    state->tick();
    state->ticking = false;
    return 0;
  }

  std::uint32_t interval_ms_;
  std::shared_ptr<State> state_;
};

}  // namespace

std::uint32_t Win32Clock::GetTickCount() {
  return ::GetTickCount();
}

void Win32Clock::Sleep(std::uint32_t milliseconds) {
  ::Sleep(milliseconds);
}

void Win32Clock::ServeMessages() {
  constexpr DWORD kLongest = 50;  // milliseconds: a timer slower than its interval is due again at once
  const DWORD start = ::GetTickCount();
  MSG message;
  std::optional<int> quit;  // taken out meanwhile: no timer ticks behind it
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

std::unique_ptr<PeriodicTimer> Win32Clock::NewTimer(std::uint32_t interval_ms, std::function<void()> tick) {
  return std::make_unique<Win32Timer>(interval_ms, std::move(tick));
}

}  // namespace halden
