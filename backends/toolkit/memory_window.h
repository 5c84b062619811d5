#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/toolkit.h"

namespace halden {

class MemoryWindow;

/// The text of an edit box with its selection, behind which the caret stands. Positions count characters.
class EditText {
 public:
  const std::u32string& Text() const { return text_; }
  int SelectionStart() const { return start_; }
  int Caret() const { return start_ + length_; }

  /// Replaces everything; the caret stands in front of the text.
  void Set(std::u32string text);
  /// Clipped to the text.
  void Select(int start, int length);
  void SelectAll() { Select(0, Size()); }
  void MoveCaret(int position) { Select(position, 0); }
  /// Steps from the caret, or out of a selection to its end on that side.
  void StepCaret(int step) { MoveCaret(length_ == 0 ? start_ + step : step < 0 ? start_ : Caret()); }

  /// Replaces the selection.
  void Insert(const std::u32string& text);
  /// Removes the selection, or the character in front of the caret.
  void Backspace();
  /// Removes the selection, or the character behind the caret.
  void Delete();

 private:
  int Size() const { return static_cast<int>(text_.size()); }

  std::u32string text_;
  int start_ = 0;
  int length_ = 0;
};

/// Where windows in memory are shown, and who uses them.
class WindowDisplay {
 public:
  virtual ~WindowDisplay() = default;
  /// Puts a window in front of those that are shown. False: there is nothing to show it on.
  virtual bool Show(MemoryWindow& window) = 0;
  /// Throws nothing, since a window is also taken away where there is no memory to show it any longer.
  virtual void Remove(MemoryWindow& window) = 0;
  /// Before each pass of the message queue while the window is the front one: what the user does with it.
  virtual void HandleInput(MemoryWindow& window) = 0;
  /// Something of a shown window has changed.
  virtual void RequestRedraw() = 0;
};

struct MemoryControl {
  ControlLayout layout;
  EditText text;
  bool enabled = true;
  std::vector<std::string> rows;
  int selected = -1;

  bool CanFocus() const { return enabled && layout.kind != ControlKind::kLabel; }
};

/// A window whose controls are kept in memory: what every backend shares that draws its controls itself.
/// Stage and clock must outlive it.
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
  /// -1: there is none of that name.
  int Find(std::string_view name) const;
  /// -1: none.
  int Focus() const { return focus_; }

  // What a user does. Only a shown window has a user.

  /// False: the control can't have the focus, or the one that has it keeps it.
  bool MoveFocus(int control);
  /// To the next tab stop, or the one before for a negative step.
  void StepFocus(int step);
  /// Goes to a button and clicks it; does nothing where the focus can't go there.
  void Press(int control);
  /// False: no control has this access key.
  bool PressAccessKey(char32_t key);
  void PressEnter();
  void PressEscape();
  void PressCloseBox();
  /// Clicks a row of a list box, or picks one of a combo box.
  void PickRow(int control, int row);
  /// Changes the text of the edit box that has the focus; nothing if none has.
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
