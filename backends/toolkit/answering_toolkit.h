#pragma once

#include <optional>
#include <string>

#include "backends/toolkit/memory_window.h"
#include "platform/clock.h"
#include "platform/number_rules.h"

namespace halden {

/// The user's answer in the port dialog.
struct UserAnswer {
  int port = 0;      ///< row of the port list, from 0
  int channels = 1;  ///< 1 to 32
  std::string rate;  ///< hertz, with a point as decimal mark, as typed on the command line
};

/// Answers the port dialog in the user's place, if it should, and leaves all other windows to another
/// toolkit.
class AnsweringToolkit : public Toolkit, private WindowDisplay {
 public:
  /// A dialog that the answer doesn't fit is cancelled. With neither an `answer` nor `cancel`, the dialog is
  /// the user's and left to `others`. The references must outlive the toolkit.
  AnsweringToolkit(Toolkit& others, Clock& clock, const NumberRules& rules, std::optional<UserAnswer> answer,
                   bool cancel)
      : others_(others), clock_(clock), rules_(rules), answer_(std::move(answer)), cancel_(cancel) {}

  /// While held back, every port dialog is cancelled. Applies to dialogs made from now on.
  void HoldDialogBack(bool hold) { held_back_ = hold; }

  bool CanShow() const override { return others_.CanShow(); }
  std::unique_ptr<Window> NewWindow(WindowLayout layout) override;
  /// A message of the port dialog has nobody to read it: the answer is refused, and the dialog cancelled.
  void ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) override;
  void SetPointer(Pointer pointer) override { others_.SetPointer(pointer); }

 private:
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
  bool asked_ = false;
};

}  // namespace halden
