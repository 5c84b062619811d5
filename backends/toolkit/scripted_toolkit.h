#pragma once

#include <deque>
#include <string>
#include <vector>

#include "backends/toolkit/form_user.h"
#include "platform/clock.h"

namespace halden {

/// Windows in memory whose user follows a script. Before each pass of the message queue, the next step is
/// played on the front window. If there are no more steps, the window is closed, so a test can't hang.
/// Message boxes are dismissed immediately. Everything is logged.
class ScriptedToolkit : public Toolkit, private WindowDisplay {
 public:
  explicit ScriptedToolkit(Clock& clock) : clock_(clock) {}

  /// Appends steps to the script. A step with n passes is followed by n - 1 passes without any.
  void Play(const std::vector<FormStep>& steps);
  /// With false, windows and messages can no longer be shown, as on a system without a screen.
  void SetCanShow(bool can_show) { can_show_ = can_show; }

  /// "show NAME", "hide NAME", "message TITLE: TEXT", "pointer NUMBER", "topmost" and "not topmost".
  const std::vector<std::string>& Log() const { return log_; }
  /// Returns the log and empties it.
  std::vector<std::string> TakeLog();

  bool CanShow() const override { return can_show_; }
  std::unique_ptr<Window> NewWindow(WindowLayout layout) override;
  void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) override;
  void SetPointer(Pointer pointer) override;

 private:
  class ScriptedWindow;

  bool Show(MemoryWindow& window) override;
  void Remove(MemoryWindow& window) override;
  void HandleInput(MemoryWindow& window) override;
  void RequestRedraw() override {}

  Clock& clock_;
  std::deque<FormStep> steps_;  // not played yet
  std::vector<std::string> log_;
  bool can_show_ = true;
};

}  // namespace halden
