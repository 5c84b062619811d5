#pragma once

#include <functional>
#include <string>

#include "backends/text/characters.h"
#include "backends/toolkit/form_user.h"
#include "backends/toolkit/memory_window.h"

namespace halden {

/// The user of a window in memory. Does nothing with a control that the window doesn't have.
class MemoryUser : public FormUser {
 public:
  explicit MemoryUser(MemoryWindow& window) : window_(window) {}

  MemoryWindow& Window() { return window_; }

  void PickRow(const std::string& control, int row) override { window_.PickRow(window_.Find(control), row); }
  void Type(const std::string& control, const std::string& text) override {
    if (!window_.MoveFocus(window_.Find(control))) return;
    window_.Edit([&](EditText& edit) {
      edit.SelectAll();
      edit.Insert(DecodeUtf8(text));
    });
  }
  void Press(const std::string& button) override { window_.Press(window_.Find(button)); }
  void AccessKey(char32_t key) override { window_.PressAccessKey(key); }
  void Tab() override { window_.StepFocus(1); }
  void Enter() override { window_.PressEnter(); }
  void Escape() override { window_.PressEscape(); }
  void CloseBox() override { window_.PressCloseBox(); }

  std::string Focus() const override { return window_.Control(window_.Focus()).layout.name; }
  std::string Text(const std::string& control) const override {
    const MemoryControl& shown = window_.Control(window_.Find(control));
    const bool has_row = shown.layout.kind == ControlKind::kListBox && shown.selected >= 0;
    return has_row ? shown.rows[shown.selected] : window_.Text(window_.Find(control));
  }

 private:
  MemoryWindow& window_;
};

namespace user {

/// Looks at the window, or does what no other step does: only for users of windows in memory.
inline FormStep Do(std::function<void(MemoryWindow&)> act) {
  return [act = std::move(act)](FormUser& user) { act(static_cast<MemoryUser&>(user).Window()); };
}

}  // namespace user

}  // namespace halden
