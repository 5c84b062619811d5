#pragma once

#include <optional>
#include <vector>

#include "backends/windows/win32_control.h"
#include "platform/toolkit.h"

namespace halden {

/// Changes the pointer until it moves onto a window that sets another one.
void ShowPointer(Pointer pointer);

/// Whether windows of this process appear on a screen. False in a service.
bool CanShowWindows();

/// A system dialog. All calls must be made on the thread that created it.
class Win32Window final : public Window {
 public:
  /// `module` holds the icons. `pointer` is the pointer's shape over the window; it is read at each move and
  /// must outlive the window.
  Win32Window(WindowLayout layout, HINSTANCE module, const Pointer& pointer);
  ~Win32Window() override;
  Win32Window(const Win32Window&) = delete;
  Win32Window& operator=(const Win32Window&) = delete;

  /// False if the window or one of its controls couldn't be created.
  bool Complete() const;

  std::uintptr_t Handle() const override { return reinterpret_cast<std::uintptr_t>(window_); }
  void SetCaption(const std::string& caption) override;
  /// Dispatches the thread's messages, with its other windows disabled, until Hide or WM_QUIT. False if there
  /// is no screen to show it on.
  bool ShowModal() override;
  void Hide() override;
  bool Visible() const override { return visible_; }
  void SetTopmost(bool topmost) override;
  int ControlCount() const override { return static_cast<int>(controls_.size()); }
  void SetText(int control, const std::string& text) override { controls_[control].SetText(text); }
  std::string Text(int control) const override { return controls_[control].Text(); }
  void SetEnabled(int control, bool enabled) override;
  void SetFocus(int control) override;
  void SetSelection(int control, int start, int length) override;
  void ClearRows(int control) override { controls_[control].ClearRows(); }
  void AddRow(int control, const std::string& text) override { controls_[control].AddRow(text); }
  void SetRow(int control, int row, const std::string& text) override {
    controls_[control].SetRow(row, text);
  }
  void SelectRow(int control, int row) override;
  int SelectedRow(int control) const override { return controls_[control].SelectedRow(); }
  std::optional<std::uint8_t> FontCharset(int control) const override;
  bool SetFontCharset(int control, std::uint8_t charset) override;

 private:
  static INT_PTR CALLBACK Receive(HWND window, UINT message, WPARAM word, LPARAM data);
  static BOOL CALLBACK Disable(HWND window, LPARAM data);
  INT_PTR Serve(UINT message, WPARAM word, LPARAM data);
  void ServeCommand(int id, int event);
  void ServeLoop();
  void Dispatch(MSG& message);

  void MakeControls();
  void TakeIcons(HINSTANCE module);
  SIZE Fit();
  void PlaceInCentre();
  void Show();
  void DisableOthers();

  /// The control that `window` is or is a part of; -1 if none.
  int Find(HWND window) const;
  int FocusedControl() const { return Find(GetFocus()); }
  int NextFocus(int from, bool tab_stops) const;
  int WithAccessKey(char32_t key) const;
  int ControlWithRole(bool ControlLayout::*role) const;
  int FocusTarget(const MSG& message) const;
  bool KeepsFocus(const MSG& message);
  void Click(int control);

  /// A selection as the form has set it, in characters.
  struct Selection {
    int control, start, length;
  };

  WindowLayout layout_;
  const Pointer& pointer_;
  HWND owner_ = nullptr;  // hidden; a window with an owner has no button on the task bar
  HWND window_ = nullptr;
  std::vector<Win32Control> controls_;
  std::vector<HWND> disabled_;  // by ShowModal; enabled again by Hide
  int first_focus_ = -1;        // the control that SetFocus named before the window was shown
  int pressed_ = -1;  // the control that the mouse button went down on and that hasn't been clicked yet
  std::optional<Selection> selection_;  // the last one that was set; nullopt once the user has done something
  bool visible_ = false;
};

}  // namespace halden
