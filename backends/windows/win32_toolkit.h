#pragma once

#include "platform/toolkit.h"

namespace halden {

/// Dialogs of Windows, made of its own controls, on the screen of the thread that makes them.
class Win32Toolkit final : public Toolkit {
 public:
  /// `module` holds the windows' icons, and must stay loaded.
  explicit Win32Toolkit(void* module) : module_(module) {}

  bool CanShow() const override;
  std::unique_ptr<Window> NewWindow(WindowLayout layout) override;
  /// Belongs to the thread's active window, if it has one.
  void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) override;
  void SetPointer(Pointer pointer) override;

 private:
  void* module_;
  Pointer pointer_ = Pointer::kDefault;
};

}  // namespace halden
