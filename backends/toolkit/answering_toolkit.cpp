#include "backends/toolkit/answering_toolkit.h"

#include "backends/text/characters.h"

namespace halden {

std::unique_ptr<Window> AnsweringToolkit::NewWindow(WindowLayout layout) {
  const bool answers = answer_ || cancel_ || held_back_;
  if (!answers || layout.name != "dlgPort") return others_.NewWindow(std::move(layout));
  WindowDisplay& display = *this;
  return std::make_unique<MemoryWindow>(std::move(layout), display, clock_);
}

void AnsweringToolkit::ShowMessage(const std::string& text, const std::string& title, MessageIcon icon) {
  if (!asked_) others_.ShowMessage(text, title, icon);
}

/// Enter closes the dialog if the form accepts the answer. If it is still open then, Escape cancels it.
void AnsweringToolkit::HandleInput(MemoryWindow& window) {
  if (answer_ && !held_back_ && Fill(window)) window.PressEnter();
  if (window.Visible()) window.PressEscape();
}

/// Picks the rows and types the rate, as a user would do. False if a row doesn't exist.
bool AnsweringToolkit::Fill(MemoryWindow& window) const {
  const int ports = window.Find("lstPort");
  const int channels = window.Find("cboCh");
  window.PickRow(ports, answer_->port);
  window.PickRow(channels, answer_->channels - 1);
  if (window.SelectedRow(ports) != answer_->port || window.SelectedRow(channels) != answer_->channels - 1) {
    return false;
  }
  std::string rate = answer_->rate;
  if (const auto point = rate.find('.'); point != std::string::npos) rate[point] = rules_.DecimalSeparator();
  if (!window.MoveFocus(window.Find("cboRate"))) return false;
  window.Edit([&](EditText& edit) { edit.Insert(DecodeUtf8(rules_.AnsiToUtf8(rate))); });
  return true;
}

}  // namespace halden
