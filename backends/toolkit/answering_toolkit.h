#pragma once

#include <optional>
#include <string>

#include "backends/toolkit/memory_window.h"
#include "platform/clock.h"
#include "platform/number_rules.h"

namespace halden {

/// The user's answer to the port dialog, given in advance.
struct UserAnswer {
  int port = 0;      ///< the row in the list of ports, from 0
  int channels = 1;  ///< 1 to 32
  std::string rate;  ///< in hertz, as typed on the command line, with a decimal point
};

/// Answers the port dialog in the user's place, in a window that is never shown. All other windows come from
/// another toolkit.
class AnsweringToolkit : public Toolkit, private WindowDisplay {
 public:
  /// The dialog is cancelled if `cancel` is set, or if the answer names a row that it doesn't have. With
  /// neither an `answer` nor `cancel`, `others` shows the dialog. The references must outlive the toolkit.
  AnsweringToolkit(Toolkit& others, Clock& clock, const NumberRules& rules, std::optional<UserAnswer> answer,
                   bool cancel)
      : others_(others), clock_(clock), rules_(rules), answer_(std::move(answer)), cancel_(cancel) {}

  /// While held back, each new port dialog is cancelled, and the answer is kept for later.
  void HoldDialogBack(bool hold) { held_back_ = hold; }

  bool CanShow() const override { return others_.CanShow(); }
  std::unique_ptr<Window> NewWindow(WindowLayout layout) override;
  /// A message that the answered dialog shows is dropped: the form has refused the answer, and the dialog is
  /// then cancelled.
  void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) override;
  void SetPointer(Pointer pointer) override { others_.SetPointer(pointer); }

 private:
  // The display of the port dialog's window.
  bool Show(MemoryWindow&) override { return asked_ = true; }
  void Remove(MemoryWindow&) override { asked_ = false; }
  void HandleInput(MemoryWindow& window) override;
  void RequestRedraw() override {}
  bool Fill(MemoryWindow& window) const;

  Toolkit& others_;
  Clock& clock_;
  const NumberRules& rules_;
  const std::optional<UserAnswer> answer_;
  const bool cancel_;
  bool held_back_ = false;
  bool asked_ = false;  // the port dialog is open
};

}  // namespace halden
