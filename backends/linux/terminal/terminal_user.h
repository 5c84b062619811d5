#pragma once

#include "backends/linux/terminal/terminal_keys.h"
#include "backends/linux/terminal/terminal_painter.h"
#include "backends/toolkit/memory_window.h"

namespace halden {

/// What keys do in a window.
///
/// Tab and Shift-Tab go round the controls, arrows, Home, End and Page keys move within one, Alt and a letter
/// is an access key (on a button the letter alone, too), Alt-Down or F4 drops a list down, Enter and Esc
/// press their buttons, Alt-F4 is the close box.
class TerminalUser {
 public:
  void Press(MemoryWindow& window, const Key& key);

  /// Of the window that the keys go to.
  const DropDown& OpenList() const { return drop_down_; }
  /// Another window gets the keys from now on.
  void CloseList() { drop_down_ = {}; }

 private:
  bool PressInDropDown(MemoryWindow& window, const Key& key);
  bool PressInRows(MemoryWindow& window, const Key& key);
  bool PressInEdit(MemoryWindow& window, const Key& key);
  bool PressOnButton(MemoryWindow& window, const Key& key);
  void PressCommon(MemoryWindow& window, const Key& key);
  void OpenDropDown(const MemoryWindow& window);

  DropDown drop_down_;
};

}  // namespace halden
