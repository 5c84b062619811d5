#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/toolkit.h"

namespace halden {

class MemoryWindow;

/// The text of an edit box with its selection. The caret is at the end of the selection. Positions count
/// characters, from 0.
class EditText {
 public:
  const std::u32string& Text() const { return text_; }
  int SelectionStart() const { return start_; }
  int Caret() const { return start_ + length_; }

  /// Replaces the whole text and moves the caret to its start.
  void Set(std::u32string text);
  /// Both are clamped to the text.
  void Select(int start, int length);
  void SelectAll() { Select(0, Size()); }
  void MoveCaret(int position) { Select(position, 0); }
  /// Moves the caret by `step` characters. With a selection, it moves to the end of the selection on that
  /// side instead, as edit boxes do.
  void StepCaret(int step) { MoveCaret(length_ == 0 ? start_ + step : step < 0 ? start_ : Caret()); }

  /// Replaces the selection. The caret follows the new text.
  void Insert(const std::u32string& text);
  /// Removes the selection, or the character before the caret.
  void Backspace();
  /// Removes the selection, or the character after the caret.
  void Delete();

 private:
  int Size() const { return static_cast<int>(text_.size()); }

  std::u32string text_;
  int start_ = 0;
  int length_ = 0;
};

/// Shows windows in memory and passes on what their user does. Modal windows nest: the one shown last is in
/// front.
class WindowDisplay {
 public:
  virtual ~WindowDisplay() = default;
  /// Puts the window in front of those that are shown. False if there is nothing to show it on, such as no
  /// terminal.
  virtual bool Show(MemoryWindow& window) = 0;
  /// Must not throw: a window is also removed while an exception unwinds.
  virtual void Remove(MemoryWindow& window) = 0;
  /// Called before each pass of the message queue while the window is in front. Calls the window's members
  /// for what the user has done.
  virtual void HandleInput(MemoryWindow& window) = 0;
  /// A window that is shown has changed.
  virtual void RequestRedraw() = 0;
};

/// A control with its current state.
struct MemoryControl {
  ControlLayout layout;
  EditText text;
  bool enabled = true;
  std::vector<std::string> rows;
  int selected = -1;  // a row; -1: none

  bool CanFocus() const { return enabled && layout.kind != ControlKind::kLabel; }
};

/// A window whose controls are kept in memory: texts, rows, focus and tab order, for toolkits that draw the
/// controls themselves. `display` and `clock` must outlive it.
class MemoryWindow : public Window {
 public:
  MemoryWindow(WindowLayout layout, WindowDisplay& display, Clock& clock);
  ~MemoryWindow() override;

  std::uintptr_t Handle() const override { return 0; }
  void SetCaption(const std::string& caption) override;
  bool ShowModal() override;
  void Hide() override { visible_ = false; }
  bool Visible() const override { return visible_; }
  void SetTopmost(bool) override {}
  int ControlCount() const override { return static_cast<int>(controls_.size()); }
  void SetText(int control, const std::string& text) override;
  std::string Text(int control) const override;
  void SetEnabled(int control, bool enabled) override;
  void SetFocus(int control) override;
  void SetSelection(int control, int start, int length) override;
  void ClearRows(int control) override;
  void AddRow(int control, const std::string& text) override;
  void SetRow(int control, int row, const std::string& text) override;
  void SelectRow(int control, int row) override;
  int SelectedRow(int control) const override { return controls_[control].selected; }
  std::optional<std::uint8_t> FontCharset(int control) const override;
  bool SetFontCharset(int control, std::uint8_t charset) override;

  const WindowLayout& Layout() const { return layout_; }
  const MemoryControl& Control(int control) const { return controls_[control]; }
  /// The index of a control; -1 if there is none of that name.
  int Find(std::string_view name) const;
  /// The index of the control that has the focus; -1 if none has.
  int Focus() const { return focus_; }

  // What a user does; only for a window that is shown. Events of the form (validate, click) run inside, in
  // the order in which a Windows form raises them.

  /// Validates the control that has the focus, then moves the focus. False if `control` can't have it, if the
  /// validation keeps it, or if the form has closed meanwhile.
  bool MoveFocus(int control);
  /// Moves the focus to the next tab stop (`step` 1) or the previous one (-1).
  void StepFocus(int step);
  /// Moves the focus to a button and clicks it; does nothing if the focus can't be moved.
  void Press(int control);
  /// Presses the button with this access key, or moves the focus to the control after the label with it.
  /// False if no control has it.
  bool PressAccessKey(char32_t key);
  /// Clicks the button that has the focus, or else the default button.
  void PressEnter();
  /// Clicks the cancel button.
  void PressEscape();
  void PressCloseBox();
  /// Clicks a row of a list box, or chooses a row of a combo box. Does nothing if there is no such row.
  void PickRow(int control, int row);
  /// Changes the text of the combo box that has the focus, by calling `change` with its EditText. Does
  /// nothing if another kind of control has the focus.
  template <typename Change>
  void Edit(Change change) {
    if (focus_ < 0 || controls_[focus_].layout.kind != ControlKind::kComboBox) return;
    change(controls_[focus_].text);
    FollowText(controls_[focus_]);
  }

 private:
  void Serve();
  void RequestRedraw();
  void FollowText(MemoryControl& control);
  void TakeFocus(int control);
  int NextFocus(int from, int step, bool tab_stops) const;
  void Select(MemoryControl& control, int row);
  void PressButtonWith(bool ControlLayout::*role);

  WindowLayout layout_;
  WindowDisplay& display_;
  Clock& clock_;
  std::vector<MemoryControl> controls_;
  int focus_ = -1;
  bool visible_ = false;
};

}  // namespace halden
