#pragma once

#include <concepts>
#include <functional>
#include <string>
#include <utility>

#include "backends/text/characters.h"
#include "backends/toolkit/memory_window.h"

namespace halden {

/// What a user can do with the front window, and what the user sees of it, independent of the toolkit.
/// Controls are named as in their layout.
class FormUser {
 public:
  virtual ~FormUser() = default;

  /// Clicks a row of a list box, or chooses a row of a combo box. Rows count from 0.
  virtual void PickRow(const std::string& control, int row) = 0;
  /// Moves the focus to the edit box and replaces its text.
  virtual void Type(const std::string& control, const std::string& text) = 0;
  virtual void Press(const std::string& button) = 0;
  virtual void AccessKey(char32_t key) = 0;
  virtual void Tab() = 0;
  virtual void Enter() = 0;
  virtual void Escape() = 0;
  virtual void CloseBox() = 0;

  /// The name of the control that has the focus.
  virtual std::string Focus() const = 0;
  /// The text of a control; of a list box, its selected row.
  virtual std::string Text(const std::string& control) const = 0;
};

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

/// One action or observation of a user, followed by a number of passes of the message queue.
struct FormStep {
  template <std::invocable<FormUser&> Act>
  FormStep(Act step, int passes_after = 1) : act(std::move(step)), passes(passes_after) {}

  void operator()(FormUser& user) const { act(user); }

  std::function<void(FormUser&)> act;
  int passes;
};

/// Makes steps: Press("cmdOK") is a step that presses the button when it is played.
namespace user {

inline FormStep PickRow(std::string control, int row) {
  return [=](FormUser& user) { user.PickRow(control, row); };
}
inline FormStep Type(std::string control, std::string text) {
  return [=](FormUser& user) { user.Type(control, text); };
}
inline FormStep Press(std::string button) {
  return [=](FormUser& user) { user.Press(button); };
}
inline FormStep AccessKey(char32_t key) {
  return [=](FormUser& user) { user.AccessKey(key); };
}
inline FormStep Tab() {
  return &FormUser::Tab;
}
inline FormStep Enter() {
  return &FormUser::Enter;
}
inline FormStep Escape() {
  return &FormUser::Escape;
}
inline FormStep CloseBox() {
  return &FormUser::CloseBox;
}
inline FormStep Wait(int passes) {
  return {[](FormUser&) {}, passes};
}

/// Any other action or observation. Only for users of windows in memory.
inline FormStep Do(std::function<void(MemoryWindow&)> act) {
  return [act = std::move(act)](FormUser& user) { act(static_cast<MemoryUser&>(user).Window()); };
}

}  // namespace user

}  // namespace halden
