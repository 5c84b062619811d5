#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "backends/toolkit/edit_text.h"
#include "platform/clock.h"
#include "platform/toolkit.h"

namespace halden {

class MemoryWindow;

/// Where windows in memory are shown, and who uses them.
class WindowStage {
 public:
  virtual ~WindowStage() = default;
  /// Puts a window in front of those that are shown. False: there is nothing to show it on.
  virtual bool Raise(MemoryWindow& window) = 0;
  /// Throws nothing, since a window is also taken away where there is no memory to show it any longer.
  virtual void Lower(MemoryWindow& window) = 0;
  /// Before each pass of the message queue while the window is the front one: what the user does with it.
  virtual void Use(MemoryWindow& window) = 0;
  /// Something of a shown window has changed.
  virtual void Changed() = 0;
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
  MemoryWindow(WindowLayout layout, WindowStage& stage, Clock& clock);
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
  void Changed();
  void FollowText(MemoryControl& control);
  void TakeFocus(int control);
  int NextFocus(int from, int step, bool tab_stops) const;
  void Select(MemoryControl& control, int row);
  void PressButtonWith(bool ControlLayout::*role);

  WindowLayout layout_;
  WindowStage& stage_;
  Clock& clock_;
  std::vector<MemoryControl> controls_;
  int focus_ = -1;
  bool visible_ = false;
};

}  // namespace halden
