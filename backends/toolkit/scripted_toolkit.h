#pragma once

#include <deque>
#include <string>
#include <vector>

#include "backends/toolkit/form_user.h"
#include "platform/clock.h"

namespace halden {

/// Windows in memory with a user who follows a script: one step before each pass of the message queue, on the
/// window in front. A script that ends while a window is shown closes that window. Messages are dismissed at
/// once. All that happens is written down.
class ScriptedToolkit : public Toolkit, private WindowDisplay {
 public:
  explicit ScriptedToolkit(Clock& clock) : clock_(clock) {}

  void Play(const std::vector<FormStep>& steps);
  /// False: from now on there is nothing to show a window on.
  void SetCanShow(bool can_show) { can_show_ = can_show; }

  /// "show NAME", "hide NAME", "message TITLE: TEXT", "pointer NUMBER", "topmost" and "not topmost".
  const std::vector<std::string>& Log() const { return log_; }
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
  std::deque<FormStep> steps_;
  std::vector<std::string> log_;
  bool can_show_ = true;
};

}  // namespace halden
