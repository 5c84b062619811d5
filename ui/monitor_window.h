#pragma once

#include <memory>
#include <string>

#include "platform/platform.h"

namespace halden {

/// The window that shows the port in use and the last line received. Texts are given in the ANSI code page.
/// The driver works the same whether or not the window exists: without one, writing to it does nothing. Calls
/// may throw std::bad_alloc.
class MonitorWindow {
 public:
  /// The platform must outlive the window.
  explicit MonitorWindow(Platform& platform) : platform_(platform) {}

  /// Makes the form, hidden and with its initial texts, in place of an earlier one.
  void Load(const std::string& driver_name);
  /// Destroys the form. Must not be called from inside ShowModal.
  void Unload();

  bool Visible() const { return form_ && form_->Visible(); }
  /// Shows the window until the user closes it, serving the message queue meanwhile. False, immediately, if
  /// the form isn't loaded or is shown already, or if there is nothing to show it on.
  bool ShowModal() { return form_ && form_->ShowModal(); }
  /// Shows two lines, on the port and on the device, with CR LF between them.
  void ShowInfo(const std::string& text);
  /// Shows the last line received.
  void ShowValue(const std::string& text);

 private:
  WindowLayout Design();
  void LocalizeForm(const std::string& driver_name);
  void SetAnsiText(int control, const std::string& text);

  void Form_Activate();
  void Form_QueryUnload(bool& Cancel, int UnloadMode);
  void cmdClose_Click();

  Platform& platform_;
  std::unique_ptr<Window> form_;  // null: not loaded
};

}  // namespace halden
