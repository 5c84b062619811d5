#pragma once

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <iterator>

#include "backends/toolkit/form_user.h"
#include "backends/windows/win32_text.h"
#include "backends/windows/windows_platform.h"

// After ours, whose names are macros there.
#include <windows.h>

namespace halden {

inline const std::vector<std::string> kPortControls = {"lblCh", "cboCh",     "lblRate",   "cboRate",
                                                       "cmdOK", "cmdCancel", "cmdConfig", "lstPort"};

/// Plays a user of the dialog that this thread shows, with posted keys and mouse clicks. Each tick of a timer
/// plays one step. The system delivers a timer's tick only when the queue is empty, so what the step before
/// has posted is handled by then. A message box is dismissed first. It is a failure if the dialog is still
/// shown after the last step.
class ScreenUser : public FormUser {
 public:
  /// `controls` are the names of the dialog's controls in tab order.
  ScreenUser(std::vector<std::string> controls, const std::vector<FormStep>& steps)
      : controls_(std::move(controls)),
        steps_(steps.begin(), steps.end()),
        timer_(clock_.NewTimer(USER_TIMER_MINIMUM, [this] { Tick(); })) {
    timer_->Enable(true);
  }

  int messages = 0;  ///< number of message boxes dismissed

  static std::string WindowText(HWND window) {
    wchar_t text[200] = {};
    GetWindowTextW(window, text, static_cast<int>(std::size(text)));
    return Utf8Text(text);
  }
  /// The dialog; null while a message box is in front of it.
  HWND Form() const {
    const HWND front = GetActiveWindow();
    return IsWindowVisible(GetDlgItem(front, kFirstId)) ? front : nullptr;
  }
  HWND Control(const std::string& name) const {
    const auto found = std::find(controls_.begin(), controls_.end(), name);
    return GetDlgItem(GetActiveWindow(), kFirstId + static_cast<int>(found - controls_.begin()));
  }

  void PickRow(const std::string& control, int row) override {
    const HWND box = Control(control);
    RECT place{};
    if (SendMessageW(box, LB_GETITEMRECT, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&place)) == TRUE)
      return Click(box, place.left + 1, place.top + 1);
    const HWND keys = KeyWindow(box);
    Click(keys, 3, 3);  // drops the list of a combo box that has no edit box
    Keys(keys, VK_UP, static_cast<int>(SendMessageW(box, CB_GETCOUNT, 0, 0)));
    Keys(keys, VK_DOWN, row);
    if (keys == box) Keys(keys, VK_RETURN);
  }
  void Type(const std::string& control, const std::string& text) override {
    const HWND edit = KeyWindow(Control(control));
    Click(edit, 1, 1);
    PostMessageW(edit, EM_SETSEL, 0, -1);
    Keys(edit, VK_DELETE);
    for (const wchar_t unit : WideText(text)) PostMessageW(edit, WM_CHAR, unit, 0);
  }
  void Press(const std::string& button) override { Click(Control(button), 3, 3); }
  void AccessKey(char32_t key) override { PostMessageW(GetFocus(), WM_SYSCHAR, key, 1 << 29); }
  void Tab() override { Keys(GetFocus(), VK_TAB); }
  void Enter() override { Keys(GetFocus(), VK_RETURN); }
  void Escape() override { Keys(GetFocus(), VK_ESCAPE); }
  void CloseBox() override { PostMessageW(Form(), WM_SYSCOMMAND, SC_CLOSE, 0); }

  std::string Focus() const override {
    for (const std::string& name : controls_)
      if (Control(name) == GetFocus() || IsChild(Control(name), GetFocus())) return name;
    return {};
  }
  std::string Text(const std::string& control) const override {
    const HWND shown = Control(control);
    wchar_t row[100] = {};
    const LRESULT selected = SendMessageW(shown, LB_GETCURSEL, 0, 0);
    SendMessageW(shown, LB_GETTEXT, static_cast<WPARAM>(selected), reinterpret_cast<LPARAM>(row));
    return *row ? Utf8Text(row) : WindowText(shown);
  }

 private:
  static constexpr int kFirstId = 100;

  /// The window that gets a control's keys: its edit box, if it is a combo box that has one.
  static HWND KeyWindow(HWND control) {
    const HWND edit = FindWindowExW(control, nullptr, L"Edit", nullptr);
    return edit ? edit : control;
  }

  void Tick() {
    if (WindowText(GetActiveWindow()) == "Halden-Text Driver") {
      ++messages;
      PostMessageW(GetActiveWindow(), WM_COMMAND, IDOK, 0);
    } else if (Form() && !steps_.empty()) {
      const FormStep step = std::move(steps_.front());
      steps_.pop_front();
      step(*this);
    } else if (Form()) {
      ADD_FAILURE() << "the dialog is still shown after the last step";
      CloseBox();
    }
  }

  static void Keys(HWND window, WPARAM key, int count = 1) {
    for (int i = 0; i < count; ++i) PostMessageW(window, WM_KEYDOWN, key, 1);
  }
  static void Click(HWND window, int x, int y) {
    PostMessageW(window, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(x, y));
    PostMessageW(window, WM_LBUTTONUP, 0, MAKELPARAM(x, y));
  }

  std::vector<std::string> controls_;
  std::deque<FormStep> steps_;
  Win32Clock clock_;
  std::unique_ptr<PeriodicTimer> timer_;
};

}  // namespace halden
