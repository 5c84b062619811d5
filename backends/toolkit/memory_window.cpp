#include "backends/toolkit/memory_window.h"

#include <algorithm>

#include "backends/text/characters.h"

namespace halden {

void EditText::Set(std::u32string text) {
  text_ = std::move(text);
  start_ = length_ = 0;
}

void EditText::Select(int start, int length) {
  start_ = std::clamp(start, 0, Size());
  length_ = std::clamp(length, 0, Size() - start_);
}

void EditText::Insert(const std::u32string& text) {
  text_.replace(start_, length_, text);
  MoveCaret(start_ + static_cast<int>(text.size()));
}

void EditText::Backspace() {
  if (length_ == 0 && start_ > 0) Select(start_ - 1, 1);
  Insert({});
}

void EditText::Delete() {
  if (length_ == 0) Select(start_, 1);
  Insert({});
}

MemoryWindow::MemoryWindow(WindowLayout layout, WindowDisplay& display, Clock& clock)
    : layout_(std::move(layout)), display_(display), clock_(clock) {
  for (ControlLayout& design : layout_.controls) {
    MemoryControl& control = controls_.emplace_back();
    control.layout = std::move(design);
    control.text.Set(DecodeUtf8(control.layout.text));
  }
  layout_.controls.clear();
}

MemoryWindow::~MemoryWindow() {
  if (visible_) display_.Remove(*this);
}

void MemoryWindow::SetCaption(const std::string& caption) {
  layout_.caption = caption;
  RequestRedraw();
}

bool MemoryWindow::ShowModal() {
  if (visible_ || !display_.Show(*this)) return false;
  visible_ = true;
  try {
    Serve();
  } catch (...) {
    visible_ = false;
    display_.Remove(*this);
    throw;
  }
  display_.Remove(*this);
  return true;
}

/// Runs the window until it is hidden. The first tab stop gets the focus unless the form has set it.
void MemoryWindow::Serve() {
  if (focus_ < 0) TakeFocus(NextFocus(-1, 1, true));
  if (layout_.activate) layout_.activate();
  while (visible_) {
    display_.HandleInput(*this);
    if (visible_) clock_.ServeMessages();
  }
}

void MemoryWindow::SetText(int control, const std::string& text) {
  controls_[control].text.Set(DecodeUtf8(text));
  FollowText(controls_[control]);
}

std::string MemoryWindow::Text(int control) const {
  const MemoryControl& asked = controls_[control];
  if (asked.layout.kind != ControlKind::kDropDownList) return EncodeUtf8(asked.text.Text());
  return asked.selected < 0 ? std::string() : asked.rows[asked.selected];
}

void MemoryWindow::SetEnabled(int control, bool enabled) {
  controls_[control].enabled = enabled;
  RequestRedraw();
}

void MemoryWindow::SetFocus(int control) {
  if (controls_[control].CanFocus()) TakeFocus(control);
}

void MemoryWindow::SetSelection(int control, int start, int length) {
  controls_[control].text.Select(start, length);
  RequestRedraw();
}

void MemoryWindow::ClearRows(int control) {
  controls_[control].rows.clear();
  controls_[control].selected = -1;
  RequestRedraw();
}

void MemoryWindow::AddRow(int control, const std::string& text) {
  controls_[control].rows.push_back(text);
  RequestRedraw();
}

void MemoryWindow::SetRow(int control, int row, const std::string& text) {
  controls_[control].rows[row] = text;
  RequestRedraw();
}

/// As on Windows, a selection by the program clicks a list box if it changes, and never a combo box.
void MemoryWindow::SelectRow(int control, int row) {
  MemoryControl& chosen = controls_[control];
  const int before = chosen.selected;
  Select(chosen, row);
  const bool runs_click = chosen.layout.kind == ControlKind::kListBox && chosen.selected != before;
  if (runs_click && chosen.layout.click) chosen.layout.click();
}

/// A row that doesn't exist clears the selection. A combo box shows the row's text, selected as a whole.
void MemoryWindow::Select(MemoryControl& control, int row) {
  const bool exists = row >= 0 && row < static_cast<int>(control.rows.size());
  control.selected = exists ? row : -1;
  if (control.layout.kind == ControlKind::kComboBox) {
    control.text.Set(exists ? DecodeUtf8(control.rows[row]) : U"");
    control.text.SelectAll();
  }
  RequestRedraw();
}

std::optional<std::uint8_t> MemoryWindow::FontCharset(int control) const {
  return control == kForm ? layout_.font.charset : controls_[control].layout.font.charset;
}

bool MemoryWindow::SetFontCharset(int control, std::uint8_t charset) {
  (control == kForm ? layout_.font : controls_[control].layout.font).charset = charset;
  return true;
}

int MemoryWindow::Find(std::string_view name) const {
  const auto found = std::find_if(controls_.begin(), controls_.end(), [name](const MemoryControl& control) {
    return control.layout.name == name;
  });
  return found == controls_.end() ? -1 : static_cast<int>(found - controls_.begin());
}

bool MemoryWindow::MoveFocus(int control) {
  if (control < 0 || !controls_[control].CanFocus()) return false;
  if (control == focus_) return true;
  bool cancel = false;
  if (focus_ >= 0 && controls_[focus_].layout.validate) controls_[focus_].layout.validate(cancel);
  if (cancel || !visible_) return false;
  TakeFocus(control);
  return true;
}

void MemoryWindow::StepFocus(int step) {
  MoveFocus(NextFocus(focus_, step, true));
}

void MemoryWindow::Press(int control) {
  if (MoveFocus(control) && controls_[control].layout.click) controls_[control].layout.click();
}

bool MemoryWindow::PressAccessKey(char32_t key) {
  for (int control = 0; control < ControlCount(); ++control) {
    const ControlKind kind = controls_[control].layout.kind;
    if (kind != ControlKind::kLabel && kind != ControlKind::kButton) continue;
    if (!Caption(Text(control)).HasAccessKey(key)) continue;
    if (kind == ControlKind::kButton) {
      Press(control);
    } else {
      MoveFocus(NextFocus(control, 1, false));
    }
    return true;
  }
  return false;
}

void MemoryWindow::PressEnter() {
  if (focus_ >= 0 && controls_[focus_].layout.kind == ControlKind::kButton) {
    Press(focus_);
  } else {
    PressButtonWith(&ControlLayout::default_button);
  }
}

void MemoryWindow::PressEscape() {
  PressButtonWith(&ControlLayout::cancel_button);
}

/// Clicks the button that has the role, such as the default button. The focus stays where it is.
void MemoryWindow::PressButtonWith(bool ControlLayout::*role) {
  for (MemoryControl& control : controls_) {
    if (control.layout.*role && control.enabled && control.layout.click) return control.layout.click();
  }
}

void MemoryWindow::PressCloseBox() {
  if (layout_.close_box) layout_.close_box();
}

void MemoryWindow::PickRow(int control, int row) {
  if (control < 0) return;
  MemoryControl& chosen = controls_[control];
  if (row < 0 || row >= static_cast<int>(chosen.rows.size()) || !MoveFocus(control)) return;
  Select(chosen, row);
  if (chosen.layout.click) chosen.layout.click();
}

void MemoryWindow::RequestRedraw() {
  if (visible_) display_.RequestRedraw();
}

/// After a change of the text: a combo box selects the row with the same text, or none.
void MemoryWindow::FollowText(MemoryControl& control) {
  if (control.layout.kind == ControlKind::kComboBox) {
    const auto found = std::find(control.rows.begin(), control.rows.end(), EncodeUtf8(control.text.Text()));
    control.selected = found == control.rows.end() ? -1 : static_cast<int>(found - control.rows.begin());
  }
  RequestRedraw();
}

/// Moves the focus without validation. A combo box selects its whole text when it gets the focus.
void MemoryWindow::TakeFocus(int control) {
  focus_ = control;
  if (control >= 0 && controls_[control].layout.kind == ControlKind::kComboBox) {
    controls_[control].text.SelectAll();
  }
  RequestRedraw();
}

/// The next control that can have the focus, in either direction, wrapping around at the ends. With
/// `tab_stops`, only tab stops count. Returns `from`, which may be -1, if there is no other.
int MemoryWindow::NextFocus(int from, int step, bool tab_stops) const {
  const int count = ControlCount();
  int control = from;
  for (int i = 0; i < count; ++i) {
    control = (control + step + count) % count;
    if (controls_[control].CanFocus() && (controls_[control].layout.tab_stop || !tab_stops)) return control;
  }
  return from;
}

}  // namespace halden
