#pragma once

#include "backends/linux/terminal/terminal_keys.h"
#include "backends/linux/terminal/terminal_painter.h"
#include "backends/toolkit/memory_window.h"

namespace halden {

/// Translates keys into actions on a window:
///
/// - Tab and Shift-Tab move the focus round the controls.
/// - Arrows, Home, End, Page Up and Page Down move within a list or an edit box.
/// - A letter selects the next row of a list that begins with it.
/// - Alt and a letter is an access key. While a button has the focus, the letter alone is one too.
/// - F4 or Alt-Down drops a list down, as does the space bar in a box without an edit field.
/// - In a list that is dropped down, Enter and Tab pick the highlighted row. Esc, F4, and Alt with any key
///   close it without picking.
/// - Enter presses the button with the focus, or else the default button; Esc presses the cancel button.
/// - Alt-F4 is the close box.
class TerminalUser {
 public:
  /// Carries out one key. The window must be shown and in front. Handlers of its form run in here, and may
  /// close it or show another one.
  void Press(MemoryWindow& window, const Key& key);

  /// The list that is dropped down in the front window.
  const DropDown& OpenList() const { return drop_down_; }
  /// Closes it without picking a row. To be called when another window comes to the front.
  void CloseList() { drop_down_ = {}; }

 private:
  // Each returns whether it has handled the key.
  bool PressInDropDown(MemoryWindow& window, const Key& key);
  bool PressInRows(MemoryWindow& window, const Key& key);
  bool PressInEdit(MemoryWindow& window, const Key& key);
  bool PressOnButton(MemoryWindow& window, const Key& key);
  void PressCommon(MemoryWindow& window, const Key& key);
  void OpenDropDown(const MemoryWindow& window);

  DropDown drop_down_;
};

}  // namespace halden
