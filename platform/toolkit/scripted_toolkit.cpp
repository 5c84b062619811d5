#include "platform/toolkit/scripted_toolkit.h"

#include <utility>

#include "platform/toolkit/characters.h"

namespace halden {

namespace user {

UserStep PickRow(const std::string& control, int row) {
  return {[=](MemoryWindow& window) { window.PickRow(window.Find(control), row); }};
}

UserStep Type(const std::string& control, const std::string& text) {
  return {[=](MemoryWindow& window) {
    if (!window.MoveFocus(window.Find(control))) return;
    window.Edit([&](EditText& edit) {
      edit.SelectAll();
      edit.Insert(DecodeUtf8(text));
    });
  }};
}

UserStep Press(const std::string& button) {
  return {[=](MemoryWindow& window) { window.Press(window.Find(button)); }};
}

UserStep GoTo(const std::string& control) {
  return {[=](MemoryWindow& window) { window.MoveFocus(window.Find(control)); }};
}

UserStep AccessKey(char32_t key) {
  return {[=](MemoryWindow& window) { window.PressAccessKey(key); }};
}

UserStep Tab(int step) {
  return {[=](MemoryWindow& window) { window.StepFocus(step); }};
}

UserStep Enter() {
  return {&MemoryWindow::PressEnter};
}
UserStep Escape() {
  return {&MemoryWindow::PressEscape};
}
UserStep CloseBox() {
  return {&MemoryWindow::PressCloseBox};
}
UserStep Wait(int passes) {
  return {[](MemoryWindow&) {}, passes};
}
UserStep Do(std::function<void(MemoryWindow&)> act) {
  return {std::move(act)};
}

}  // namespace user

class ScriptedToolkit::ScriptedWindow : public MemoryWindow {
 public:
  ScriptedWindow(WindowSpec spec, ScriptedToolkit& toolkit)
      : MemoryWindow(std::move(spec), toolkit, toolkit.clock_), toolkit_(toolkit) {}
  void SetTopmost(bool topmost) override { toolkit_.log_.emplace_back(topmost ? "topmost" : "not topmost"); }

 private:
  ScriptedToolkit& toolkit_;
};

void ScriptedToolkit::Play(std::vector<UserStep> steps) {
  for (UserStep& step : steps) {
    const int passes = step.passes;
    steps_.push_back(std::move(step));
    for (int i = 1; i < passes; ++i) steps_.push_back(user::Wait(1));
  }
}

std::vector<std::string> ScriptedToolkit::TakeLog() {
  return std::exchange(log_, {});
}

std::unique_ptr<Window> ScriptedToolkit::NewWindow(WindowSpec spec) {
  if (!has_room_) return nullptr;
  return std::make_unique<ScriptedWindow>(std::move(spec), *this);
}

void ScriptedToolkit::ShowMessage(const std::string& text, const std::string& title, MessageIcon) {
  if (can_show_) log_.push_back("message " + title + ": " + text);
}

void ScriptedToolkit::SetPointer(Pointer pointer) {
  log_.push_back("pointer " + std::to_string(static_cast<int>(pointer)));
}

bool ScriptedToolkit::Raise(MemoryWindow& window) {
  if (can_show_) log_.push_back("show " + window.Spec().name);
  return can_show_;
}

void ScriptedToolkit::Lower(MemoryWindow& window) {
  log_.push_back("hide " + window.Spec().name);
}

void ScriptedToolkit::Use(MemoryWindow& window) {
  if (steps_.empty()) {
    window.PressCloseBox();
    window.Hide();
    return;
  }
  const UserStep step = std::move(steps_.front());
  steps_.pop_front();
  step.act(window);
}

}  // namespace halden
