#pragma once

#include <vector>

#include "backends/windows/win32_control.h"
#include "platform/toolkit.h"

namespace halden {

/// What the pointer is, at once and until it moves onto a window that wants another one.
void ShowPointer(Pointer pointer);

/// False on a window station that nobody sees, such as a service's.
bool CanShowWindows();

/// A dialog of the system. Only the thread that made it may use it.
class Win32Window final : public Window {
 public:
  /// `module` has the icons; `pointer` is what the pointer shall be over the window, and must outlive it.
  Win32Window(WindowLayout layout, HINSTANCE module, const Pointer& pointer);
  ~Win32Window() override;
  Win32Window(const Win32Window&) = delete;
  Win32Window& operator=(const Win32Window&) = delete;

  /// False: the system had no room for it, or for one of its controls.
  bool Complete() const;

  std::uintptr_t Handle() const override { return reinterpret_cast<std::uintptr_t>(window_); }
  void SetCaption(const std::string& caption) override;
  /// Runs the thread's message loop, with the thread's other windows disabled. Ends also when the thread is
  /// to end. False where nobody would see it.
  bool ShowModal() override;
  void Hide() override;
  bool Visible() const override { return visible_; }
  void SetTopmost(bool topmost) override;
  int ControlCount() const override { return static_cast<int>(controls_.size()); }
  void SetText(int control, const std::string& text) override { controls_[control].SetText(text); }
  std::string Text(int control) const override { return controls_[control].Text(); }
  void SetEnabled(int control, bool enabled) override;
  void SetFocus(int control) override;
  void SetSelection(int control, int start, int length) override {
    controls_[control].SetSelection(start, length);
  }
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

  /// The control that the window is, or belongs to; -1: none.
  int Find(HWND window) const;
  int FocusedControl() const { return Find(GetFocus()); }
  int NextFocus(int from, bool tab_stops) const;
  int WithAccessKey(char32_t key) const;
  int ControlWithRole(bool ControlLayout::*role) const;
  int FocusTarget(const MSG& message) const;
  bool KeepsFocus(const MSG& message);
  void Click(int control);

  WindowLayout layout_;
  const Pointer& pointer_;
  HWND owner_ = nullptr;  // never shown: a window that has one stays off the task bar
  HWND window_ = nullptr;
  std::vector<Win32Control> controls_;
  std::vector<HWND> disabled_;  // those of the thread that wait for this one
  int first_focus_ = -1;        // for the first show
  int pressed_ = -1;            // by the mouse, and not clicked yet
  bool visible_ = false;
};

}  // namespace halden
