#include "backends/windows/win32_toolkit.h"

#include "backends/windows/wide_text.h"
#include "backends/windows/win32_window.h"

namespace halden {

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
