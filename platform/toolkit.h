#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/form_layout.h"

namespace halden {

/// A window and its controls, hidden at first. `control` is an index into WindowLayout::controls; calls that
/// make no sense for that kind of control do nothing. Texts are UTF-8, positions in them count characters.
///
/// Handlers run on the driver's thread, inside ShowModal or inside the call that caused them. The window must
/// not be destroyed while one runs, and so never inside ShowModal.
class Window {
 public:
  /// In place of `control`, the window itself; only for the font calls.
  static constexpr int kForm = -1;

  virtual ~Window() = default;

  /// The operating system's handle of the window; 0 if it has none.
  virtual std::uintptr_t Handle() const = 0;
  virtual void SetCaption(const std::string& caption) = 0;
  /// Shows the window without an owner, runs `activate`, and serves the clock's message queue until Hide is
  /// called, so timers keep ticking. False, immediately: it can't be shown or is shown already.
  virtual bool ShowModal() = 0;
  virtual void Hide() = 0;
  virtual bool Visible() const = 0;
  /// Puts the window above all others, or makes it an ordinary one again, without moving or resizing it.
  virtual void SetTopmost(bool topmost) = 0;

  virtual int ControlCount() const = 0;
  /// Sets the caption of a label or button, or the text of a text box or a combo box's edit box.
  virtual void SetText(int control, const std::string& text) = 0;
  /// What SetText has set or the user has typed; for a drop-down list, the text of its selected row.
  virtual std::string Text(int control) const = 0;
  virtual void SetEnabled(int control, bool enabled) = 0;
  /// Moves the focus without running `validate`.
  virtual void SetFocus(int control) = 0;
  /// Selects `length` characters from `start` in a combo box's edit box; clipped to the text.
  virtual void SetSelection(int control, int start, int length) = 0;

  /// Removes all rows and the selection, without running `click`.
  virtual void ClearRows(int control) = 0;
  virtual void AddRow(int control, const std::string& text) = 0;
  virtual void SetRow(int control, int row, const std::string& text) = 0;
  /// Selects a row; none if it doesn't exist. Runs a list box's `click` if the selection changes.
  virtual void SelectRow(int control, int row) = 0;
  /// -1 if none is selected.
  virtual int SelectedRow(int control) const = 0;

  /// nullopt: the control has no font.
  virtual std::optional<std::uint8_t> FontCharset(int control) const = 0;
  /// False: the font can't be set.
  virtual bool SetFontCharset(int control, std::uint8_t charset) = 0;
};

enum class Pointer { kDefault = 0, kHourglass = 11 };
enum class MessageIcon { kExclamation = 48 };

/// Makes the driver's windows and message boxes. Failing to show one has no consequence except in the return
/// value. The toolkit must outlive its windows.
class Toolkit {
 public:
  virtual ~Toolkit() = default;

  /// Whether windows can be shown now: there is a screen or a terminal.
  virtual bool CanShow() const = 0;
  /// Makes a hidden window. Null: the system is out of resources.
  virtual std::unique_ptr<Window> NewWindow(WindowLayout layout) = 0;
  /// Shows `text` with one OK button until the user dismisses it; returns immediately if it can't be shown.
  virtual void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) = 0;
  /// Sets the pointer shown over all of the driver's windows.
  virtual void SetPointer(Pointer pointer) = 0;
};

}  // namespace halden
