#pragma once

#include <concepts>
#include <functional>
#include <string>
#include <utility>

namespace halden {

/// What a user does with the form in front and sees of it, whatever draws it. Controls go by name.
class FormUser {
 public:
  virtual ~FormUser() = default;

  /// Clicks a row of a list box, or picks one of a combo box.
  virtual void PickRow(const std::string& control, int row) = 0;
  /// Goes to the edit box and replaces its text.
  virtual void Type(const std::string& control, const std::string& text) = 0;
  virtual void Press(const std::string& button) = 0;
  virtual void AccessKey(char32_t key) = 0;
  virtual void Tab() = 0;
  virtual void Enter() = 0;
  virtual void Escape() = 0;
  virtual void CloseBox() = 0;

  /// The control that has the focus.
  virtual std::string Focus() const = 0;
  /// Of a list box: its selected row.
  virtual std::string Text(const std::string& control) const = 0;
};

/// One thing that a user does or looks at, and how many passes of the message queue follow it.
struct FormStep {
  template <std::invocable<FormUser&> Act>
  FormStep(Act step, int passes_behind = 1) : act(std::move(step)), passes(passes_behind) {}

  void operator()(FormUser& user) const { act(user); }

  std::function<void(FormUser&)> act;
  int passes;
};

/// Steps of what a user does: Press("cmdOK") is a step that presses the button.
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

}  // namespace user

}  // namespace halden
