#pragma once

#include <functional>
#include <string>
#include <utility>

#include "platform/toolkit/characters.h"
#include "platform/toolkit/memory_window.h"

namespace halden {

/// What a user does with the form in front and sees of it, whatever draws it. Controls go by name.
class FormUser {
 public:
  virtual ~FormUser() = default;
  virtual void PickRow(const std::string& control, int row) = 0;
  /// Goes to the edit box and replaces its text.
  virtual void Type(const std::string& control, const std::string& text) = 0;
  virtual void Press(const std::string& button) = 0;
  virtual void AccessKey(char32_t key) = 0;
  virtual void Tab(int step) = 0;
  virtual void Enter() = 0;
  virtual void Escape() = 0;
  virtual void CloseBox() = 0;

  virtual std::string Focus() const = 0;
  virtual std::string Text(const std::string& control) const = 0;
  virtual bool Enabled(const std::string& control) const = 0;
  virtual int SelectedRow(const std::string& list) const = 0;
  virtual std::string Row(const std::string& list, int row) const = 0;
  /// Of an edit box; positions count characters.
  virtual std::pair<int, int> Selection(const std::string& control) const = 0;
};

using FormStep = std::function<void(FormUser&)>;

/// What makes steps of something that a user does: Press("cmdOK") is a step that presses the button.
template <class... Arguments>
auto StepOf(void (FormUser::*act)(Arguments...)) {
  return [act](const std::decay_t<Arguments>&... arguments) -> FormStep {
    return [=](FormUser& user) { (user.*act)(arguments...); };
  };
}
inline const auto PickRow = StepOf(&FormUser::PickRow);
inline const auto Type = StepOf(&FormUser::Type);
inline const auto Press = StepOf(&FormUser::Press);
inline const auto AccessKey = StepOf(&FormUser::AccessKey);
inline const auto Enter = StepOf(&FormUser::Enter);
inline const auto CloseBox = StepOf(&FormUser::CloseBox);
// Windows has an Escape of its own, beside which no variable can stand.
inline FormStep Escape() {
  return StepOf(&FormUser::Escape)();
}
inline FormStep Tab(int step = 1) {
  return StepOf(&FormUser::Tab)(step);
}

/// The user of a window that is kept in memory.
class MemoryUser : public FormUser {
 public:
  explicit MemoryUser(MemoryWindow& window) : window_(window) {}

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
  void Tab(int step) override { window_.StepFocus(step); }
  void Enter() override { window_.PressEnter(); }
  void Escape() override { window_.PressEscape(); }
  void CloseBox() override { window_.PressCloseBox(); }

  std::string Focus() const override { return window_.Control(window_.Focus()).spec.name; }
  std::string Text(const std::string& control) const override { return window_.Text(window_.Find(control)); }
  bool Enabled(const std::string& control) const override { return Control(control).enabled; }
  int SelectedRow(const std::string& list) const override { return Control(list).selected; }
  std::string Row(const std::string& list, int row) const override { return Control(list).rows[row]; }
  std::pair<int, int> Selection(const std::string& control) const override {
    const EditText& text = Control(control).text;
    return {text.SelectionStart(), text.SelectionLength()};
  }

 private:
  const MemoryControl& Control(const std::string& name) const { return window_.Control(window_.Find(name)); }

  MemoryWindow& window_;
};

}  // namespace halden
