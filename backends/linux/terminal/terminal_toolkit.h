#pragma once

#include <string>
#include <vector>

#include "backends/linux/terminal/terminal_keys.h"
#include "backends/linux/terminal/terminal_screen.h"
#include "backends/linux/terminal/terminal_user.h"
#include "backends/linux/terminal/text_terminal.h"
#include "backends/text/common_texts.h"
#include "backends/toolkit/memory_window.h"
#include "platform/clock.h"

namespace halden {

/// The windows as drawings on a text terminal, which is taken over while one is shown. A window that the
/// terminal is too small for is replaced by a line that says so; its keys still work.
class TerminalToolkit : public Toolkit, private WindowDisplay {
 public:
  /// Terminal and clock must outlive the toolkit. `language` is that of what the toolkit itself says.
  TerminalToolkit(TextTerminal& terminal, Clock& clock, TextLanguage language)
      : terminal_(terminal), clock_(clock), language_(language) {}

  bool CanShow() const override { return !windows_.empty() || terminal_.Available(); }
  std::unique_ptr<Window> NewWindow(WindowLayout layout) override;
  void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) override;
  /// A terminal has no pointer.
  void SetPointer(Pointer) override {}

  /// The shown window that the keys go to; null: none.
  MemoryWindow* Front() const { return windows_.empty() ? nullptr : windows_.back(); }

 private:
  bool Show(MemoryWindow& window) override;
  void Remove(MemoryWindow& window) override;
  void HandleInput(MemoryWindow& window) override;
  void RequestRedraw() override { changed_ = true; }

  void Draw();
  TerminalScreen Compose(TerminalSize size);

  TextTerminal& terminal_;
  Clock& clock_;
  TextLanguage language_;
  std::vector<MemoryWindow*> windows_;  // the shown ones, the front one last
  KeyDecoder keys_;
  TerminalUser user_;
  TerminalScreen shown_;
  bool changed_ = false;
};

}  // namespace halden
