#include "backends/toolkit/scripted_toolkit.h"

#include <utility>

namespace halden {

/// A window in memory that also logs SetTopmost.
class ScriptedToolkit::ScriptedWindow : public MemoryWindow {
 public:
  ScriptedWindow(WindowLayout layout, ScriptedToolkit& toolkit)
      : MemoryWindow(std::move(layout), toolkit, toolkit.clock_), toolkit_(toolkit) {}
  void SetTopmost(bool topmost) override { toolkit_.log_.emplace_back(topmost ? "topmost" : "not topmost"); }

 private:
  ScriptedToolkit& toolkit_;
};

void ScriptedToolkit::Play(const std::vector<FormStep>& steps) {
  for (const FormStep& step : steps) {
    steps_.push_back(step);
    for (int i = 1; i < step.passes; ++i) steps_.push_back(user::Wait(1));
  }
}

std::vector<std::string> ScriptedToolkit::TakeLog() {
  return std::exchange(log_, {});
}

std::unique_ptr<Window> ScriptedToolkit::NewWindow(WindowLayout layout) {
  return std::make_unique<ScriptedWindow>(std::move(layout), *this);
}

void ScriptedToolkit::ShowMessage(const std::string& text, const std::string& title, MessageIcon) {
  if (can_show_) log_.push_back("message " + title + ": " + text);
}

void ScriptedToolkit::SetPointer(Pointer pointer) {
  log_.push_back("pointer " + std::to_string(static_cast<int>(pointer)));
}

bool ScriptedToolkit::Show(MemoryWindow& window) {
  log_.reserve(log_.size() + 2);  // for Remove as well, which must not throw
  if (can_show_) log_.push_back("show " + window.Layout().name);
  return can_show_;
}

void ScriptedToolkit::Remove(MemoryWindow& window) {
  log_.push_back("hide " + window.Layout().name);
}

void ScriptedToolkit::HandleInput(MemoryWindow& window) {
  if (steps_.empty()) {
    window.PressCloseBox();
    window.Hide();
    return;
  }
  const FormStep step = std::move(steps_.front());
  steps_.pop_front();
  MemoryUser user(window);
  step(user);
}

}  // namespace halden
