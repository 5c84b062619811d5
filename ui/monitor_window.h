#pragma once

#include <memory>
#include <string>

#include "platform/platform.h"

namespace halden {

/// The window that shows the port in use and the last line. Texts come in the ANSI code page. Whether it is
/// shown or could be changes nothing but Visible: where there is no window, writing to it does nothing.
class MonitorWindow {
 public:
  /// Must outlive the window.
  explicit MonitorWindow(Platform& platform) : platform_(platform) {}

  /// Makes the form anew, hidden, with its starting texts.
  void Load(const std::string& driver_name);
  /// Not from inside ShowModal.
  void Unload();

  bool Visible() const { return form_ && form_->Visible(); }
  /// Shows the window until the user closes it, which only hides it; serves the message queue meanwhile.
  /// False at once: it is not loaded, shown already, or there is nothing to show it on.
  bool ShowModal() { return form_ && form_->ShowModal(); }
  /// The two lines on port and device, parted by CR LF.
  void ShowInfo(const std::string& text);
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
