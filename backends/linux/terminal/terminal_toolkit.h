#pragma once

#include <string>
#include <vector>

#include "backends/linux/terminal/posix_terminal.h"
#include "backends/linux/terminal/terminal_keys.h"
#include "backends/linux/terminal/terminal_painter.h"
#include "backends/linux/terminal/terminal_screen.h"
#include "backends/linux/terminal/terminal_user.h"
#include "backends/text/common_texts.h"
#include "backends/toolkit/memory_window.h"
#include "platform/clock.h"

namespace halden {

/// Draws the driver's windows on a terminal and lets the user operate them with the keyboard. The terminal is
/// open only while a window is shown. Windows that are shown at the same time lie on top of each other, each
/// in the centre.
///
/// If the front window doesn't fit on the terminal, the size that it needs is shown instead. Until the
/// terminal is large enough, only Esc works.
class TerminalToolkit : public Toolkit, private WindowDisplay {
 public:
  /// Terminal and clock must outlive the toolkit, and the toolkit its windows. `language` is for the
  /// toolkit's own texts.
  TerminalToolkit(TextTerminal& terminal, Clock& clock, TextLanguage language)
      : terminal_(terminal), clock_(clock), language_(language) {}

  bool CanShow() const override { return !windows_.empty() || terminal_.Available(); }
  std::unique_ptr<Window> NewWindow(WindowLayout layout) override;
  void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) override;
  /// Does nothing: a terminal has no mouse pointer of ours.
  void SetPointer(Pointer) override {}

  /// The window that gets the keys; null if none is shown.
  MemoryWindow* Front() const { return windows_.empty() ? nullptr : windows_.back(); }

 private:
  // Of WindowDisplay.
  bool Show(MemoryWindow& window) override;
  void Remove(MemoryWindow& window) override;
  void HandleInput(MemoryWindow& window) override;
  void RequestRedraw() override { changed_ = true; }

  void Draw();
  TerminalScreen Compose(TerminalSize size);
  void PaintHint(CellSize needed, TerminalScreen* screen) const;

  TextTerminal& terminal_;
  Clock& clock_;
  TextLanguage language_;
  std::vector<MemoryWindow*> windows_;  // those shown, the front one last
  KeyDecoder keys_;
  TerminalUser user_;
  TerminalScreen shown_;  // what the terminal shows; empty: unknown
  bool changed_ = false;  // a window has changed since `shown_` was drawn
};

}  // namespace halden
