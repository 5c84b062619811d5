#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/toolkit/memory_window.h"

namespace halden {

/// One thing that a user does, and how many passes of the message queue follow it.
struct UserStep {
  std::function<void(MemoryWindow&)> act;
  int passes = 1;
};

namespace user {

UserStep PickRow(const std::string& control, int row);
/// Goes to the edit box and replaces its text.
UserStep Type(const std::string& control, const std::string& text);
UserStep Press(const std::string& button);
UserStep GoTo(const std::string& control);
UserStep AccessKey(char32_t key);
UserStep Tab(int step = 1);
UserStep Enter();
UserStep Escape();
UserStep CloseBox();
UserStep Wait(int passes);
/// Looks at the window, or does what no step above does.
UserStep Do(std::function<void(MemoryWindow&)> act);

}  // namespace user

/// Windows in memory with a user who follows a script: one step before each pass of the message queue, on the
/// window in front. A script that ends while a window is shown closes that window. Messages are dismissed at
/// once. All that happens is written down.
class ScriptedToolkit : public Toolkit, private WindowStage {
 public:
  explicit ScriptedToolkit(Clock& clock) : clock_(clock) {}

  void Play(std::vector<UserStep> steps);
  /// False: from now on there is nothing to show a window on.
  void SetCanShow(bool can_show) { can_show_ = can_show; }
  /// False: from now on no window can be made.
  void SetHasRoom(bool has_room) { has_room_ = has_room; }

  /// "show NAME", "hide NAME", "message TITLE: TEXT", "pointer NUMBER", "topmost" and "not topmost".
  const std::vector<std::string>& Log() const { return log_; }
  std::vector<std::string> TakeLog();

  bool CanShow() const override { return can_show_; }
  std::unique_ptr<Window> NewWindow(WindowSpec spec) override;
  void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) override;
  void SetPointer(Pointer pointer) override;

 private:
  class ScriptedWindow;

  bool Raise(MemoryWindow& window) override;
  void Lower(MemoryWindow& window) override;
  void Use(MemoryWindow& window) override;
  void Changed() override {}

  Clock& clock_;
  std::deque<UserStep> steps_;
  std::vector<std::string> log_;
  bool can_show_ = true;
  bool has_room_ = true;
};

}  // namespace halden
