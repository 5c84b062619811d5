#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/form_layout.h"

namespace halden {

/// A window and its controls. It begins hidden. Handlers run on the driver's thread, inside ShowModal or the
/// call that caused them; the window must outlive them, so it is never destroyed inside ShowModal. Texts are
/// UTF-8, positions in them count characters. `control` is a place in WindowLayout::controls, and a control
/// has what its kind has: a call for another kind does nothing.
class Window {
 public:
  /// Stands for the window itself where a control is asked for its font.
  static constexpr int kForm = -1;

  virtual ~Window() = default;

  /// What the operating system calls the window; 0 where it has no name for it.
  virtual std::uintptr_t Handle() const = 0;
  virtual void SetCaption(const std::string& caption) = 0;
  /// Shows the window without an owner, runs `activate` and serves the clock's message queue until Hide:
  /// ticks go on meanwhile. False at once: it can't be shown, or is shown already.
  virtual bool ShowModal() = 0;
  virtual void Hide() = 0;
  virtual bool Visible() const = 0;
  /// Above all other windows, or among them again; nothing is moved or resized.
  virtual void SetTopmost(bool topmost) = 0;

  virtual int ControlCount() const = 0;
  /// The caption of a label or button, the text of a text box or of a combo box's edit box.
  virtual void SetText(int control, const std::string& text) = 0;
  /// Of a drop-down list: its selected row.
  virtual std::string Text(int control) const = 0;
  virtual void SetEnabled(int control, bool enabled) = 0;
  /// Moves the focus without asking `validate`.
  virtual void SetFocus(int control) = 0;
  /// Selects text in a combo box's edit box; clipped to what is there.
  virtual void SetSelection(int control, int start, int length) = 0;

  /// Removes all rows; nothing is selected then, and `click` doesn't run.
  virtual void ClearRows(int control) = 0;
  virtual void AddRow(int control, const std::string& text) = 0;
  virtual void SetRow(int control, int row, const std::string& text) = 0;
  /// A row that doesn't exist selects none. Runs a list box's `click` if the selected row becomes another
  /// one.
  virtual void SelectRow(int control, int row) = 0;
  /// -1: none.
  virtual int SelectedRow(int control) const = 0;

  /// Nothing: the control has no font.
  virtual std::optional<std::uint8_t> FontCharset(int control) const = 0;
  /// False: the font can't be set.
  virtual bool SetFontCharset(int control, std::uint8_t charset) = 0;
};

enum class Pointer { kDefault = 0, kHourglass = 11 };
enum class MessageIcon { kExclamation = 48 };

/// The windows of the driver. Failing to show one is a result and harms nothing. Windows must not outlive it.
class Toolkit {
 public:
  virtual ~Toolkit() = default;

  /// Whether there is anything to show windows on now.
  virtual bool CanShow() const = 0;
  /// A hidden window. Null: the system has no room for one.
  virtual std::unique_ptr<Window> NewWindow(WindowLayout layout) = 0;
  /// Shows the text with one OK button until the user dismisses it; returns at once where it can't be shown.
  virtual void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) = 0;
  /// The pointer over all windows of the driver.
  virtual void SetPointer(Pointer pointer) = 0;
};

}  // namespace halden
